#include "virtual/acquisition/fpga_images.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace vi {
namespace {

constexpr std::array<uint8_t, 4> synchronisation{0xAA, 0x99, 0x55, 0x66};
constexpr size_t preamble = 16; // bytes, all ones
constexpr size_t factoryPayload = 48 * 1024, factoryFirmware = 8 * 1024;
constexpr size_t payloadMax = 4 << 20;
constexpr size_t lineBytes = 32; // of an S-record

// Behind the synchronisation: generation, four bytes of length, the payload, four bytes of CRC over these three.

uint8_t generationByte(FpgaGeneration generation) {
    return generation == FpgaGeneration::second ? 2 : 1;
}

/// CRC-32 of IEEE 802.3, bytes in turn.
class Crc {
public:
    void add(uint8_t byte) {
        value_ ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            value_ = value_ >> 1 ^ ((value_ & 1) != 0 ? 0xEDB88320 : 0);
    }
    [[nodiscard]] uint32_t value() const { return ~value_; }

private:
    uint32_t value_ = 0xFFFFFFFF;
};

void appendWord(std::string* text, uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8)
        *text += static_cast<char>(word >> shift);
}

std::string factoryConfiguration(FpgaGeneration generation) {
    std::string image(preamble, '\xFF');
    image.append(synchronisation.begin(), synchronisation.end());
    const size_t start = image.size();
    image += static_cast<char>(generationByte(generation));
    appendWord(&image, factoryPayload);
    uint32_t state = generationByte(generation);
    for (size_t i = 0; i < factoryPayload; ++i) {
        state = state * 1664525 + 1013904223; // linear congruence of Numerical Recipes: any bytes will do
        image += static_cast<char>(state >> 24);
    }
    Crc crc;
    for (size_t i = start; i < image.size(); ++i)
        crc.add(static_cast<uint8_t>(image[i]));
    appendWord(&image, crc.value());
    return image;
}

/// A line: "S", type, count of what follows, four bytes of address, data, complement of their sum.
std::string record(char type, uint32_t address, const std::string& data) {
    std::string bytes(1, static_cast<char>(data.size() + 5));
    appendWord(&bytes, address);
    bytes += data;
    uint8_t sum = 0;
    std::string line{'S', type};
    std::array<char, 3> hex;
    for (const char byte : bytes) {
        sum = static_cast<uint8_t>(sum + byte);
        snprintf(hex.data(), hex.size(), "%02X", static_cast<uint8_t>(byte));
        line += hex.data();
    }
    snprintf(hex.data(), hex.size(), "%02X", static_cast<uint8_t>(~sum));
    return line + hex.data() + "\n";
}

constexpr char headerType = '0', dataType = '3', endType = '7';

std::string headerOf(FpgaGeneration generation) {
    return generation == FpgaGeneration::second ? "adfpga2" : "adfpga1";
}

std::string factoryFirmwareOf(FpgaGeneration generation) {
    std::string image = record(headerType, 0, headerOf(generation));
    for (uint32_t address = 0; address < factoryFirmware; address += lineBytes) {
        std::string data;
        for (uint32_t i = 0; i < lineBytes; ++i)
            data += static_cast<char>((address + i) * 37 + generationByte(generation));
        image += record(dataType, address, data);
    }
    return image + record(endType, 0, "");
}

uint32_t wordAt(const FlashCells& cells, size_t at) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; ++i)
        word = word << 8 | cells.read(at + i);
    return word;
}

bool holdsConfiguration(const FlashCells& cells, FpgaGeneration generation) {
    size_t at = 0;
    while (at < preamble && cells.read(at) == 0xFF)
        ++at;
    for (const uint8_t byte : synchronisation)
        if (cells.read(at++) != byte)
            return false;
    const uint32_t payload = wordAt(cells, at + 1);
    if (cells.read(at) != generationByte(generation) || payload > payloadMax)
        return false;
    Crc crc;
    for (const size_t end = at + 5 + payload; at < end; ++at)
        crc.add(cells.read(at));
    return wordAt(cells, at) == crc.value();
}

/// A hexadecimal byte of two digits; negative if there is none.
int hexAt(const FlashCells& cells, size_t at) {
    int value = 0;
    for (size_t i = 0; i < 2; ++i) {
        const uint8_t digit = cells.read(at + i);
        const int figure = digit >= '0' && digit <= '9'   ? digit - '0'
                           : digit >= 'A' && digit <= 'F' ? digit - 'A' + 10
                                                          : -1;
        if (figure < 0)
            return -1;
        value = value << 4 | figure;
    }
    return value;
}

struct Line {
    char type;
    std::string data;
};

/// Reads the record at `*at` and moves behind it. False if it is none.
bool readLine(const FlashCells& cells, size_t* at, Line* line) {
    const int count = cells.read(*at) == 'S' ? hexAt(cells, *at + 2) : -1;
    if (count < 5)
        return false;
    line->type = static_cast<char>(cells.read(*at + 1));
    line->data.clear();
    uint8_t sum = 0;
    *at += 2;
    for (int i = 0; i <= count; ++i, *at += 2) {
        const int byte = hexAt(cells, *at);
        if (byte < 0)
            return false;
        sum = static_cast<uint8_t>(sum + byte);
        if (i > 4 && i < count)
            line->data += static_cast<char>(byte);
    }
    return sum == 0xFF && cells.read((*at)++) == '\n';
}

bool holdsFirmware(const FlashCells& cells, FpgaGeneration generation) {
    size_t at = fpgaImages_firmwareAddress(generation);
    Line line;
    if (!readLine(cells, &at, &line) || line.type != headerType || line.data != headerOf(generation))
        return false;
    while (at < cells.size() && readLine(cells, &at, &line))
        if (line.type == endType)
            return true;
    return false;
}

} // namespace

const FpgaImages& fpgaImages_ofFactory(FpgaGeneration generation) {
    static const auto* const images = new std::array<FpgaImages, 2>{
        // threads may look at them while the process leaves
        {{factoryConfiguration(FpgaGeneration::first), factoryFirmwareOf(FpgaGeneration::first)},
         {factoryConfiguration(FpgaGeneration::second), factoryFirmwareOf(FpgaGeneration::second)}}};
    return (*images)[generation == FpgaGeneration::second ? 1 : 0];
}

size_t fpgaImages_firmwareAddress(FpgaGeneration generation) {
    return generation == FpgaGeneration::second ? 0x1300000 : 0x410000;
}

void fpgaImages_store(const FpgaImages& images, FpgaGeneration generation, FlashCells* cells) {
    const auto store = [cells](const std::string& image, size_t address) {
        for (const char byte : image)
            cells->clearBits(address++, static_cast<uint8_t>(byte));
    };
    store(images.configuration, 0);
    store(images.firmware, fpgaImages_firmwareAddress(generation));
}

bool fpgaImages_boot(const FlashCells& cells, FpgaGeneration generation) {
    return holdsConfiguration(cells, generation) && holdsFirmware(cells, generation);
}

} // namespace vi
