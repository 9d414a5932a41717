#include "core/numbers.h"

#include "base/sync.h"

#include <cmath>
#include <cstdlib>

namespace {

constexpr int randomBits = 31; // of rand()
static_assert(RAND_MAX == 0x7FFFFFFF, "the scaling below counts on 31 random bits");

Mutex deviateMutex;
float storedDeviate GUARDED_BY(deviateMutex) = 0.0f;
bool deviateStored GUARDED_BY(deviateMutex) = false;

/// Uniform in -1 to 1.
float randomSigned() {
    return 2.0f * std::ldexp(static_cast<float>(rand()), -randomBits) - 1.0f;
}

// The digital resistor of the model L loop: 1024 taps behind a fixed resistor.
constexpr int32_t resistanceMin_Ohm = 538;
constexpr int32_t resistanceStep_Ohm = 244;
constexpr double resistanceTapMax = 1023;
constexpr int32_t resistanceBeyond_Ohm = 249906; // for what no tap reaches: tap 1022

} // namespace

void tvstuff_seedRandom(uint32_t seed) {
    MutexLock lock(deviateMutex);
    srand(seed);
    deviateStored = false;
}

float tvstuff_randn(float mean, float sigma) {
    MutexLock lock(deviateMutex);
    deviateStored = !deviateStored;
    if (!deviateStored)
        return mean + sigma * storedDeviate;

    float u, v, w;
    do {
        u = randomSigned();
        v = randomSigned();
        w = u * u + v * v;
    } while (w >= 1.0f || w == 0.0f);
    const float m = std::sqrt(-2.0f * std::log(w) / w);
    storedDeviate = v * m;
    return mean + sigma * (u * m);
}

int32_t tvstuff_getRandomNumber(int32_t low, int32_t high) {
    // The range of all int32 values times 31 random bits just fits 64 bits.
    const int64_t values = int64_t{high} - low + 1;
    return static_cast<int32_t>(low + ((values * rand()) >> randomBits));
}

int32_t roundResistance(double ohm) {
    double tap = std::round((ohm - resistanceMin_Ohm) / resistanceStep_Ohm);
    if (!(tap >= 0)) // NaN as well
        tap = 0;
    if (tap > resistanceTapMax)
        return resistanceBeyond_Ohm;
    return static_cast<int32_t>(tap) * resistanceStep_Ohm + resistanceMin_Ohm;
}
