#include "base/error_codes.h"
#include "scpi/parameters.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

struct Taken {
    int32_t error;
    std::vector<std::string> fields;
    bool operator==(const Taken&) const = default;
};

Taken take(std::string text, size_t count) {
    std::vector<char*> fields(count, nullptr);
    Taken taken{scpi_getParameters(text.data(), fields), {}};
    if (taken.error == 0)
        for (const char* field : fields)
            taken.fields.emplace_back(field);
    return taken;
}

} // namespace

TEST(Parameters, ExactlyTheFieldsThatAreAskedFor) {
    const struct {
        const char* text;
        size_t count;
        Taken taken;
    } cases[] = {
        {"", 0, {0, {}}},
        {"5", 0, {scpi::parameterNotAllowed, {}}},
        {"5", 1, {0, {"5"}}},
        {"  5 V \t", 1, {0, {"5 V"}}},
        {"5,6", 1, {scpi::parameterNotAllowed, {}}},
        {"5,", 1, {0, {"5"}}},
        {"5", 2, {scpi::missingParameter, {}}},
        {",5", 1, {scpi::missingParameter, {}}},
        {"", 1, {scpi::missingParameter, {}}},
        {"\"a,b\"", 2, {0, {"\"a", "b\""}}},
        {" 1 ,2,  3", 3, {0, {"1", "2", "3"}}},
    };
    for (const auto& [text, count, taken] : cases)
        EXPECT_EQ(take(text, count), taken) << '"' << text << "\" as " << count;
    EXPECT_EQ(scpi_getParameters(nullptr, {}), 0);
    char* field = nullptr;
    EXPECT_EQ(_scpi_getParameters(nullptr, &field), scpi::missingParameter);
    scpi_analyse_setCbufFull(1);
    EXPECT_EQ(take("5", 1).error, scpi::queueOverflow);
    scpi_analyse_setCbufFull(0);
}

TEST(Parameters, ABlockHeaderIsKnownWithTheFirstByteBehindIt) {
    const struct {
        const char* text;
        int length, result;
    } cases[] = {{"#", 0, -1},     {"x", 1, 0},          {"#", 1, -1},   {"#0", 2, 0},    {"#a", 2, 0},
                 {"#15", 2, -1},   {"#15h", 3, 1},       {"#21", 3, -1}, {"#212x", 4, 1}, {"#2a", 3, 0},
                 {"#3123", 4, -1}, {"#91234567", 9, -1}, {"#31\n", 4, 0}};
    for (const auto& [text, length, result] : cases)
        EXPECT_EQ(tvscpi_isArbitraryBlock(text, length), result) << text << " of " << length;
}

TEST(Parameters, ABlockIsAParameterOfItsOwnOrAUnit) {
    for (const char* text : {"#", "  #", "A #", "A:B? #", " A 1,#", "A 1 , #", "A;#", "A \"x\",#", "A 1;B #"})
        EXPECT_TRUE(scpi_mayOpenBlock(text, strchr(text, '#'))) << text;
    for (const char* text : {"5#", "A 5#", "A 5 #", "A 1, 2 #", "A \"U #", "A \"#", "B;A#"})
        EXPECT_FALSE(scpi_mayOpenBlock(text, strchr(text, '#'))) << text;
}
