#pragma once
/// The customer's extension of the model name, shown in square brackets behind it.

/// The stored form, "[text]" with up to 14 characters of text, or nothing: 16 characters and the end.
inline char device_config_modelNameExt[17] = {};

/// Takes the first 14 characters of `text` and stores them. Returns 0, or -200 if the file could not be written; the
/// name is the old one then.
int device_config_setModelNameExt(const char* text);

/// The text with brackets around it; nothing, if there is no text.
[[nodiscard]] const char* device_config_getModelNameExt_bracketed();

/// The text alone.
[[nodiscard]] const char* device_config_getModelNameExt();

/// Reads the first line of the file; a missing file leaves the extension empty.
void device_config_loadModelNameExt();

/// Writes the file, at most 15 characters: the bracket behind a text of full length is understood. No protected write:
/// the tree of the customer is writable. Returns 0 or -200.
int device_config_storeModelNameExt();
