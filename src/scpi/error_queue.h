#pragma once
/// The one error queue of the instrument, common to all links, and the text of its codes. The main thread alone uses
/// it.

#include <array>
#include <cstdint>

inline constexpr int errorQueueSize = 50;

/// Holds 50 codes. Empty when the indices are equal and the entry there is 0.
struct scpi_error_queue {
    std::array<int32_t, errorQueueSize> entries;
    int32_t readIndex;  // oldest
    int32_t writeIndex; // newest
};

void scpi_initErrorQueue(scpi_error_queue* queue);

/// Forgets all entries.
void scpi_clearErrorQueue(scpi_error_queue* queue);

[[nodiscard]] bool scpi_isErrorQueueEmpty(const scpi_error_queue* queue);

/// Appends a code; 0 is no error and leaves no trace. A full queue loses the code and its newest entry becomes -350.
void scpi_pushErrorQueue(int32_t code, scpi_error_queue* queue);

/// Takes the oldest code, 0 from an empty queue, and writes its text. Returns and fails like scpi_errorCode2Str; a code
/// whose text does not fit stays in the queue.
[[nodiscard]] int scpi_popErrorQueue(scpi_error_queue* queue, int32_t* code, char* answer, int room, int32_t* length);

/// Takes as many codes as there is room for, oldest first, with commas between; the rest stays in the queue. An empty
/// queue gives the text of code 0. Returns 0, or -400 with length 0 if not even the first one fits.
[[nodiscard]] int scpi_getAndClearWholeErrorQueue(scpi_error_queue* queue, char* answer, int room, int32_t* length);

/// Writes the number and the quoted text of a code, `-262344,"Execution error;Lock failed"`; a code that nobody knows
/// has an empty text. Needs `room` for the end of the text too. Returns 0, or -400 with length 0 if it does not fit.
[[nodiscard]] int scpi_errorCode2Str(char* answer, int32_t code, int room, int32_t* length);
