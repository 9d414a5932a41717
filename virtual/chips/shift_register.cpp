#include "virtual/chips/shift_register.h"

#include <utility>

namespace vi {

bool OutputRegister::take(uint64_t word, size_t /*bytes*/) {
    lines_ = word;
    return true;
}

bool LatchedRegister::take(uint64_t word, size_t /*bytes*/) {
    shifted_ = word;
    return true;
}

InputRegister::InputRegister(size_t bytes, std::function<uint64_t()> lines) : bytes_(bytes), lines_(std::move(lines)) {}

bool InputRegister::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    if (frame.size() != bytes_ || mode != spiPlain)
        return false;
    frame_fill(frame, sampledLate(lines_()));
    return true;
}

} // namespace vi
