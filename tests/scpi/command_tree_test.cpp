/// The walk through the tree: what each unit of a line reaches, with the path that those before it have left.

#include "engine_fixture.h"

#include <random>

using namespace engine;

namespace {

/// One command as it is reached: who runs, in which form, with what suffix and what left of the text.
struct Reached {
    const Row* row = nullptr;
    int mode = 0;
    int32_t index = 0;
    std::string text;
};

std::vector<Reached> reachedByWalk;

template <int which> void reach(Unit& unit);

constexpr Row chainRows[] = {
    {"*IDN", Q, reach<0>, "", ""},
    {"CALCulate:PN:TRACe:FREQuency", QS, reach<1>, "", ""},
    {"CALCulate:PN:TRACe:SPOT", Q, reach<2>, "", ""},
    {"CALCulate:PN:TRACe:SPOT:SIGMa", Q, reach<3>, "", ""},
    {"MEMory:RAM:FD<n>:READ", Q, reach<4>, "", ""},
    {"OUTPut<n>[:STATe]", QS, reach<5>, "", ""},
    {"SENSe:FREQuency", QS, reach<6>, "", ""},
    {"SENSe:FREQuency:AUTO", QS, reach<7>, "", ""},
    {"SENSe:PN:FREQuency:STARt", QS, reach<8>, "", ""},
    {"SENSe:PN:REFerences<n>", S, reach<9>, "", ""},
    {"SENSe:PN:REFerences<n>:SENS:EXECute", S, reach<10>, "", ""},
    {"[SOURce<n>]:FREQuency:FIXed", QS, reach<11>, "", ""},
    {"[SOURce<n>]:FREQuency[:CW]", QS, reach<12>, "", ""},
    {"[SOURce<n>]:POWer:RAW", Q, reach<13>, "", ""},
    {"[SOURce<n>]:POWer[:LEVel][:IMMediate][:AMPLitude]", Q, reach<14>, "", ""},
    {"[SOURce<n>]:SUPPly<n>:VOLTage", QS, reach<15>, "", ""},
    {"SYSTem:ERRor:ALL", Q, reach<16>, "", ""},
    {"SYSTem:ERRor[:NEXT]", Q, reach<17>, "", ""},
    {"TRIGger:KEY", S, reach<18>, "", ""},
    {"TRIGger[:SEQuence]:SOURce", QS, reach<19>, "", ""},
    {"TRIGger[:SEQuence]:MODE", QS, reach<20>, "", ""},
};
constexpr CommandTreeStorage<96> chainStorage{chainRows};
static_assert(chainStorage.error() == nullptr);

template <int which> void reach(Unit& unit) {
    unit.errorCode = 0;
    reachedByWalk.push_back({&chainRows[which], unit.mode, unit.index, unit.cursor});
}

std::string described(const Reached& reached) {
    if (reached.row == nullptr)
        return "-";
    const bool takesSuffix = std::string_view(reached.row->header).find("<n>") != std::string_view::npos;
    return std::to_string(reached.row - chainRows) + (reached.mode == modeQuery ? "?" : " ") +
           (takesSuffix && reached.index != noIndex ? "#" + std::to_string(reached.index) + " " : "") + reached.text;
}

} // namespace

class CommandTreeTest : public Engine {
protected:
    CommandTreeTest() { context_.tree = chainStorage.view({}); }

    std::string storedPath() {
        MutexLock access(deviceAccessMutex);
        return link_.storedPath.data();
    }
    void forgetAllBut(const std::string& path) {
        MutexLock access(deviceAccessMutex);
        scpi_link_resetSettings(&link_);
        path.copy(link_.storedPath.data(), path.size());
    }
    Reached walk(std::string unit) {
        reachedByWalk.clear();
        char answer[64 + linkAnswerMargin];
        unit.push_back('\0');
        MutexLock access(deviceAccessMutex);
        scpi_parser(&link_, unit.data(), answer, 64, 0, 1);
        return reachedByWalk.empty() ? Reached{} : reachedByWalk.front();
    }
};

/// Lines, and for each of their units the number of its row, "?" or " " for its form, its suffix behind a #, and what
/// is left of the text; "-" where nothing is reached.
TEST_F(CommandTreeTest, AUnitGoesOnWhereTheOneBeforeItEnded) {
    constexpr std::pair<const char*, const char*> lines[] = {
        {"*IDN?;*idn?;*IDN;*IDNX?", "0? | 0? | - | -"},
        {":CALC:PN:TRAC:FREQ?;SPOT?;SPOT:SIGM?;FREQ 5;SPOT:SIG?;SIGM?", "1? | 2? | 3? | 12 5 | - | 3?"},
        {"CALCULATE:pn:TRACe:SPOT?;:CALCU:PN:TRAC:SPOT?;:CALC:PN:TRAC?;:CALC?", "2? | - | - | -"},
        {"MEM:RAM:FD3:READ?;FD12:READ? MAX;FD:READ?;FDX:READ?;READ?;:MEM:RAM:FD3 5", "4?#3  | - | - | - | 4? | -"},
        {"OUTP 1;OUTP2 1;OUTP12:STAT?;OUTPUT:STATE 1;OUTP:STATX 1;OUTP2:FOO 1;OUTP3?",
         "5 1 | 5 #2 1 | 5?#12  | - | - | - | -"},
        {"SENS:FREQ?;FREQ:AUTO?;FREQ 7;:SENS:FREQ:AUTO 1;AUTO 0;FREQ?", "6? | 7? | 12 7 | 7 1 | 7 0 | 12?"},
        {"SENS:FREQ:AUTO ON;STAR 1;:SENS:PN:FREQ:STAR 5;STAR?;FREQ:STAR 1;:SENS:PN:FREQ 1",
         "7 ON | - | 8 5 | 8? | - | -"},
        {"SENS:PN:REF2 5;REF:SENS:EXEC;REF3:SENS:EXEC 1;REF2?;SENS:EXEC;:SENS2:PN:REF1 5",
         "9 #2 5 | 10  | - | - | - | -"},
        {"FREQ?;FREQ:FIX 1;CW?;:SOUR4:FREQ:FIX?;FIX 5;:SOUR:FREQ 9;FREQ:CW 1,2;:FREQ5?;FREQ?",
         "12? | 11 1 | 12? | 11?#4  | 11 5 | 12 9 | 12 1,2 | - | 12?"},
        {"POW?;POW:RAW?;:POW:LEV?;:POW:LEV:IMM:AMPL?;:POW:AMPL?;:POW 5;:SOUR2:POW:IMM?;:SOUR2:POW:LEV:RAW?",
         "14? | 13? | 14? | 14? | 14? | - | 14?#2  | -"},
        {"SUPP7:VOLT?;VOLT 2;:SOUR1:SUPP2:VOLT 5;:SUPP:VOLT 1;:SUPP7:VOLT:X?;:SOUR3:SUPP:VOLT?",
         "15?#7  | 15 2 | 15 #2 5 | 15 1 | - | 15?"},
        {"SYST:ERR?;ERR:ALL?;NEXT?;:SYST:ERR 5;:SYST:ERR:NEX?;:SYST:ERR:NEXT?;ALL?",
         "17? | 16? | 17? | - | - | 17? | 16?"},
        {"TRIG:KEY;SOUR?;:TRIG:SEQ:SOUR ON;MODE?;:TRIG:MODE 1;SEQ:MODE 2;:TRIG:SEQ9:MODE?;:TRIG:SEQ:KEY",
         "18  | 19? | 19 ON | 20? | 20 1 | 20 2 | - | -"},
        {"SENS:FREQ  ON,2; SENS:FREQ?;:SENS :FREQ?;:SENS: FREQ?;:SENS:FREQ: 5;:SENS:FREQ ?;:SENS:FREQ?MAX",
         "6 ON,2 | - | - | 6? | - | 6 ? | 6?MAX"},
        {"SENS:PN:REF1 5; ;PN:REF1 6;:SENS:FREQ 1;;FREQ 2", "9 #1 5 | - | - | 6 1 | - | 12 2"},
        {"SENS:PN:FREQ:STAR 5;*IDN?;STAR 6;:*IDN?;SENS:PN:FREQ:STAR 7;SENS:FREQ 1", "8 5 | - | 8 6 | 0? | 8 7 | -"},
        {":SOUR4:SYST:ERR?;:SOUR:TRIG:KEY;:SENS:PN:REF2?;:TRIG:KEY?;:TRIG:KEY:MODE?;:TRIG SEQ:MODE?",
         "- | - | - | - | - | -"},
        {"SENS:FREQ 1;SENS:FREQ 1;FREQ 3;FREQ 3;:FREQ 1;FREQ 2", "6 1 | - | 6 3 | 6 3 | 12 1 | 12 2"},
        {"NOSUCH:PN 1;SENS:FREQ 2;:SENS:NOSUCH 3;FREQ 4;PN:FREQ:STAR 5", "- | 6 2 | - | 6 4 | 8 5"},
    };
    for (const auto& [line, expected] : lines) {
        forgetAllBut("");
        std::string reached;
        for (std::string_view rest = line; !rest.empty();) {
            const std::string unit(rest.substr(0, rest.find(';')));
            rest.remove_prefix(std::min(unit.size() + 1, rest.size()));
            reached += (reached.empty() ? "" : " | ") + described(walk(unit));
            if (unit[0] == ':') { // the same header once more takes the short way
                const std::string after = storedPath(), again = described(walk(unit));
                EXPECT_TRUE(reached.ends_with(again) && storedPath() == after) << unit;
            }
        }
        EXPECT_EQ(reached, expected) << line;
    }
}

TEST_F(CommandTreeTest, KnownHeadersLeadWhereTheWalkDoes) {
    const std::string ends[] = {"", " 5", "?", "? MAX", ":", "  ON,2", ":X"};
    std::mt19937 random(7);
    int commands = 0;
    for (int line = 0; line < 2000; ++line) {
        std::string units[3];
        for (std::string& unit : units) {
            unit = chainRows[random() % std::size(chainRows)].header;
            for (const char* cut : {"[", "]", "<n>"})
                for (size_t at; (at = unit.find(cut)) != std::string::npos;)
                    unit.replace(at, strlen(cut), random() % 2 && cut[0] == '<' ? "2" : "");
            unit = (random() % 4 ? ":" : "") + unit + ends[random() % std::size(ends)];
        }
        std::vector<std::array<std::string, 4>> steps; // unit, path before, what is reached, path behind
        forgetAllBut("");
        for (int i = 0; i < 12; ++i) {
            const std::string &unit = units[random() % std::size(units)], path = storedPath(),
                              to = described(walk(unit));
            steps.push_back({unit, path, to, storedPath()});
        }
        for (const auto& [unit, path, to, behind] : steps) {
            forgetAllBut(path);
            ASSERT_EQ(described(walk(unit)), to) << unit << " behind " << path;
            ASSERT_EQ(storedPath(), behind) << unit << " behind " << path;
            commands += to != "-";
        }
    }
    EXPECT_GT(commands, 5000);
}

TEST_F(CommandTreeTest, HeadersOfAnyLengthAndSuffixesOfAnySizeAreJustUndefined) {
    EXPECT_EQ(walk("OUTP2147483646 1").index, 2147483646);
    for (const char* unit : {"OUTP2147483648 1", "OUTP99999999999999999999999999 1", "1:2:3", "OUTPUT-1", "FREQU", "9"})
        EXPECT_EQ(walk(unit).row, nullptr) << unit;
    std::string deep = "SENS";
    for (int i = 0; i < 10000; ++i)
        deep += ":PN";
    EXPECT_EQ(walk(deep).row, nullptr);
    EXPECT_EQ(walk(std::string(100000, 'A')).row, nullptr);
    EXPECT_EQ(walk(":OUTP" + std::string(10000, '0') + "2 1").index, 2);
}

TEST(CommandTreeStorage, UnsoundRowsAreFoundWhenTheTableIsBuilt) {
    static constexpr Row doubled[] = {{"A:B", QS, engine::idn, "", ""}, {"A:B", Q, engine::idn, "", ""}};
    static constexpr Row clashing[] = {
        {"TEST:AB", Q, engine::idn, "", ""}, {"TEsting:AB", Q, engine::idn, "", ""}, {"TE:AB", Q, engine::idn, "", ""}};
    static constexpr Row behind[] = {{"A[:B]", Q, engine::idn, "", ""}, {"A:C", Q, engine::idn, "", ""}};
    static constexpr Row twoWays[] = {{"A<n>:B", Q, engine::idn, "", ""}, {"A:C", Q, engine::idn, "", ""}};
    static_assert(CommandTreeStorage<16>{doubled}.error() != nullptr);
    static_assert(CommandTreeStorage<16>{clashing}.error() != nullptr);
    static_assert(CommandTreeStorage<16>{behind}.error() != nullptr);
    static_assert(CommandTreeStorage<16>{twoWays}.error() != nullptr);
    static_assert(CommandTreeStorage<4>{chainRows}.error() != nullptr);
}
