#pragma once
/// Numbers as USB has them in its bytes.

#include <cstddef>
#include <cstdint>
#include <span>

namespace vi {

inline uint32_t littleEndian_get(std::span<const uint8_t> bytes) {
    uint32_t number = 0;
    for (size_t i = bytes.size(); i > 0; --i)
        number = number << 8 | bytes[i - 1];
    return number;
}

inline void littleEndian_put(std::span<uint8_t> bytes, uint32_t number) {
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(number);
        number >>= 8;
    }
}

} // namespace vi
