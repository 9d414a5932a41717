#include "virtual/chips/serial_flash.h"

#include "virtual/platform/clock.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vi {
namespace {

enum Command : uint8_t { // of both chips
    writeRegisters = 0x01,
    readStatus = 0x05,
    writeEnable = 0x06,
    eraseChip = 0xC7,
};

constexpr uint8_t statusBusy = 1 << 0, statusWriteEnabled = 1 << 1;
constexpr uint8_t configurationQuad = 1 << 1;
constexpr uint32_t modeFlash = 4, modePlain = 0;
constexpr uint64_t microsecond_ns = 1000, millisecond_ns = 1'000'000, second_ns = 1'000'000'000;
constexpr uint64_t never_ns = std::numeric_limits<uint64_t>::max();
constexpr mode_t fileMode = 0644;
constexpr size_t blockBytes = 4096; // in which memory is given back; the sizes of all chips are multiples of it

} // namespace

// ---- cells ----------------------------------------------------------------------------------------------------------

FlashCells::FlashCells(size_t bytes) : bytes_(bytes) {
    void* const cells =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (cells == MAP_FAILED)
        throw std::bad_alloc();
    cells_ = static_cast<uint8_t*>(cells);
}

FlashCells::~FlashCells() {
    munmap(cells_, bytes_);
    if (file_ >= 0)
        close(file_);
}

/// What the file holds, without its holes.
bool FlashCells::load() {
    madvise(cells_, bytes_, MADV_DONTNEED);
    const auto end = static_cast<off_t>(bytes_);
    for (off_t at = 0; (at = lseek(file_, at, SEEK_DATA)) >= 0 && at < end;) {
        const off_t hole = lseek(file_, at, SEEK_HOLE);
        while (at < hole) {
            const ssize_t count = pread(file_, cells_ + at, static_cast<size_t>(hole - at), at);
            if (count <= 0)
                return false;
            at += count;
        }
    }
    return true;
}

bool FlashCells::keepIn(const std::string& path) {
    file_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, fileMode);
    struct stat found {};
    if (file_ >= 0 && fstat(file_, &found) == 0) {
        if (found.st_size == static_cast<off_t>(bytes_))
            return load();
        if (ftruncate(file_, 0) == 0 && ftruncate(file_, static_cast<off_t>(bytes_)) == 0)
            for (size_t at = 0; at < bytes_ && file_ >= 0; at += blockBytes) // what is erased stays a hole of the file
                if (std::any_of(cells_ + at, cells_ + at + blockBytes, [](uint8_t cell) { return cell != 0; }))
                    keep(at, blockBytes);
    }
    return file_ >= 0;
}

/// A file that takes no more is one that nobody keeps.
void FlashCells::keep(size_t at, size_t bytes) {
    at %= bytes_;
    bytes = std::min(bytes, bytes_ - at);
    if (file_ < 0 || pwrite(file_, cells_ + at, bytes, static_cast<off_t>(at)) == static_cast<ssize_t>(bytes))
        return;
    close(file_);
    file_ = -1;
}

/// Whole pages of memory are given back, and become a hole in the file.
void FlashCells::erase(size_t at, size_t bytes) {
    at %= bytes_;
    bytes = std::min(bytes, bytes_ - at);
    if (at % blockBytes != 0 || bytes % blockBytes != 0 || madvise(cells_ + at, bytes, MADV_DONTNEED) != 0)
        memset(cells_ + at, 0, bytes);
    if (file_ >= 0 && fallocate(file_, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(at),
                                static_cast<off_t>(bytes)) != 0)
        keep(at, bytes);
}

// ---- chips ----------------------------------------------------------------------------------------------------------

struct SerialFlash::Erasure {
    uint8_t command;
    size_t bytes;
    uint64_t takes_ns;
};

/// What the data sheets tell, with typical times.
struct SerialFlash::Sheet {
    size_t bytes, pageBytes, sectorBytes, addressBytes;
    uint8_t program, read, identify;
    bool identifiesByAddress; // the identification has an address, which swaps its two bytes
    std::array<uint8_t, 8> identification;
    std::array<Erasure, 2> erasures; // of command 0: none
    uint64_t program_ns, eraseChip_ns, writeRegisters_ns;
    uint32_t statusMode;                          // of the write of the status register
    uint8_t readConfiguration = 0, softReset = 0; // 0: the chip has none
};

const SerialFlash::Sheet& SerialFlash::sheetOf(Kind kind) {
    static constexpr Sheet w25q64{
        .bytes = 8 << 20,
        .pageBytes = 256,
        .sectorBytes = 4 << 10,
        .addressBytes = 3,
        .program = 0x02,
        .read = 0x03,
        .identify = 0x90,
        .identifiesByAddress = true,
        .identification = {0xEF, 0x16, 0xEF, 0x16, 0xEF, 0x16, 0xEF, 0x16},
        .erasures = {{{0x20, 4 << 10, 45 * millisecond_ns}, {0xD8, 64 << 10, 150 * millisecond_ns}}},
        .program_ns = 700 * microsecond_ns,
        .eraseChip_ns = 20 * second_ns,
        .writeRegisters_ns = 10 * millisecond_ns,
        .statusMode = modePlain,
    };
    static constexpr Sheet s25fl256s{
        .bytes = 32 << 20,
        .pageBytes = 512,
        .sectorBytes = 256 << 10,
        .addressBytes = 4,
        .program = 0x12,
        .read = 0x13,
        .identify = 0x9F,
        .identifiesByAddress = false,
        .identification = {0x01, 0x02, 0x19, 0x4D, 0x00, 0x80, 0x52, 0x31},
        .erasures = {{{0xDC, 256 << 10, 520 * millisecond_ns}, {}}},
        .program_ns = 340 * microsecond_ns,
        .eraseChip_ns = 66 * second_ns,
        .writeRegisters_ns = 140 * millisecond_ns,
        .statusMode = modeFlash,
        .readConfiguration = 0x35,
        .softReset = 0xF0,
    };
    return kind == Kind::w25q64 ? w25q64 : s25fl256s;
}

SerialFlash::SerialFlash(Kind kind, std::function<bool()> linked)
    : sheet_(sheetOf(kind)), linked_(std::move(linked)), cells_(sheet_.bytes), commands_(*this, true),
      answers_(*this, false), configuration_(configurationQuad) {}

bool SerialFlash::servesFourLines() const {
    return sheet_.readConfiguration == 0 || (configuration_ & configurationQuad) != 0;
}

void SerialFlash::spoilPrograms(size_t address, unsigned times) {
    spoiled_[address / sheet_.sectorBytes] = times;
}

bool SerialFlash::Place::send(std::span<const uint8_t> frame, uint32_t mode) {
    return takesCommands_ && flash_.take(frame, mode);
}

bool SerialFlash::Place::receive(std::span<uint8_t> frame, uint32_t mode, uint32_t /*board*/) {
    return !takesCommands_ && flash_.answer(frame, mode);
}

void SerialFlash::Place::select(bool active) {
    flash_.selects_ += active ? 1 : -1U;
    if (flash_.selects_ != 0)
        return;
    flash_.begin();
    flash_.wire_.clear();
    flash_.answered_ = 0;
}

bool SerialFlash::busy() const {
    return clock_now() < busyUntil_ns_;
}

void SerialFlash::become(uint64_t busyFor_ns) {
    busyUntil_ns_ = stuckBusy_ ? never_ns : clock_now() + busyFor_ns;
    writeEnabled_ = false;
}

size_t SerialFlash::address() const {
    size_t address = 0;
    for (size_t i = 1; i <= sheet_.addressBytes && i < wire_.size(); ++i)
        address = address << 8 | wire_[i];
    return address;
}

bool SerialFlash::take(std::span<const uint8_t> frame, uint32_t mode) {
    if (!linked_() || frame.empty())
        return false;
    wire_.insert(wire_.end(), frame.rbegin(), frame.rend());
    const uint8_t command = wire_.front();
    const bool known = command == writeRegisters || command == readStatus || command == writeEnable ||
                       command == eraseChip || command == sheet_.program || command == sheet_.read ||
                       command == sheet_.identify ||
                       (command != 0 && (command == sheet_.readConfiguration || command == sheet_.softReset)) ||
                       std::any_of(sheet_.erasures.begin(), sheet_.erasures.end(),
                                   [command](const Erasure& erasure) { return erasure.command == command; });
    return known && mode == (command == writeRegisters ? sheet_.statusMode : modeFlash);
}

/// A busy chip answers its status and nothing else: the line stays high.
uint8_t SerialFlash::nextAnswer() {
    const uint8_t command = wire_.front();
    const size_t at = answered_++;
    if (command == readStatus)
        return static_cast<uint8_t>((busy() ? statusBusy : 0) | (writeEnabled_ ? statusWriteEnabled : 0));
    if (busy())
        return 0xFF;
    if (command == sheet_.read)
        return cells_.read(address() + at);
    if (command == sheet_.identify) {
        const size_t first = sheet_.identifiesByAddress ? address() & 1 : 0;
        return sheet_.identification[(first + at) % sheet_.identification.size()];
    }
    return command == sheet_.readConfiguration ? configuration_ : 0xFF;
}

/// Only a chip that was selected all the time since its command answers it, and only after the whole address.
bool SerialFlash::answer(std::span<uint8_t> frame, uint32_t mode) {
    if (!linked_() || mode != modeFlash || wire_.empty())
        return false;
    const uint8_t command = wire_.front();
    const bool addressed = command == sheet_.read || (command == sheet_.identify && sheet_.identifiesByAddress);
    const bool answers =
        addressed || command == readStatus || command == sheet_.identify || command == sheet_.readConfiguration;
    if (!answers || wire_.size() != 1 + (addressed ? sheet_.addressBytes : 0))
        return false;
    std::generate(frame.rbegin(), frame.rend(), [this] { return nextAnswer(); });
    return true;
}

/// The select line has gone back: what was asked for begins, unless a condition is missing, which the chip does not
/// tell.
void SerialFlash::begin() {
    if (wire_.empty() || busy())
        return;
    const uint8_t command = wire_.front();
    const size_t length = wire_.size();
    if (command == writeEnable && length == 1)
        writeEnabled_ = true;
    if (command == sheet_.softReset && command != 0 && length == 1)
        writeEnabled_ = false;
    if (!writeEnabled_)
        return;
    if (command == sheet_.program && length > 1 + sheet_.addressBytes) {
        program(address());
        become(sheet_.program_ns);
    } else if (command == eraseChip && length == 1) {
        cells_.erase(0, cells_.size());
        become(sheet_.eraseChip_ns);
    } else if (command == writeRegisters && length >= 2) {
        if (length == 3)
            configuration_ = wire_[2];
        become(sheet_.writeRegisters_ns);
    } else {
        for (const Erasure& erasure : sheet_.erasures)
            if (command == erasure.command && length == 1 + sheet_.addressBytes) {
                cells_.erase(address() / erasure.bytes * erasure.bytes, erasure.bytes);
                become(erasure.takes_ns);
            }
    }
}

/// Of more than a page the last bytes count.
void SerialFlash::program(size_t address) {
    const size_t page = address / sheet_.pageBytes * sheet_.pageBytes;
    const std::span<const uint8_t> data = std::span(wire_).subspan(1 + sheet_.addressBytes);
    for (size_t i = data.size() - std::min(data.size(), sheet_.pageBytes); i < data.size(); ++i)
        cells_.clearBits(page + (address - page + i) % sheet_.pageBytes, data[i]);
    spoil(address, data);
    cells_.keep(page, sheet_.pageBytes);
}

void SerialFlash::spoil(size_t address, std::span<const uint8_t> data) {
    const auto spoiled = spoiled_.find(address / sheet_.sectorBytes);
    if (spoiled == spoiled_.end() || spoiled->second == 0)
        return;
    --spoiled->second;
    const auto cell = std::find_if(data.begin(), data.end(), [](uint8_t byte) { return byte != 0; });
    if (cell != data.end()) // one of its bits that was to stay set
        cells_.clearBits(address + static_cast<size_t>(cell - data.begin()), static_cast<uint8_t>(*cell & (*cell - 1)));
}

} // namespace vi
