/// What the acquisition board captures, as a client gets it, against what the bench says.

#include "acquisition/adfpga_capture.h"
#include "tests/firmware/unit_in_process.h"
#include "tests/virtual/straight_wiring.h"
#include "virtual/platform/clock.h"

#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>

using namespace vi;

namespace {

constexpr const char* nothing = "0,\"No error\"\n";
constexpr double carrier_Hz = 100e6, voltsPerCount = 24.4140625e-6, centre = 32768;
constexpr uint32_t pairs = 4096;
constexpr double cycles = 40; // of the beat in a record
double beat_Hz = 0;

UnitInProcess& unit = UnitInProcess::get();

Bench& bench() {
    return unit.hardware().bench;
}
TVPN_ADFPGA* driver() {
    return debug_device->adfpga;
}
double baseRate_Hz() {
    return bench().boards.fpga == FpgaGeneration::second ? 250e6 : 125e6;
}

template <class Change> void set(Change change) {
    for (const Channel c : {channelA, channelB}) {
        ChannelWiring wiring = bench_wiring(&bench(), c);
        change(wiring);
        bench_setWiring(&bench(), c, wiring); // past the boards, until they change
    }
}

/// Open channels on a quiet carrier: a beat of 40 cycles a record.
void beat(uint32_t divider) {
    unit.tell("*RST;*CLS;:CONF:NOIS:SAMP " + std::to_string(pairs) + ";DIV " + std::to_string(divider) + ";CHAN 2");
    unit.connect({carrier_Hz, 8, {{{1, -160}}}, {}, {}});
    beat_Hz = cycles * baseRate_Hz() / divider / pairs;
    set([=](ChannelWiring& w) {
        w = straightWiring(bench().boards, carrier_Hz);
        w.source_Hz -= beat_Hz;
    });
}

/// The data of a block in binary framing; `words` more of the head tell of fragments.
template <class Value> std::vector<Value> data(const std::string& block) {
    uint32_t headSize = 0, size = 0;
    if (block.size() < 8)
        throw std::runtime_error("no block");
    memcpy(&headSize, block.data(), 4);
    memcpy(&size, block.data() + 4 + headSize, 4);
    EXPECT_EQ(block.size(), 8 + headSize + size);
    std::vector<Value> values(size / sizeof(Value));
    memcpy(values.data(), block.data() + 8 + headSize, values.size() * sizeof(Value));
    return values;
}

using Samples = std::vector<uint16_t>;

Samples capture() {
    return data<uint16_t>(unit.tell("MEAS:NOIS?"));
}

Samples everySecond(const Samples& samples, size_t first) {
    Samples half;
    for (size_t i = first; i < samples.size(); i += 2)
        half.push_back(samples[i]);
    return half;
}

/// The beat of a channel as the bench has it, and next to nothing else.
void expectBeat(const Samples& samples, Channel channel, const char* what) {
    ASSERT_EQ(samples.size(), pairs) << what;
    std::complex<double> sum = 0;
    double mean = 0, power = 0;
    for (size_t i = 0; i < pairs; ++i) {
        const double value = samples[i] - centre;
        sum += value * std::polar(1.0, -2 * std::numbers::pi * cycles * double(i) / pairs);
        mean += value / pairs;
        power += value * value / pairs;
    }
    const double peak_V = 2 * std::abs(sum) / pairs * voltsPerCount;
    const IfTruth excess = unitTruth_if(bench().boards, channel, if_group(carrier_Hz, false));
    const double gain = std::pow(10, if_excess_dB(excess, 0, beat_Hz) / 20); // what the unit has over nominal
    EXPECT_NEAR(peak_V / (gain * bench_truth(&bench(), channel).detectorSlope_V), 1, 2e-3) << what << channel;
    EXPECT_NEAR(std::sqrt(2 * power) * voltsPerCount / peak_V, 1, 1e-3) << what << channel;
    EXPECT_NEAR(mean, 0, 20) << what << channel;
}

void expectBothBeats(const char* what) {
    const Samples both = capture();
    ASSERT_EQ(both.size(), 2 * pairs) << what;
    expectBeat(everySecond(both, 0), channelA, what);
    expectBeat(everySecond(both, 1), channelB, what);
    EXPECT_EQ(unit.number("MEAS:NOIS:VAL?"), pairs * 4) << what;
}

class Captures : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(unit.tell("SYST:ERR?"), nothing);
        EXPECT_EQ(unit.hardware().acquisition.refusals(), 0u) << unit.hardware().acquisition.refusalTexts();
    }
};

struct Point {
    float re, im;
};

/// A stage as a client reads it against what the bench expects of it: mean and spread of each part, and as many points.
void expectSpectrum(uint32_t stage) {
    const std::string memory = "MEM:RAM:FD" + std::to_string(stage);
    const auto points = data<Point>(unit.tell(memory + ":READ?"));
    EXPECT_EQ(unit.number(memory + ":SIZE?"), points.size());
    ASSERT_EQ(points.size(), Device_getFdSamplesCount(debug_device, stage));
    ASSERT_GE(points.size(), 64U);
    const double rate_Hz = stage == 0 ? baseRate_Hz() : 125e6 / std::pow(10, stage);
    const StageExpectation& e = unit.hardware().source.expectation(stage, rate_Hz, uint32_t(points.size()));
    const double records = Device_getFdCorrelations(debug_device, int(stage));
    const bool ownA = Device_isFdChannelAOnly(debug_device) != 0, ownB = Device_isFdChannelBOnly(debug_device) != 0;
    double means[2]{}, squares[2]{};
    for (size_t i = 0; i < points.size(); ++i) {
        const double product = e.sxx[i] * e.syy[i], own = ownA ? e.sxx[i] : e.syy[i];
        const double difference = e.sxyRe[i] * e.sxyRe[i] - e.sxyIm[i] * e.sxyIm[i];
        const double re = (double(points[i].re) - e.sxyRe[i]) / std::sqrt((product + difference) / 2 / records);
        const double im = (double(points[i].im) - e.sxyIm[i]) / std::sqrt((product - difference) / 2 / records);
        const double z[2] = {ownA || ownB ? (double(points[i].re) / own - 1) * std::sqrt(records) : re,
                             ownA || ownB ? double(points[i].im) : im};
        for (size_t part = 0; part < 2; ++part) {
            means[part] += z[part] / double(points.size());
            squares[part] += z[part] * z[part] / double(points.size());
        }
    }
    const double fourSigma = 4 / std::sqrt(double(points.size()));
    for (size_t part = 0; part < 2; ++part) {
        EXPECT_NEAR(means[part], 0, fourSigma) << stage << ' ' << part;
        EXPECT_NEAR(squares[part], (ownA || ownB) && part == 1 ? 0 : 1, 2 * fourSigma) << stage << ' ' << part;
    }
}

} // namespace

TEST_F(Captures, SamplesAreTheBeatOfTheirChannel) {
    EXPECT_EQ(unit.number("CONF:NOIS:FS?"), baseRate_Hz());
    for (const uint32_t divider : {1U, 50U, 1000U}) {
        beat(divider);
        EXPECT_EQ(unit.number("CONF:NOIS:SAMP?"), pairs);
        expectBothBeats("both");
        unit.tell("CONF:NOIS:CHAN 1");
        expectBeat(capture(), channelA, "A only");
        EXPECT_EQ(unit.number("MEAS:NOIS:VAL?"), pairs * 4) << "bytes of the stream";
        EXPECT_EQ(TVPN_ADFPGA_setTdChannelBOnly(driver()), 0);
        expectBeat(capture(), channelB, "B only");
        unit.tell("MEAS:NOIS:FILT 1");
        expectBeat(data<uint16_t>(unit.tell("MEM:RAM:FNA0:READ?")), channelA, "memory ");
        expectBeat(data<uint16_t>(unit.tell("MEM:RAM:FNB0:READ?")), channelB, "memory ");
    }
    EXPECT_LT(bench_truth(&bench(), channelB).detectorSlope_V, 0.98 * bench_truth(&bench(), channelA).detectorSlope_V);
}

TEST_F(Captures, AClientThatDiesInMidBlockLeavesTheNextOneItsOwn) {
    beat(50);
    EXPECT_FALSE(unit.begin("MEAS:NOIS?").empty());
    EXPECT_EQ(Device_getPhaseNoiseValidSamplesCount(debug_device), 0) << "while the block is on its way";
    unit.hangUp();
    EXPECT_LE(unit.number("MEAS:NOIS:VAL?"), pairs * 4);
    expectBothBeats("next");
}

TEST_F(Captures, ABlockThatDoesNotComeIsFilledWithZerosToItsLengthAndTheNextOneIsGood) {
    beat(50);
    for (const uint32_t comes : {0U, 1024U}) { // pairs
        unit.hardware().acquisition.stream().spoil({.blocks = 1, .cutAfter_bytes = comes * 4});
        const Samples samples = capture();
        ASSERT_EQ(samples.size(), 2 * pairs);
        EXPECT_EQ(std::find(samples.begin(), samples.end(), 0) - samples.begin(), 2 * comes);
        EXPECT_EQ(std::count(samples.begin(), samples.end(), 0), 2 * (pairs - comes));
        EXPECT_EQ(unit.number("MEAS:NOIS:VAL?"), comes * 4);
        expectBothBeats("next");
    }
}

TEST_F(Captures, SpectraAreWhatTheBenchExpects) {
    beat(1);
    set([](ChannelWiring& w) {
        w.ifChain.gain_dB = 32;
    }); // so that the noise of the channels, which differs, stands out
    constexpr uint32_t stages = 7;
    EXPECT_EQ(Device_setFdStages(debug_device, stages), 0);
    for (uint32_t stage = 0; stage < stages; ++stage)
        EXPECT_EQ(Device_setFdCorrelations(debug_device, stage, 1000 + stage), 0);
    for (const auto& choose :
         {&Device_setFdChannelAOnly, &Device_setFdChannelBOnly, &Device_setFdChannelCrosscorrelation}) {
        EXPECT_EQ((*choose)(debug_device), 0);
        unit.tell("MEAS:NOIS:FD 1");
        for (uint32_t stage = 0; stage < stages; ++stage)
            expectSpectrum(stage);
    }
}

TEST_F(Captures, ARunLeavesTheSpectraOfItsLastCapture) {
    unit.connect(loud(carrier_Hz));
    unit.tell("*RST;*CLS;:SENS:PN:FREQ:STAR 100;:SENS:PN:CORR 300;AVER 1");
    EXPECT_EQ(unit.run(), nothing);
    for (uint32_t stage = 0; stage < Device_getFdStages(debug_device); ++stage)
        expectSpectrum(stage);
}

TEST_F(Captures, CountersCountToOneTick) {
    constexpr double odd_Hz = 97.1234567e6; // no simple ratio to the clock
    beat(1);
    unit.connect({odd_Hz, 8, {{{1, -160}}}, {}, {}});
    EXPECT_EQ(Device_setCounterTimeout(debug_device, 0.01), 0);
    for (const uint32_t ratio : {1U, 1U, 8U, 8U, 8U, 1000U, 1000U}) {
        set([=](ChannelWiring& w) { divideForCounter(&w, ratio); });
        std::array<tvfreq, channels> counted{};
        EXPECT_EQ(TVPN_ADFPGA_countFrequencyAdc(driver(), &counted[channelA], &counted[channelB]), 0);
        const double fast = 1 + unitTruth_timeBase(bench().boards); // by the time base of the unit
        const double expected_Hz = odd_Hz / ratio * fast, tick = 1 / (0.01 * baseRate_Hz());
        for (const tvfreq& frequency : counted) {
            double found_Hz = 0;
            tvfreq2double(&frequency, &found_Hz);
            EXPECT_NEAR(found_Hz / expected_Hz, 1, tick) << ratio;
        }
    }
    tvfreq input{1, 0}; // nothing is connected there
    EXPECT_EQ(TVPN_ADFPGA_countFrequency(driver(), &input), 0);
    EXPECT_EQ(input.intPart, 0);
}

TEST_F(Captures, ACaptureOfHoursEndsWithItsClient) {
    beat(50);
    unit.tell("CONF:NOIS:SAMP 1048576;DIV 2000000");
    EXPECT_FALSE(unit.begin("MEAS:NOIS?").empty());
    const uint64_t before = clock_now();
    unit.hangUp();
    EXPECT_LT(clock_now() - before, 60e9) << "ns: it was captured to its end for nobody";
    beat(50);
    expectBothBeats("next");
}
