#include "virtual/boards/vco_loop.h"

namespace vi {

void VcoLoop::settle(bool closed, double goal_V, const Ad5640Model& dac, double dacSpan_V) {
    if (dac.output() == DacOutput::driven) {
        locked_ = false;
        helped_ = dac.ratio() > 0;
        tune_V_ = dacSpan_V * dac.ratio();
        return;
    }
    const bool reached = closed && goal_V > low_V_ && goal_V < high_V_;
    const bool released = dac.output() == DacOutput::floating; // else a resistor holds the node
    locked_ = reached && released && (helped_ || locked_);
    helped_ = false;
    if (locked_)
        tune_V_ = goal_V;
    else
        tune_V_ = closed && goal_V >= high_V_ ? high_V_ : low_V_;
}

} // namespace vi
