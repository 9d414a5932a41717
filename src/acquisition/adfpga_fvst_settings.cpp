// The trigger of the frequency-versus-time capture.

#include "acquisition/adfpga_fvst.h"
#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"

namespace {

// Bits of the trigger word.
constexpr uint32_t wordTriggered = 0x08, wordContinuous = 0x20, wordUp = 0x40, wordB = 0x80, wordWindow = 0x400,
                   wordExternal = 0x800;

tvfreq limited(const AdfpgaTrigger& trigger, tvfreq level) {
    tvfreqLimitInt(&level, trigger.levelMin_Hz, trigger.levelMax_Hz);
    return level;
}

/// The high level first: where both run into a limit, the low one has the last word.
int setAround(TVPN_ADFPGA* board, const tvfreq& middle, tvfreq distance) {
    tvfreqDivideByInt32(&distance, &distance, 2);
    tvfreq high, low;
    tvfreqAdd(&high, &middle, &distance);
    tvfreqSubtract(&low, &middle, &distance);
    TVPN_ADFPGA_setTriggerLevelHigh(board, &high);
    return TVPN_ADFPGA_setTriggerLevelLow(board, &low);
}

int setContinuous(TVPN_ADFPGA* board, uint32_t on) {
    board->trigger.continuous = on;
    return TVPN_ADFPGA_abort(board);
}

} // namespace

void TVPN_ADFPGA_enableFvst(TVPN_ADFPGA* board, StatusRegister* operation) {
    board->fvstOperation = operation;
}

int TVPN_ADFPGA_setTriggerLevelHigh(TVPN_ADFPGA* board, const tvfreq* level) {
    AdfpgaTrigger& trigger = board->trigger;
    trigger.levelHigh = limited(trigger, *level);
    if (tvfreqCompare(&trigger.levelHigh, &trigger.levelLow) < 0)
        trigger.levelLow = trigger.levelHigh;
    return 0;
}

int TVPN_ADFPGA_setTriggerLevelLow(TVPN_ADFPGA* board, const tvfreq* level) {
    AdfpgaTrigger& trigger = board->trigger;
    trigger.levelLow = limited(trigger, *level);
    if (tvfreqCompare(&trigger.levelHigh, &trigger.levelLow) < 0)
        trigger.levelHigh = trigger.levelLow;
    return 0;
}

tvfreq TVPN_ADFPGA_getTriggerLevelHigh(const TVPN_ADFPGA* board) {
    return board->trigger.levelHigh;
}
tvfreq TVPN_ADFPGA_getTriggerLevelLow(const TVPN_ADFPGA* board) {
    return board->trigger.levelLow;
}

tvfreq TVPN_ADFPGA_getTriggerLevel(const TVPN_ADFPGA* board) {
    tvfreq middle;
    tvfreqAdd(&middle, &board->trigger.levelHigh, &board->trigger.levelLow);
    tvfreqDivideByInt32(&middle, &middle, 2);
    return middle;
}
tvfreq TVPN_ADFPGA_getTriggerHysteresis(const TVPN_ADFPGA* board) {
    tvfreq distance;
    tvfreqSubtract(&distance, &board->trigger.levelHigh, &board->trigger.levelLow);
    return distance;
}

int TVPN_ADFPGA_setTriggerLevel(TVPN_ADFPGA* board, const tvfreq* middle) {
    return setAround(board, *middle, TVPN_ADFPGA_getTriggerHysteresis(board));
}
int TVPN_ADFPGA_setTriggerHysteresis(TVPN_ADFPGA* board, const tvfreq* distance) {
    return setAround(board, TVPN_ADFPGA_getTriggerLevel(board), *distance);
}

int TVPN_ADFPGA_setTriggerOffset(TVPN_ADFPGA* board, uint32_t channel, uint32_t offset) {
    if (board->fvstOperation == nullptr)
        return scpi::hardwareMissing;
    board->fvstRing[channel].triggerOffset = offset;
    return TVPN_ADFPGA_fpgaCommandF(board, "dmaf%co%u", channel == adfpga_channelA ? 'a' : 'b', offset);
}

int TVPN_ADFPGA_enableContinousCapture(TVPN_ADFPGA* board) {
    return setContinuous(board, 1);
}
int TVPN_ADFPGA_disableContinousCapture(TVPN_ADFPGA* board) {
    return setContinuous(board, 0);
}

uint32_t TVPN_ADFPGA_fvstTriggerConfiguration(const TVPN_ADFPGA* board) {
    const AdfpgaTrigger& trigger = board->trigger;
    const bool continuous = trigger.continuous != 0;
    const struct {
        uint32_t bit;
        bool set;
    } bits[] = {
        {wordContinuous, continuous},
        {wordTriggered, !continuous && trigger.source != adfpga_immediate},
        {wordUp, trigger.mode == adfpga_positive || trigger.mode == adfpga_in},
        {wordB, trigger.source == adfpga_atB},
        {wordWindow, trigger.mode == adfpga_out || trigger.mode == adfpga_in},
        {wordExternal, trigger.source == adfpga_external},
    };
    uint32_t word = 0;
    for (const auto& [bit, set] : bits)
        word |= set ? bit : 0;
    return word;
}
