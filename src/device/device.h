#pragma once
/// The instrument as one record, and its start.

#include "base/shared.h"
#include "boards/tvpn_dut_supply.h"
#include "boards/tvpn_is.h"
#include "boards/tvpn_is6g.h"
#include "boards/tvpnx_alg.h"
#include "calibration/calibration.h"
#include "device_table/status_registers.h"
#include "numeric/tvtypes.h"

#include <cstdint>

struct TVCONT;
struct TVPN_ADFPGA;

/// There is one, made at start and never freed. Operations take no lock: the channel selection is shared state, and
/// callers keep two threads from running device operations at once.
///
/// The selection is four members that change together; a client's query may look at one while a run moves it.
/// Operations that reach both channels act with B selected, then with A, and leave A selected.
struct Device {
    CalibrationTVPN calibration;
    TVCONT* tvcont; // controller board, which also has the function output
    Shared<TVPNX_ALG*> selectedAlg;
    TVPNX_ALG algA, algB;
    TVPN_IS6G* is6g;                  // the double source board, or null
    Shared<uint32_t> selectedChannel; // of it: 0 A, 1 B, 2 both (during the start only)
    Shared<TVPN_IS*> selectedIs;      // the source board of the channel, or null
    TVPN_IS *isA, *isB;               // the two source boards, or null
    TVPN_IS isBoardA, isBoardB;
    TVPN_IS6G isDoubleBoard;
    TVPN_ADFPGA* adfpga;            // acquisition board
    Shared<uint32_t> selectedBoard; // 0 A, 1 B
    TVPN_DUT_SUPPLY dutSupply;
    DeviceStatusRegisters statusRegisters;
    tvfreq frequency; // carrier in force, also the last measured one
    tvfreq frequencyMax;
    tvfreq frequencyMin;
    tvfreq frequencyMeasured;        // scratch of measureFrequency
    uint32_t counterDivider;         // from the input to the frequency counter; valid while the counter is on
    int32_t lastCounterRatio;        // in front of the counter, of the last search of a 2D unit that succeeded
    tvpow dutPower, refPower;        // last level readings, dBm
    tvpow rawPower;                  // the detector's last reading, ADC counts
    uint32_t divThresFrequency;      // MHz: the analog boards' prescaler and the source boards' reference go by it
    uint32_t loopMode;               // last one given to selectPnLoopMode
    int32_t rfEnabled;               // the RF output is on
    int32_t referenceInternal;       // the reference source is the internal one
    int32_t referenceExternalDirect; // an external one without amplifier and attenuator
    int32_t lowPath;                 // the DUT path in force is the direct one
    int16_t selftestResult;          // last code, 0 for good
};

/// Clears the record, names its boards and returns it.
[[nodiscard]] Device* Device_create();

/// What the start calls when the hardware stands: the measurement, which lies above. Returns 0 or a negative number.
using DeviceMeasurementStart = int (*)(Device* device);

/// Fills the slots, sets the defaults, starts the boards and the measurement and brings the instrument to its first
/// carrier. Runs once, on the main thread, after device_config_init and tvspiOpen, before the first command. Returns
/// the result of the self test, 0 for good; a failing one does not stop the start, nor does a measurement that cannot
/// start.
[[nodiscard]] int Device_init(Device* device, DeviceMeasurementStart startMeasurement);

/// Carrier 100 MHz, RF off, channel A, limits and name of the model. The analog boards' revision must be known.
void Device_setDefaults(Device* device);

/// Fills the slots of the device's operations, whatever stood there.
void registerDeviceFunctions();

/// Select a channel: board number, analog board, source board.
void device_selectA(Device* device);
void device_selectB(Device* device);
