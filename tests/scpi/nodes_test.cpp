#include "engine_fixture.h"
#include "scpi/nodes.h"

using namespace engine;

namespace {

double level = 1.5;
int sets;
bool on;
int32_t lastSource;
tvfreq carrier{100, 0};

Slot<double(Device*)> getLevel, getLow, getHigh, unregistered;
Slot<int(Device*, double)> setLevel;
Slot<const tvfreq*(Device*)> getCarrier, getCarrierMax;
Slot<int(Device*, const tvfreq*)> setCarrier;
Slot<int(Device*)> isOn, turnOn, turnOff;
Slot<double(Device*, int32_t)> getSource;
Slot<int(Device*, int32_t, double)> setSource;

constexpr Row nodeRows[] = {
    {"LEVel", QS,
     [](Unit& u) {
         scpi_node_double(u, {&getLevel, &setLevel, &getLow, &getHigh});
     },
     "", ""},
    {"LIMitless", QS,
     [](Unit& u) {
         scpi_node_double(u, {&getLevel, &setLevel, nullptr, &unregistered});
     },
     "", ""},
    {"READonly", QS, [](Unit& u) { scpi_node_double(u, {.get = &getLevel}); }, "", ""},
    {"ABSent", QS, [](Unit& u) { scpi_node_double(u, {.get = &unregistered}); }, "", ""},
    {"CARRier", QS,
     [](Unit& u) {
         scpi_node_freq(u, {&getCarrier, &setCarrier, nullptr, &getCarrierMax});
     },
     "", ""},
    {"SWITch", QS,
     [](Unit& u) {
         scpi_node_bool(u, {&isOn, &turnOn, &turnOff});
     },
     "", ""},
    {"HALF", QS, [](Unit& u) { scpi_node_bool(u, {.get = &isOn, .enable = &turnOn}); }, "", ""},
    {"SOURce<n>", QS, [](Unit& u) { scpi_node_index_double(u, {.get = &getSource, .set = &setSource}); }, "", ""},
};
constexpr CommandTreeStorage<16> nodeStorage{nodeRows};
static_assert(nodeStorage.error() == nullptr);

class NodesTest : public Engine {
protected:
    NodesTest() {
        context_.tree = nodeStorage.view({});
        getLevel = [](Device*) { return level; };
        getLow = [](Device*) { return -10.0; };
        getHigh = [](Device*) { return 20.0; };
        setLevel = [](Device*, double value) {
            ++sets;
            level = value;
            return value == 13.0 ? executionError : 0;
        };
        getCarrier = [](Device*) -> const tvfreq* { return &carrier; };
        getCarrierMax = [](Device*) -> const tvfreq* {
            static constexpr tvfreq limit{1000000, 0};
            return &limit;
        };
        setCarrier = [](Device*, const tvfreq* value) {
            carrier = *value;
            return 0;
        };
        isOn = [](Device*) { return on ? 1 : 0; };
        turnOn = [](Device*) { return on = true, 0; };
        turnOff = [](Device*) { return on = false, 0; };
        getSource = [](Device*, int32_t source) { return source + 0.25; };
        setSource = [](Device*, int32_t source, double) { return lastSource = source, 0; };
    }
};

} // namespace

TEST_F(NodesTest, EachLineHasItsAnswerAndItsErrors) {
    const struct {
        const char* line;
        const char* reply;
        Codes codes;
        double level; // afterwards
    } cases[] = {
        {"LEV?", "1.500000000\n", {}, 1.5},
        {"LEV? MIN;LEV? MAXIMUM", "-10.000000000;20.000000000\n", {}, 1.5},
        {"LEV? 5", "", {undefinedHeader}, 1.5},
        {"LEV? MIN,MAX", "", {parameterNotAllowed}, 1.5},
        {"LEV 7", "", {}, 7.0},
        {"LEV 21", "", {}, 20.0},
        {"LEV -11", "", {}, -10.0},
        {"LEV max", "", {}, 20.0},
        {"LEV 13", "", {executionError}, 13.0},
        {"LEV", "", {missingParameter}, 13.0},
        {"LEV 1,2", "", {parameterNotAllowed}, 13.0},
        {"LEV 1x", "", {illegalParameterValue}, 13.0},
        {"LEV 1E99", "", {dataOutOfRange}, 13.0},
        {"LEV:FOO 1", "", {undefinedHeader}, 13.0},
        {"LIM 1e30", "", {}, 1e30},
        {"LIM MAX", "", {illegalParameterValue}, 1e30},
        {"LIM? MAX", "", {undefinedHeader}, 1e30},
        {"LIM 2", "", {}, 2.0},
        {"READ?", "2.000000000\n", {}, 2.0},
        {"READ 3", "", {undefinedHeader}, 2.0},
        {"ABS?;ABS 1", "", {undefinedHeader, undefinedHeader}, 2.0},
        {"SWIT ON;SWIT?;SWIT 0;SWIT?", "1;0\n", {}, 2.0},
        {"SWIT? 1", "", {parameterNotAllowed}, 2.0},
        {"SWIT MAYBE;HALF ON;HALF?", "0\n", {illegalParameterValue, undefinedHeader}, 2.0},
        {"CARR?", "100.00000000000000000000\n", {}, 2.0},
        {"CARR 0.5 kHz;CARR?;CARR 1 GHZ;CARR?", "500.00000000000000000000;1000000.00000000000000000000\n", {}, 2.0},
        {"CARR 1 V", "", {invalidSuffix}, 2.0},
        {"SOUR3?;SOUR17 1", "3.250000000\n", {}, 2.0},
    };
    for (const auto& [line, reply, codes, after] : cases) {
        EXPECT_EQ(asked(std::string(line) + "\n"), reply) << line;
        EXPECT_EQ(errors(), codes) << line;
        EXPECT_EQ(level, after) << line;
    }
    EXPECT_EQ(lastSource, 17);
}

TEST_F(NodesTest, AnAnswerThatDoesNotFitIsDroppedWithAnError) {
    receive("LEV 1;LEV?;LEV?;LEV?;LEV?;LEV?;LEV?;LEV?;LEV?;LEV?;LEV?;LEV?\n");
    const std::string line = replies();
    EXPECT_EQ(line, "1.000000000;1.000000000;1.000000000;1.000000000;1.000000000;1.000000000;1.000000000;1.000000000;"
                    "1.000000000;1.000000000\n");
    EXPECT_EQ(errors(), Codes{queryError});
}
