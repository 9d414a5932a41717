#pragma once
/// Command forms of an older host tool, which works on the TCP link: a prefix and the rest of the unit.

#include "scpi/command_tree.h"

namespace scpi {

/// What these forms need of the layers above the command tree. Start-up sets the entries before the first link is
/// served; one that is null leaves its commands absent.
struct OldFormServices {
    void (*exitProcess)() = nullptr;                // ends the process; does not return
    int (*sendFile)(const char* path) = nullptr;    // to the client of link_socket; 0 or an error code
    int (*receiveFile)(const char* path) = nullptr; // from the client of link_socket; 0 or an error code
};
inline OldFormServices oldFormServices;

void old_exit(Unit& unit, char* rest);
void old_rfState(Unit& unit, char* rest);
void old_temperature(Unit& unit, char* rest);
void old_attenuation(Unit& unit, char* rest);
void old_modulationDacs(Unit& unit, char* rest);
void old_levelCorrection(Unit& unit, char* rest);
void old_sendCalibration(Unit& unit, char* rest);
void old_receiveCalibration(Unit& unit, char* rest);

inline constexpr OldRow oldRows[] = {
    {"EXIT", old_exit, "", "End the process"},
    {"mrf/", old_rfState, "", "Answers rf on or rf off"},
    {"mt/", old_temperature, "", "Answers temp_celsius= and the temperature of the controller board"},
    {"ta=", old_attenuation, "<steps>", "Input attenuation in steps of 0.5 dB"},
    {"tax=", old_attenuation, "<steps>[?<n>[?<n>]]", "The same; the other numbers are ignored"},
    {"fmpmset/", old_modulationDacs, "", "Answers LFO DAC: 0, FM/PM DAC: 0"},
    {"alccorr=", old_levelCorrection, "<any>", "No effect"},
    {"tcg/", old_sendCalibration, "", "TCP link only: sends the calibration table"},
    {"tcs/", old_receiveCalibration, "",
     "TCP link only: receives the calibration table and loads it; answers calibration loaded or calibration failed"},
};

} // namespace scpi
