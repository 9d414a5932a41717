#pragma once
/// One operation of the device table. Upper layers call slots, never boards; a feature exists on an instrument exactly
/// when its slot is filled.

#include "base/error_codes.h"
#include "device_table/hardware_owner.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>

struct Device;

/// Marks a slot whose operation drives or reads the boards, or a record that a run works on.
struct OnBoards {};
inline constexpr OnBoards onBoards{};

/// The stand-by of all slots: prints one line on the debug channel, counts the call and returns 0.
int Device_unregisteredFunction();

/// Calls of this thread that reached an empty slot since the last command. Counts for the debug channel only; a run's
/// calls are its own thread's and do not count for a command.
inline thread_local int32_t Device_unregisteredFunctionCalls = 0;

template <class Signature> class Slot;

/// A slot is unregistered (its state at start), null, or filled. Calling one that is not filled is safe: it counts the
/// call and gives a value-initialised result. Slots are read without a lock, so a SlotRegistrar fills them before the
/// first link is served and nobody does afterwards. A filled slot that is marked onBoards is refused to all threads but
/// the run's while a run is on.
template <class Result, class... Arguments> class Slot<Result(Arguments...)> {
public:
    using Function = Result (*)(Arguments...);

    constexpr Slot() = default;
    /// A slot of somebody's own, outside of the table; null is absent.
    constexpr Slot(Function own) : function_(own) {}
    constexpr Slot(OnBoards) : onBoards_(true) {}
    constexpr Slot(OnBoards, std::nullptr_t) : function_(nullptr), onBoards_(true) {}
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

    /// True when the operation is there: neither unregistered nor null.
    explicit operator bool() const { return function_ != unregistered && function_ != nullptr; }

    /// Calls the operation. slot_carryOn takes the error number of an order that is given without waiting for it.
    [[nodiscard]] Result operator()(Arguments... arguments) const {
        if (function_ == nullptr) [[unlikely]]
            return unregistered(arguments...);
        if (onBoards_ && hardware_isTaken()) [[unlikely]]
            return refused(arguments...);
        return function_(arguments...);
    }

    /// What stands in the slot; a call of it passes the slot by.
    [[nodiscard]] Function function() const { return function_; }
    /// The room that filled the slot; null while nobody has.
    [[nodiscard]] const char* filledBy() const { return *this ? filledBy_ : nullptr; }

private:
    friend class SlotRegistrar;

    static Result unregistered(Arguments...) {
        Device_unregisteredFunction();
        return Result();
    }

    Result refused(Arguments... arguments) const {
        if (!*this)
            return unregistered(arguments...);
        ++hardware_refusedCalls;
        if constexpr (std::is_same_v<Result, int>)
            return scpi::settingsConflict;
        else
            return Result();
    }

    Function function_ = unregistered;
    bool onBoards_ = false;
    const char* filledBy_ = nullptr;
};

/// Takes the error numbers of orders, given in this sequence, where the caller carries on whatever they are: what
/// failed has been told on the error output. The caller says why it carries on.
constexpr void slot_carryOn(std::initializer_list<int>) {}
constexpr void slot_carryOn(int) {}

/// Fills slots in the name of a room. Later registrations replace earlier ones, until the table is sealed.
class SlotRegistrar {
public:
    explicit constexpr SlotRegistrar(const char* room) : room_(room) {}

    /// Puts `function` into the slot; null makes it a null slot. A sealed table stays as it is, and the attempt counts.
    template <class Signature>
    void operator()(Slot<Signature>& slot, typename Slot<Signature>::Function function) const {
        if (!mayFill())
            return;
        slot.function_ = function;
        slot.filledBy_ = room_;
    }
    /// Makes the slot unregistered again.
    template <class Signature> void clear(Slot<Signature>& slot) const {
        operator()(slot, Slot<Signature>::unregistered);
    }

private:
    static bool mayFill();

    const char* room_;
};

/// Ends the registration: from here on the table does not change. `Device_openSlots` begins one, for a new instrument.
void Device_sealSlots();
void Device_openSlots();
/// Attempts to fill a slot of the sealed table.
[[nodiscard]] int Device_refusedSlots();
