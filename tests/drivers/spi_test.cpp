#include "core/tvdebug.h"
#include "drivers/tvspi.h"
#include "platform/tvko.h"
#include "tests/drivers/fake_module.h"

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

    /// The next `count` requests fail.
    void fail(int count) {
        module.answer = [left = count](uint32_t, uintptr_t) mutable { return left-- > 0 ? -1 : 0; };
    }
    size_t requestsMade() { return module.taken().size(); }

    FakeModule module;
    const uint8_t frame[3] = {1, 2, 3};
};

int onAnotherThread(const std::function<int()>& body) {
    int result = 0;
    std::thread([&] { result = body(); }).join();
    return result;
}

std::string debugTextOf(const std::function<void()>& body) {
    testing::internal::CaptureStdout();
    tvdebug_enable();
    body();
    tvdebug_disable();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

TEST(SpiOpen, TakesTheModuleForItselfAndSetsTheDivider) {
    EXPECT_LT(tvspiOpen(), 0) << "there is no such device";
    FakeModule module;
    const int somebody = rt_dev_open("tvko", 2);
    ASSERT_EQ(flock(somebody, LOCK_EX), 0);
    EXPECT_EQ(debugTextOf([] { EXPECT_NE(tvspiOpen(), 0); }),
              "tvspiOpen(): could not get exclusive access to the SPI/GPIO kernel module,\n"
              "terminate all processes accessing SPI/GPIO\n");
    EXPECT_LT(tvkono, 0);
    EXPECT_EQ(tvspiReadPinState(57365), tvkono) << "the handle stands for the value";
    rt_dev_close(somebody);

    tvspi_addSlave(5, "of an earlier life");
    EXPECT_EQ(debugTextOf([] { EXPECT_EQ(tvspiOpen(), 0); }), "tvspiSetBitrateDivider( 40 )\n");
    EXPECT_EQ(module.taken(), (std::vector<Request>{{57384, 40}}));
    EXPECT_STREQ(tvspi_getSlaveName(5), "(unknown)");
    const int late = rt_dev_open("tvko", 2);
    EXPECT_NE(flock(late, LOCK_EX | LOCK_NB), 0) << "the module is the firmware's alone";
    tvspiClose();
    EXPECT_EQ(flock(late, LOCK_EX | LOCK_NB), 0);
    rt_dev_close(late);
    uint8_t data = 0;
    EXPECT_EQ(tvspiSend(1, 1, 0, &data), -1);
    EXPECT_EQ(tvspiRecv(1, 0, 1, 0, &data), -1);
    EXPECT_TRUE(module.taken().empty());
}

TEST_F(Spi, PlainRequestsCarryTheirNumbersAndStayInRange) {
    const std::vector<std::pair<Request, std::function<int()>>> cases{
        {{57384, 1}, [] { return tvspiSetBitrateDivider(0); }},
        {{57384, 255}, [] { return tvspiSetBitrateDivider(300); }},
        {{57385, 0}, [] { return tvspiSetChipSelectDelay(0); }},
        {{57385, 255}, [] { return tvspiSetChipSelectDelay(300); }},
        {{57352, 250}, [] { return tvspiSelectChip(250); }},
        {{57353, 0}, [] { return tvspiDeselectChip(); }},
        {{57386, 0}, [] { return tvspi_spiTimerInit(); }},
        {{57387, 0}, [] { return tvspi_spiTimerRelease(); }},
        {{57389, 0}, [] { return tvspi_spiTimerStop(); }},
        {{57390, 4096}, [] { return tvspi_spiTimerAllocmem(4096); }},
        {{57391, 0}, [] { return tvspi_spiTimerFreemem(); }},
    };
    for (const auto& [expected, call] : cases) {
        const bool timer = expected.number >= 57386;
        EXPECT_EQ(call(), 0) << expected.number;
        EXPECT_EQ(module.taken(), std::vector{expected});
        fail(1);
        EXPECT_EQ(call(), timer ? -200 : -1) << expected.number;
        module.answer = nullptr;
        module.taken();
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
    const auto send = [&] { return tvspiSend(0x6F8, 3, 9, frame); };
    const auto receive = [&] { return tvspiRecv(0x2FE, 4, 2, 1, room); };
    for (const bool read : {false, true})
        for (const int failures : {0, 1, 2, 3}) {
            module.answer = [&, left = failures](uint32_t request, uintptr_t argument) mutable {
                EXPECT_EQ(request, read ? 57355u : 57354u);
                const auto record = behind<tvko_transfer>(argument);
                EXPECT_EQ(record.address, read ? 0x0FEu : 0x0F8u) << "nine bits";
                EXPECT_EQ(record.length, read ? 2u : 3u);
                EXPECT_EQ(record.mode, read ? 1u : 9u);
                EXPECT_EQ(record.board, read ? 4u : 0u);
                EXPECT_EQ(record.data, read ? room : frame);
                return left-- > 0 ? -1 : 0;
            };
            const std::string text = debugTextOf([&] { EXPECT_EQ(read ? receive() : send(), failures < 2 ? 0 : -1); });
            const std::string retry = std::string(read ? "tvspiRecv" : "tvspiSend") +
                                      "() error: Data could not be transferred from/to kernel space, retrying...\n";
            EXPECT_EQ(text, failures > 0 ? retry : "");
            EXPECT_EQ(requestsMade(), failures > 0 ? 2u : 1u);
        }
    EXPECT_EQ(tvspiSend(1, 1, 0, nullptr), -1);
    EXPECT_EQ(tvspiRecv(1, 0, 1, 0, nullptr), -1);
    EXPECT_EQ(requestsMade(), 0u);
}

TEST_F(Spi, ReplacementsTakeTheTransfers) {
    uint8_t room[2] = {};
    tvspiRegisterSendFunction([](uint32_t address, uint32_t, uint32_t, const void*) { return int(address); });
    tvspiRegisterRecvFunction([](uint32_t address, uint32_t, uint32_t, uint32_t, void*) { return int(address); });
    tvspiLock(); // concerns the module only
    EXPECT_EQ(tvspiSend_async(0x3FF, 3, 0, frame), 0x1FF) << "nine bits";
    EXPECT_EQ(tvspiRecv_async(0x205, 0, 2, 0, room), 5);
    EXPECT_EQ(requestsMade(), 0u);
    ASSERT_EQ(tvspiOpen(), 0);
    EXPECT_EQ(tvspiSend(1, 3, 0, frame), 0) << "gone with the next opening, like the lock";
}

TEST_F(Spi, AClosedBusTurnsEverybodyAwayItsOwnerToo) {
    tvspiLockForThread();
    tvspiLock();
    EXPECT_EQ(tvspiAccessibleByThread(), 0);
    EXPECT_EQ(debugTextOf([&] { EXPECT_EQ(tvspiSend(1, 3, 0, frame), -1); }), "tvspiSend(): Error: SPI is locked!\n");
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
    EXPECT_EQ(debugTextOf([&] { EXPECT_EQ(onAnotherThread(send), -1); }),
              "tvspiSend() error: SPI mutex is locked by another thread\n");
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
}

TEST_F(Spi, TransfersWaitForEachOtherAndAreNeverTurnedAway) {
    std::atomic<int> inside{0};
    module.answer = [&](uint32_t, uintptr_t) {
        EXPECT_EQ(inside++, 0);
        std::this_thread::yield();
        inside--;
        return 0;
    };
    const auto sendMany = [&] {
        for (int i = 0; i < 500; ++i)
            EXPECT_EQ(tvspiSend(1, 3, 0, frame), 0);
    };
    std::thread first(sendMany), second(sendMany);
    first.join();
    second.join();
    EXPECT_EQ(tvspiMutexLockFailed(), 0);
}

TEST_F(Spi, SequencesOfThreadsNeverMix) {
    constexpr int sequences = 300, steps = 5, owners = 2;
    std::atomic<uint32_t> owner{0};
    std::atomic<int> mixed{0}, done{0}, single{0};
    module.answer = [&](uint32_t, uintptr_t argument) {
        const uint32_t by = behind<tvko_transfer>(argument).address, now = owner;
        if (now != 0 && now != by)
            ++mixed;
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
