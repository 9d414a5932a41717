// The command link: ASCII texts over the SPI bus.

#include "acquisition/adfpga_generation.h"
#include "acquisition/adfpga_link.h"
#include "base/error_codes.h"
#include "base/tvdebug.h"
#include "core/abstime.h"
#include "drivers/tvspi.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

constexpr uint32_t commandSlave = 251, answerSlave = 254;
constexpr size_t commandTextMax = 255; // characters of a formatted list
constexpr uint64_t firstDelay_us = 20000, delaySumMax_us = 999999;

constexpr mode_t logFileMode = 0666;

using CommandFrame = std::array<char, adfpga_commandMax + 1>;

int sendCommand(std::string_view command) {
    if (command.size() > adfpga_commandMax)
        return scpi::outOfMemory;
    CommandFrame frame; // the bus clocks a frame out from its last byte: the NUL stands first
    frame[0] = '\0';
    std::reverse_copy(command.begin(), command.end(), frame.begin() + 1);
    const auto length = static_cast<uint32_t>(command.size() + 1);
    return tvspiSend(commandSlave, length, 0, frame.data()) == 0 ? 0 : scpi::executionError;
}

int readAnswer(TVPN_ADFPGA* board, char* buffer, uint32_t length) {
    const uint32_t mode = adfpga_generation(board).answerMode;
    return tvspiRecv(answerSlave, 0, length, mode, buffer) == 0 ? 0 : scpi::executionError;
}

/// Delays double from read to read, so that the soft core is not disturbed at its work. The byte that was clocked in
/// first lies last, and is not NUL in an answer.
int awaitAnswer(TVPN_ADFPGA* board, char* buffer, uint32_t length) {
    uint64_t sum_us = 0;
    for (uint64_t delay_us = firstDelay_us;; delay_us *= 2) {
        tvstuff_delay_us(delay_us);
        if (const int status = readAnswer(board, buffer, length); status != 0)
            return status;
        sum_us += delay_us;
        if (buffer[length - 1] != 0 || sum_us > delaySumMax_us)
            return 0;
    }
}

} // namespace

int TVPN_ADFPGA_sendFpga(TVPN_ADFPGA*, const char* command) {
    return sendCommand(command);
}

int TVPN_ADFPGA_fpgaCommandsImmediate(TVPN_ADFPGA*, const char* commands) {
    std::string_view rest = commands != nullptr ? commands : "";
    int result = 0;
    while (!rest.empty()) {
        const size_t comma = std::min(rest.find(','), rest.size());
        if (const int status = sendCommand(rest.substr(0, comma)); result == 0)
            result = status;
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    return result;
}

int TVPN_ADFPGA_fpgaCommandF(TVPN_ADFPGA* board, const char* format, ...) {
    std::array<char, commandTextMax + 1> text;
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<size_t>(length) > commandTextMax) {
        fputs("TVPN_ADFPGA_fpgaCommandF(): error(): commands exceed FPGA SPI buffer size\n", stderr);
        return scpi::outOfMemory;
    }
    return TVPN_ADFPGA_fpgaCommandsImmediate(board, text.data());
}

int TVPN_ADFPGA_receiveFpga(TVPN_ADFPGA* board, char* buffer, uint32_t length, int wait) {
    length = std::min<uint32_t>(length, adfpga_commandMax + 1);
    if (length == 0)
        return 0;
    memset(buffer, 0, length);
    const int status = wait != 0 ? awaitAnswer(board, buffer, length) : readAnswer(board, buffer, length);
    if (status != 0)
        return status;
    std::reverse(buffer, buffer + length);
    return 0;
}

void adfpga_logToFile(const char* format, ...) {
    const int file = open("/tolvane/temp/fpgalog", O_WRONLY | O_APPEND | O_CREAT, logFileMode);
    if (file < 0)
        return;
    va_list arguments;
    va_start(arguments, format);
    vdprintf(file, format, arguments);
    va_end(arguments);
    close(file);
}

void adfpga_log(const char* format, ...) {
    std::array<char, commandTextMax + 1> text;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    printd("%s", text.data());
    adfpga_logToFile("%s", text.data());
}
