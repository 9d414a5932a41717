#include "acquisition/double_buffer.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>

namespace {

class Stream : public testing::Test {
protected:
    static constexpr uint32_t size = 16;

    void SetUp() override { DOUBLE_BUFFER_init(&buffer, size, memory[0], memory[1]); }
    void TearDown() override { DOUBLE_BUFFER_release(&buffer); }

    /// Writes a record the blocking way.
    void write(const std::string& record) {
        uint8_t* position = nullptr;
        EXPECT_EQ(DOUBLE_BUFFER_openWrite_blocking(&buffer, static_cast<uint32_t>(record.size()), &position), 0);
        std::copy(record.begin(), record.end(), position);
        DOUBLE_BUFFER_closeWrite(&buffer, static_cast<uint32_t>(record.size()));
    }
    /// The block that is there, taken; empty if there is none.
    std::string read() {
        uint8_t* data = nullptr;
        const uint32_t bytes = DOUBLE_BUFFER_openRead(&buffer, &data);
        const std::string block(data, data + bytes);
        if (bytes != 0)
            DOUBLE_BUFFER_closeRead(&buffer);
        return block;
    }
    uint32_t room() {
        uint8_t* position = nullptr;
        const uint32_t bytes = DOUBLE_BUFFER_openWrite(&buffer, &position);
        buffer.writeOpen = 0;
        return bytes;
    }

    uint8_t memory[2][size] = {};
    DoubleBuffer buffer;
};

TEST_F(Stream, EachRecordIsABlockUntilTheFlipModeIsNever) {
    write("one");
    EXPECT_EQ(read(), "one");
    EXPECT_EQ(read(), "");
    DOUBLE_BUFFER_setFlipMode(&buffer, doubleBuffer_flipNever);
    write("two");
    write("three");
    EXPECT_EQ(read(), "");
    DOUBLE_BUFFER_flip(&buffer);
    EXPECT_EQ(read(), "twothree");
    write("four");
    DOUBLE_BUFFER_setFlipMode(&buffer, doubleBuffer_flipAlways);
    EXPECT_EQ(read(), "four") << "nothing stays unpublished";
    DOUBLE_BUFFER_flip(&buffer);
    DOUBLE_BUFFER_closeRead(&buffer);
    EXPECT_EQ(buffer.writeBuffer, 3u) << "an empty half is never published";
    EXPECT_EQ(buffer.readBuffer, 3u);
}

TEST_F(Stream, TheWriterHasNoRoomInWhatTheReaderHas) {
    EXPECT_EQ(room(), size);
    write("first");
    EXPECT_EQ(room(), size);
    write("second");
    EXPECT_EQ(room(), 0u);
    EXPECT_EQ(read(), "first");
    EXPECT_EQ(room(), size);
    EXPECT_EQ(read(), "second");
}

TEST_F(Stream, MoreThanThereIsRoomForIsLostAndTheStreamStaysInOrder) {
    DOUBLE_BUFFER_setFlipMode(&buffer, doubleBuffer_flipNever);
    write("kept");
    uint8_t* position = nullptr;
    EXPECT_EQ(DOUBLE_BUFFER_openWrite(&buffer, &position), size - 4);
    for (const uint32_t tooMany : {size - 3, UINT32_MAX})
        DOUBLE_BUFFER_closeWrite(&buffer, tooMany);
    write("next");
    write("ten letters");
    EXPECT_EQ(read(), "keptnext") << "handed over with its tail empty";
    DOUBLE_BUFFER_flip(&buffer);
    EXPECT_EQ(read(), "ten letters") << "a record never straddles the halves";
}

TEST_F(Stream, OneWriterAndOneReaderLoseNothing) {
    constexpr int records = 20000;
    for (const uint32_t mode : {doubleBuffer_flipAlways, doubleBuffer_flipNever}) {
        DOUBLE_BUFFER_init(&buffer, size, memory[0], memory[1]);
        DOUBLE_BUFFER_setFlipMode(&buffer, mode);
        std::atomic<bool> finished{false};
        std::string received;
        std::thread reader([&] {
            while (!finished) {
                DOUBLE_BUFFER_waitWriteEvent(&buffer);
                for (std::string block; !(block = read()).empty();)
                    received += block;
            }
        });
        std::string sent;
        std::mt19937 random(mode);
        for (int i = 0; i < records; ++i) {
            const std::string record(1 + random() % size, static_cast<char>('a' + i % 26));
            write(record);
            sent += record;
        }
        finished = true;
        DOUBLE_BUFFER_flip(&buffer);
        tv_event_signal(&buffer.writeEvent);
        reader.join();
        for (std::string block; !(block = read()).empty();)
            received += block;
        EXPECT_EQ(received.size(), sent.size());
        EXPECT_TRUE(received == sent);
    }
}

} // namespace
