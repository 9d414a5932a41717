/// The walk through the tree against the chain of tests that it stands for, written out plainly: every node of a level
/// is compared in its turn, character by character.

#include "engine_fixture.h"

#include <random>
#include <tuple>
#include <utility>

using namespace engine;

namespace {

bool blank(char c) {
    return static_cast<unsigned char>(c) < 33 && c != '\n';
}

/// One command as it is reached: who runs, in which form, with what suffix and what left of the text.
struct Reached {
    const Row* row = nullptr;
    int mode = 0;
    int32_t index = 0;
    std::string text;
    bool operator==(const Reached&) const = default;
};

/// The chain of tests. `path` is the stored path of a link.
class Chain {
public:
    struct ChainNode {
        std::string literal;
        bool indexed = false, optional = false;
        std::vector<ChainNode> children;
        const Row* row = nullptr;
    };

    explicit Chain(std::span<const Row> table) {
        for (const Row& row : table)
            add(row);
    }

    Reached run(std::string unit) {
        text_ = std::move(unit);
        cursor_ = 0;
        replay_ = 0;
        mode_ = 3;
        index_ = noIndex;
        if (text_.starts_with(':')) {
            path.clear();
            ++cursor_;
        }
        if (text_.find_first_not_of(' ') == std::string::npos)
            path.clear();
        reached_ = {};
        level(root_);
        return reached_;
    }

    std::string path;

private:
    void add(const Row& row) {
        std::string header = row.header;
        ChainNode* at = &root_;
        for (size_t i = 0; i < header.size();) {
            const bool optional = header[i] == '[';
            i += optional;
            i += header[i] == ':';
            const size_t end = header.find_first_of(":[]<", i);
            const std::string literal = header.substr(i, end - i);
            i = std::min(end, header.size());
            const bool indexed = header.compare(i, 3, "<n>") == 0;
            i += indexed ? 3 : 0;
            i += optional;
            ChainNode* next = nullptr;
            for (ChainNode& child : at->children)
                if (child.literal == literal)
                    next = &child;
            if (next == nullptr)
                next = &at->children.emplace_back(ChainNode{literal, indexed, optional, {}, nullptr});
            at = next;
        }
        at->row = &row;
    }

    bool compare(const std::string& literal, const std::string& text, size_t& cursor, int& mode) {
        size_t at = cursor;
        while (at < text.size() && text[at] == ' ')
            ++at;
        const auto byte = [&](size_t i) { return i < text.size() ? text[i] : '\0'; };
        const auto same = [&](char a, char b) { return toupper(a) == toupper(b); };
        size_t n = 0;
        for (; n < literal.size() && !islower(literal[n]); ++n, ++at)
            if (!same(literal[n], byte(at)))
                return false;
        const auto ended = [&] { return byte(at) == ':' || byte(at) == '?' || blank(byte(at)); };
        if (!ended()) {
            for (; n < literal.size(); ++n, ++at)
                if (!same(literal[n], byte(at)))
                    return false;
            if (!ended())
                return false;
        }
        mode = byte(at) == ':' ? 3 : byte(at) == '?' ? 1 : 2;
        if (mode != 2)
            ++at;
        else
            while (at < text.size() && blank(text[at]))
                ++at;
        cursor = at;
        return true;
    }

    bool check(const std::string& literal) {
        int mode = 0;
        if (replay_ < path.size()) {
            if (!compare(literal, path, replay_, mode))
                return false;
        } else {
            if (!compare(literal, text_, cursor_, mode))
                return false;
            if (mode == 3) {
                size_t shortLength = 0;
                while (shortLength < literal.size() && !islower(literal[shortLength]))
                    ++shortLength;
                if (path.size() + shortLength + 2 <= 32)
                    path += literal.substr(0, shortLength) + ":";
                replay_ = path.size();
            }
        }
        mode_ = mode;
        return true;
    }

    bool checkWithIndex(const std::string& literal) {
        index_ = noIndex;
        const size_t end = std::min(text_.find_first_of(":? ", cursor_), text_.size());
        if (replay_ < path.size() || end == cursor_ || !isdigit(text_[end - 1]))
            return check(literal);
        size_t digits = end;
        while (digits > cursor_ && isdigit(text_[digits - 1]))
            --digits;
        if (digits == cursor_ || end - digits > 9)
            return false;
        const int value = std::stoi(text_.substr(digits, end - digits));
        const std::string kept = text_;
        text_.erase(digits, end - digits);
        const bool matched = check(literal);
        if (matched)
            index_ = value;
        else
            text_ = kept;
        return matched;
    }

    void finish(const ChainNode& node) {
        done_ = true;
        if ((mode_ == 1 && (node.row->forms & Q)) || (mode_ == 2 && (node.row->forms & S)))
            reached_ = {node.row, mode_, index_, text_.substr(std::min(cursor_, text_.size()))};
    }

    /// A node that may be left out at the end of a header, as may all below it.
    static bool isTail(const ChainNode& node) {
        for (const ChainNode& child : node.children)
            if (!isTail(child))
                return false;
        return node.optional;
    }

    static const ChainNode* optionalCommand(const ChainNode& node) {
        for (const ChainNode& child : node.children)
            if (isTail(child))
                return child.children.empty() ? &child : optionalCommand(child);
        return nullptr;
    }

    void level(const ChainNode& parent) {
        done_ = false;
        for (const ChainNode& child : parent.children) {
            if (isTail(child)) { // [:NODE][:NODE] at the end of a header
                const ChainNode* node = &child;
                while (true) {
                    if ((mode_ == 3 || mode_ == 4) && check(node->literal) && mode_ == 3)
                        mode_ = 4;
                    if (node->children.empty())
                        break;
                    node = &node->children.front();
                }
                finish(*node);
                return;
            }
            if (child.optional) { // an optional branch
                index_ = noIndex;
                const bool named = mode_ == 3 && (child.indexed ? checkWithIndex(child.literal) : check(child.literal));
                level(child);
                if (done_ || named) {
                    done_ = true;
                    return;
                }
                continue;
            }
            const int32_t kept = index_;
            if (!(child.indexed ? checkWithIndex(child.literal) : check(child.literal))) {
                index_ = kept;
                continue;
            }
            const bool complete = mode_ == 1 || mode_ == 2;
            const ChainNode* tail = optionalCommand(child);
            if (child.row != nullptr && (complete || child.children.empty()))
                finish(child);
            else if (tail != nullptr && complete)
                finish(*tail);
            else
                level(child);
            if (done_)
                return;
        }
    }

    ChainNode root_;
    std::string text_;
    size_t cursor_ = 0, replay_ = 0;
    int mode_ = 3;
    int32_t index_ = noIndex;
    Reached reached_;
    bool done_ = false;
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

bool takesSuffix(const Reached& reached) {
    return std::string_view(reached.row->header).find("<n>") != std::string_view::npos;
}

} // namespace

class CommandTreeTest : public Engine {
protected:
    CommandTreeTest() { context_.tree = chainStorage.view({}); }

    std::string storedPath() {
        MutexLock access(deviceAccessMutex);
        return link_.storedPath.data();
    }
    void forgetPath() {
        MutexLock access(deviceAccessMutex);
        link_.storedPath[0] = 0;
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

TEST_F(CommandTreeTest, FindsWhatTheChainOfTestsFinds) {
    Chain chain(chainRows);
    const std::string words[] = {
        "*IDN", "CALC",  "CALCULATE", "pn",    "TRAC", "FREQ", "FREQuency", "SPOT", "SIGM",  "MEM",   "RAM",  "FD3",
        "FD",   "READ",  "OUTP",      "OUTP1", "STAT", "SENS", "AUTO",      "STAR", "REF2",  "REF",   "SENS", "EXEC",
        "SOUR", "SOUR4", "FIX",       "CW",    "POW",  "RAW",  "LEV",       "IMM",  "AMPL",  "SUPP7", "SUPP", "VOLT",
        "SYST", "ERR",   "ALL",       "NEXT",  "TRIG", "KEY",  "SEQ",       "MODE", "FREQU", "12",    "",     "SEQ9"};
    const std::string ends[] = {"", " 5", "?", "? MAX", ":", "  ON,2"};
    std::mt19937 random(7);
    std::string rootedBefore;
    int commands = 0;
    for (int message = 0; message < 60000; ++message) {
        chain.path.clear();
        forgetPath();
        std::string line;
        for (unsigned units = 1 + random() % 3; units > 0; --units) {
            std::string unit = random() % 3 ? "" : ":";
            if (random() % 2) { // a path of the table, perhaps with a part missing
                std::string header = chainRows[random() % std::size(chainRows)].header;
                for (const char* cut : {"[", "]", "<n>"})
                    for (size_t at; (at = header.find(cut)) != std::string::npos;)
                        header.replace(at, strlen(cut), random() % 2 && cut[0] == '<' ? "2" : "");
                if (random() % 3 == 0)
                    header.erase(0, header.find(':') == std::string::npos ? 0 : header.find(':') + 1);
                unit += header;
            } else {
                unit += words[random() % std::size(words)];
                for (unsigned more = random() % 4; more > 0; --more)
                    unit += (random() % 12 ? ":" : " ") + words[random() % std::size(words)];
            }
            unit += ends[random() % std::size(ends)];
            if (unit.starts_with("::") || unit.starts_with(": "))
                continue;
            line += unit + ";";
            Reached expected = chain.run(unit);
            Reached got = walk(unit);
            if (unit[0] == ':') { // the same header once more takes the short way, also behind one other
                const std::string after = storedPath();
                ASSERT_EQ(walk(unit), got) << unit;
                ASSERT_EQ(storedPath(), after) << unit;
                std::ignore = walk(std::exchange(rootedBefore, unit));
                ASSERT_EQ(walk(unit), got) << unit;
                ASSERT_EQ(storedPath(), after) << unit;
            }
            if (got.row != nullptr) {
                ++commands;
                if (!takesSuffix(got)) // a suffix that no node of the command asks for means nothing
                    got.index = expected.index;
            }
            ASSERT_EQ(got, expected) << line << "\n got " << (got.row ? got.row->header : "none") << "\n expected "
                                     << (expected.row ? expected.row->header : "none") << " text '" << got.text << "' '"
                                     << expected.text << "' index " << got.index << " " << expected.index;
            ASSERT_EQ(storedPath(), chain.path) << line;
        }
    }
    EXPECT_GT(commands, 20000);
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
