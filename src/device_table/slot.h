#pragma once
/// One operation of the device table. Upper layers call slots, never boards; a feature exists on an instrument exactly
/// when its slot is filled.

#include "base/error_codes.h"
#include "device_table/hardware_owner.h"

#include <cstddef>
#include <cstdint>
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
/// call and gives a value-initialised result. Slots are filled before the first link is served and read without a lock
/// afterwards. A filled slot that is marked onBoards is refused to all threads but the run's while a run is on.
template <class Result, class... Arguments> class Slot<Result(Arguments...)> {
public:
    using Function = Result (*)(Arguments...);

    constexpr Slot() = default;
    constexpr Slot(std::nullptr_t) : function_(nullptr) {}
    constexpr Slot(OnBoards) : onBoards_(true) {}
    constexpr Slot(OnBoards, std::nullptr_t) : function_(nullptr), onBoards_(true) {}
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;

    Slot& operator=(Function function) {
        function_ = function;
        return *this;
    }
    void unregister() { function_ = unregistered; }

    /// True when the operation is there: neither unregistered nor null.
    explicit operator bool() const { return function_ != unregistered && function_ != nullptr; }

    Result operator()(Arguments... arguments) const {
        if (function_ == nullptr) [[unlikely]]
            return unregistered(arguments...);
        if (onBoards_ && hardware_isTaken()) [[unlikely]]
            return refused(arguments...);
        return function_(arguments...);
    }

private:
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
};
