// The firmware on virtual hardware, inside a unit's file tree.

#include "core/file_draft.h"
#include "core/numbers.h"
#include "firmware/service.h"
#include "firmware/startup.h"
#include "virtual/app/gpib_connector.h"
#include "virtual/app/idle_watch.h"
#include "virtual/app/serial_number.h"
#include "virtual/app/usb_connector.h"
#include "virtual/factory/calibration_file.h"
#include "virtual/hardware/hardware.h"
#include "virtual/panel/panel_server.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <getopt.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int exitPortTaken = 1, exitUsage = 2;

constexpr const char* serialNumberFile = "/tolvane/dev/sn";
constexpr size_t serialNumberMax = 32;           // characters
constexpr const char* unitRecords = "/run/unit"; // there only inside a unit's file tree
constexpr const char* panelRecord = "/run/unit/panel";
constexpr const char* usbRecord = "/run/unit/usbtmc";  // the port, while hosts can reach it
constexpr const char* flashRecord = "/run/unit/flash"; // of the FPGA: its cells
constexpr const char *fpgaConfigFile = "/tolvane/fpga/fpga_config.bin", *fpgaFirmwareFile = "/tolvane/fpga/adfpga.srec";
constexpr const char* panelSocket = "/run/unit/panel.socket";
constexpr const char* calibrationFile = "/tolvane/dev/calibration.csv";

constexpr uint16_t commandPort = 18, commandPortUnprivileged = 2018, discoveryPort = 9998;

constexpr const char* usage =
    "usage: virtual-instrument [options], inside a unit's file tree (virtual/sandbox/sandbox, or simply ./run)\n"
    "  --dut FILE    the device under test; re-read when the file changes\n"
    "  --dut-name T  what messages call that file; default: its path\n"
    "  --serial SN   gives the unit this serial number first; it decides the boards\n"
    "  --tell-boards says on standard error which boards the serial number names\n"
    "  --seed N      seed of all noise; default 1: the same run gives the same trace\n"
    "  --realtime    captures and waits take the time that the hardware takes; default: waits cost nothing\n"
    "  --port N      where TCP listens; default 18, or 2018 where 18 may not be bound or is taken\n"
    "  --listen ADDR the address on which it is found, 0.0.0.0 for all of this machine; default 127.0.0.1\n"
    "  --service C   carries out an operation of the workshop and ends; \"help\" lists them\n"
    "  --verbose     the firmware's own debug channel\n"
    "  --help        this text\n";

struct Options {
    std::string dut = DEFAULT_DUT, dutName;
    std::string serialNumber; // empty: the unit's own
    uint64_t seed = 1;
    in_addr address{htonl(INADDR_LOOPBACK)};
    int port = 0; // 0: the instrument's own
    bool tellsBoards = false;
    bool realTime = false;
    bool verbose = false;
    std::string service; // empty: the instrument is to run
};

[[noreturn]] void fail(int status, const std::string& reason) {
    fprintf(stderr, "virtual-instrument: %s\n", reason.c_str());
    exit(status);
}

uint64_t numberOf(const char* text, uint64_t low, uint64_t high, const char* what) {
    uint64_t number = 0;
    const char* end = text + strlen(text);
    const auto [stop, error] = std::from_chars(text, end, number);
    if (error != std::errc() || stop != end || stop == text || number < low || number > high)
        fail(exitUsage, std::string(what) + " is a number from " + std::to_string(low) + " to " + std::to_string(high) +
                            ", not \"" + text + "\"");
    return number;
}

in_addr addressOf(const char* text) {
    in_addr address{};
    if (inet_pton(AF_INET, text, &address) != 1)
        fail(exitUsage, "an address to listen on is like 127.0.0.1, not \"" + std::string(text) + "\"");
    return address;
}

std::string serialNumberOf(std::string text) {
    const bool printable = std::all_of(text.begin(), text.end(), [](unsigned char c) { return isgraph(c); });
    if (text.empty() || text.size() > serialNumberMax || !printable)
        fail(exitUsage,
             "a serial number has 1 to 32 characters without blanks, such as " + std::string(vi::defaultSerialNumber));
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(toupper(c)); });
    return text;
}

Options parse(int argc, char** argv) {
    const option known[] = {
        {"dut", required_argument, nullptr, 'd'},     {"dut-name", required_argument, nullptr, 't'},
        {"serial", required_argument, nullptr, 's'},  {"seed", required_argument, nullptr, 'n'},
        {"port", required_argument, nullptr, 'p'},    {"listen", required_argument, nullptr, 'l'},
        {"tell-boards", no_argument, nullptr, 'b'},   {"realtime", no_argument, nullptr, 'r'},
        {"service", required_argument, nullptr, 'c'}, {"verbose", no_argument, nullptr, 'v'},
        {"help", no_argument, nullptr, 'h'},          {nullptr, 0, nullptr, 0},
    };
    Options options;
    for (int letter; (letter = getopt_long(argc, argv, "", known, nullptr)) != -1;)
        switch (letter) {
        case 'd': options.dut = optarg; break;
        case 't': options.dutName = optarg; break;
        case 's': options.serialNumber = serialNumberOf(optarg); break;
        case 'n': options.seed = numberOf(optarg, 0, UINT64_MAX, "a seed"); break;
        case 'p': options.port = static_cast<int>(numberOf(optarg, 1, UINT16_MAX, "a port")); break;
        case 'l': options.address = addressOf(optarg); break;
        case 'b': options.tellsBoards = true; break;
        case 'r': options.realTime = true; break;
        case 'c': options.service = optarg; break;
        case 'v': options.verbose = true; break;
        case 'h': fputs(usage, stdout); exit(0);
        default: fputs(usage, stderr); exit(exitUsage);
        }
    if (optind != argc)
        fail(exitUsage, "unexpected argument \"" + std::string(argv[optind]) + "\"\n" + usage);
    return options;
}

/// 0, or the errno with which the port could not be bound.
int tryPort(int type, in_addr address, int port) {
    const int number = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    if (number < 0)
        return errno;
    const int reuse = type == SOCK_STREAM; // connections of an instrument that has just ended may linger
    setsockopt(number, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<uint16_t>(port));
    place.sin_addr = address;
    const int error = bind(number, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0 ? 0 : errno;
    close(number);
    return error;
}

void requirePort(const char* kind, int port, int error) {
    if (error == EADDRINUSE)
        fail(exitPortTaken, std::string(kind) + " port " + std::to_string(port) +
                                " is taken: is another instrument running on this machine?");
    if (error != 0)
        fail(exitPortTaken, std::string(kind) + " port " + std::to_string(port) + ": " + strerror(error));
}

/// Where the firmware is to listen. Its own port has a stand-in, which it finds by itself.
NetworkPlace freePlace(const Options& options) {
    requirePort("UDP", discoveryPort, tryPort(SOCK_DGRAM, options.address, discoveryPort));
    const int port = options.port != 0 ? options.port : commandPort;
    const int error = tryPort(SOCK_STREAM, options.address, port);
    if (error != 0 && options.port == 0)
        requirePort("TCP", commandPortUnprivileged, tryPort(SOCK_STREAM, options.address, commandPortUnprivileged));
    else
        requirePort("TCP", port, error);
    return {options.address.s_addr, port};
}

/// The unit's serial number, after it got `wanted` if there is one. The firmware reads the same file.
std::string settleSerialNumber(std::string wanted) {
    std::string present;
    std::getline(std::ifstream(serialNumberFile), present);
    if (wanted.empty() && !present.empty())
        return present;
    if (wanted.empty())
        wanted = vi::defaultSerialNumber;
    std::error_code ignored; // what matters is whether the file can be written
    std::filesystem::create_directories(std::filesystem::path(serialNumberFile).parent_path(), ignored);
    if (file_replace(serialNumberFile, wanted) != 0)
        fail(exitPortTaken, std::string("cannot write ") + serialNumberFile + ": " + strerror(errno));
    return wanted;
}

vi::Hardware* unit;

/// Shows what the unit shows. A record that cannot be written is none.
void recordPanel(const std::string& text) {
    const std::string draft = std::string(panelRecord) + ".new";
    std::ofstream(draft) << text;
    std::error_code ignored;
    std::filesystem::rename(draft, panelRecord, ignored);
    unit->panel.showRecord(text);
}

void startPanel() {
    std::filesystem::remove(panelSocket); // of a former unit, which may have had a panel
    if (unit->bench.boards.panel == vi::PanelKind::none)
        return;
    if (const int error = vi::panelServer_start(&unit->panel, panelSocket); error != 0)
        fail(exitPortTaken, std::string("cannot listen at ") + panelSocket + ": " + strerror(error));
}

/// The device under test may spoil chips; the unit must have them.
void requireChips(const Options& options) {
    const std::vector<std::string> present = unit->bus.names();
    const vi::Faults faults = vi::bench_faults(&unit->bench);
    for (const auto& names : {faults.spiFails, faults.stuckAdc})
        for (const std::string& name : names)
            if (std::find(present.begin(), present.end(), name) == present.end())
                fail(exitUsage, (options.dutName.empty() ? options.dut : options.dutName) +
                                    ": the unit has no chip called \"" + name + "\"");
}

/// The factory's file of this unit, unless somebody has put another one there.
void settleCalibration(const std::string& serialNumber) {
    std::ifstream file(calibrationFile);
    std::string heading;
    if (std::getline(file, heading) && !vi::factory_isOfAnother(heading, serialNumber))
        return;
    if (file_replace(calibrationFile, vi::factory_calibrationFile(serialNumber)) != 0)
        fail(exitPortTaken, std::string("cannot write ") + calibrationFile + ": " + strerror(errno));
}

/// The flash of the FPGA as it was left, and the images of the factory where there are none or those of another board.
void settleFlash() {
    std::error_code none;
    const bool fits = std::filesystem::file_size(flashRecord, none) == unit->acquisition.flash().cells().size();
    if (!unit->acquisition.keepFlashIn(flashRecord))
        fprintf(stderr, "virtual-instrument: the flash of the FPGA is not kept: %s: %s\n", flashRecord,
                strerror(errno));
    const vi::FpgaImages& images = unit->acquisition.factoryImages();
    for (const auto& [path, image] :
         {std::pair{fpgaConfigFile, &images.configuration}, {fpgaFirmwareFile, &images.firmware}})
        if ((!fits || !std::filesystem::exists(path)) && file_replace(path, *image) != 0)
            fprintf(stderr, "virtual-instrument: cannot write %s: %s\n", path, strerror(errno));
}

/// Returns the exit status.
int service(const std::string& command) {
    const int status = firmware_service(command.c_str());
    if (status != exitUsage)
        return status;
    fprintf(command == "help" ? stdout : stderr, "operations of the workshop:\n");
    for (const auto& [name, purpose] : firmware_serviceCommands())
        fprintf(command == "help" ? stdout : stderr, "  %-14s%s\n", name, purpose);
    return command == "help" ? 0 : exitUsage;
}

/// What the firmware did that real hardware would not know is a fault of one of the two.
void tellRefusals() {
    if (const uint64_t count = unit->bus.faults() + unit->acquisition.refusals() + unit->panel.refusals(); count != 0)
        printf("The hardware refused %llu times:\n%s%s%s", static_cast<unsigned long long>(count),
               unit->bus.faultTexts().c_str(), unit->acquisition.refusalTexts().c_str(),
               unit->panel.refusalTexts().c_str());
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse(argc, argv);
    vi::DutFile dut;
    std::string reason;
    if (!vi::dutFile_open(&dut, std::filesystem::absolute(options.dut), &reason, options.dutName))
        fail(exitUsage, reason);
    if (!std::filesystem::exists(unitRecords))
        fail(exitUsage, "not inside a unit's file tree; start it with ./run or virtual/sandbox/sandbox");
    if (options.service.empty())
        firmware_place = freePlace(options);

    const std::string serialNumber = settleSerialNumber(options.serialNumber);
    if (options.tellsBoards)
        fprintf(stderr, "unit %s: %s\n", serialNumber.c_str(), vi::serialNumber_describe(serialNumber).c_str());
    if (options.realTime)
        vi::clock_setMode(vi::TimeMode::realTime);
    else if (vi::idleWatch_start() != 0)
        fail(exitPortTaken, "no thread for the clock");
    // Never freed: threads of the firmware use it until the process is gone.
    unit = new vi::Hardware(vi::unitBoards_of(serialNumber), std::move(dut), options.seed);
    std::atexit(tellRefusals);
    requireChips(options);
    startPanel();
    unit->boards.onPanel(recordPanel);
    settleCalibration(serialNumber);
    settleFlash();
    tvstuff_seedRandom(static_cast<uint32_t>(options.seed ^ options.seed >> 32));

    if (!options.service.empty())
        return service(options.service);
    vi::usbConnector_start(options.address.s_addr, serialNumber, usbRecord);
    vi::gpibConnector_start(options.address, serialNumber, unitRecords);
    char name[] = "virtual-instrument", verbose[] = "-v";
    char* arguments[] = {name, verbose, nullptr};
    return firmware_start(options.verbose ? 2 : 1, arguments);
}
