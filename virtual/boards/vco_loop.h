#pragma once
/// The loop of a source board that pulls its VCO onto the DDS, with the DAC that puts it on the way.
///
/// While the DAC drives the tune node, the VCO stands where the DAC puts it. At the moment that it is let go, a closed
/// loop whose goal lies within the node's reach takes over, and holds as long as it is closed and the goal within
/// reach; else the node drifts to a rail and wants help anew.

#include "virtual/chips/analog.h"

namespace vi {

class VcoLoop {
public:
    /// Rails of the tune node.
    VcoLoop(double low_V, double high_V) : low_V_(low_V), high_V_(high_V), tune_V_(low_V) {}

    /// After each change. `goal_V` is where the node would have to stand for the frequency that the loop asks for.
    void settle(bool closed, double goal_V, const Ad5640Model& dac, double dacSpan_V);

    [[nodiscard]] bool locked() const { return locked_; }
    [[nodiscard]] double tune_V() const { return tune_V_; }

private:
    double low_V_, high_V_;
    double tune_V_;
    bool helped_ = false;
    bool locked_ = false;
};

} // namespace vi
