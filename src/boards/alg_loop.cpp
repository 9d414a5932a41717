// The loop filter and its supplies.

#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "boards/alg_lines.h"

#include <cmath>
#include <cstdio>

namespace {

constexpr uint32_t ohmMin = 120, ohmMax = 100'000;
constexpr double wiperSteps = 1024;
constexpr double acquisitionSupply_V = 5;

constexpr double supplyMin_V = 3, supplyMax_V = 20;
// The supply's regulator: its output over this voltage, with 6800 ohm to ground and 10000 ohm before the resistor chip.
constexpr double supplyReference_V = 1.189, supplyLower_ohm = 6800, supplyUpper_ohm = 10000;

/// Closed switches by number.
consteval AlgPattern switches(std::string_view values) {
    return alg_pattern({LP_C_SW_IN1_BIT, LP_C_SW_IN2_BIT, LP_C_SW_IN3_BIT, LP_C_SW_IN4_BIT}, values);
}
constexpr AlgPattern capacitors[] = {switches("1111"), switches("1011"), switches("1101"), switches("1110"),
                                     switches("0111")};

uint32_t limited(double ohm) {
    return ohm >= ohmMin ? alg_word(ohm, ohmMax) : ohmMin;
}

/// `volt` of `supply_V` between the chip's ends, terminal B at the supply.
int setDriver(AD5293* chip, double volt, double supply_V) {
    if (std::isnan(volt))
        return scpi::illegalParameterValue;
    chip_carryOn(
        AD5293_setWiper(chip, alg_word(wiperSteps - wiperSteps * volt / supply_V, static_cast<uint32_t>(wiperSteps))));
    return 0;
}

} // namespace

int TVPNX_ALG_setLoopFilterR1(TVPNX_ALG* board, double ohm) {
    if (ohm > ohmMax) {
        printd("TVPNX_ALG: R1 resistance R1 is out of range\n");
        return scpi::illegalParameterValue;
    }
    board->r1 = limited(ohm);
    chip_carryOn(AD5293_setWAResistance(&board->loopR1, board->r1));
    return 0;
}

int TVPNX_ALG_setLoopFilterR2(TVPNX_ALG* board, double ohm) {
    board->r2 = limited(ohm);
    chip_carryOn(AD5293_setWAResistance(&board->loopR2, board->r2));
    return 0;
}

int TVPNX_ALG_setLoopFilterR3(TVPNX_ALG* board, double ohm) {
    chip_carryOn(AD5293_setWAResistance(&board->loopR3, limited(ohm)));
    return 0;
}

int TVPNX_ALG_setLoopFilterCapArray(TVPNX_ALG* board, uint32_t number) {
    if (number >= std::size(capacitors)) {
        printd("TVPNX_ALG: unknown capacitor number\n");
        return scpi::illegalParameterValue;
    }
    board->capacitor = number;
    alg_apply(board, capacitors[number]);
    return 0;
}

int TVPNX_ALG_getLoopCListStr(const TVPNX_ALG* board, char* text) {
    const double* c = board->loopC;
    snprintf(text, TVPNX_ALG_listTextSize, "%.9f,%.9f,%.9f,%.9f", c[0], c[1], c[2], c[3]);
    return 0;
}

int TVPNX_ALG_setAcquisitionDriverVout(TVPNX_ALG* board, double volt) {
    return setDriver(&board->acquisitionDriver, volt, acquisitionSupply_V);
}

int TVPNX_ALG_setAcquisitionShutdownMode(TVPNX_ALG* board) {
    chip_carryOn(AD5293_setShutdownMode(&board->loopR3));
    return 0;
}

int TVPNX_ALG_setAcquisitionNormalMode(TVPNX_ALG* board) {
    chip_carryOn(AD5293_setNormalMode(&board->loopR3));
    return 0;
}

int TVPNX_ALG_setCalibrationDriverVout(TVPNX_ALG* board, double volt) {
    return setDriver(&board->calibrationDriver, volt, board->loopSupplyVoltage);
}

int TVPNX_ALG_setLoopSupplyVoltage(TVPNX_ALG* board, double volt) {
    if (!(volt >= supplyMin_V && volt <= supplyMax_V)) {
        printd("TVPNX_ALG: loop supply voltage is out of range\n");
        return scpi::illegalParameterValue;
    }
    board->loopSupplyVoltage = volt;
    const double ohm = (volt / supplyReference_V - 1) * supplyLower_ohm - supplyUpper_ohm;
    chip_carryOn(AD5293_setWBResistance(&board->loopSupply, alg_word(ohm, ohmMax)));
    return 0;
}
