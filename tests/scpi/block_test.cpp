#include "engine_fixture.h"

#include <cstring>
#include <fstream>

using namespace engine;
using namespace std::string_literals;

namespace {

std::string word(uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

class BlockTest : public Engine {
protected:
    BlockTest() NO_THREAD_SAFETY_ANALYSIS { deviceAccessMutex.lock(); } // as a pass does
    ~BlockTest() override NO_THREAD_SAFETY_ANALYSIS { deviceAccessMutex.unlock(); }

    /// What a transfer sends in pieces of at most `room` bytes.
    std::string sent(int room) {
        std::string all;
        std::string buffer(static_cast<size_t>(room), 0);
        while (scpi_exec_sendingBlockData(&link_)) {
            const int n = scpi_exec_handleBlockDataSend(&link_, buffer.data(), room);
            EXPECT_GT(n, 0);
            if (n <= 0)
                break;
            all.append(buffer, 0, static_cast<size_t>(n));
        }
        return all;
    }
    int ended_ = 0;
    static void end(void* argument, const char*) { ++*static_cast<int*>(argument); }
};

} // namespace

TEST_F(BlockTest, FragmentsLeaveAsOneBlockWhoseHeaderHoldsTheirLengths) {
    const std::string a(100, 'a'), b(7, 'b'), c(250, 'c');
    const std::string expected = word(16) + word(1) + word(100) + word(7) + word(250) + word(357) + a + b + c;
    for (int room = 1; room <= 130; ++room) {
        scpi_exec_bd_clearFragments(&link_);
        for (const std::string* part : {&a, &b, &c})
            ASSERT_EQ(scpi_exec_bd_appendFragment(&link_, static_cast<int>(part->size()), part->data()), 0);
        scpi_exec_startBdSend_fragmentedMemory(&link_, end, &ended_);
        EXPECT_EQ(scpi_exec_bdSend_asciiHeader(&link_), executionError); // a binary header is in use
        EXPECT_EQ(sent(room), expected) << room;
        EXPECT_EQ(std::exchange(ended_, 0), 1);
    }
    scpi_exec_bd_clearFragments(&link_);
    for (int i = 0; i < bdFragmentMax; ++i)
        EXPECT_EQ(scpi_exec_bd_appendFragment(&link_, 1, a.data()), 0);
    EXPECT_EQ(scpi_exec_bd_appendFragment(&link_, 1, a.data()), executionError);
}

TEST_F(BlockTest, ASourceThatFailsOrRunsDryIsFilledWithZeros) {
    const auto failing = [](void* argument, int count, uint32_t offset, char* buffer) {
        if (offset >= 10)
            return *static_cast<int*>(argument);
        const int n = std::min(count, static_cast<int>(10 - offset));
        memset(buffer, 'd', static_cast<size_t>(n));
        return n;
    };
    for (int result : {-1, 0}) {
        scpi_exec_startBdSend_handler(&link_, 25, failing, &result, end, &ended_);
        ASSERT_EQ(scpi_exec_bdSend_asciiHeader(&link_), 0);
        EXPECT_EQ(sent(size), "#225" + std::string(10, 'd') + std::string(15, '\0')) << result;
        EXPECT_EQ(std::exchange(ended_, 0), 1);
    }
    scpi_exec_startBdSend_file(&link_, "/nonexistent", end, &ended_);
    EXPECT_EQ(sent(size), word(0) + word(0));
}

TEST_F(BlockTest, AFileLeavesWhole) {
    const char* path = "/tmp/engine-test-sent";
    const std::string data = "AB\0CD\r\n"s + std::string(300, 'e');
    std::ofstream(path, std::ios::binary) << data;
    for (const int room : {1, 7, int{size}}) {
        scpi_exec_startBdSend_file(&link_, path, end, &ended_);
        EXPECT_EQ(sent(room), word(0) + word(static_cast<uint32_t>(data.size())) + data) << room;
        EXPECT_EQ(std::exchange(ended_, 0), 1);
    }
    remove(path);
}

TEST_F(BlockTest, ABinaryReceptionTakesItsFramingFromAnyPieces) {
    const char* path = "/tmp/engine-test-binary";
    const std::string data = "0123456789";
    const std::string wire = word(6) + "header" + word(10) + data;
    for (size_t piece = 1; piece <= wire.size() + 3; ++piece) {
        scpi_exec_startBdReceive_file(&link_, path, end, &ended_, "");
        const std::string all = wire + "\n*I";
        size_t at = 0;
        while (scpi_exec_receivingBlockData(&link_)) {
            const size_t count = std::min(piece, all.size() - at);
            ASSERT_GT(count, 0u);
            at +=
                static_cast<size_t>(scpi_exec_handleBlockDataReceive(&link_, all.data() + at, static_cast<int>(count)));
        }
        EXPECT_EQ(at, wire.size()) << piece; // what stands behind the block is text
        EXPECT_EQ(std::exchange(ended_, 0), 1);
        FILE* file = fopen(path, "rb");
        char got[32] = {};
        EXPECT_EQ(fread(got, 1, sizeof got, file), data.size());
        fclose(file);
        EXPECT_EQ(got, data);
    }
    scpi_exec_startBdReceive_file(&link_, path, nullptr, nullptr, "");
    const std::string hostile = word(0xFFFFFFFF) + word(0xFFFFFFFF);
    scpi_exec_handleBlockDataReceive(&link_, hostile.data(), 8); // announces 8 GB: refused, not awaited
    EXPECT_FALSE(scpi_exec_receivingBlockData(&link_));
    remove(path);
}
