#pragma once
/// Stored settings: files "/tolvane/cust/sav<number>" of commands that the parser runs again. All on the main thread,
/// inside a service pass. Numbers from 0 to 999, else -113.

#include <cstdint>

struct scpi_link;

/// Asks the parser for each setting in the device's list and writes `:<path> <value>` lines. -113 if the device has no
/// list, -200 if the file cannot be written (the old one stays).
int32_t scpi_storeDeviceSettings(scpi_link* link, int32_t number);
/// Runs the file's lines on link_file, whatever link the command came from; errors in it are dropped. A missing file is
/// no fault. -200 for a recall from within a recalled file.
int32_t scpi_recallDeviceSettings(scpi_link* link, int32_t number);
/// A missing file is no fault. -200 if the file cannot be removed.
int32_t scpi_deleteDeviceSettings(scpi_link* link, int32_t number);
