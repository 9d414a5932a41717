#include "drivers/tvspi.h"
#include "platform/tvko.h"
#include "tests/drivers/fake_module.h"

#include <future>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <thread>

namespace {

class Spi : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(tvspiOpen(), 0);
        module.taken();
    }
    void TearDown() override { tvspiClose(); }

    size_t requestsMade() { return module.taken().size(); }

    FakeModule module;
    const uint8_t frame[3] = {1, 2, 3};
};

int onAnotherThread(const std::function<int()>& body) {
    int result = 0;
    std::thread([&] { result = body(); }).join();
    return result;
}

TEST(SpiOpen, TakesTheModuleForItselfAndSetsTheDivider) {
    EXPECT_LT(tvspiOpen(), 0) << "there is no such device";
    FakeModule module;
    const int somebody = rt_dev_open("tvko", 2);
    ASSERT_EQ(flock(somebody, LOCK_EX), 0);
    EXPECT_NE(tvspiOpen(), 0);
    EXPECT_EQ(tvspiReadPinState(57365), tvkono) << "the handle stands for the value";
    rt_dev_close(somebody);

    tvspi_addSlave(5, "of an earlier life");
    EXPECT_EQ(tvspiOpen(), 0);
    EXPECT_EQ(module.taken(), (std::vector<Request>{{57384, 40}}));
    EXPECT_STREQ(tvspi_getSlaveName(5), "(unknown)");
    const int late = rt_dev_open("tvko", 2);
    EXPECT_NE(flock(late, LOCK_EX | LOCK_NB), 0) << "the module is the firmware's alone";
    tvspiClose();
    EXPECT_EQ(flock(late, LOCK_EX | LOCK_NB), 0);
    rt_dev_close(late);
    uint8_t data = 0;
    EXPECT_EQ(tvspiSend(1, 1, 0, &data), -1);
    EXPECT_TRUE(module.taken().empty());
}

TEST_F(Spi, PlainRequestsCarryTheirNumbersAndStayInRange) {
    const std::vector<std::pair<Request, std::function<int()>>> cases{
        {{57384, 1}, [] { return tvspiSetBitrateDivider(0); }},
        {{57385, 255}, [] { return tvspiSetChipSelectDelay(300); }},
        {{57352, 250}, [] { return tvspiSelectChip(250); }},
        {{57353, 0}, tvspiDeselectChip},
        {{57386, 0}, tvspi_spiTimerInit},
        {{57387, 0}, tvspi_spiTimerRelease},
        {{57389, 0}, tvspi_spiTimerStop},
        {{57390, 4096}, [] { return tvspi_spiTimerAllocmem(4096); }},
        {{57391, 0}, tvspi_spiTimerFreemem},
    };
    for (const auto& [expected, call] : cases) {
        module.answer = [left = 1](uint32_t, uintptr_t) mutable { return left-- > 0 ? -1 : 0; };
        EXPECT_EQ(call(), expected.number >= 57386 ? -200 : -1) << expected.number;
        EXPECT_EQ(call(), 0) << expected.number;
        EXPECT_EQ(module.taken(), (std::vector{expected, expected}));
    }
}

TEST_F(Spi, RequestsWithARecordPassTheCallersValues) {
    const uint32_t timer[9] = {251, 2, 3, 0, 0, 6, 7, 8, 78};
    module.answer = [&](uint32_t request, uintptr_t argument) {
        switch (request) {
        case 57357:
            return behind<std::array<uintptr_t, 4>>(argument) == std::array<uintptr_t, 4>{0, 11, 0, 12} ? 0 : -1;
        case 57388: return memcmp(reinterpret_cast<const void*>(argument), timer, sizeof timer) == 0 ? 0 : -1;
        case 57392: return behind<tvko_timerData>(argument).data == frame ? 0 : -1;
        default: *reinterpret_cast<uint32_t*>(argument) = request - 57000; return 0;
        }
    };
    EXPECT_EQ(tvspiModule0Recv(11, 12), 0);
    EXPECT_EQ(tvspi_spiTimerStart(timer), 0);
    EXPECT_EQ(tvspi_spiTimerWritemem(16, 3, frame, 0), 0);
    EXPECT_EQ(tvspi_spiTimerWritemem(16, 3, frame, 2), -200) << "no such transfer mode";
    EXPECT_EQ(tvspiReadPinState(57366), 366);
    tvspiLock();
    EXPECT_EQ(tvspiModule0Recv(11, 12), -1);
    EXPECT_EQ(requestsMade(), 4u);
}

TEST_F(Spi, ATransferIsRepeatedExactlyOnce) {
    uint8_t room[2] = {};
    const auto send = [&] { return tvspiSend(0x7F8, 3, 9, frame); };
    const auto receive = [&] { return tvspiRecv(0x2FE, 4, 2, 1, room); };
    for (const bool read : {false, true})
        for (const int failures : {0, 1, 2}) {
            module.answer = [&, left = failures](uint32_t request, uintptr_t argument) mutable {
                EXPECT_EQ(request, read ? 57355u : 57354u);
                const auto record = behind<tvko_transfer>(argument);
                EXPECT_EQ(record.address, read ? 0x0FEu : 0x1F8u) << "nine bits";
                EXPECT_EQ(record.length, read ? 2u : 3u);
                EXPECT_EQ(record.mode, read ? 1u : 9u);
                EXPECT_EQ(record.board, read ? 4u : 0u);
                EXPECT_EQ(record.data, read ? room : frame);
                return left-- > 0 ? -1 : 0;
            };
            EXPECT_EQ(read ? receive() : send(), failures < 2 ? 0 : -1);
            EXPECT_EQ(requestsMade(), failures > 0 ? 2u : 1u);
        }
    EXPECT_EQ(tvspiSend(1, 1, 0, nullptr), -1);
    EXPECT_EQ(requestsMade(), 0u);
}

TEST_F(Spi, AClosedBusTurnsEverybodyAwayItsOwnerToo) {
    tvspiLockForThread();
    tvspiLock();
    EXPECT_EQ(tvspiAccessibleByThread(), 0);
    EXPECT_EQ(tvspiSend(1, 3, 0, frame), -1);
    tvspiUnlock();
    EXPECT_EQ(requestsMade(), 0u);
    EXPECT_EQ(tvspiSend(1, 3, 0, frame), 0);
    EXPECT_EQ(tvspiMutexLockFailed(), 0) << "that flag is for the thread lock";
    tvspiUnlockForThread();
}

TEST_F(Spi, AThreadKeepsTheBusForASequence) {
    const auto send = [&] { return tvspiSend(1, 3, 0, frame); };
    tvspiLockForThread();
    tvspiLockForThread(); // does not nest
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(tvspiAccessibleByThread(), 1);
    EXPECT_EQ(onAnotherThread(send), -1);
    EXPECT_EQ(onAnotherThread(tvspiAccessibleByThread), 0);
    EXPECT_EQ(tvspiMutexLockFailed(), 1);
    EXPECT_EQ(tvspiMutexLockFailed(), 0) << "told once";
    EXPECT_EQ(requestsMade(), 1u);

    tvspiPauseLockForThread();
    EXPECT_EQ(onAnotherThread(send), 0);
    EXPECT_EQ(onAnotherThread(tvspiAccessibleByThread), 1);
    tvspiResumeLockForThread();
    EXPECT_EQ(onAnotherThread([&] { return tvspiUnlockForThread(), send(); }), -1) << "only the owner gives it back";

    tvspiUnlockForThread();
    EXPECT_EQ(onAnotherThread(send), 0);
    EXPECT_EQ(onAnotherThread(tvspiAccessibleByThread), 1);
    std::future<int> during; // of a single transfer: the next one waits for its end
    module.answer = [&](uint32_t, uintptr_t) {
        if (!during.valid())
            during = std::async(std::launch::async, send), during.wait_for(std::chrono::milliseconds(20));
        return 0;
    };
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(during.get(), 0) << "nobody keeps the bus any more";
}

TEST_F(Spi, SequencesOfThreadsNeverMix) {
    constexpr int sequences = 300, steps = 5, owners = 2;
    std::atomic<uint32_t> owner{0};
    std::atomic<int> inside{0}, mixed{0}, done{0}, single{0};
    module.answer = [&](uint32_t, uintptr_t argument) {
        const uint32_t by = behind<tvko_transfer>(argument).address, now = owner;
        if (inside++ != 0 || (now != 0 && now != by))
            ++mixed;
        inside--;
        return 0;
    };
    std::vector<std::thread> threads;
    for (uint32_t id = 1; id <= owners; ++id)
        threads.emplace_back([&, id] {
            for (int i = 0; i < sequences; ++i) {
                tvspiLockForThread();
                owner = id;
                for (int step = 0; step < steps; ++step)
                    done += tvspiSend(id, 3, 0, frame) == 0;
                owner = 0;
                tvspiUnlockForThread();
            }
        });
    threads.emplace_back([&] {
        for (int i = 0; i < sequences; ++i) {
            single += tvspiSend(99, 3, 0, frame) == 0;
            (void)tvspiAccessibleByThread();
            (void)tvspiMutexLockFailed();
        }
    });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mixed, 0);
    EXPECT_EQ(done, owners * sequences * steps) << "an owner is never turned away";
    EXPECT_EQ(module.taken().size(), static_cast<size_t>(done + single));
}

TEST_F(Spi, TheSlaveListHoldsThirtyTwoNames) {
    for (uint32_t address = 0; address < 33; ++address)
        tvspi_addSlave(address, ("chip " + std::to_string(address) + std::string(40, '.')).c_str());
    EXPECT_EQ(tvspi_getSlaveName(31), "chip 31" + std::string(24, '.')) << "31 characters";
    EXPECT_STREQ(tvspi_getSlaveName(32), "(unknown)");
}

} // namespace
