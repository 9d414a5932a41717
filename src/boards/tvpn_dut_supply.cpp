#include "boards/tvpn_dut_supply.h"

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "identity/device_variants.h"

#include <cmath>
#include <cstdio>
#include <tuple>

namespace {

constexpr uint32_t registerAddress = 232;

enum Line : uint32_t { relayLow = 7 };

struct ChannelRow {
    uint32_t adc, dac; // addresses
    uint32_t enable;   // line
};
constexpr ChannelRow channelRows[] = {
    {.adc = 236, .dac = 235, .enable = 1},
    {.adc = 234, .dac = 233, .enable = 0},
};
static_assert(std::size(channelRows) == supplyChannels);
static_assert(channelRows[0].enable != channelRows[1].enable && channelRows[0].enable != relayLow &&
                  channelRows[1].enable != relayLow,
              "two uses of a line");

struct Limits {
    double voltage; // V
    double current; // A
};
constexpr Limits limits12V{15.0, 1.5}, limits5V{5.2, 0.5};

/// Records of a channel's calibration.
enum Record : uint32_t { voltsToDac = 0, amperesToDac = 1, adcToAmperesFirst = 4, adcToAmperesSecond = 5 };

constexpr int readings = 100;

bool exists(int32_t channel) {
    return channel >= 1 && channel <= static_cast<int32_t>(supplyChannels);
}

int refusal(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    if (supply->relayOnly)
        return scpi::hardwareMissing;
    return exists(channel) ? 0 : scpi::headerSuffixOutOfRange;
}

/// Null if operations of the channel are refused.
const DutSupplyChannel* find(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    return refusal(supply, channel) == 0 ? &supply->channels[channel - 1] : nullptr;
}

uint32_t toCount(double value) {
    constexpr uint32_t countMax = 16383;
    const double rounded = value + 0.5;
    return rounded >= countMax ? countMax : rounded > 0 ? static_cast<uint32_t>(rounded) : 0;
}

/// Stores a setting and sends the count that the record makes of it.
int setQuantity(TVPN_DUT_SUPPLY* supply, int32_t channel, double DutSupplyChannel::*setting, Record record,
                double value) {
    if (const int refused = refusal(supply, channel); refused != 0)
        return refused;
    if (std::isnan(value))
        return scpi::illegalParameterValue;
    DutSupplyChannel& target = supply->channels[channel - 1];
    target.*setting = value;
    const uint32_t count = toCount(TVPN_DUT_SUPPLY_toAdcDac(&supply->calibration[channel - 1][record], value));
    if (record == amperesToDac)
        printd("TVPN_DUT_SUPPLY_setCurrent(): DAC %d\n", static_cast<int>(count));
    return AD5640_setValue(&target.dac, count);
}

int setLine(TVPN_DUT_SUPPLY* supply, uint32_t line, bool on) {
    on ? SRI_presetSetBit(&supply->shiftRegister, line) : SRI_presetClearBit(&supply->shiftRegister, line);
    return SRI_applyChanges(&supply->shiftRegister);
}

int switchOutput(TVPN_DUT_SUPPLY* supply, int32_t channel, bool on) {
    if (const int refused = refusal(supply, channel); refused != 0)
        return refused;
    supply->channels[channel - 1].enabled = on;
    return setLine(supply, channelRows[channel - 1].enable, on);
}

int setRelay(TVPN_DUT_SUPPLY* supply, bool high) {
    supply->relayState = high ? 1 : 0;
    return setLine(supply, relayLow, !high);
}

} // namespace

void TVPN_DUT_SUPPLY_init(TVPN_DUT_SUPPLY* supply, const SupplyConversion (*calibration)[supplyRecords]) {
    constexpr uint8_t linesAtStart = 0;
    *supply = {};
    supply->calibration = calibration;
    supply->relayState = 1;
    supply->relayOnly = !device_config_usesTvpnDutSupply() || device_config_isTvpnDutRelayOnly();
    SRI_init(&supply->shiftRegister, registerAddress, 0, &linesAtStart, sizeof linesAtStart);
    if (supply->relayOnly)
        return;
    const Limits& limits = device_config_isTvpnDutSupply_12V_1A() ? limits12V : limits5V;
    supply->voltageMax = limits.voltage;
    supply->currentMax = limits.current;
    for (uint32_t i = 0; i < supplyChannels; ++i) {
        AD7940_init(&supply->channels[i].adc, channelRows[i].adc, 0);
        AD5640_init(&supply->channels[i].dac, channelRows[i].dac, 0);
    }
}

int TVPN_DUT_SUPPLY_setVoltage(TVPN_DUT_SUPPLY* supply, int32_t channel, double volts) {
    return setQuantity(supply, channel, &DutSupplyChannel::voltage, voltsToDac, volts);
}

int TVPN_DUT_SUPPLY_setCurrent(TVPN_DUT_SUPPLY* supply, int32_t channel, double amperes) {
    return setQuantity(supply, channel, &DutSupplyChannel::current, amperesToDac, amperes);
}

int TVPN_DUT_SUPPLY_setVoltageDac(TVPN_DUT_SUPPLY* supply, int32_t channel, uint32_t value) {
    const int refused = refusal(supply, channel);
    return refused != 0 ? refused : AD5640_setValue(&supply->channels[channel - 1].dac, value);
}

int TVPN_DUT_SUPPLY_enable(TVPN_DUT_SUPPLY* supply, int32_t channel) {
    return switchOutput(supply, channel, true);
}

int TVPN_DUT_SUPPLY_disable(TVPN_DUT_SUPPLY* supply, int32_t channel) {
    return switchOutput(supply, channel, false);
}

int TVPN_DUT_SUPPLY_isEnabled(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    const DutSupplyChannel* found = find(supply, channel);
    return found != nullptr && found->enabled ? 1 : 0;
}

double TVPN_DUT_SUPPLY_getVoltage(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    const DutSupplyChannel* found = find(supply, channel);
    return found != nullptr ? found->voltage : 0;
}

double TVPN_DUT_SUPPLY_getCurrent(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    const DutSupplyChannel* found = find(supply, channel);
    return found != nullptr ? found->current : 0;
}

double TVPN_DUT_SUPPLY_getVoltageMin(const TVPN_DUT_SUPPLY*, int32_t) {
    return 0;
}

double TVPN_DUT_SUPPLY_getVoltageMax(const TVPN_DUT_SUPPLY* supply, int32_t) {
    return supply->voltageMax;
}

double TVPN_DUT_SUPPLY_getCurrentMin(const TVPN_DUT_SUPPLY*, int32_t) {
    return 0;
}

double TVPN_DUT_SUPPLY_getCurrentMax(const TVPN_DUT_SUPPLY* supply, int32_t) {
    return supply->currentMax;
}

double TVPN_DUT_SUPPLY_getCurrentAdc(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    const DutSupplyChannel* found = find(supply, channel);
    if (found == nullptr)
        return 0;
    std::ignore = AD7940_getValue(&found->adc); // a reading tells what the converter saw at the one before
    float sum = 0;
    for (int i = 0; i < readings; ++i)
        sum += static_cast<float>(AD7940_getValue(&found->adc));
    return static_cast<double>(sum / readings);
}

double TVPN_DUT_SUPPLY_measureCurrent(const TVPN_DUT_SUPPLY* supply, int32_t channel) {
    if (refusal(supply, channel) != 0)
        return 0;
    const double count = TVPN_DUT_SUPPLY_getCurrentAdc(supply, channel);
    const double amperes = TVPN_DUT_SUPPY_currentFromAdc(supply, channel, count);
    return amperes > 0 ? amperes : 0;
}

double TVPN_DUT_SUPPY_currentFromAdc(const TVPN_DUT_SUPPLY* supply, int32_t channel, double count) {
    const DutSupplyChannel* found = find(supply, channel);
    if (found == nullptr)
        return 0;
    const SupplyConversion* records = supply->calibration[channel - 1];
    const SupplyConversion &first = records[adcToAmperesFirst], &second = records[adcToAmperesSecond];
    return calibration_line(first.tag, TVPN_DUT_SUPPLY_fromAdcDac(&first, count), second.tag,
                            TVPN_DUT_SUPPLY_fromAdcDac(&second, count), found->voltage);
}

uint32_t TVPN_DUT_SUPPLY_readDutRelay(const TVPN_DUT_SUPPLY* supply) {
    return supply->relayState;
}

int TVPN_DUT_SUPPLY_setDutRelayLow(TVPN_DUT_SUPPLY* supply) {
    return setRelay(supply, false);
}

int TVPN_DUT_SUPPLY_setDutRelayHigh(TVPN_DUT_SUPPLY* supply) {
    return setRelay(supply, true);
}

double TVPN_DUT_SUPPLY_toAdcDac(const SupplyConversion* record, double x) {
    return calibration_line(record->x0, record->y0, record->x1, record->y1, x);
}

float TVPN_DUT_SUPPLY_fromAdcDac(const SupplyConversion* record, double y) {
    return static_cast<float>(calibration_line(record->y0, record->x0, record->y1, record->x1, y));
}

void TVPN_DUT_SUPPLY_printInfo(const TVPN_DUT_SUPPLY* supply) {
    printf("TVPN_DUT_SUPPLY\n\trelay only: %d\n\trelay: %u\n\tup to: %.1f V, %.1f A\n", supply->relayOnly ? 1 : 0,
           supply->relayState, supply->voltageMax, supply->currentMax);
    SRI_printInfo(&supply->shiftRegister);
    if (supply->relayOnly)
        return;
    for (const DutSupplyChannel& channel : supply->channels) {
        AD7940_printInfo(&channel.adc);
        AD5640_printInfo(&channel.dac);
    }
}
