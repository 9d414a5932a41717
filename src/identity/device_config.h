#pragma once
/// Who this instrument is: serial number and the hardware that it stands for, name, firmware version, network settings,
/// and the small files that outlive a restart.

#include "identity/device_config_files.h"
#include "identity/device_config_lan.h"
#include "identity/device_config_model.h"
#include "identity/device_config_sn.h"
#include "identity/device_variants.h"

#include <atomic>
#include <cstdint>

/// 0 during start-up, 1 once the instrument is running.
inline std::atomic<int32_t> device_config_reset_cause{0};

/// Non-zero while the identity has not been read, and after that while a firmware update is unfinished.
inline int32_t device_config_fwStatus = 1;

inline constexpr char device_config_fwversion[] = "0.4.92";

/// Reads the identity: serial number, model name extension, state of a firmware update. Runs once, on the main thread,
/// before any predicate of device_variants.h is asked.
void device_config_init();

/// Finishes or undoes what a killed process has left half written, and closes the protection that it left open. Once,
/// at start.
void device_config_finishInterruptedWrites();

/// Version text; "0.0.1" while device_config_fwStatus is non-zero.
[[nodiscard]] const char* device_config_getFWVersion();

inline constexpr int optionsTextSize = 8;

/// The answer of *OPT?, installed options by comma, "0" first. `buffer` has optionsTextSize bytes.
void device_config_getOptionsString(char* buffer);
