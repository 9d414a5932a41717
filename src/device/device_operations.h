#pragma once
/// The groups of operations, each of which fills its slots, and what the start shares with them.

struct Device;

void device_registerIdentity();    // name, registers, selection, carrier limits
void device_registerController();  // pointers to the controller board, its temperature
void device_registerFrequency();   // carrier of both channels, tuning words
void device_registerRf();          // RF output
void device_registerPaths();       // DUT and IF path, gain, attenuation, prescaler
void device_registerLoop();        // loop modes, filter, tune voltages
void device_registerReferences();  // internal and external references
void device_registerSensitivity(); // of the sources
void device_registerLevels();      // level readings
void device_registerCounter();     // frequency counting
void device_registerSearch();      // counting an unknown carrier
void device_registerSupply();      // DUT supply
void device_registerCalibration(); // factory data
void device_registerSelftest();    // self test, reports, service

/// Repeats the self test while it fails, 40 times at most, 0.5 s apart: after power-on hardware may take its time.
/// Returns the last result.
[[nodiscard]] int device_initialSelftest(Device* device);
