#pragma once
/// Which hardware the unit is built of. There is no probing: each question is asked of one character of the serial
/// number. Valid once device_config_init has run.

#include "identity/device_config_sn.h"

#include <atomic>
#include <string_view>

namespace variant {

/// Positions in the serial number, hyphens counted. Those left out say nothing about this instrument.
enum Position {
    generation = 0,
    model = 1,
    frontPanel = 4,
    controller = 5,
    analogBoard = 6,
    dutSupply = 7,
    acquisition = 9,
    sourceBoard = 10,
    gpib = 11,
    analogModification = 12,
};

inline char at(Position position) {
    return std::atomic_ref<char>(device_config_sn[position]).load(std::memory_order_relaxed);
}
/// True if the character is one of `characters`.
inline bool is(Position position, std::string_view characters) {
    return characters.find(at(position)) != std::string_view::npos;
}
/// True if the code of the character is above that of `limit`.
inline bool above(Position position, char limit) {
    return static_cast<unsigned char>(at(position)) > static_cast<unsigned char>(limit);
}

/// The same, but only units of these generations can have it.
inline bool isGated(Position position, std::string_view characters) {
    return is(generation, "25") && is(position, characters);
}

} // namespace variant

// clang-format off

// Model.
inline bool device_config_isTVPNL()       { return variant::is(variant::model, "1"); }
inline bool device_config_isTVPNLFamily() { return device_config_isTVPNL(); }
inline bool device_config_isTVPNY()       { return device_config_isTVPNL(); }
inline bool device_config_isTVPNX()       { return variant::is(variant::model, "2"); }
inline bool device_config_isTVPNM()       { return variant::is(variant::model, "4"); }
inline bool device_config_isTVPNXFamily() { return variant::is(variant::model, "24"); }

// Front panel.
inline bool device_config_usesFpHcAt91()  { return variant::is(variant::frontPanel, "2"); }
inline bool device_config_usesFpAt91()    { return device_config_usesFpHcAt91(); }
inline bool device_config_usesFpTpStm()   { return variant::is(variant::frontPanel, "3"); }
inline bool device_config_usesFpHcStm()   { return variant::is(variant::frontPanel, "4"); }
inline bool device_config_usesFpStm()     { return variant::is(variant::frontPanel, "34"); }
inline bool device_config_usesFp()        { return variant::is(variant::frontPanel, "234"); }

// Controller board.
inline bool device_config_usesTvcont_1EorNewer() { return variant::above(variant::controller, '1'); }
inline bool device_config_usesTvcont_1ForNewer() { return variant::above(variant::controller, '2'); }
inline bool device_config_usesOptionFs()         { return variant::is(variant::controller, "4"); }

// Analog board.
inline bool device_config_usesTVPNX_ALG_1B()   { return variant::is(variant::analogBoard, "1"); }
inline bool device_config_usesTVPNX_ALG_TO1B() { return device_config_usesTVPNX_ALG_1B(); }
inline bool device_config_usesTVPNX_ALG_1C()   { return variant::is(variant::analogBoard, "2"); }
inline bool device_config_usesTVPNX_ALG_1Cf()  { return false; } // nothing in a serial number tells it from a 1C
inline bool device_config_usesTVPNX_ALG_2A()   { return variant::is(variant::analogBoard, "3"); }
inline bool device_config_usesTVPNX_ALG_2B()   { return variant::is(variant::analogBoard, "4"); }
inline bool device_config_usesTVPNX_ALG_2C()   { return variant::is(variant::analogBoard, "5"); }
inline bool device_config_usesTVPNX_ALG_2D()   { return variant::is(variant::analogBoard, "6"); }
/// Of the boards 2B to 2D.
inline bool device_config_isAnalog2BCDModified() { return variant::isGated(variant::analogModification, "1"); }

// DUT supply.
inline bool device_config_usesTvpnDutSupply()       { return variant::above(variant::dutSupply, '1'); }
inline bool device_config_isTvpnDutSupply_5V_0A15() { return variant::is(variant::dutSupply, "2"); }
inline bool device_config_isTvpnDutSupply_12V_1A()  { return variant::is(variant::dutSupply, "3"); }
inline bool device_config_isTvpnDutRelayOnly()      { return variant::is(variant::dutSupply, "5"); }

// Acquisition board.
inline bool device_config_usesTVPN_ADFPGA_1B()      { return variant::is(variant::acquisition, "2"); }
inline bool device_config_usesTVPN_ADFPGA_1C_FVST() { return variant::above(variant::acquisition, '2'); }
inline bool device_config_usesTVPN_ADFPGA_1D()      { return variant::is(variant::acquisition, "4"); }
inline bool device_config_usesTVPN_ADFPGA_1E()      { return variant::is(variant::acquisition, "5"); }
inline bool device_config_usesTVPN_ADFPGA_2A()      { return variant::is(variant::acquisition, "6"); }
inline bool device_config_usesBattery()             { return !variant::is(variant::acquisition, "0"); }

// Internal source boards.
inline bool device_config_usesTVPN_IS6G()  { return variant::is(variant::sourceBoard, "5"); }
inline bool device_config_usesTVPN_IS()    { return variant::isGated(variant::sourceBoard, "7"); }
inline bool device_config_usesTVPN_IS_2A() { return variant::isGated(variant::sourceBoard, "8"); }
inline bool device_config_usesTVPN_IS_2B() { return variant::isGated(variant::sourceBoard, "9"); }
inline bool device_config_usesTVPN_IS_2()  { return variant::isGated(variant::sourceBoard, "89"); }
inline bool device_config_hasInternalRef() {
    return variant::is(variant::generation, "25") && !variant::is(variant::sourceBoard, "0");
}
inline bool device_config_usesPE3()        { return variant::is(variant::sourceBoard, "3"); }
inline bool device_config_usesPE4()        { return variant::is(variant::sourceBoard, "4"); }
inline bool device_config_usesPE5()        { return variant::is(variant::sourceBoard, "57"); }

// Options.
inline bool device_config_usesGPIB() { return variant::above(variant::gpib, '0'); }

// clang-format on
