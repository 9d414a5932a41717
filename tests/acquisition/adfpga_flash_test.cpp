/// The flash that the FPGA boots from, on both generations: images written, checked, spoiled and cut off.

#include "acquisition/adfpga_flash.h"
#include "acquisition/adfpga_link.h"
#include "drivers/tvspi.h"
#include "tests/virtual/known_source.h"
#include "virtual/acquisition/acquisition_board.h"
#include "virtual/acquisition/fpga_images.h"
#include "virtual/platform/clock.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vi;

namespace {

constexpr int executionError = -200, illegalParameter = -224;

/// A board and its driver, with the start's own memory, once in a process.
struct FlashUnit {
    explicit FlashUnit(FpgaGeneration which) : generation(which), board(bus, {which, true}, source, 1) {
        connect();
        TVPN_ADFPGA_init(&driver, which == FpgaGeneration::second ? 3 : 2);
    }
    void connect() {
        rtdm_register("tvko", &bus);
        rtdm_register(sampleStream_deviceName, &board.stream());
        ASSERT_EQ(tvspiOpen(), 0);
    }
    /// The FPGA has booted.
    bool answers() {
        std::array<char, 16> text{};
        return TVPN_ADFPGA_sendFpga(&driver, "ping") == 0 && TVPN_ADFPGA_receiveFpga(&driver, text.data(), 6, 1) == 0 &&
               text.data() == std::string("*pong");
    }

    const FpgaGeneration generation;
    SpiBus bus;
    KnownSource source;
    AcquisitionBoard board;
    TVPN_ADFPGA driver;
};

class FlashTest : public ::testing::TestWithParam<FpgaGeneration> {
protected:
    FlashTest() {
        unit.connect();
        std::filesystem::create_directories(folder);
        put(config, fpgaImages_ofFactory(unit.generation).configuration);
        put(firmware, fpgaImages_ofFactory(unit.generation).firmware);
    }
    ~FlashTest() override {
        unit.bus.intercept({});
        flash().setStuckBusy(false);
        flash().spoilPrograms(0, 0);
        EXPECT_EQ(unit.bus.faultTexts(), "");
        tvspiClose();
        std::filesystem::remove_all(folder);
    }

    static FlashUnit& unitOf(FpgaGeneration generation) {
        static FlashUnit first(FpgaGeneration::first), second(FpgaGeneration::second);
        return generation == FpgaGeneration::first ? first : second;
    }
    static void put(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
    static std::string bytes(size_t count) {
        std::string text(count, '\0');
        for (size_t i = 0; i < count; ++i)
            text[i] = static_cast<char>(i * 131 + i / 253);
        return text;
    }
    SerialFlash& flash() { return unit.board.flash(); }
    std::string held(size_t at, size_t count) {
        std::string text;
        for (size_t i = 0; i < count; ++i)
            text += static_cast<char>(flash().cells().read(at + i));
        return text;
    }
    int update() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = TVPN_ADFPGA_updateFpgaConfig(&unit.driver, config.c_str(), firmware.c_str());
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        return status;
    }
    int check() {
        testing::internal::CaptureStderr();
        const int status = TVPN_ADFPGA_checkFpgaConfig(&unit.driver, config.c_str(), firmware.c_str());
        errors = testing::internal::GetCapturedStderr();
        return status;
    }
    [[nodiscard]] bool second() const { return unit.generation == FpgaGeneration::second; }

    const std::string folder = testing::TempDir() + "flash" + std::to_string(getpid());
    const std::string config = folder + "/fpga_config.bin", firmware = folder + "/adfpga.srec";
    FlashUnit& unit = unitOf(GetParam());
    std::string output, errors;
};

TEST_P(FlashTest, ImagesOfAnUpdateAreHeldCheckedAndBootedFrom) {
    ASSERT_TRUE(unit.answers());
    put(config, bytes(70'000));
    EXPECT_EQ(update(), 0);
    const std::string name = second() ? "TVPN_ADFPGA_2_updateFpgaConfig()" : "TVPN_ADFPGA_updateFpgaConfig()";
    EXPECT_EQ(output, name + ": Erase FPGA config flash\n" + name + ": Write FPGA config flash (FPGA)\n        (file " +
                          config + ")\n" + name + ": Write FPGA config flash (Soft core firmware)\n        (file " +
                          firmware + ")\n" + name + ": Check FPGA config flash (FPGA)\n" + name +
                          ": Check FPGA config flash (Soft core firmware)\n" + name + ": Reset FPGA\n");
    EXPECT_EQ(held(0, 70'000), bytes(70'000));
    EXPECT_EQ(held(second() ? 0x1300000 : 0x410000, 20), fpgaImages_ofFactory(unit.generation).firmware.substr(0, 20));
    EXPECT_EQ(check(), 0);
    EXPECT_FALSE(unit.answers()) << "of any bytes no FPGA boots";

    put(firmware, "S0");
    EXPECT_EQ(check(), 0) << "the flash begins with the file";
    put(firmware, "other");
    EXPECT_EQ(check(), executionError);
    EXPECT_NE(errors.find(second() ? "S25FL_compareBinary(): invalid data in chunk starting at address 0x1300000\n"
                                   : "W25Q_compareBinary(): invalid data at sector 0x410000\n"),
              std::string::npos)
        << errors;

    put(config, fpgaImages_ofFactory(unit.generation).configuration);
    put(firmware, fpgaImages_ofFactory(unit.generation).firmware);
    EXPECT_EQ(update(), 0);
    EXPECT_TRUE(unit.answers());
}

TEST_P(FlashTest, WhatGoesWrongIsToldAndTheNextUpdateIsRight) {
    const std::string again = "_writeBinary(): will erase and write sector again\n";
    const std::string chip = second() ? "S25FL" : "W25Q";
    const struct {
        const char* name;
        std::function<void()> spoil;
        int status;
        int repeats; // of a sector
        const char* failure;
    } cases[] = {
        {"a sector that is bad once", [this] { flash().spoilPrograms(0, 1); }, 0, 1, nullptr},
        {"a sector that is bad for good", [this] { flash().spoilPrograms(0, 1'000'000); }, executionError, 3, "Write"},
        {"a chip that never ends", [this] { flash().setStuckBusy(true); }, executionError, 0, "Erase"},
        {"no file", [this] { std::filesystem::remove(firmware); }, executionError, 0, "Write"},
        {"a file too long for its place", [this] { std::filesystem::resize_file(config, 0x1300001); }, executionError,
         0, "Write"},
        {"a pipe",
         [this] {
             std::filesystem::remove(firmware);
             mkfifo(firmware.c_str(), 0600);
         },
         executionError, 0, "Write"},
        {"a bus that fails", [this] { unit.bus.failTransfers(50, 2); }, executionError, 0, "Write"},
    };
    for (const auto& [name, spoil, status, repeats, failure] : cases) {
        SCOPED_TRACE(name);
        spoil();
        EXPECT_EQ(update(), status);
        int told = 0;
        for (size_t at = errors.find(chip + again); at != std::string::npos; at = errors.find(chip + again, at + 1))
            ++told;
        EXPECT_EQ(told, repeats) << errors;
        EXPECT_EQ(output.find("failed!") == std::string::npos, failure == nullptr);
        if (failure != nullptr) {
            EXPECT_NE(output.find(std::string(failure) + " failed!"), std::string::npos) << output;
            EXPECT_NE(output.find("Check failed!"), std::string::npos) << "steps behind it are named";
        }
        EXPECT_EQ(unit.answers(), status == 0);
        unit.bus.intercept({});
        flash().setStuckBusy(false);
        flash().spoilPrograms(0, 0);
        clock_spend(200'000'000'000);
        if (std::string(name) == "a chip that never ends") // only without power it comes out of that
            flash().powerUp();
        std::filesystem::remove(firmware);
        put(config, fpgaImages_ofFactory(unit.generation).configuration);
        put(firmware, fpgaImages_ofFactory(unit.generation).firmware);
        EXPECT_EQ(update(), 0);
        EXPECT_TRUE(unit.answers());
    }
}

/// The process ends at some transfer of an update, as with a cut of power. Whoever starts next finds it by the check.
TEST_P(FlashTest, AnUpdateThatWasCutOffIsFound) {
    ASSERT_EQ(update(), 0);
    const uint64_t before = unit.bus.transfers();
    ASSERT_EQ(update(), 0);
    const uint64_t transfers = unit.bus.transfers() - before;
    for (const double part : {0.001, 0.1, 0.4, 0.6, 0.7}) { // the rest only compares
        const std::string file = folder + "/cells" + std::to_string(part);
        const pid_t child = fork();
        if (child == 0) {
            unit.board.keepFlashIn(file);
            unit.bus.intercept([left = uint64_t(part * double(transfers))](const SpiTransfer&) mutable {
                if (left-- == 0)
                    _exit(7);
                return true;
            });
            std::ignore = freopen("/dev/null", "w", stdout);
            std::ignore = TVPN_ADFPGA_updateFpgaConfig(&unit.driver, config.c_str(), firmware.c_str());
            _exit(1);
        }
        int ended = 0;
        ASSERT_EQ(waitpid(child, &ended, 0), child);
        ASSERT_EQ(WEXITSTATUS(ended), 7);
        ASSERT_TRUE(unit.board.keepFlashIn(file));
        if (part > 0.01) {
            EXPECT_EQ(check(), executionError) << part;
            EXPECT_FALSE(unit.answers()) << part;
        }
        EXPECT_EQ(update(), 0) << part;
        EXPECT_TRUE(unit.answers()) << part;
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, FlashTest, ::testing::Values(FpgaGeneration::first, FpgaGeneration::second),
                         [](const auto& param) { return param.param == FpgaGeneration::first ? "First" : "Second"; });

// ---- chips ----------------------------------------------------------------------------------------------------------

/// The driver of a chip in front of its model.
template <class Driver> class ChipOnBus : public ::testing::Test {
protected:
    static constexpr bool isW25Q = std::is_same_v<Driver, W25Q>;
    ChipOnBus() : model(isW25Q ? SerialFlash::Kind::w25q64 : SerialFlash::Kind::s25fl256s, [this] { return linked; }) {
        bus.attach(252, &model.commands());
        bus.attach(253, &model.answers());
        rtdm_register("tvko", &bus);
        EXPECT_EQ(tvspiOpen(), 0);
        if constexpr (isW25Q)
            W25Q_init(&chip, 252, 253, 0);
        else
            EXPECT_EQ(S25FL_init(&chip, 252, 253), 0);
    }
    ~ChipOnBus() override { tvspiClose(); }

    SpiBus bus;
    bool linked = true;
    SerialFlash model;
    Driver chip{};
};
using W25QTest = ChipOnBus<W25Q>;
using S25FLTest = ChipOnBus<S25FL>;

TEST_F(W25QTest, PagesSectorsAndBlocks) {
    uint16_t id = 0;
    EXPECT_EQ(W25Q_readId(&chip, &id), 0);
    EXPECT_EQ(id, 0xEF16);
    std::array<uint8_t, 300> data;
    data.fill(0xA5);
    EXPECT_EQ(W25Q_writePage(&chip, 0x12345, data.data(), 257), executionError);
    EXPECT_EQ(W25Q_writePage(&chip, 0x12345, data.data(), 0), executionError);
    EXPECT_EQ(model.cells().read(0x12345), 0xFF);
    EXPECT_EQ(W25Q_writePage(&chip, 0x123F0, data.data(), 32), 0);
    EXPECT_EQ(model.cells().read(0x123F0), 0xA5);
    EXPECT_EQ(model.cells().read(0x1230F), 0xA5) << "wraps in its page";
    EXPECT_EQ(model.cells().read(0x12400), 0xFF);
    const uint8_t more = 0x3C;
    EXPECT_EQ(W25Q_writePage(&chip, 0x123F0, &more, 1), 0);
    uint8_t found = 0;
    EXPECT_EQ(W25Q_readPage(&chip, 0x123F0, &found, 1), 0);
    EXPECT_EQ(found, 0x24) << "bits only clear";

    EXPECT_EQ(W25Q_writeSector(&chip, 0x20000, data.data(), 300), 0);
    EXPECT_EQ(model.cells().read(0x20000 + 299), 0xA5);
    EXPECT_EQ(W25Q_eraseSector(&chip, 0x123F0), 0);
    EXPECT_EQ(model.cells().read(0x123F0), 0xFF);
    EXPECT_EQ(W25Q_eraseRange(&chip, 0x20001, 0), 0);
    EXPECT_EQ(W25Q_eraseRange(&chip, 0x1FFFF, 1), 0);
    EXPECT_EQ(model.cells().read(0x20000), 0xA5) << "outside the block";
    EXPECT_EQ(W25Q_eraseRange(&chip, 0x1FFFF, 2), 0);
    EXPECT_EQ(model.cells().read(0x20000), 0xFF);

    EXPECT_EQ(W25Q_writeStatusRegister(&chip, 0), 0);
    uint8_t status = 0;
    EXPECT_EQ(W25Q_readStatusRegister(&chip, &status), 0);
    EXPECT_EQ(status & 1, 1) << "busy with it";
    EXPECT_EQ(bus.faults(), 0u);
    linked = false;
    EXPECT_EQ(W25Q_readId(&chip, &id), executionError);
}

TEST_F(S25FLTest, GeometryQuadModeAndRanges) {
    EXPECT_EQ(S25FL_getSectorSize(&chip), 0x40000u);
    EXPECT_EQ(S25FL_getPageSize(&chip), 512u);
    uint8_t configuration = 0;
    EXPECT_EQ(S25FL_readConfigurationRegister(&chip, &configuration), 0);
    EXPECT_EQ(configuration, 2);
    std::vector<uint8_t> data(0x40000 + 1, 0x5A);
    EXPECT_EQ(S25FL_writePage(&chip, 0, data.data(), 513), executionError);
    EXPECT_EQ(S25FL_writeSector(&chip, 0x1000000, data.data(), 0x40001), 0);
    for (const auto& [start, bytes] : {std::pair{1u, 0x40000u}, {0x1000000u, 1u}})
        EXPECT_EQ(S25FL_eraseRange(&chip, start, bytes), illegalParameter);
    EXPECT_EQ(model.cells().read(0x1000000), 0x5A);
    EXPECT_EQ(S25FL_eraseRange(&chip, 0x1000000, 0x40000), 0);
    EXPECT_EQ(model.cells().read(0x1000000), 0xFF);
    EXPECT_EQ(model.cells().read(0x1040000), 0x5A);
    const std::string path = testing::TempDir() + "flash_read" + std::to_string(getpid());
    EXPECT_EQ(S25FL_readBinary(&chip, path.c_str(), 0x103FF00, 0x101), 0);
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(text, std::string(0x100, '\xFF') + "\x5A");
    std::filesystem::remove(path);

    model.setStuckBusy(true);
    EXPECT_EQ(S25FL_eraseSector(&chip, 0), executionError);
    EXPECT_EQ(S25FL_eraseChip(&chip), executionError) << "busy";
    EXPECT_EQ(bus.faults(), 0u);
}

} // namespace
