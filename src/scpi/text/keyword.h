#pragma once
/// Keyword parameters: "ON", "MINimum".

/// 1 if `text` is the keyword `literal`, else 0, as for a null text. The literal is written in mixed case: the part
/// before its first lower-case letter is the short form, the whole the long form; only these two match, in any case.
/// Blanks may follow.
[[nodiscard]] int scpi_isParam(const char* literal, const char* text);
