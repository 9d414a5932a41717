// The double-channel source board TVPN_IS6G: start, frequencies, lock, power, self test.

#include "tests/boards/is_rig.h"

#include <cmath>

namespace {

class Is6gRig : public SourceRig {
public:
    Is6gRig() : SourceRig(99) {
        for (uint32_t i = 0; i < 2; ++i) {
            const uint32_t base = 8 * i;
            bus.attach(base, &channel[i].control, i);
            bus.attach(base + 1, &channel[i].path, i);
            bus.attach(base + 2, &channel[i].vcoTuneAdc, i);
            bus.attach(base + 3, &channel[i].vcoDac, i);
            bus.attach(base + 4, &channel[i].dds, i);
            bus.attach(base + 5, &channel[i].ocxoTuneAdc, i);
            bus.attach(base + 6, &channel[i].status, i);
            bus.attach(base + 7, &channel[i].status, i);
        }
        TVPN_IS6G_init(&board, 2);
        startWire = sent();
    }
    int set(uint32_t index, int64_t hertz) {
        tvfreq frequency = hz(hertz);
        return TVPN_IS6G_setFrequency(&board, index, &frequency);
    }

    struct Channel {
        double vcoTune = 4000; // words of the ADCs
        vi::OutputRegister control{1}, path{1};
        vi::Ad7940Model vcoTuneAdc{16384, [this] { return vcoTune; }}, ocxoTuneAdc{16384, [] { return 8192; }};
        vi::Ad5640Model vcoDac{14};
        vi::Ad9912Model dds;
        vi::InputRegister status{1, [] { return 0; }};

        /// What the channel puts out, from what its chips were told: 0 without a way out.
        [[nodiscard]] double output_Hz() const {
            const double dds_Hz = control.line(6) ? dds.output_Hz(clock_Hz) : 0;
            if (!path.line(6))
                return path.line(7) ? 0 : dds_Hz;
            const int code = 2 * path.line(2) + path.line(1);
            const int factor = code == 0 ? 12 : code == 1 ? 16 : code == 2 ? 24 : 0;
            const int divider = 1 << (path.line(3) + path.line(4) + path.line(5));
            return path.line(7) ? dds_Hz * factor / divider : 0;
        }
    };
    std::array<Channel, 2> channel;
    TVPN_IS6G board{};
    std::string startWire;
};

} // namespace

TEST(DoubleSourceBoard, StartsWithEverythingOff) {
    Is6gRig rig;
    EXPECT_EQ(rig.startWire, "+0:00 +1:00 +4:D01000 +4:FF010C24 +3:0000 +4:D21000 "
                             "+8:00 +9:00 +12:D01000 +12:FF010C24 +11:0000 +12:D21000");
    TVPN_IS6G_init(&rig.board, 1);
    EXPECT_EQ(rig.sent().substr(0, 5), "+8:00");
    EXPECT_EQ(TVPN_IS6G_powerUp(&rig.board, 2), 0);
    EXPECT_EQ(rig.sent(), "+4:D01000 +0:60 +12:D01000 +8:60");
    EXPECT_EQ(TVPN_IS6G_powerUp(&rig.board, 3), refused);
    EXPECT_EQ(TVPN_IS6G_disableOCXO(&rig.board, 0), 0);
    EXPECT_EQ(TVPN_IS6G_enableOCXO(&rig.board, 0), 0);
    EXPECT_EQ(rig.sent(), "+0:40 +0:60");
    EXPECT_EQ(TVPN_IS6G_RFOn(&rig.board, 1), 0);
    EXPECT_EQ(TVPN_IS6G_powerDown(&rig.board, 1), 0);
    EXPECT_EQ(rig.channel[1].control.lines() | rig.channel[1].path.lines(), 0U);
    EXPECT_FALSE(rig.channel[1].dds.powered());
    EXPECT_TRUE(rig.channel[0].dds.powered());
}

TEST(DoubleSourceBoard, SendsFrequencyAndRfInOrder) {
    Is6gRig rig;
    EXPECT_EQ(TVPN_IS6G_powerUp(&rig.board, 0), 0);
    rig.sent();
    rig.waited_us();
    EXPECT_EQ(rig.set(0, 100'000'000), 0);
    EXPECT_EQ(rig.sent(), "+4:28010C24 +4:999999999919AB61 !");
    EXPECT_EQ(TVPN_IS6G_RFOn(&rig.board, 0), 0);
    EXPECT_EQ(rig.sent(), "+4:D01000 +0:E0 +4:28010C24 +4:999999999919AB61 !");
    EXPECT_NEAR(rig.waited_us(), 0, 1);
    EXPECT_EQ(rig.set(0, 1'000'000'000), 0);
    EXPECT_EQ(rig.sent(), "+1:DA +4:95010C24 +4:000000000040AB61 ! +3:0000 +3:9919 +3:6626 +3:66E6 +2 +2");
    EXPECT_NEAR(rig.waited_us(), 15'000, 1);
    EXPECT_EQ(TVPN_IS6G_RFOff(&rig.board, 0), 0);
    EXPECT_EQ(rig.sent(), "+4:D21000 +0:20 +1:1A");
    EXPECT_EQ(TVPN_IS6G_RFOn(&rig.board, 0), 0);
    EXPECT_EQ(rig.sent(), "+4:D01000 +0:E0 +4:95010C24 +4:000000000040AB61 ! "
                          "+1:5A +3:6626 +3:9919 +3:6626 +3:66E6 +1:DA");
    EXPECT_NEAR(rig.waited_us(), 15'000, 1);
}

TEST(DoubleSourceBoard, PlansDividerAndFactor) {
    const struct {
        int64_t hertz;
        int divider, factor;
    } rows[] = {
        {400'000'000, 1, 1},    {400'000'001, 8, 12},   {749'999'999, 8, 16},   {750'000'000, 4, 12},
        {1'499'999'999, 4, 16}, {1'500'000'000, 2, 12}, {2'999'999'999, 2, 16}, {3'000'000'000, 1, 12},
        {3'899'999'999, 1, 12}, {3'900'000'000, 1, 16}, {4'100'000'000, 1, 16}, {4'100'000'001, 1, 12},
        {4'500'000'000, 1, 12}, {4'500'000'001, 1, 16}, {5'200'000'000, 1, 16}, {5'200'000'001, 1, 24},
        {5'399'999'999, 1, 24}, {5'400'000'000, 1, 16}, {6'000'000'000, 1, 16},
    };
    Is6gRig rig;
    EXPECT_EQ(TVPN_IS6G_RFOn(&rig.board, 1), 0);
    for (const auto& row : rows) {
        tvfreq frequency = hz(row.hertz);
        EXPECT_EQ(TVPN_IS6G_setFrequency(&rig.board, 1, &frequency), 0);
        EXPECT_NEAR(rig.channel[1].output_Hz(), static_cast<double>(row.hertz), 0.001) << row.hertz;
        EXPECT_NEAR(rig.channel[1].dds.output_Hz(clock_Hz), static_cast<double>(row.hertz) * row.divider / row.factor,
                    0.001)
            << row.hertz;
        EXPECT_EQ(frequency, hz(row.hertz * row.divider)) << "what the VCO makes";
        EXPECT_EQ(rig.board.channel[1].frequency, hz(row.hertz));
        EXPECT_EQ(rig.board.channel[1].targetFrequency, hz(row.hertz));
    }
    EXPECT_EQ(rig.channel[0].dds.output_Hz(clock_Hz), 0);
    tvfreq both = hz(1'000'000'000);
    EXPECT_EQ(TVPN_IS6G_setFrequency(&rig.board, 2, &both), 0);
    EXPECT_EQ(rig.board.channel[1].targetFrequency, hz(4'000'000'000)) << "B gets what A's VCO makes";
}

TEST(DoubleSourceBoard, GivesTheDdsTheCurrentOfItsFrequency) {
    Is6gRig rig;
    const struct {
        int64_t hertz;
        double code;
    } rows[] = {{0, 251},           {100'000'000, 296}, {200'000'000, 363}, {349'000'000, 505}, {349'000'001, 800},
                {400'000'000, 800}, {400'999'999, 800}, {401'000'000, 566}, {694'999'999, 1022}};
    for (const auto& [hertz, code] : rows) {
        const tvfreq frequency = hz(hertz);
        EXPECT_EQ(TVPN_IS6G_setDDSFrequency(&rig.board, 0, &frequency), 0);
        EXPECT_NEAR(rig.channel[0].dds.fullScale_A(), 120e-6 * (72 + 192 * code / 1024), 1e-6) << hertz;
    }
    const tvfreq beyond = hz(700'000'000);
    EXPECT_EQ(TVPN_IS6G_setDDSFrequency(&rig.board, 0, &beyond), refused);
    EXPECT_EQ(rig.board.channel[0].ddsFrequency, hz(694'999'999));
    EXPECT_EQ(TVPN_IS6G_enableFrequencyRounding(&rig.board, 0), 0);
    EXPECT_EQ(TVPN_IS6G_isFrequencyRoundingEnabled(&rig.board, 0), 1);
    EXPECT_EQ(TVPN_IS6G_isFrequencyRoundingEnabled(&rig.board, 1), 0);
    EXPECT_EQ(rig.set(0, 100'000'000), 0);
    EXPECT_EQ(AD9912_getFtwOnly(&rig.board.channel[0].dds), 0x1999A0000000U);
    EXPECT_EQ(TVPN_IS6G_disableFrequencyRounding(&rig.board, 2), 0);
    EXPECT_EQ(rig.set(0, 100'000'000), 0);
    EXPECT_EQ(AD9912_getFtwOnly(&rig.board.channel[0].dds), 0x199999999999U);
}

TEST(DoubleSourceBoard, ChecksTheLockByTheTuneVoltage) {
    Is6gRig rig;
    const double perWord_V = 4.7 * 3.3 / 16384;
    for (const auto& [word, result] :
         {std::pair(528, failed), std::pair(529, 0), std::pair(14260, 0), std::pair(14261, failed)}) {
        rig.channel[1].vcoTune = word;
        EXPECT_EQ(TVPN_IS6G_vcoLockCheck(&rig.board, 1), result) << word;
        EXPECT_NEAR(TVPN_IS6G_getVtune_vco(&rig.board, 1), word * perWord_V, 1e-9);
        const std::string text = debugTextOf([&] { EXPECT_EQ(rig.set(1, 2'000'000'000), 0); });
        EXPECT_EQ(text, result == 0 ? "" : "IS6G setFreq: f=2000.000000 MHz ...unlocked\n\n");
    }
    EXPECT_EQ(TVPN_IS6G_vcoLockCheck(&rig.board, 0), 0);
    EXPECT_EQ(TVPN_IS6G_vcoLockCheck(&rig.board, 2), failed);
    EXPECT_NEAR(TVPN_IS6G_getVtune_ocxo(&rig.board, 1), 8192 * 4.545 * 3.3 / 16384, 1e-9);
    EXPECT_EQ(TVPN_IS6G_getVtune_vco(&rig.board, 3), 0);
}

TEST(DoubleSourceBoard, TestsItselfAndComesBack) {
    for (const bool on : {false, true}) {
        Is6gRig rig;
        EXPECT_EQ(TVPN_IS6G_powerUp(&rig.board, 2), 0);
        EXPECT_EQ(rig.set(0, 300'000'000), 0);
        EXPECT_EQ(rig.set(1, 2'000'000'000), 0);
        if (on) {
            EXPECT_EQ(TVPN_IS6G_RFOn(&rig.board, 2), 0);
        }
        const double before[] = {rig.channel[0].output_Hz(), rig.channel[1].output_Hz()};
        const struct {
            double a, b;
            int result;
        } rows[] = {{4000, 4000, 0}, {0, 4000, -3}, {4000, 0, -4}, {0, 0, -3}};
        for (const auto& row : rows) {
            rig.channel[0].vcoTune = row.a;
            rig.channel[1].vcoTune = row.b;
            EXPECT_EQ(TVPN_IS6G_selftest(&rig.board), row.result);
            EXPECT_NE(rig.sent().find("+1:DA"), std::string::npos) << "1 GHz, RF on";
            for (uint32_t i = 0; i < 2; ++i)
                EXPECT_EQ(rig.channel[i].dds.powered(), on);
            EXPECT_EQ(rig.board.channel[0].targetFrequency, hz(300'000'000));
            EXPECT_EQ(rig.board.channel[1].targetFrequency, hz(2'000'000'000));
            EXPECT_EQ(rig.board.channel[0].rfEnabled, on);
            if (on) {
                EXPECT_NEAR(rig.channel[0].output_Hz(), before[0], 0.001);
                EXPECT_NEAR(rig.channel[1].output_Hz(), before[1], 0.001);
            }
        }
    }
}

TEST(DoubleSourceBoard, ALostTransferIsToldAndMendedByTheNextCall) {
    Is6gRig rig;
    EXPECT_EQ(TVPN_IS6G_RFOn(&rig.board, 0), 0);
    const uint64_t before = rig.bus.transfers();
    EXPECT_EQ(rig.set(0, 1'000'000'000), 0);
    const uint64_t sends = rig.bus.transfers() - before - 2; // the last two are readings
    for (uint64_t lost = 0; lost < sends; ++lost) {
        EXPECT_EQ(rig.set(0, 100'000'000), 0);
        rig.bus.failTransfers(lost, 2);
        testing::internal::CaptureStderr();
        EXPECT_EQ(rig.set(0, 1'000'000'000), failed) << lost;
        EXPECT_NE(testing::internal::GetCapturedStderr(), "");
        rig.record();
        EXPECT_EQ(rig.set(0, 1'000'000'000), 0);
        EXPECT_NEAR(rig.channel[0].output_Hz(), 1e9, 0.001) << lost;
    }
}

TEST(DoubleSourceBoard, KeepsASensitivityAChannel) {
    remove("/tolvane/dev/vcosensa");
    Is6gRig rig;
    EXPECT_EQ(TVPN_IS6G_getVcoSensitivity(&rig.board, 0), 250);
    const struct { double stored, loaded; } rows[] = {{10, 10}, {9.99, 250}, {-300, 250}, {321.5, 321.5}};
    for (const auto& [stored, loaded] : rows) {
        EXPECT_EQ(TVPN_IS6G_setVcoSensitivity(&rig.board, 1, stored), 0);
        EXPECT_EQ(TVPN_IS6G_storeVcoSensitivity(&rig.board, 1), 0);
        EXPECT_EQ(TVPN_IS6G_loadVcoSensitivity(&rig.board, 2), 0);
        EXPECT_EQ(TVPN_IS6G_getVcoSensitivity(&rig.board, 1), loaded);
        EXPECT_EQ(TVPN_IS6G_getVcoSensitivity(&rig.board, 0), 250);
    }
    EXPECT_EQ(rig.set(1, 3'000'000'000), 0);
    EXPECT_DOUBLE_EQ(TVPN_IS6G_getFmSensitivity(&rig.board, 1), 30 * 321.5);
    EXPECT_DOUBLE_EQ(rig.board.channel[1].fmSensitivity, 30 * 321.5);
    testing::internal::CaptureStdout();
    TVPN_IS6G_printInfo(&rig.board);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("TVPN_IS6G B\n\tfrequency: 3000000000.000000 Hz\n"),
              std::string::npos);
}
