/// Hundreds of runs of all kinds in a row: each locks and is right, and none leaves anything behind.

#include "tests/firmware/unit_in_process.h"

#include <malloc.h>
#include <random>

namespace {

constexpr int kinds = static_cast<int>(100 * RUNS_PER_RUN);

struct Carrier {
    double frequency_Hz;
    const char* reference;
};
constexpr Carrier carriers[] = {
    {10e6, "NORM"},     {25.000007e6, "NORM"}, {100.000123e6, "NORM"}, {122.88e6, "NORM"},
    {622.08e6, "NORM"}, {1000.0021e6, "NORM"}, {2.4e9, "NORM"},        {7e9, "NORM"},
    {11.798e9, "NORM"}, {18e9, "NORM"},        {122.88e6, "LN"},       {1e9, "LN"},
    {18e9, "LN"},       {100e6, "HIGH"},       {1000.0021e6, "HIGH"},  {18e9, "HIGH"},
};

class Kinds {
public:
    template <class T, size_t N> T oneOf(const T (&choices)[N]) { return choices[random_() % N]; }
    int upTo(uint32_t most) { return 1 + static_cast<int>(random_() % most); }

private:
    std::mt19937 random_{1};
};

/// Bytes in use by the process, of all threads; 0 under a sanitizer, which has a heap of its own.
size_t heapInUse() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

void runAllKinds(UnitInProcess* unit) {
    Kinds kind;
    for (int i = 0; i < kinds; ++i) {
        const Carrier carrier = kind.oneOf(carriers);
        const double weakest_dBm = carrier.frequency_Hz < 4.2e9 ? -10 : 0; // nothing amplifies the others
        const double power_dBm = std::max(weakest_dBm, kind.oneOf({-10.0, 0.0, 8.0, 13.0}));
        const std::string settings = std::string("SENS:PN:REF ") + carrier.reference + ";FREQ:STAR " +
                                     kind.oneOf({"1", "10", "1000"}) + ";:SENS:PN:CORR " +
                                     std::to_string(20 * kind.upTo(5)) + ";AVER " + std::to_string(kind.upTo(2)) +
                                     ";PPD " + std::to_string(60 * kind.upTo(5)) + ";SMO:STAT " +
                                     kind.oneOf({"ON", "OFF"}) + ";:SENS:PN:SPUR:OMIS " + kind.oneOf({"ON", "OFF"});
        SCOPED_TRACE(testing::Message() << i << ": " << carrier.frequency_Hz << " Hz, " << power_dBm << " dBm, "
                                        << settings);
        if (kind.upTo(10) == 1)
            unit->tell("*RST");
        unit->connect(loud(carrier.frequency_Hz, power_dBm));
        EXPECT_EQ(unit->tell(settings + ";:SENS:FREQ:EXEC;:SYST:ERR?"), "0,\"No error\"\n");
        EXPECT_EQ(unit->run(), "0,\"No error\"\n");
        unit->expectMeasured(1e5, 0.5, 4);
    }
}

} // namespace

TEST(Endurance, MixedRunsStayRightAndTakeNoMoreMemory) {
    UnitInProcess& unit = UnitInProcess::get();
    unit.tell("*RST;*CLS");
    runAllKinds(&unit);
    const size_t before = heapInUse();
    runAllKinds(&unit);
    EXPECT_LE(heapInUse(), before + 4096);
}
