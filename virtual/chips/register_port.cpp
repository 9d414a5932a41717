#include "virtual/chips/register_port.h"

#include <algorithm>
#include <stdexcept>

namespace vi {

RegisterPort::RegisterPort(std::initializer_list<PortRegister> registers) {
    for (const auto& [address, powerOn, buffered] : registers)
        cells_.at(count_++) = {address, powerOn, buffered, powerOn, powerOn};
}

const RegisterPort::Cell* RegisterPort::find(uint16_t address) const {
    const auto all = std::span(cells_).first(count_);
    const auto cell = std::ranges::find(all, address, &Cell::address);
    return cell != all.end() ? &*cell : nullptr;
}

uint8_t RegisterPort::reg(uint16_t address) const {
    const Cell* const cell = find(address);
    if (cell == nullptr)
        throw std::out_of_range("no register " + std::to_string(address));
    return cell->active;
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
        if (i > address || find(at(i)) == nullptr || !accepts(at(i), value(i)))
            return false;
    for (size_t i = 0; i < count; ++i) {
        Cell& cell = *std::ranges::find(registers(), at(i), &Cell::address);
        cell.written = value(i);
        if (!cell.buffered)
            cell.active = value(i);
        written(at(i), value(i));
    }
    return true;
}

void RegisterPort::update() {
    for (Cell& cell : registers())
        cell.active = cell.written;
}

void RegisterPort::reset() {
    for (Cell& cell : registers())
        cell.active = cell.written = cell.powerOn;
}

} // namespace vi
