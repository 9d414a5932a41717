#pragma once
/// The console link: SCPI text on standard input, answers on standard output.

struct scpi_link;

/// Takes one read of standard input through the link and writes the answers. Returns 0, or -1 at the end of the input:
/// nothing will ever come again.
[[nodiscard]] int Tvconsole_handle(scpi_link* link);
