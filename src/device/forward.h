#pragma once
/// How slots are filled with operations of the boards, and how an operation reaches both channels.

#include "device/device.h"
#include "device_table/slot.h"

#include <type_traits>

/// The board that a member of the record holds or points at.
template <auto member> auto* device_board(Device* device) {
    if constexpr (std::is_pointer_v<std::remove_reference_t<decltype(device->*member)>>)
        return device->*member;
    else if constexpr (requires { (device->*member).get(); })
        return (device->*member).get();
    else
        return &(device->*member);
}

/// The slot passes its arguments on to `operation` of the board in `member`.
template <auto member, auto operation, class Result, class... Arguments>
void forward(const SlotRegistrar& fill, Slot<Result(Device*, Arguments...)>& slot) {
    fill(slot, [](Device* device, Arguments... arguments) -> Result {
        return static_cast<Result>(operation(device_board<member>(device), arguments...));
    });
}

/// The same for a board that the unit may not have: nothing happens then, and the result is 0.
template <auto member, auto operation, class Result, class... Arguments>
void forwardIfThere(const SlotRegistrar& fill, Slot<Result(Device*, Arguments...)>& slot) {
    fill(slot, [](Device* device, Arguments... arguments) -> Result {
        auto* const board = device_board<member>(device);
        return board == nullptr ? Result() : static_cast<Result>(operation(board, arguments...));
    });
}

/// Plans both analog boards for `frequency`; one that a board refuses, below 1 MHz, leaves its lines as they are.
inline void device_planBoth(Device* device, const tvfreq& frequency) {
    for (TVPNX_ALG* const board : {&device->algA, &device->algB})
        alg_carryOn(TVPNX_ALG_setFrequency(board, &frequency));
}

/// Runs `operation` with board B selected, then with board A, and leaves A selected. Gives the first failure.
template <class Operation> int onBothChannels(Device* device, Operation operation) {
    device_selectB(device);
    const int errorB = operation();
    device_selectA(device);
    const int errorA = operation();
    return errorB != 0 ? errorB : errorA;
}
