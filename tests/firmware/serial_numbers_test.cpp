// Each kind of unit that a serial number can tell, from its start to traces.

#include "tests/firmware/unit_in_process.h"

#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Carriers up to `measuredTo_Hz` are measured; of the others the unit says that it cannot.
struct Row {
    const char* serial;
    double measuredTo_Hz;
    double triedTo_Hz = 30e9;
};
constexpr double none = 0, all = 30e9, model_Hz = 7e9; // of a TVPNM
// Undivided, carriers from 2.02 GHz on are beyond the first sources, later those of the double board. The pair of 2A
// and 2B cannot tell its tune voltage, which 1B and 1C, unlike later boards, do not read themselves.
constexpr double firstUndivided_Hz = 2.02e9, doubleUndivided_Hz = 6e9;
constexpr Row rows[] = {
    // The digits: generation, model; controller, analog board, supply, acquisition board, source boards.
    {"220-311006010-0001", none},
    {"220-311106510-0001", all},
    {"220-321206710-0001", all},
    {"220-331304910-0001", none},
    {"220-332506510-0001", all},
    {"220-342306710-0001", all},
    {"220-332306810-0001", none},
    {"220-333006510-0001", all},
    {"220-313304710-0001", all, 6e9}, // at 12 GHz its loop of 44 Hz locks only now and then
    {"220-323206910-0001", all},
    {"220-334305510-0001", all},
    {"220-334106710-0001", firstUndivided_Hz},
    {"220-344506910-0001", all},
    {"220-325306510-0001", all},
    {"220-335506710-0001", firstUndivided_Hz},
    {"520-335205810-0001", all},
    {"220-336306510-0001", doubleUndivided_Hz},
    {"220-346206710-0001", firstUndivided_Hz},
    {"220-336306910-0001", all},
    {"240-336306911-0001", model_Hz},
    {"020-336306000-0001", none},
};
constexpr double carriers_Hz[] = {100.000123e6, 1.8e9, 5.2e9, 12e9};

/// Loud enough to stand out of the references, but not close to the carrier, where the narrowest loops would slip.
vi::Dut oscillator(double carrier_Hz) {
    return {carrier_Hz,
            8,
            {{{1, -40}, {100, -90}, {1e3, -98}, {1e4, -105}, {1e5, -110}, {1e6, -120}, {1e7, -130}}},
            {},
            {}};
}

void expectSupply(UnitInProcess& unit, char supply) {
    constexpr double volts = 3, load_ohm = 350;
    const bool fitted = supply == '2' || supply == '3';
    unit.tell("SUPP1:VOLT 3;:SUPP1:STAT ON");
    EXPECT_EQ(unit.tell("SYST:ERR?")[0], fitted ? '0' : '-') << supply;
    EXPECT_NEAR(unit.number("MEAS:SUPP1:CURR?"), fitted ? volts / load_ohm : 0, 1e-4) << supply;
    unit.tell("SUPP1:STAT OFF");
}

void measure(const Row& row) {
    SCOPED_TRACE(row.serial);
    std::ofstream("/tolvane/dev/sn") << row.serial << '\n';
    UnitInProcess& unit = UnitInProcess::get();
    const std::string name = unit.tell("*IDN?");
    EXPECT_NE(name.find(row.serial), std::string::npos) << name;
    expectSupply(unit, row.serial[7]);
    unit.tell("SENS:PN:CORR 100;FREQ:STOP 4e6"); // within each IF filter
    for (const double carrier_Hz : carriers_Hz) {
        SCOPED_TRACE(carrier_Hz);
        if (carrier_Hz > row.triedTo_Hz)
            break;
        unit.connect(oscillator(carrier_Hz));
        const std::string outcome = unit.tell("*CLS;:SENS:FREQ:EXEC;:INIT;:CALC:WAIT:AVER ALL;:SYST:ERR?");
        if (carrier_Hz > row.measuredTo_Hz) {
            EXPECT_EQ(outcome[0], '-') << outcome;
            continue;
        }
        EXPECT_EQ(outcome, "0,\"No error\"\n");
        unit.expectMeasured(1e4, 0.3, 2.1); // that is 0.3 dB and four standard errors
    }
}

} // namespace

// A process starts one instrument, so each has one of its own.
TEST(SerialNumbers, EachUnitStartsAnswersAndMeasuresOrSaysThatItCannot) {
    std::string failed;
    for (const Row& row : rows) {
        fflush(nullptr);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            measure(row);
            fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0)
            failed += std::string(row.serial) + ' ';
    }
    EXPECT_EQ(failed, "");
}
