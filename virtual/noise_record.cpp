#include "virtual/noise_record.h"

#include <algorithm>
#include <bit>
#include <numbers>
#include <utility>

namespace vi {

uint32_t noiseRecord_length(uint32_t samples) {
    return std::bit_ceil(std::max(samples, 4U));
}

void noiseRecord_transform(std::span<std::complex<double>> values) {
    using Complex = std::complex<double>;
    const size_t length = values.size();
    for (size_t i = 1, reversed = 0; i < length; ++i) { // bit-reversed order
        size_t bit = length >> 1;
        for (; reversed & bit; bit >>= 1)
            reversed ^= bit;
        reversed ^= bit;
        if (i < reversed)
            std::swap(values[i], values[reversed]);
    }
    std::vector<Complex> turns(length / 2);
    for (size_t i = 0; i < turns.size(); ++i)
        turns[i] = std::polar(1.0, 2 * std::numbers::pi * double(i) / double(length));
    for (size_t span = 2; span <= length; span *= 2)
        for (size_t start = 0; start < length; start += span)
            for (size_t i = 0; i < span / 2; ++i) {
                Complex& low = values[start + i];
                Complex& high = values[start + i + span / 2];
                const Complex turn = turns[i * (length / span)];
                // Written out: the library's product looks for infinities.
                const Complex turned(high.real() * turn.real() - high.imag() * turn.imag(),
                                     high.real() * turn.imag() + high.imag() * turn.real());
                high = low - turned;
                low += turned;
            }
}

} // namespace vi
