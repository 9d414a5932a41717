#pragma once
/// Which analog board the next orders mean: A at all times but inside of what stands here.

#include "device_table/device_fptrs.h"

inline void selectBoardA(Device* device) {
    slot_carryOn(Device_selectPhaseNoiseAlgBoardA(device)); // moves nothing, so nothing fails
}
inline void selectBoardB(Device* device) {
    slot_carryOn(Device_selectPhaseNoiseAlgBoardB(device));
}

/// Runs `operation` with board B selected, then with board A, and leaves A selected. It is given the number of the
/// board, 1 for B and 0 for A. Gives the first failure.
template <class Operation> [[nodiscard]] int onBothBoards(Device* device, Operation operation) {
    selectBoardB(device);
    const int errorB = operation(1);
    selectBoardA(device);
    const int errorA = operation(0);
    return errorB != 0 ? errorB : errorA;
}
