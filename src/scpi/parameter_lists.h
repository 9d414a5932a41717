#pragma once
/// Parameter lists that may be longer than a command buffer: continuations (ListParser in scpi/link.h).

struct scpi_link;

/// The test set's definition: letters O (with an offset in Hz), F, P, J, I, D, R, M joined by ','. At most testSetSize
/// entries with the end mark, else -224 and the old definition stays.
int paramListParser_AteTestSetCmd(scpi_link* link, char* text, char* answer, int answerRoom, int cbufFull);
