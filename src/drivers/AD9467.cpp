#include "drivers/AD9467.h"

namespace {

constexpr char name[] = "AD9467";
constexpr uint32_t outputModeStart = 0x08; // low-voltage outputs, offset binary

constexpr uint32_t outputAdjust = 21;
constexpr uint32_t outputCurrent = 15;
constexpr uint32_t analogInput = 44;
constexpr uint32_t directCoupled = 4;

} // namespace

void AD9467_init(AD9467* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->adc.bus, "AD9467 ADC", address, board, 0);
    chip_carryOn(AD9467_softReset(chip));
    chip_carryOn(fastAdc_writeRegister(&chip->adc, name, outputAdjust, outputCurrent));
    chip_carryOn(fastAdc_writeRegister(&chip->adc, name, analogInput, directCoupled));
    chip_carryOn(fastAdc_transfer(&chip->adc, name));
}

int AD9467_softReset(AD9467* chip) {
    chip->adc.outputMode = outputModeStart;
    chip->adc.testMode = fastAdc_testOff;
    return fastAdc_softReset(&chip->adc, name);
}

int AD9467_setOutputModeOffsetBinary(AD9467* chip) {
    return fastAdc_setFormat(&chip->adc, name, FastAdcFormat::offsetBinary);
}

int AD9467_setOutputMode2Complement(AD9467* chip) {
    return fastAdc_setFormat(&chip->adc, name, FastAdcFormat::twosComplement);
}

int AD9467_setOutputModeInvert(AD9467* chip) {
    return fastAdc_setInvert(&chip->adc, name);
}

int AD9467_setOutputModeDisable(AD9467* chip) {
    return fastAdc_setDisable(&chip->adc, name);
}

int AD9467_setTestMode(AD9467* chip, uint32_t mode) {
    return fastAdc_setTestMode(&chip->adc, name, mode);
}

void AD9467_printErrMsg(const AD9467* chip, const char* what) {
    chip_printErrMsg(&chip->adc.bus, name, what);
}

void AD9467_printInfo(const AD9467* chip) {
    fastAdc_printInfo(&chip->adc, name);
}
