/// Many messages at once: every answer comes, in the order of the queries, whatever else is in flight.

#include "engine_fixture.h"

#include <algorithm>
#include <random>

using namespace engine;

namespace {

void nextError(Unit& unit) {
    int32_t code = 0;
    unit.errorCode = scpi_popErrorQueue(&parser->errors, &code, unit.answer, unit.answerRoom, &unit.answerLength);
}
void allErrors(Unit& unit) {
    unit.errorCode = scpi_getAndClearWholeErrorQueue(&parser->errors, unit.answer, unit.answerRoom, &unit.answerLength);
}

constexpr Row inFlightRows[] = {
    {"*IDN", Q, idn, "", ""},          {"*OPC", QS, record<opc>, "", ""}, {"BLOCk", Q, sendBlock, "", ""},
    {"EMPTy", Q, emptyAnswer, "", ""}, {"ERRor", Q, nextError, "", ""},   {"ERRor:ALL", Q, allErrors, "", ""},
    {"SENSe:TWO", S, two, "", ""},
};
constexpr CommandTreeStorage<32> inFlightTree{inFlightRows};

class InFlight : public Engine {
protected:
    InFlight() { context_.tree = inFlightTree.view({}); }

    /// What comes back when no transport fetches anything between the messages.
    std::string unread(std::string_view message, int times) {
        for (int i = 0; i < times; ++i) {
            tvcommWriteCmd(&link_, message.data(), static_cast<int>(message.size()));
            scpi_link_serveAlone(&link_);
        }
        serve();
        return replies();
    }
};

std::string repeated(std::string_view text, int times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

constexpr std::string_view undefined = "-113,\"Undefined header\"";

} // namespace

TEST_F(InFlight, AMessageLongerThanTheBufferIsWholeWhereItsUnitsFit) {
    for (const int padding : {0, 1, 2, 3, 4, 5, 6, 7}) {
        const std::string all =
            std::string(static_cast<size_t>(padding), ' ') + repeated("*OPC?;", 300) + "*OPC?\n*IDN?\n";
        EXPECT_EQ(asked(all), repeated("1;", 300) + "1\n" + handlerAnswer + "\n") << padding;
        EXPECT_EQ(errors(), Codes{}) << padding;
    }
}

TEST_F(InFlight, TheRestOfAUnitThatDoesNotFitNeverRuns) {
    for (const char separator : {';', '\n'})
        for (int length = size - 22; length < 3 * size; ++length) {
            const std::string unit = "SENS:TWO " + std::string(static_cast<size_t>(length), '7');
            receive(unit + ":SENS:TWO 1,2" + separator + ":*OPC?\n");
            EXPECT_EQ(commands(), Texts{"opc?()"}) << length;
            EXPECT_EQ(errors(), Codes{queueOverflow}) << length;
            EXPECT_EQ(replies(), "1\n") << length;
        }
}

TEST_F(InFlight, NoAnswerIsLostForWantOfRoom) {
    const std::string id = handlerAnswer + "\n";
    EXPECT_EQ(asked(repeated("*IDN?\n", 100)), repeated(id, 100));
    EXPECT_EQ(unread("*IDN?\n", 15), repeated(id, 15));
    EXPECT_EQ(asked(repeated("*IDN?;", 18) + "*OPC?\n"), repeated(handlerAnswer + ";", 18) + "1\n") << "one long line";
    EXPECT_EQ(errors(), Codes{});
}

TEST_F(InFlight, AnErrorThatIsTakenOffTheQueueIsTold) {
    for (const auto& [separator, times] : {std::pair("\n", 49), std::pair(";:", 19)}) {
        receive(repeated("NONS\n", times));
        const std::string line = std::string(undefined) + separator[0];
        EXPECT_EQ(asked("ERR?" + repeated(std::string(separator) + "ERR?", times - 1) + "\n"),
                  repeated(line, times - 1) + std::string(undefined) + "\n");
        EXPECT_EQ(errors(), Codes{});
    }
    // What fits does not depend on what stands in the buffer already.
    receive("NONS;NONS;NONS;NONS\n");
    const std::string all = asked("ERR:ALL?\n");
    (void)errors();
    receive("NONS;NONS;NONS;NONS\n");
    EXPECT_EQ(asked("*IDN?;*IDN?;*IDN?;*IDN?\nERR:ALL?\n"),
              repeated(handlerAnswer + ";", 3) + handlerAnswer + "\n" + all);
    char answer[8];
    int32_t code = 0, length = 0;
    scpi_pushErrorQueue(-224, &context_.errors);
    EXPECT_EQ(scpi_popErrorQueue(&context_.errors, &code, answer, sizeof answer, &length), queryError);
    EXPECT_EQ(errors().back(), -224) << "it was not delivered, so it stays";
}

TEST_F(InFlight, BlocksAndTextsComeInTheOrderOfTheirQueries) {
    for (const int bytes : {0, 1, size - 6, size - 5, size, 3000}) {
        blockSource.assign(static_cast<size_t>(bytes), 'q');
        const std::string digits = std::to_string(bytes);
        const std::string block = "#" + std::to_string(digits.size()) + digits + blockSource;
        EXPECT_EQ(asked("BLOC?;BLOC?\n"), block + block);
        EXPECT_EQ(asked("BLOC?;*OPC?\n*IDN?\n"), block + "1\n" + handlerAnswer + "\n");
        EXPECT_EQ(asked("*OPC?;*OPC?;BLOC?;*OPC?;BLOC?;*IDN?;*OPC?;BLOC?;*OPC 1\nEMPT?\n"),
                  "1;1\n" + block + "1\n" + block + handlerAnswer + ";1\n" + block + "\n");
        EXPECT_EQ(errors(), Codes{});
    }
}

TEST_F(InFlight, AnyMixtureInAnyPiecesIsAnsweredLikeOneMessageAfterTheOther) {
    std::mt19937 random(20);
    const auto upTo = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most + 1)); };
    blockSource.assign(200, 'b');
    const std::string block = "#3200" + blockSource;
    std::string text, expected;
    size_t queued = 0;
    for (int message = 0; message < 20000; ++message) {
        std::string line;
        for (int units = 1 + upTo(3) * upTo(3); units > 0; --units) {
            const auto answer = [&](std::string_view query, std::string_view what) {
                text += query;
                line += (line.empty() ? "" : ";") + std::string(what);
            };
            switch (upTo(6)) {
            case 0: answer("*IDN?", handlerAnswer); break;
            case 1: answer("*OPC?", "1"); break;
            case 2:
                answer("ERR?", queued > 0 ? undefined : "0,\"No error\"");
                queued -= queued > 0 ? 1 : 0;
                break;
            case 3:
                text += "BLOC?";
                expected += line + (line.empty() ? "" : "\n") + block;
                line.clear();
                break;
            case 4: text += "SENS:TWO 1,2"; break;
            default: text += queued < 20 ? "NONS" : "*OPC"; queued += queued < 20 ? 1 : 0;
            }
            text += units > 1 ? ";:" : "\n";
        }
        expected += line + (line.empty() ? "" : "\n");
    }
    for (std::string_view rest = text; !rest.empty();) {
        const auto piece = std::min(rest.size(), static_cast<size_t>(1 + upTo(upTo(1) * 300)));
        receive(rest.substr(0, piece));
        rest.remove_prefix(piece);
    }
    const std::string got = replies();
    EXPECT_EQ(got.size(), expected.size());
    EXPECT_TRUE(got == expected) << "first difference at " << std::ranges::mismatch(got, expected).in1 - got.begin();
}
