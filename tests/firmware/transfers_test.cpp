/// Each transfer on the SPI bus of a start and of a run that fails, in turn: nothing hangs or crashes, no trace is
/// wrong without a word, and the next run is right. The bus tries a failed transfer again, so two fail in a row. CI
/// takes a slice of them; EVERY_TRANSFER=1 in the environment takes all.

#include "tests/firmware/unit_in_process.h"

#include <cstdlib>
#include <optional>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* nothing = "0,\"No error\"\n";
constexpr double carrier_Hz = 100.0003e6; // off the grid of the sources

const uint64_t step = getenv("EVERY_TRANSFER") != nullptr ? 1 : 7;

/// Fails the transfers `first` and the next from now on, counts all, and tells what failed.
struct Failing {
    Failing(vi::SpiBus& bus, uint64_t first) {
        bus.intercept([this, first](const vi::SpiTransfer& transfer) {
            const uint64_t now = seen++;
            if (now != first && now != first + 1)
                return true;
            const std::string text(transfer.frame.rbegin(), transfer.frame.rend());
            what << (transfer.read ? "read " : "send ") << transfer.address << ' ' << testing::PrintToString(text)
                 << ' ';
            return false;
        });
    }
    uint64_t seen = 0;
    std::ostringstream what;
};

std::string runFromReset(UnitInProcess& unit) {
    unit.tell("*RST;*CLS;:SENS:PN:SPUR:OMIS OFF;:SENS:PN:SMO:STAT OFF;:SENS:PN:CORR 300");
    return unit.run();
}

/// What is wrong with the results of a run that reported nothing; empty if they are right.
std::string wrongIn(UnitInProcess& unit) {
    if (const double carrier = unit.number("CALC:FREQ?"); std::abs(carrier / carrier_Hz - 1) > 1e-6)
        return "carrier " + std::to_string(carrier);
    constexpr double unreadable_dBm = -100; // says that the detector could not be read
    if (const double power = unit.number("CALC:POW?"); std::abs(power - 8) > 0.3 && power != unreadable_dBm)
        return "level " + std::to_string(power);
    if (const double error = unit.traceError_dB(); std::abs(error) > 0.5)
        return "trace " + std::to_string(error) + " dB off";
    return {};
}

/// Starts a unit while two transfers fail, in a process of its own, and lets it measure. Gives the number of transfers
/// of the start.
uint64_t startAndRun(uint64_t first) {
    std::array<int, 2> ends;
    EXPECT_EQ(pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        std::optional<Failing> failing;
        testing::internal::CaptureStderr();
        UnitInProcess::beforeStart = [&](vi::Hardware& hardware) { failing.emplace(hardware.bus, first); };
        UnitInProcess& unit = UnitInProcess::get();
        const uint64_t transfers = failing->seen;
        unit.hardware().bus.intercept({});
        unit.connect(loud(carrier_Hz));
        const std::string outcome = runFromReset(unit);
        const std::string wrong = outcome == nothing ? wrongIn(unit) : "";
        const bool told = unit.started() != 0 || !testing::internal::GetCapturedStderr().empty();
        if (!wrong.empty() && !told)
            printf("start without %s: %s\n", failing->what.str().c_str(), wrong.c_str());
        fflush(stdout);
        _exit(write(ends[1], &transfers, sizeof transfers) == sizeof transfers && (wrong.empty() || told) ? 0 : 1);
    }
    uint64_t transfers = 0;
    close(ends[1]);
    EXPECT_EQ(read(ends[0], &transfers, sizeof transfers), ssize_t(sizeof transfers))
        << "start " << first << " crashed";
    close(ends[0]);
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "transfer " << first;
    return transfers;
}

} // namespace

// First, while this process has no threads.
TEST(TransferFailure, AtStartIsToldOrDoesNotMatter) {
    uint64_t transfers = 1;
    for (uint64_t first = 0; first < transfers && !HasFailure(); first += step)
        transfers = startAndRun(first);
}

TEST(TransferFailure, InARunIsToldOrDoesNotMatterAndIsOverWithTheRun) {
    UnitInProcess& unit = UnitInProcess::get();
    unit.connect(loud(carrier_Hz));
    uint64_t seen = 1, told = 0;
    for (uint64_t first = 0; first < seen; first += step) {
        testing::internal::CaptureStderr(); // the chips' complaints
        Failing failing(unit.hardware().bus, first);
        const std::string outcome = runFromReset(unit);
        unit.hardware().bus.intercept({});
        seen = failing.seen;
        SCOPED_TRACE(testing::Message() << "transfer " << first << " of " << seen << ": " << failing.what.str());
        const std::string wrong = outcome == nothing ? wrongIn(unit) : "";
        const std::string next = runFromReset(unit);
        const std::string complaints = testing::internal::GetCapturedStderr();
        told += outcome != nothing;
        EXPECT_EQ(wrong, "") << complaints;
        EXPECT_EQ(next, nothing) << "after " << outcome << complaints;
        EXPECT_EQ(wrongIn(unit), "") << "in the next run, after " << outcome << complaints;
    }
    EXPECT_GT(told, 0U) << "of " << seen;
}
