#include "scpi/error_codes.h"
#include "scpi/error_queue.h"
#include "scpi/status.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

class ErrorQueueTest : public testing::Test {
protected:
    void SetUp() override { scpi_initErrorQueue(&queue); }

    void push(std::initializer_list<int32_t> codes) {
        for (const int32_t code : codes)
            scpi_pushErrorQueue(code, &queue);
    }
    std::string pop() {
        int32_t code = 1;
        int32_t length = -1;
        EXPECT_EQ(scpi_popErrorQueue(&queue, &code, answer, sizeof answer, &length), 0);
        EXPECT_EQ(static_cast<size_t>(length), strlen(answer));
        return answer;
    }
    std::string popAll(int room, int expectedResult = 0) {
        int32_t length = -1;
        memset(answer, '#', sizeof answer);
        EXPECT_EQ(scpi_getAndClearWholeErrorQueue(&queue, answer, room, &length), expectedResult);
        EXPECT_EQ(answer[room], '#');
        return std::string(answer, static_cast<size_t>(length));
    }

    scpi_error_queue queue;
    char answer[4096];
};

TEST_F(ErrorQueueTest, CodesHaveTheirTexts) {
    const struct {
        int32_t code;
        const char* text;
    } cases[] = {
        {0, "0,\"No error\""},
        {-113, "-113,\"Undefined header\""},
        {-191, "-191,\"Command not available in this measurement mode\""},
        {-400, "-400,\"Query error\""},
        {-999, "-999,\"\""},
        {-262344, "-262344,\"Execution error;Lock failed\""},
        {scpi::noMeasurementRunning, "-65736,\"Execution error;No measurement running\""},
        {scpi::waitTimedOut, "-393416,\"Execution error;Timeout\""},
        {-200 - 7 * 65536, "-458952,\"\""}, // no such detail
        {-222 - 4 * 65536, "-262366,\"\""}, // detail of another code
        {INT_MIN, "-2147483648,\"\""},
        {5, "5,\"\""},
    };
    for (const auto& [code, text] : cases) {
        int32_t length = -1;
        EXPECT_EQ(scpi_errorCode2Str(answer, code, sizeof answer, &length), 0);
        EXPECT_EQ(std::string(answer, static_cast<size_t>(length)), text);
    }
}

TEST_F(ErrorQueueTest, ATextThatDoesNotFitIsRefused) {
    constexpr int needed = 25; // -113,"Undefined header" and its end
    for (int room = -1; room <= needed; ++room) {
        int32_t length = -1;
        const bool fits = room >= static_cast<int>(strlen("-113,\"Undefined header\"")) + 1;
        memset(answer, '#', sizeof answer);
        EXPECT_EQ(scpi_errorCode2Str(answer, -113, room, &length), fits ? 0 : -400) << room;
        EXPECT_EQ(length, fits ? 23 : 0) << room;
        EXPECT_EQ(answer[room < 0 ? 0 : room], '#') << room;
    }
}

TEST_F(ErrorQueueTest, ErrorsComeBackInTheirOrderAndThenThereAreNone) {
    EXPECT_TRUE(scpi_isErrorQueueEmpty(&queue));
    push({-113, 0, -222, -222});
    EXPECT_FALSE(scpi_isErrorQueueEmpty(&queue));
    EXPECT_EQ(pop(), "-113,\"Undefined header\"");
    EXPECT_EQ(pop(), "-222,\"Data out of range\"");
    EXPECT_FALSE(scpi_isErrorQueueEmpty(&queue));
    EXPECT_EQ(pop(), "-222,\"Data out of range\"");
    EXPECT_TRUE(scpi_isErrorQueueEmpty(&queue));
    EXPECT_EQ(pop(), "0,\"No error\"");
    EXPECT_EQ(pop(), "0,\"No error\"");
}

TEST_F(ErrorQueueTest, AFullQueueEndsInItsOverflowWhereverItBegins) {
    for (int start = 0; start < 2 * errorQueueSize; start += 7) { // every turn begins elsewhere in the ring
        for (int32_t code = 1; code <= 53; ++code)
            push({-code});
        for (int32_t code = 1; code <= 49; ++code)
            ASSERT_EQ(pop(), std::to_string(-code) + ",\"\"") << start;
        EXPECT_EQ(pop(), "-350,\"Queue overflow\"");
        EXPECT_TRUE(scpi_isErrorQueueEmpty(&queue));
        for (int i = 0; i < 7; ++i) {
            push({-1, -2});
            pop();
            pop();
        }
    }
    for (int32_t code = 1; code <= errorQueueSize; ++code)
        push({-code});
    for (int32_t code = 1; code < errorQueueSize; ++code)
        pop();
    EXPECT_EQ(pop(), "-50,\"\""); // 50 fit
}

TEST_F(ErrorQueueTest, TheWholeQueueIsOneAnswer) {
    EXPECT_EQ(popAll(100), "0,\"No error\"");
    push({-113, -262344});
    EXPECT_EQ(popAll(100), "-113,\"Undefined header\",-262344,\"Execution error;Lock failed\"");
    EXPECT_TRUE(scpi_isErrorQueueEmpty(&queue));
}

TEST_F(ErrorQueueTest, WhatTheAnswerHasNoRoomForStaysInTheQueue) {
    constexpr int size = 23; // of the text of -113
    for (int room = 0; room < 4 * size; ++room) {
        scpi_clearErrorQueue(&queue);
        push({-113, -113, -113});
        const int fitting = std::min(3, room / (size + 1));
        const std::string text = popAll(room, fitting == 0 ? -400 : 0);
        std::string expected;
        for (int i = 0; i < fitting; ++i)
            expected += (i ? "," : "") + std::string("-113,\"Undefined header\"");
        EXPECT_EQ(text, expected) << room;
        for (int i = fitting; i < 3; ++i)
            EXPECT_EQ(pop(), "-113,\"Undefined header\"") << room;
        EXPECT_TRUE(scpi_isErrorQueueEmpty(&queue)) << room;
    }
}

TEST(StatusRegistersTest, TheTreeIsLinkedAndClear) {
    DeviceStatusRegisters registers;
    memset(static_cast<void*>(&registers), 0xFF, sizeof registers);
    deviceStatusRegistersInit(&registers);
    EXPECT_EQ(registers.operationSweep.parent, &registers.operation);
    EXPECT_EQ(registers.operationSweep.parentBit, 8u);
    EXPECT_EQ(registers.operationWait.parent, &registers.operation);
    EXPECT_EQ(registers.operationWait.parentBit, 32u);
    EXPECT_EQ(registers.operation.parent, nullptr);
    EXPECT_EQ(registers.questionable.parent, nullptr);
    EXPECT_EQ(registers.operationWait.enable | registers.questionable.ptransition | registers.sre, 0);
}

TEST(StatusRegistersTest, EnableRegistersKeepEightBits) {
    DeviceStatusRegisters registers;
    deviceStatusRegistersInit(&registers);
    statusregister_setEse(&registers, 511);
    statusregister_setSre(&registers, 0xFFFFFF20);
    EXPECT_EQ(statusregister_getEse(&registers), 255);
    EXPECT_EQ(statusregister_getSre(&registers), 0x20);
    registers.esr = 36;
    EXPECT_EQ(statusregister_getEsr(&registers), 36);
    EXPECT_EQ(statusregister_getEsr(&registers), 36);
    EXPECT_EQ(statusregister_getStb(&registers), 0);
}

TEST(StatusRegistersTest, ClearingForgetsTheEventsAlone) {
    DeviceStatusRegisters registers;
    deviceStatusRegistersInit(&registers);
    registers.esr = 36;
    statusregister_setEse(&registers, 3);
    for (StatusRegister* reg :
         {&registers.operation, &registers.operationSweep, &registers.operationWait, &registers.questionable}) {
        reg->event = 9;
        reg->enable = 65535;
    }
    EXPECT_EQ(statusregister_takeEvent(&registers.questionable), 9);
    EXPECT_EQ(statusregister_takeEvent(&registers.questionable), 0);
    statusregister_clearEvents(&registers);
    for (StatusRegister* reg : {&registers.operation, &registers.operationSweep, &registers.operationWait}) {
        EXPECT_EQ(reg->event, 0);
        EXPECT_EQ(reg->enable, 65535);
    }
    EXPECT_EQ(statusregister_getEsr(&registers), 0);
    EXPECT_EQ(statusregister_getEse(&registers), 3);
    EXPECT_EQ(registers.operationSweep.parent, &registers.operation);
}

} // namespace
