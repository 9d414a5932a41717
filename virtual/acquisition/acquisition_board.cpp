#include "virtual/acquisition/acquisition_board.h"

#include "virtual/platform/clock.h"

#include <cmath>

namespace vi {
namespace {

enum Address : uint32_t {
    controlAddress = 248,
    clockAddress = 249,
    adcAddress = 250,
    commandAddress = 251,
    flashCommandAddress = 252,
    flashAnswerAddress = 253,
    answerAddress = 254
};

enum Line : unsigned {
    linePll = 0,  // first generation
    lineAdcA = 0, // second generation
    lineFlash = 3,
    lineReset = 4,
    lineClockSync = 9, // second generation
    lineSelectA = 13,
    lineSelectB = 14,
    lineExternalReference = 16,
    lineOscillator = 21, // second generation: its supply
};
constexpr unsigned suppliesFirst = 0xE40100; // lines that hold the analog supplies of the first generation
constexpr uint64_t wiredFirst =
    suppliesFirst | 1 << linePll | 1 << lineFlash | 1 << lineReset | 1 << lineExternalReference;
constexpr uint64_t wiredSecond = 1 << lineAdcA | 1 << lineFlash | 1 << lineReset | 1 << lineClockSync |
                                 1 << lineSelectA | 1 << lineSelectB | 1 << lineExternalReference | 1 << lineOscillator;
constexpr uint64_t statusReferenceMissing = 1 << 2, statusLocked = 1 << 3;

constexpr size_t controlBytes = 3, statusBytes = 1;

constexpr double reference_10MHz = 10e6;
constexpr double oscillatorFirst_Hz = 125e6, oscillatorSecond_Hz = 1000e6; // that the PLLs pull
constexpr double oscillatorReach = 100e-6;                                 // of the crystal
constexpr uint64_t detectorTime_ns = 5'000'000;
constexpr uint64_t lockTime_ns = 60'000'000;                    // of the crystal's loop, which is narrow
constexpr unsigned adcClockOutput = 1, fpgaClockOutput = 2;     // of the AD9512
constexpr std::array<unsigned, channels> adcClockOutputs{0, 3}; // of the LTC6950
constexpr unsigned fpgaClockOutputSecond = 4;
constexpr uint64_t syncPulseMin_ns = 1'000'000; // below it the outputs do not take the pulse

} // namespace

AcquisitionBoard::AcquisitionBoard(SpiBus& bus, AcquisitionBoardKind kind, SampleSource& source, uint64_t seed)
    : kind_(kind), lines_(controlBytes), statusLines_(statusBytes, [this] { return status(); }),
      referencePll_(Adf4xxxModel::Kind::adf4002, spiPlain), adcs_{FastAdcModel(second() ? FastAdcModel::Kind::ad9467
                                                                                        : FastAdcModel::Kind::ad9268),
                                                                  FastAdcModel(second() ? FastAdcModel::Kind::ad9467
                                                                                        : FastAdcModel::Kind::ad9268)},
      flash_(second() ? SerialFlash::Kind::s25fl256s : SerialFlash::Kind::w25q64,
             [this] { return lines_.line(lineFlash); }),
      core_(kind.generation, {stream_, source, [this] { return converters(); }}, seed),
      controlPlace_([this](auto frame, uint32_t mode) { return setLines(frame, mode); }, &statusLines_),
      clockPlace_([this](auto frame, uint32_t mode) { return sendClock(frame, mode); }),
      adcPlace_([this](auto frame, uint32_t mode) { return sendAdc(frame, mode); }) {
    fpgaImages_store(factoryImages(), kind_.generation, &flash_.cells());
    rtdm_register(sampleStream_deviceName, &stream_);
    const struct {
        uint32_t address;
        SpiChip* chip;
        const char* name;
    } chips[] = {
        {controlAddress, &controlPlace_, "acq.lines"},
        {clockAddress, &clockPlace_, "acq.clock"},
        {adcAddress, &adcPlace_, "acq.adc"},
        {commandAddress, &core_.commandSlave(), "acq.command"},
        {answerAddress, &core_.answerSlave(), "acq.answer"},
        {flashCommandAddress, &flash_.commands(), "acq.flash"},
        {flashAnswerAddress, &flash_.answers(), "acq.flash_answer"},
    };
    for (const auto& [address, chip, name] : chips) {
        bus.attach(address, chip);
        bus.setName(address, name);
    }
}

AcquisitionBoard::~AcquisitionBoard() {
    rtdm_unregister(&stream_);
}

bool AcquisitionBoard::setLines(std::span<const uint8_t> frame, uint32_t mode) {
    const bool external = lines_.line(lineExternalReference), reset = lines_.line(lineReset);
    const bool synchronises = lines_.line(lineClockSync), oscillates = lines_.line(lineOscillator);
    if (!lines_.send(frame, mode) || (lines_.lines() & ~(second() ? wiredSecond : wiredFirst)) != 0)
        return false;
    if (lines_.line(lineExternalReference) != external || lines_.line(lineOscillator) != oscillates)
        clockSince_ns_ = clock_now();
    if (!lines_.line(lineOscillator))
        inStep_ = false;
    else if (!synchronises && lines_.line(lineClockSync))
        syncSince_ns_ = clock_now();
    else if (synchronises && !lines_.line(lineClockSync))
        inStep_ = clockLocked() && clock_now() >= syncSince_ns_ + syncPulseMin_ns;
    if (lines_.line(lineReset) != reset)
        core_.setReset(!reset || !boots());
    return true;
}

bool AcquisitionBoard::sendClock(std::span<const uint8_t> frame, uint32_t mode) {
    if (!second() && !lines_.line(linePll))
        return distribution_.send(frame, mode);
    clockSince_ns_ = clockWritten_ns_ = clock_now();
    inStep_ = false;
    return second() ? clock_.send(frame, mode) : kind_.referencePll && referencePll_.send(frame, mode);
}

bool AcquisitionBoard::sendAdc(std::span<const uint8_t> frame, uint32_t mode) {
    if (!second())
        return adcs_[channelA].send(frame, mode);
    const bool a = !lines_.line(lineSelectA), b = !lines_.line(lineSelectB);
    return a != b && a == lines_.line(lineAdcA) && adcs_[a ? channelA : channelB].send(frame, mode);
}

bool AcquisitionBoard::keepFlashIn(const std::string& path) {
    const bool kept = flash_.cells().keepIn(path);
    core_.setReset(!boots());
    return kept;
}

bool AcquisitionBoard::boots() const {
    return !lines_.line(lineFlash) && flash_.servesFourLines() && fpgaImages_boot(flash_.cells(), kind_.generation);
}

double AcquisitionBoard::reference_Hz() const {
    return lines_.line(lineExternalReference) && !externalReference_ ? 0 : reference_10MHz;
}

bool AcquisitionBoard::clockLocked() const {
    const double wanted = second() ? oscillatorSecond_Hz : oscillatorFirst_Hz;
    const double pulled = second() ? clock_.vco_Hz(reference_Hz()) : referencePll_.lockedAt_Hz(reference_Hz());
    const bool pulls =
        second() ? lines_.line(lineOscillator) && clock_.pump() == Ltc6950Model::Pump::regulating : kind_.referencePll;
    return pulls && std::abs(pulled - wanted) <= oscillatorReach * wanted &&
           clock_now() >= clockSince_ns_ + lockTime_ns;
}

/// Unlocked oscillators stand near their frequency.
double AcquisitionBoard::sampleClock_Hz() const {
    if (second())
        return lines_.line(lineOscillator) ? clock_.output_Hz(fpgaClockOutputSecond, reference_10MHz) : 0;
    const bool supplied = (lines_.lines() & suppliesFirst) == suppliesFirst;
    const bool runs = supplied && distribution_.clockInput() == 1 && distribution_.powered(adcClockOutput) &&
                      distribution_.powered(fpgaClockOutput) &&
                      distribution_.ratio(adcClockOutput) == distribution_.ratio(fpgaClockOutput);
    return runs ? oscillatorFirst_Hz / distribution_.ratio(adcClockOutput) : 0;
}

ConverterState AcquisitionBoard::converters() const {
    const FastAdcModel& a = adcs_[channelA];
    const FastAdcModel& b = second() ? adcs_[channelB] : a;
    return {sampleClock_Hz(), {AdcWords(a, reachesFpga(channelA)), AdcWords(b, reachesFpga(channelB))}};
}

/// The FPGA takes the words of a converter that drives its lines, and whose clock runs at the FPGA's own and in step.
bool AcquisitionBoard::reachesFpga(Channel channel) const {
    if (!second())
        return adcs_[channelA].differentialOutputs();
    const unsigned output = adcClockOutputs[channel];
    return adcs_[channel].differentialOutputs() && inStep_ && clock_.synchronised(output) &&
           clock_.output_Hz(output, reference_10MHz) == sampleClock_Hz();
}

/// The clock chip of the second generation tells a lock for a while after it is written, before it has compared enough.
bool AcquisitionBoard::detectorSettles() const {
    return second() && clock_now() < clockWritten_ns_ + detectorTime_ns;
}

/// The register takes the lines at the end of a read, for the next one. Without edges of a reference the detector of
/// the second generation goes on telling what it told last.
uint64_t AcquisitionBoard::status() {
    const uint64_t found = status_;
    if (second() && reference_Hz() == 0)
        status_ = (status_ & statusLocked) | statusReferenceMissing;
    else
        status_ = clockLocked() || detectorSettles() ? statusLocked : 0;
    return found;
}

} // namespace vi
