#pragma once

/// Two pi as the loop, detector and jitter formulas have it; the Allan variance takes pi in full.
inline constexpr double circle_rad = 6.283185308;
