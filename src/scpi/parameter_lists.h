#pragma once
/// Parameter lists that may be longer than a command buffer: continuations (ListParser in scpi/link.h).

struct scpi_link;

/// The test set's definition: letters O (with an offset in Hz), F, P, J, I, D, R, M joined by ','; what begins with
/// another character is passed over. The entries gather in the link until the list ends. -224 for more than testSetSize
/// entries with the end mark, for an offset that is no number and for a block; -223 for an item that fills the whole
/// buffer. The old definition then stays.
int paramListParser_AteTestSetCmd(scpi_link* link, char* text, char* answer, int answerRoom, int cbufFull);
