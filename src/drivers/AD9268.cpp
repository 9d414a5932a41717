#include "drivers/AD9268.h"

namespace {

constexpr char name[] = "AD9268";
constexpr uint32_t outputModeStart = 0; // CMOS, offset binary

} // namespace

void AD9268_init(AD9268* chip, uint32_t address, uint32_t board) {
    *chip = {};
    chip_attach(&chip->adc.bus, "AD9268 ADC", address, board, 0);
    chip_carryOn(AD9268_softReset(chip));
}

int AD9268_softReset(AD9268* chip) {
    chip->adc.outputMode = outputModeStart;
    chip->adc.testMode = fastAdc_testOff;
    return fastAdc_softReset(&chip->adc, name);
}

int AD9268_setOutputTypeLvds(AD9268* chip) {
    return fastAdc_setLvds(&chip->adc, name);
}

int AD9268_setOutputModeOffsetBinary(AD9268* chip) {
    return fastAdc_setFormat(&chip->adc, name, FastAdcFormat::offsetBinary);
}

int AD9268_setOutputMode2Complement(AD9268* chip) {
    return fastAdc_setFormat(&chip->adc, name, FastAdcFormat::twosComplement);
}

int AD9268_setOutputModeInvert(AD9268* chip) {
    return fastAdc_setInvert(&chip->adc, name);
}

int AD9268_setOutputModeDisable(AD9268* chip) {
    return fastAdc_setDisable(&chip->adc, name);
}

int AD9268_setTestMode(AD9268* chip, uint32_t mode) {
    return fastAdc_setTestMode(&chip->adc, name, mode);
}

void AD9268_printErrMsg(const AD9268* chip, const char* what) {
    chip_printErrMsg(&chip->adc.bus, name, what);
}

void AD9268_printInfo(const AD9268* chip) {
    fastAdc_printInfo(&chip->adc, name);
}
