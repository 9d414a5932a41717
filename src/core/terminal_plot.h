#pragma once
/// Frames and character graphics for service work, on the debug channel. All are as wide as the terminal.

#include <cstdint>

/// One line full of `character`.
void tvstuff_printLine(char character);
void tvstuff_printBoxStart();
/// A line of `text` inside the frame, cut at its width.
void tvstuff_printBoxMiddle(const char* text);
void tvstuff_printBoxStop();

/// Draws `count` values over their index, the vertical axis from the least to the greatest. Values that are not finite
/// leave a gap. The forms with two sets draw them on one axis, the first with '*', the second with 'o'.
void tvstuff_plotDouble(const double* values, int count);
void tvstuff_plotDouble2(const double* first, const double* second, int count);
/// The same for ADC samples (counts).
void tvstuff_plotADC(const uint16_t* samples, int count);
void tvstuff_plotADC2(const uint16_t* first, const uint16_t* second, int count);
