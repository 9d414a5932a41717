#include "engine_fixture.h"

#include <cstdio>
#include <fstream>
#include <unistd.h>

using namespace engine;

TEST_F(Engine, AnswersOfOneMessageFormOneLine) {
    EXPECT_EQ(asked("*IDN?;*OPC?;*OPC;*OPC?\n"), "Tolvane AG,TEST;1;1\n");
    EXPECT_EQ(asked("*OPC\n"), "");
    EXPECT_EQ(asked("EMPT?;*OPC?\n"), ";1\n");
    EXPECT_EQ(asked("EMPT?\n"), "\n");
}

TEST_F(Engine, ControlBytesAreBlanksAndEmptyUnitsAreNoError) {
    EXPECT_EQ(asked(std::string_view("\t*OPC?\r\n \0 \n;;\n", 14)), "1\n");
    EXPECT_EQ(errors(), Codes{});
}

TEST_F(Engine, RelativeUnitsContinueWhereTheLastOneEnded) {
    receive(":SENS:PN:AVER 5;CORR 2\n");
    receive("SENS:PN:AVER 5;:SENS:PN:CORR 2; :SENS:PN:CORR 3\n");
    EXPECT_EQ(commands(), (Texts{"aver(5)", "corr(2)", "aver(5)", "corr(2)", "corr(3)"}));
    EXPECT_EQ(errors(), Codes{});
    receive("SENS:PN:AVER 5;*OPC;CORR 3\n"); // a common command behind a path wants its ':'
    EXPECT_EQ(commands(), (Texts{"aver(5)", "corr(3)"}));
    EXPECT_EQ(errors(), Codes{undefinedHeader});
    receive("SENS:PN:AVER 5; ;CORR 3\nCORR 4\n"); // a blank unit and the end of the message go back to the root
    EXPECT_EQ(commands(), Texts{"aver(5)"});
    EXPECT_EQ(errors(), (Codes{undefinedHeader, undefinedHeader}));
}

TEST_F(Engine, AnAnswerIsCutAtTheRoomAndTheLinkGoesOn) {
    handlerAnswer.assign(size + 30, 'a');
    EXPECT_EQ(asked("*IDN?\n"), std::string(size - 2, 'a'));
    handlerAnswer = "b";
    EXPECT_EQ(asked("*IDN?\n"), "b\n");
    // The newline goes when exactly its place is missing.
    handlerAnswer.assign(size - 2, 'c');
    EXPECT_EQ(asked("*IDN?\n"), handlerAnswer);
    handlerAnswer.assign(size - 3, 'd');
    EXPECT_EQ(asked("*IDN?\n"), handlerAnswer + "\n");
}

TEST_F(Engine, AFullBufferWithoutAnEndIsCutAtItsLastComma) {
    const std::string head = "LIST 11111,22222,";
    std::string text = head + std::string(size - head.size(), '3') + "44,55\n*OPC?\n";
    receive(text);
    EXPECT_EQ(commands(),
              (Texts{"list 11111,22222 ...", "list " + std::string(size - head.size(), '3') + "44,55", "opc?()"}));
    EXPECT_EQ(replies(), "1\n");
}

TEST_F(Engine, AFullBufferGivesFixedParameterListsAnErrorAndTheLinkStaysUsable) {
    receive("SENS:TWO " + std::string(size - 9, '7'));
    EXPECT_EQ(errors(), Codes{queueOverflow});
    receive("\n*OPC?\n");
    EXPECT_EQ(replies(), "1\n");
    EXPECT_EQ(errors(), Codes{});
}

TEST_F(Engine, CompleteMessagesThatJustFillTheBufferAreNotCut) {
    std::string text;
    while (text.size() + 8 <= size)
        text += "*OPC ,,\n";
    ASSERT_EQ(text.size(), size_t{size});
    receive(text);
    EXPECT_EQ(commands().size(), size_t{size / 8});
    std::string one = "SENS:TWO 1," + std::string(size - 12, '2') + "\n";
    ASSERT_EQ(one.size(), size_t{size});
    receive(one);
    EXPECT_EQ(errors(), Codes{});
    EXPECT_EQ(commands().size(), 1u);
}

TEST_F(Engine, AnEndIndicatorEndsAMessageWithoutANewline) {
    const std::string text = "*OPC?" + std::string(size - 5, ' ');
    char* where = nullptr;
    EXPECT_EQ(tvcommOpenCmd(&link_, &where), size);
    text.copy(where, size);
    tvcommEndCmd(&link_, size);
    tvcommCloseCmd(&link_, size);
    EXPECT_EQ(tvcommOpenCmd(&link_, &where), 0); // nothing may join it before it has been executed
    tvcommCloseCmd(&link_, 0);
    serve();
    EXPECT_EQ(replies(), "1\n");
    EXPECT_EQ(tvcommOpenCmd(&link_, &where), size);
    tvcommCloseCmd(&link_, 0);
}

TEST_F(Engine, ABlockIsReceivedWhateverItsBytesAndPieces) {
    std::string data;
    for (int i = 0; i < 700; ++i)
        data += static_cast<char>(i * 7);
    for (const size_t piece : {size_t{1}, size_t{3}, size_t{64}, size_t{1000}}) {
        data[0] = "\0#\n"[piece % 3];
        const std::string message = "BLOC #3700" + data + "\n*OPC?\n";
        for (size_t at = 0; at < message.size(); at += piece)
            receive(std::string_view(message).substr(at, piece));
        EXPECT_EQ(replies(), "1\n");
        std::ifstream file("/tmp/engine-test-block", std::ios::binary);
        EXPECT_TRUE(std::string(std::istreambuf_iterator<char>(file), {}) == data) << piece;
    }
    remove("/tmp/engine-test-block");
}

/// The message whole, then in two pieces that meet at each of its bytes.
TEST_F(Engine, AHashThatOpensNoBlockIsTextAndSwallowsNothing) {
    for (const char* text :
         {"#x1", "#0", "a#", "5#", "5#12", "#1", "#3", "#31", "#1x", "\"U #2\"", "\"U #12\"", "\"U, #12\"", "7 #13"}) {
        const std::string message = std::string("SENS:PN:AVER ") + text + "\n*OPC?\n";
        for (size_t at = 0; at < message.size(); ++at) {
            receive(message.substr(0, at));
            receive(message.substr(at));
            EXPECT_EQ(commands(), (Texts{std::string("aver(") + text + ")", "opc?()"})) << text << " cut at " << at;
            EXPECT_EQ(replies(), "1\n");
        }
    }
}

TEST_F(Engine, ABlockThatNoCommandTakesIsSkippedAndNeverRun) {
    const std::string data = "\n*OPC?\n*OPC;*OPC\n";
    const std::string block = "#2" + std::to_string(data.size()) + data;
    for (const char* start : {"", "NOSUCH ", "*IDN? ", "SENS:TWO 1,", "SENS:PN:AVER 1;:NOSUCH? "}) {
        const std::string message = start + block + "\nSENS:PN:CORR 2;CORR?\n";
        for (size_t at = 0; at < message.size(); ++at) {
            receive(message.substr(0, at));
            receive(message.substr(at));
            const Texts ends = commands();
            EXPECT_EQ(Texts(ends.end() - 2, ends.end()), (Texts{"corr(2)", "corr?()"})) << message << at;
            EXPECT_EQ(replies(), "1\n");
            EXPECT_EQ(errors().size(), *start == 'S' && start[5] == 'T' ? 0u : 1u) << start;
            EXPECT_FALSE(receivesBlock());
        }
    }
    receive("NOSUCH #10\n*OPC?\n");
    EXPECT_EQ(replies(), "1\n");
}

TEST_F(Engine, ADeviceClearEmptiesTheLinkAndEndsItsTransfers) {
    blockSource.assign(3000, 'z');
    tvcommWriteCmd(&link_, "BLOC?\n", 6);
    scpi_link_serveAlone(&link_);
    EXPECT_TRUE(sendsBlock());
    client_.clear();
    EXPECT_FALSE(sendsBlock());
    serve();
    EXPECT_EQ(replies(), "");
    EXPECT_EQ(asked("*OPC?\n"), "1\n");
}

TEST_F(Engine, ACommandFileRunsLineByLineAndTheLastLineWantsItsNewline) {
    const char* path = "/tmp/engine-test-file";
    std::ofstream(path) << "SENS:PN:AVER 1\n\nLIST " << std::string(3 * size, 'l')
                        << "\nSENS:PN:CORR 2\nSENS:PN:CORR 3";
    EXPECT_TRUE(runCommandFile(&link_, path));
    const Texts got = commands();
    ASSERT_GE(got.size(), 3u);
    EXPECT_EQ(got.front(), "aver(1)");
    EXPECT_EQ(got.back(), "corr(2)");
    unlink(path);
    EXPECT_FALSE(runCommandFile(&link_, path)); // a missing file is no fault
    EXPECT_EQ(commands(), Texts{});
}

TEST_F(Engine, ErrorsBeyondTheQueueAreOneOverflowInItsLastPlace) {
    for (int i = 0; i < errorQueueSize + 3; ++i)
        receive("NONS\n");
    Codes expected(errorQueueSize, undefinedHeader);
    expected.back() = queueOverflow;
    EXPECT_EQ(errors(), expected);
}

TEST_F(Engine, DeferredCallsAreMadeOnTheTick) {
    static std::vector<long> calls;
    const auto call = [](void* argument) { calls.push_back(reinterpret_cast<long>(argument)); };
    const auto argument = [](long value) { return reinterpret_cast<void*>(value); };
    EXPECT_EQ(tvstuff_deferredCall(call, argument(1), 0), 0);
    EXPECT_EQ(calls, std::vector<long>{1});
    EXPECT_EQ(tvstuff_deferredCall(call, argument(2), 5000), 0);
    EXPECT_EQ(tvstuff_deferredCall(call, argument(2), 9000), 0); // queued already
    EXPECT_EQ(tvstuff_deferredCall(call, argument(3), 1000), 0);
    EXPECT_EQ(tvstuff_deferredCall(call, argument(4), 1000), outOfMemory);
    tvstuff_executeDeferredCallsImmediately();
    EXPECT_EQ(calls, (std::vector<long>{1, 2, 3}));
    EXPECT_EQ(tvstuff_deferredCall(call, argument(5), 100), 0);
    for (int i = 0; i < 4 && calls.size() < 4; ++i)
        scpi_execute(link_list, nullptr, 1); // ticks of 1 ms
    EXPECT_EQ(calls, (std::vector<long>{1, 2, 3, 5}));
}
