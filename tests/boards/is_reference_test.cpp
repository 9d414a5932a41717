// The references of the source board TVPN_IS, and the sensitivities that go with them.

#include "tests/boards/is_rig.h"

#include <string>

TEST(SourceBoard, SelectsTheReference) {
    const struct {
        int (*select)(TVPN_IS*);
        uint32_t selection;
        const char* lines;
        const char* lines1B; // null: it has none
    } rows[] = {
        {TVPN_IS_2A_setInternalReference10MhzX100, 0, "0 3 12 18", "3 5 6 10"},
        {TVPN_IS_2A_setInternalReference100MhzX10, 1, "11 18 21", "5 10 11"},
        {TVPN_IS_2A_setInternalReference1Ghz, 2, "20", nullptr},
        {TVPN_IS_2A_setInternalReference100MhzPllX10, 3, "2 3 12 18 19 21", nullptr},
        {TVPN_IS_setInternalReference10x10MHz, 0, "0 3 12 18", "3 5 6 10"},
        {TVPN_IS_setInternalReference100x1MHz, 1, "11 18 21", "5 10 11"},
    };
    for (const auto& before : rows)
        for (const auto& row : rows) {
            {
                IsRig rig(is2A);
                EXPECT_EQ(before.select(&rig.board), 0);
                EXPECT_EQ(row.select(&rig.board), 0);
                EXPECT_EQ(rig.lines(), row.lines);
                EXPECT_EQ(rig.board.referenceSelection, row.selection);
                EXPECT_EQ(TVPN_IS_isInternalReference10x10MHz(&rig.board), row.selection == 0);
            }
            IsRig first(is1B);
            before.select(&first.board);
            const uint32_t kept = first.board.referenceSelection;
            const std::string keptLines = first.lines();
            const bool has = row.lines1B != nullptr;
            EXPECT_EQ(row.select(&first.board), has ? 0 : missing);
            EXPECT_EQ(first.board.referenceSelection, has ? row.selection : kept);
            EXPECT_EQ(first.lines(), has ? row.lines1B : keptLines);
        }
}

TEST(SourceBoard, BringsThePllOfTheReferenceUp) {
    IsRig rig(is2A);
    rig.sent();
    rig.waited_us();
    const auto text = [&] {
        return debugTextOf([&] { EXPECT_EQ(TVPN_IS_2A_setInternalReference100MhzPllX10(&rig.board), 0); });
    };
    EXPECT_EQ(TVPN_IS_2A_setInternalReference1Ghz(&rig.board), 0);
    rig.sent();
    EXPECT_EQ(text(), "TVPN_IS_2A_setInternalReference100MhzPllX10(): VCO locked, ADC 8000\n");
    EXPECT_EQ(rig.sent(), "+0:001000 ! +0:001020 ! +0:0C102C ! +4:0000 +4:E81C +4:2823 +4:28E3 +3 +3");
    EXPECT_NEAR(rig.waited_us(), 400'000, 1);
    const struct {
        int word;
        const char* state;
    } rows[] = {{100, "unlocked"}, {101, "locked"}, {15999, "locked"}, {16000, "unlocked"}};
    for (const auto& row : rows) {
        rig.referenceTune = [&] { return row.word; };
        const std::string expected = std::string("VCO ") + row.state + ", ADC " + std::to_string(row.word);
        EXPECT_NE(text().find(expected), std::string::npos) << expected;
    }
}

TEST(SourceBoard, KnowsWhenTheReferenceHasSettled) {
    IsRig rig(is2A);
    int before = 0, after = 0, reading = 0;
    rig.referenceTune = [&] { return reading++ < 2 ? before : after; };
    const auto ready = [&](int first, int second) {
        before = first;
        after = second;
        reading = 0;
        return TVPN_IS_isInternalReferenceReady(&rig.board);
    };
    EXPECT_EQ(TVPN_IS_2A_setInternalReference10MhzX100(&rig.board), 0);
    rig.waited_us();
    EXPECT_EQ(ready(8000, 8099), 1);
    EXPECT_NEAR(rig.waited_us(), 1'000'000, 1);
    EXPECT_EQ(ready(8000, 8100), 0);
    EXPECT_EQ(ready(8100, 8001), 1);
    EXPECT_EQ(ready(8100, 8000), 0);
    EXPECT_EQ(ready(5950, 6000), 0);
    EXPECT_EQ(ready(5950, 6001), 1);
    EXPECT_EQ(ready(9550, 9499), 1);
    EXPECT_EQ(ready(9550, 9500), 0);
    EXPECT_EQ(TVPN_IS_2A_setInternalReference100MhzX10(&rig.board), 0);
    EXPECT_EQ(ready(0, 16383), 1) << "always";
    EXPECT_EQ(TVPN_IS_2A_setInternalReference100MhzPllX10(&rig.board), 0);
    EXPECT_EQ(ready(0, 16383), 0);
    EXPECT_EQ(TVPN_IS_getReferenceExternalTuning(&rig.board), 0U);
}

TEST(SourceBoard, KeepsSensitivitiesByReference) {
    remove("/tolvane/dev/vcosensa");
    {
        IsRig b(is2A, 1);
        TVPN_IS_setVcoSensitivity(&b.board, 350);
        EXPECT_EQ(TVPN_IS_storeVcoSensitivity(&b.board), 0);
        TVPN_IS_loadVcoSensitivity(&b.board);
        EXPECT_EQ(TVPN_IS_getVcoSensitivity(&b.board), 350);
        EXPECT_EQ(TVPN_IS_getVco10MSensitivity(&b.board), 350);
        EXPECT_EQ(TVPN_IS_getVco1000MSensitivity(&b.board), 350);
    }
    IsRig a(is2A);
    EXPECT_EQ(TVPN_IS_getVcoSensitivity(&a.board), 250) << "nothing is stored for A";
    EXPECT_EQ(TVPN_IS_getVco10MSensitivity(&a.board), 250);
    TVPN_IS_setVcoSensitivity(&a.board, 310);
    EXPECT_EQ(TVPN_IS_getVco100MSensitivity(&a.board), 310);
    TVPN_IS_setVco10MSensitivity(&a.board, 20);
    TVPN_IS_setVco100MSensitivity(&a.board, 300);
    TVPN_IS_setVco1000MSensitivity(&a.board, 4000);
    EXPECT_EQ(TVPN_IS_getVcoSensitivity(&a.board), 310);
    a.board.frequency = hz(2'000'000'000);
    a.board.referenceSelection = 0;
    for (const double expected : {20.0, 300.0, 4000.0, 20.0}) {
        EXPECT_DOUBLE_EQ(TVPN_IS_getFmSensitivity(&a.board), 20 * expected);
        EXPECT_DOUBLE_EQ(a.board.fmSensitivity, 20 * expected);
        ++a.board.referenceSelection;
    }
}
