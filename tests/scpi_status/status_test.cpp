#include "scpi/error_queue.h"
#include "scpi/status.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

struct ErrorQueueTest : testing::Test {
    ErrorQueueTest() { scpi_initErrorQueue(&queue); }

    void push(std::initializer_list<int32_t> codes) {
        for (const int32_t code : codes)
            scpi_pushErrorQueue(code, &queue);
    }
    std::string pop() {
        int32_t code = 1, length = -1;
        EXPECT_EQ(scpi_popErrorQueue(&queue, &code, answer, sizeof answer, &length), 0);
        EXPECT_EQ(static_cast<size_t>(length), strlen(answer));
        return answer;
    }

    scpi_error_queue queue;
    char answer[256];
};

TEST_F(ErrorQueueTest, CodesHaveTheirTexts) {
    constexpr std::pair<int32_t, const char*> texts[] = {
        {0, "0,\"No error\""},
        {-113, "-113,\"Undefined header\""},
        {-999, "-999,\"\""},
        {-262344, "-262344,\"Execution error;Lock failed\""},
        {-65736, "-65736,\"Execution error;No measurement running\""},
        {-200 - 7 * 65536, "-458952,\"\""}, // no such detail
        {-222 - 4 * 65536, "-262366,\"\""}, // detail of another code
        {INT_MIN, "-2147483648,\"\""},
        {5, "5,\"\""},
    };
    for (const auto& [code, text] : texts) {
        const int needed = static_cast<int>(strlen(text)) + 1;
        for (int room = -1; room <= needed; ++room) {
            int32_t length = -1;
            memset(answer, '#', sizeof answer);
            EXPECT_EQ(scpi_errorCode2Str(answer, code, room, &length), room == needed ? 0 : -400) << room;
            EXPECT_EQ(length, room == needed ? needed - 1 : 0) << room;
            EXPECT_EQ(answer[std::max(room, 0)], '#') << room;
        }
        EXPECT_STREQ(answer, text);
    }
}

TEST_F(ErrorQueueTest, ErrorsComeBackInTheirOrderAndThenThereAreNone) {
    push({-113, 0, -222, -222});
    const char range[] = "-222,\"Data out of range\"", none[] = "0,\"No error\"";
    for (const char* expected : {"-113,\"Undefined header\"", range, range, none, none}) {
        EXPECT_EQ(scpi_isErrorQueueEmpty(&queue), expected == none);
        EXPECT_EQ(pop(), expected);
    }
}

TEST_F(ErrorQueueTest, AFullQueueEndsInItsOverflowWhereverItBegins) {
    for (int count : {errorQueueSize, errorQueueSize + 1, errorQueueSize + 3})
        for (int start = 0; start < 2 * errorQueueSize; start += 7) { // every turn begins elsewhere in the ring
            for (int32_t code = 1; code <= count; ++code)
                push({-code, 0}); // 0 is no error
            for (int32_t code = 1; code < errorQueueSize; ++code)
                ASSERT_EQ(pop(), std::to_string(-code) + ",\"\"") << start;
            EXPECT_EQ(pop(), count == errorQueueSize ? "-50,\"\"" : "-350,\"Queue overflow\"");
            EXPECT_TRUE(scpi_isErrorQueueEmpty(&queue));
            for (int i = 0; i < 7; ++i) {
                push({-1, -2});
                pop();
                pop();
            }
        }
}

TEST_F(ErrorQueueTest, WhatTheAnswerHasNoRoomForStaysInTheQueue) {
    const std::string text = "-113,\"Undefined header\"", three = text + ',' + text + ',' + text;
    int32_t length = -1;
    for (size_t room = 0; room < 4 * text.size(); ++room) {
        push({-113, -113, -113});
        const size_t fitting = std::min<size_t>(3, room / (text.size() + 1));
        const std::string list = three.substr(0, (text.size() + 1) * fitting - (fitting > 0));
        memset(answer, '#', sizeof answer);
        const int error = scpi_getAndClearWholeErrorQueue(&queue, answer, static_cast<int>(room), &length);
        EXPECT_EQ(error, fitting > 0 ? 0 : -400) << room;
        EXPECT_EQ(std::string(answer, static_cast<size_t>(length)), list) << room;
        EXPECT_TRUE(answer[room] == '#' && (fitting == 0 || answer[length] == 0)) << room;
        for (size_t i = fitting; i < 3; ++i)
            EXPECT_EQ(pop(), text) << room;
        EXPECT_EQ(pop(), "0,\"No error\"") << room;
    }
}

TEST(StatusRegistersTest, ClearingForgetsTheEventsAlone) {
    DeviceStatusRegisters registers;
    memset(static_cast<void*>(&registers), 0xFF, sizeof registers);
    deviceStatusRegistersInit(&registers);
    EXPECT_EQ(registers.operationWait.enable | registers.questionable.ptransition | registers.sre, 0);
    statusregister_setEse(&registers, 511); // eight bits
    statusregister_setSre(&registers, 0xFFFFFF20);
    registers.esr = 36;
    StatusRegister* const all[] = {&registers.operation, &registers.operationSweep, &registers.operationWait,
                                   &registers.questionable};
    for (StatusRegister* reg : all) {
        reg->enable = 65535;
        reg->event = 9;
        EXPECT_EQ(statusRegister_takeEvent(reg), 9);
        EXPECT_EQ(statusRegister_takeEvent(reg), 0);
        reg->event = 9;
    }
    statusregister_clearEvents(&registers);
    for (const StatusRegister* reg : all)
        EXPECT_TRUE(reg->event == 0 && reg->enable == 65535);
    EXPECT_EQ(registers.operation.condition, 0);
    EXPECT_EQ(statusregister_getEsr(&registers), 0);
    EXPECT_EQ(statusregister_getEse(&registers), 255);
    EXPECT_EQ(statusregister_getSre(&registers), 0x20);
    for (const auto& [reg, bit] : {std::pair{registers.operationSweep, 8u}, {registers.operationWait, 32u}})
        EXPECT_TRUE(reg.parent == &registers.operation && reg.parentBit == bit);
}

TEST(StatusRegistersTest, ConditionsLeaveEventsAndEventsShowAbove) {
    DeviceStatusRegisters registers;
    deviceStatusRegistersInit(&registers);
    StatusRegister &above = registers.operation, &wait = registers.operationWait;
    above.ptransition = 0xFFFF;
    wait.ptransition = 1;
    wait.ntransition = 2;
    statusRegister_setCondition(&wait, 3);
    EXPECT_TRUE(wait.condition == 3 && wait.event == 1 && above.condition == 0) << "not enabled";
    statusRegister_setEnable(&wait, 2);
    statusRegister_clearCondition(&wait, 1);
    EXPECT_TRUE(wait.condition == 2 && above.condition == 0);
    statusRegister_clearCondition(&wait, 2);
    EXPECT_TRUE(wait.event == 3 && above.condition == 32 && above.event == 32);
    statusRegister_setCondition(&above, 16);
    EXPECT_EQ(statusRegister_takeEvent(&wait), 3);
    EXPECT_TRUE(above.condition == 16 && above.event == 48) << "an event stays until it is read";
}

} // namespace
