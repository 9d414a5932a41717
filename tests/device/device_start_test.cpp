// The start of each kind of unit, board by board, and what it leaves.
#include "boards/tvcont.h"
#include "device_table/status_registers.h"
#include "tests/device/recording_bus.h"
#include "virtual/platform/clock.h"

namespace {

RecordingBus* bus;
std::string before; // the measurement
int measurements;

int startMeasurement(Device*) {
    before = bus->taken();
    ++measurements;
    return 0;
}

/// Without the I/O updates between.
std::string boardsOf(const std::string& letters) {
    std::string boards;
    for (const char letter : letters)
        if (letter != 'u' && (boards.empty() || boards.back() != letter))
            boards += letter;
    return boards;
}

} // namespace

// Which boards are spoken to before the measurement starts, and from the first carrier up to the self test.
TEST(DeviceStart, SpeaksToTheBoardsInItsOrder) {
    const struct {
        const char *serial, *before, *carrier;
    } units[] = {
        {"000-000000000-0000", "CABFSC", "ABA"},
        {"220-332306710-0001", "CABabFSC", "ABbabA"}, // the first pair: B is tuned while RF is off
        {"220-333305510-0001", "CAB6FSC", "AB6BA6"},  // the double source board
        {"220-334306810-0001", "CABabFSC", "SBAab"},  // the paths stand, the relay moves
        {"220-336306910-0001", "CABabFSC", "SBAab"},
        {"220-346506910-0001", "CABabFSC", "SBAab"}, // relay only, option FS
    };
    for (const auto& [serial, boards, carrier] : units) {
        RecordingBus recording;
        bus = &recording;
        measurements = 0;
        const Device* const device = start(serial, startMeasurement);
        EXPECT_EQ(measurements, 1);
        EXPECT_EQ(boardsOf(before), boards) << serial;
        const std::string after = recording.taken();
        EXPECT_EQ(boardsOf(after.substr(0, after.find('F'))), carrier) << serial;
        EXPECT_EQ(device->selectedAlg, &device->algA);
        EXPECT_EQ(device->frequency, (tvfreq{100'000'000, 0}));
        EXPECT_TRUE(device->lowPath == 1 && device->rfEnabled == 0) << serial;
    }
}

TEST(DeviceStart, TheRecordKnowsItsModel) {
    const struct {
        const char* serial;
        const char* name;
        int64_t frequencyMax_Hz;
        bool internalReference;
        uint32_t algVersion, threshold_MHz;
    } models[] = {{"220-336306910-0001", "TVPNX", 29'500'000'000, true, TVPNX_ALG_2D, 2500},
                  {"240-335306510-0001", "TVPNM", 7'000'000'000, true, TVPNX_ALG_2C, 2030},
                  {"020-333306510-0001", "TVPNX", 29'500'000'000, false, TVPNX_ALG_2A, 1990},
                  {"220-336306510-0001", "TVPNX", 29'500'000'000, true, TVPNX_ALG_2D, 990},
                  {"220-332306710-0001", "TVPNX", 29'500'000'000, true, TVPNX_ALG_1C, 1990},
                  {"020-332306710-0001", "TVPNX", 29'500'000'000, false, TVPNX_ALG_1C, 0}};
    RecordingBus recording;
    for (const auto& [serial, name, frequencyMax_Hz, internalReference, algVersion, threshold_MHz] : models) {
        Device* const device = start(serial);
        EXPECT_STREQ(Device_getName(device), name) << serial;
        EXPECT_EQ(Device_getFrequencyMin(device)->intPart, 1'000'000);
        EXPECT_EQ(Device_getFrequencyMax(device)->intPart, frequencyMax_Hz) << serial;
        EXPECT_EQ(Device_isReferenceSourceInternal(device), internalReference) << serial;
        EXPECT_TRUE(device->algA.algVersion == algVersion && device->algB.algVersion == algVersion) << serial;
        EXPECT_EQ(device->algB.prescalerThreshold, threshold_MHz) << serial;
        EXPECT_EQ(Device_getDivThresFrequency(device), threshold_MHz) << serial;
    }
}
