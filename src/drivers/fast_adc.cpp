#include "drivers/fast_adc.h"

#include "base/error_codes.h"
#include "drivers/register_fields.h"
#include "drivers/tvspi.h"

#include <cstdio>

namespace {

enum Register : uint16_t { portConfiguration = 0, testRegister = 13, outputRegister = 20, transfer = 255 };
constexpr Field format{outputRegister, 0, 2};
constexpr Field invert{outputRegister, 2, 1};
constexpr Field disable{outputRegister, 4, 1};
constexpr Field lvds{outputRegister, 6, 1};
constexpr Field test{testRegister, 0, 3};
static_assert(fieldsFit({format, invert, disable, lvds, test}, 8));
static_assert(field_max(test) == fastAdc_testModeMax);

// Both halves of the register mirror each other: it reads the same whichever bit order the port is in.
constexpr uint32_t resetPort = 60;
constexpr uint32_t startPort = 24;
constexpr uint32_t reset_us = 1000;

int writeAndTransfer(const FastAdc* adc, const char* chipName, uint32_t number, uint32_t value) {
    return chip_firstFailure({fastAdc_writeRegister(adc, chipName, number, value), fastAdc_transfer(adc, chipName)});
}

int setOutputMode(FastAdc* adc, const char* chipName, const Field& field, uint32_t value) {
    adc->outputMode = field_put(adc->outputMode, field, value);
    return writeAndTransfer(adc, chipName, outputRegister, adc->outputMode);
}

} // namespace

int fastAdc_writeRegister(const FastAdc* adc, const char* chipName, uint32_t number, uint32_t value) {
    return chip_send(&adc->bus, chipName, number << 8 | (value & 0xFF), 3);
}

int fastAdc_transfer(const FastAdc* adc, const char* chipName) {
    return fastAdc_writeRegister(adc, chipName, transfer, 1);
}

int fastAdc_softReset(const FastAdc* adc, const char* chipName) {
    const int result = chip_firstFailure({fastAdc_writeRegister(adc, chipName, portConfiguration, resetPort),
                                          fastAdc_writeRegister(adc, chipName, portConfiguration, startPort)});
    tvstuff_delay_us_spi(reset_us);
    return result;
}

int fastAdc_setLvds(FastAdc* adc, const char* chipName) {
    return setOutputMode(adc, chipName, lvds, 1);
}

int fastAdc_setFormat(FastAdc* adc, const char* chipName, FastAdcFormat value) {
    adc->outputMode = field_put(field_put(adc->outputMode, invert, 0), disable, 0);
    return setOutputMode(adc, chipName, format, static_cast<uint32_t>(value));
}

int fastAdc_setInvert(FastAdc* adc, const char* chipName) {
    return setOutputMode(adc, chipName, invert, 1);
}

int fastAdc_setDisable(FastAdc* adc, const char* chipName) {
    return setOutputMode(adc, chipName, disable, 1);
}

int fastAdc_setTestMode(FastAdc* adc, const char* chipName, uint32_t mode) {
    if (mode > fastAdc_testModeMax)
        return scpi::illegalParameterValue;
    adc->testMode = field_put(adc->testMode, test, mode);
    return writeAndTransfer(adc, chipName, testRegister, adc->testMode);
}

void fastAdc_printInfo(const FastAdc* adc, const char* chipName) {
    chip_printInfo(&adc->bus, chipName);
    printf("\toutput mode: 0x%02X\n\ttest mode: %u\n", adc->outputMode, adc->testMode);
}
