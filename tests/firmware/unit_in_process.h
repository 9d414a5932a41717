#pragma once
/// The whole instrument in one process: the firmware with its measurement thread on the virtual bench, behind a link in
/// memory. Waits cost no time.

#include "core/process.h"
#include "device/device.h"
#include "drivers/tvspi.h"
#include "identity/device_config.h"
#include "measure/run/measure.h"
#include "scpi/execution_cycle.h"
#include "scpi/link.h"
#include "scpi/parser.h"
#include "scpi/tree/command_tree.h"
#include "tests/memory_client.h"
#include "tests/virtual/factory_file.h"
#include "virtual/hardware/hardware.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// Loud enough to stand out of the references up to 18 GHz.
inline vi::Dut loud(double frequency_Hz, double power_dBm = 8, const vi::Faults& faults = {}) {
    return {frequency_Hz,
            power_dBm,
            {{{1, -20}, {10, -50}, {100, -75}, {1e3, -95}, {1e4, -105}, {1e5, -110}, {1e6, -120}, {1e7, -130}}},
            {},
            faults};
}

class UnitInProcess {
public:
    /// The one of the process, which has the serial number of its file tree. It is switched on before the first test,
    /// or by the first that asks for it.
    static UnitInProcess& get() {
        struct Switch : testing::Environment {
            void SetUp() override { get().start(); } // tables of the firmware are not all there before main
        };
        static auto* unit = new UnitInProcess; // its threads run as long as the process
        static auto* const ofProcess = testing::AddGlobalTestEnvironment(new Switch);
        static_cast<void>(ofProcess);
        if (testing::UnitTest::GetInstance()->current_test_suite() != nullptr)
            unit->start();
        return *unit;
    }

    /// Puts a DUT at the input, as somebody does who edits its file.
    void connect(const vi::Dut& dut) {
        write(dut);
        dut_ = dut;
    }

    /// Executes a line and gives its answers. One caller at a time.
    std::string tell(const std::string& line) { return client_.ask(line + "\n"); }
    /// The same, but of a longer answer the first piece only.
    std::string begin(const std::string& line) {
        const std::string message = line + "\n";
        tvcommWriteCmd(&link_, message.data(), static_cast<int>(message.size()));
        return client_.askForSome();
    }
    /// What is left of it.
    std::string rest() { return client_.rest(); }
    /// The client is gone, whatever it was doing.
    void hangUp() {
        tvcommFlush(&link_);
        link_.eventRequest = linkEventTcpGone;
        client_.askForSome();
    }
    vi::Hardware& hardware() { return *unit_; }
    /// What Device_init gave, and something to do to the hardware before it.
    [[nodiscard]] int started() const { return started_; }
    static inline std::function<void(vi::Hardware& hardware)> beforeStart;
    double number(const std::string& query) { return std::stod(tell(query)); }
    std::vector<float> block(const std::string& query) {
        const std::string answer = tell(query);
        const size_t head = 2 + static_cast<size_t>(answer.at(1) - '0');
        std::vector<float> values((answer.size() - head) / sizeof(float));
        std::copy_n(answer.data() + head, values.size() * sizeof(float), reinterpret_cast<char*>(values.data()));
        return values;
    }
    /// Waits for the end of the run and gives what it says.
    std::string outcome() { return tell("CALC:WAIT:AVER ALL;:SYST:ERR?"); }
    std::string run() { return tell("INIT;:CALC:WAIT:AVER ALL;:SYST:ERR?"); }

    /// The last run against the DUT that is connected: the carrier, and the mean and each point of the trace.
    void expectMeasured(double from_Hz = 1e4, double mean_dB = 0.4, double each_dB = 4) {
        constexpr double gateTick = 1e-6; // of a run's counter gate, relative
        EXPECT_NEAR(number("CALC:FREQ?") / dut_.frequency_Hz, 1, gateTick);
        const double corrected = number("CALC:FREQ:RAW?") / number("CALC:FREQ?") - 1;
        // Up to 2A those with a coarse counter measure by the beat with their sources.
        if (corrected != 0 || unit_->bench.boards.analog > vi::AnalogRevision::r2A) {
            EXPECT_NEAR(corrected, unitTruth_timeBase(unit_->bench.boards), 1e-9);
        }
        EXPECT_NEAR(number("CALC:POW?"), dut_.power_dBm, 0.2);
        expectTrace(from_Hz, mean_dB, each_dB);
    }
    /// Mean of the trace against the DUT's table, as far as the IF filter lets it through.
    double traceError_dB(double from_Hz = 1e4, double* worst = nullptr) {
        const std::vector<float> offsets = block("CALC:PN:TRAC:FREQ?"), levels = block("CALC:PN:TRAC:NOIS?");
        EXPECT_EQ(offsets.size(), levels.size());
        const double bandwidth_Hz = bench_wiring(&unit_->bench, vi::channelA).ifChain.bandwidth_Hz;
        double sum = 0, furthest = 0;
        int points = 0;
        for (size_t i = 0; i < std::min(offsets.size(), levels.size()); ++i)
            if (double(offsets[i]) >= from_Hz && double(offsets[i]) <= bandwidth_Hz) {
                const double error = double(levels[i]) - noiseCurve_level_dBcHz(dut_.noise, double(offsets[i]));
                furthest = std::fmax(furthest, std::abs(error));
                sum += error;
                ++points;
            }
        EXPECT_GT(points, 60);
        if (worst != nullptr)
            *worst = furthest;
        return sum / points;
    }
    /// The trace alone.
    void expectTrace(double from_Hz = 1e4, double mean_dB = 0.4, double each_dB = 4) {
        double worst = 0;
        const double mean = traceError_dB(from_Hz, &worst);
        EXPECT_EQ(unit_->bus.faults() + unit_->acquisition.refusals(), 0U)
            << unit_->bus.faultTexts() << unit_->acquisition.refusalTexts();
        EXPECT_NEAR(mean, 0, mean_dB);
        EXPECT_LT(worst, each_dB);
    }

private:
    UnitInProcess() = default;

    void start() {
        if (unit_ != nullptr)
            return;
        write(loud(100e6));
        vi::DutFile file;
        std::string reason;
        if (!dutFile_open(&file, path, &reason))
            throw std::runtime_error(reason);
        unit_ = std::make_unique<vi::Hardware>(vi::unitBoards_of(device_config_getSN()), std::move(file), 1);
        layFactoryFile(device_config_getSN());
        if (tvspiOpen() != 0)
            throw std::runtime_error("no SPI bus");
        Device* const device = Device_create();
        debug_device = device;
        device_config_init();
        if (beforeStart)
            beforeStart(*unit_);
        started_ = Device_init(device, measure_init);
        if (!beforeStart && started_ != 0)
            throw std::runtime_error("the self test fails: " + std::to_string(started_));
        context_.device = device;
        context_.tree = scpi::commandTree();
        scpi_parser_init(&context_);
        scpi_link_initAll(&link_list);
        scpi_link_init(&link_list, &link_, 1024, 8192, "memory");
    }

    static void write(const vi::Dut& dut) {
        const std::string draft = path + std::string(".new");
        std::ofstream file(draft);
        file.precision(17);
        file << "[signal]\nfrequency_hz = " << std::scientific << dut.frequency_Hz << "\npower_dbm = " << dut.power_dBm
             << "\nnoise = [";
        for (const auto& [offset_Hz, level_dBcHz] : dut.noise.points)
            file << '[' << offset_Hz << ", " << level_dBcHz << "], ";
        const vi::Faults& faults = dut.faults;
        file << std::boolalpha << "]\n[faults]\nno_signal = " << faults.noSignal
             << "\ndrift_hz_per_s = " << faults.drift_HzPerS << "\nunlockable = " << faults.unlockable
             << "\ntune_rail = " << faults.tuneRail << "\nclip = " << faults.clip
             << "\nchannel_b_dead = " << faults.channelBDead << "\nunlike_detectors = " << faults.unlikeDetectors
             << "\ncounter_disagrees = " << faults.counterDisagrees << "\nsamples_missing = " << faults.samplesMissing
             << "\nfpga_silent = " << faults.fpgaSilent << "\nstage_timeout = ["
             << (faults.stageTimeout != 0 ? "3" : "") << "]\n";
        file.close();
        std::filesystem::rename(draft, path);
    }

    static constexpr const char* path = "/tmp/dut.toml";
    std::unique_ptr<vi::Hardware> unit_;
    int started_ = 0;
    vi::Dut dut_ = loud(100e6);
    scpi_link link_{};
    MemoryClient client_{&link_};
    scpi_parser_context context_{};
};
