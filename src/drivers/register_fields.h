#pragma once
/// Fields of chip registers as rows of tables that the compiler checks.
///
///   constexpr Field mute{.reg = 2, .low = 4, .width = 1};
///   static_assert(fieldsFit({mute, gain}, 16));
///   word = field_put(word, mute, 1);

#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

/// Bits `low` to `low + width - 1` of register `reg`.
struct Field {
    uint16_t reg;
    uint8_t low;
    uint8_t width;
};

constexpr uint32_t field_mask(const Field& field) {
    return static_cast<uint32_t>(((uint64_t{1} << field.width) - 1) << field.low);
}

/// Largest value that the field holds.
constexpr uint32_t field_max(const Field& field) {
    return field_mask(field) >> field.low;
}

/// `word` with the low bits of `value` in the field.
constexpr uint32_t field_put(uint32_t word, const Field& field, uint32_t value) {
    return (word & ~field_mask(field)) | (value << field.low & field_mask(field));
}

constexpr uint32_t field_get(uint32_t word, const Field& field) {
    return (word & field_mask(field)) >> field.low;
}

/// What a field holds from the start.
struct FieldStart {
    Field field;
    uint32_t value;
};

/// Start values of registers, with 0 where no row says otherwise. A value that its field does not hold, or a second one
/// for the same bits, stops the build.
template <size_t Registers, size_t Rows>
consteval std::array<uint32_t, Registers> field_startValues(const FieldStart (&rows)[Rows]) {
    std::array<uint32_t, Registers> registers{}, taken{};
    for (const auto& [field, value] : rows) {
        if (value > field_max(field) || (taken.at(field.reg) & field_mask(field)) != 0)
            abort();
        taken[field.reg] |= field_mask(field);
        registers[field.reg] = field_put(registers[field.reg], field, value);
    }
    return registers;
}

/// True when every field has a width, ends inside a register of `bits` (at most 32) and shares no bit with another.
consteval bool fieldsFit(std::initializer_list<Field> fields, unsigned bits) {
    for (const Field& field : fields) {
        if (field.width == 0 || bits > 32 || field.low + field.width > bits)
            return false;
        for (const Field* other = fields.begin(); other != &field; ++other)
            if (other->reg == field.reg && (field_mask(*other) & field_mask(field)) != 0)
                return false;
    }
    return true;
}

// The check itself, on tables with a fault each.
static_assert(fieldsFit({{0, 0, 4}, {0, 4, 28}, {1, 0, 32}}, 32));
static_assert(!fieldsFit({{0, 0, 4}, {1, 3, 1}, {0, 3, 2}}, 8), "overlap");
static_assert(!fieldsFit({{0, 7, 2}}, 8), "beyond the register");
static_assert(!fieldsFit({{0, 7, 0}}, 8), "no width");
