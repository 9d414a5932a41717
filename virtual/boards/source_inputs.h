#pragma once
/// What the rest of the instrument does to a source board.

#include <functional>

namespace vi {

struct SourceInputs {
    std::function<double()> tune_V;  // of the tune line that pulls its reference; asked at each conversion
    std::function<bool()> vcoBroken; // the VCO does not follow its tune node; asked at each change
};

} // namespace vi
