#include "virtual/chips/register_port.h"

namespace vi {

RegisterPort::RegisterPort(std::initializer_list<PortRegister> registers) {
    for (const auto& [address, powerOn, buffered] : registers)
        registers_[address] = {powerOn, buffered, powerOn, powerOn};
}

bool RegisterPort::send(std::span<const uint8_t> frame, uint32_t mode) {
    constexpr size_t instructionBytes = 2;
    constexpr uint32_t streaming = 3;
    if (mode != spiPlain || frame.size() <= instructionBytes)
        return false;
    const size_t count = frame.size() - instructionBytes;
    const uint64_t instruction = frame_word(frame.last(instructionBytes));
    const uint32_t announced = bitsOf(instruction, 14, 13);
    const bool read = bitsOf(instruction, 15, 15) != 0;
    if (read || (announced == streaming ? count <= streaming : count != announced + 1))
        return false;
    // In memory the first byte, for the highest address, is the last one in front of the instruction.
    const auto address = static_cast<uint16_t>(bitsOf(instruction, 12, 0));
    const auto at = [&](size_t i) { return static_cast<uint16_t>(address - i); };
    const auto value = [&](size_t i) { return frame[count - 1 - i]; };
    for (size_t i = 0; i < count; ++i)
        if (i > address || !registers_.contains(at(i)) || !accepts(at(i), value(i)))
            return false;
    for (size_t i = 0; i < count; ++i) {
        Cell& cell = registers_.at(at(i));
        cell.written = value(i);
        if (!cell.buffered)
            cell.active = value(i);
        written(at(i), value(i));
    }
    return true;
}

void RegisterPort::update() {
    for (auto& [address, cell] : registers_)
        cell.active = cell.written;
}

void RegisterPort::reset() {
    for (auto& [address, cell] : registers_)
        cell.active = cell.written = cell.powerOn;
}

} // namespace vi
