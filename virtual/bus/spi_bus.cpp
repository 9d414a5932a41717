#include "virtual/bus/spi_bus.h"

#include "platform/tvko.h"
#include "virtual/platform/clock.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace vi {
namespace {

constexpr uint32_t frameMax = 8192; // bytes; more is a length gone wrong
constexpr uint64_t faultsTold = 20;
constexpr uint32_t listAlignment = 4;
constexpr uint32_t settingMax = 255; // of divider and delay
constexpr uint64_t microsecond_ns = 1000;

template <class... Parts> std::string text(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    return line.str();
}

/// What stands at an address that the firmware passed through the boundary.
template <class T> T* at(uintptr_t argument) {
    return reinterpret_cast<T*>(argument); // NOLINT(performance-no-int-to-ptr): that is what a request carries
}

/// A delay in a list: the module waits.
void wait(uint32_t microseconds) {
    clock_spend(microseconds * microsecond_ns);
    if (clock_mode() == TimeMode::realTime)
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

} // namespace

struct SpiBus::Pass {
    bool read;
    uint32_t address;
    uint32_t length;
    uint32_t mode;
    uint32_t board;
    const uint8_t* data; // of a send
    uint8_t* room;       // of a read
};

SpiBus::SpiBus() {
    constexpr std::array<uint32_t, 4> requests{tvko_pinStatus, tvko_pinReset, tvko_pinReferenceLock,
                                               tvko_pinReferenceLockFiltered};
    std::transform(requests.begin(), requests.end(), pins_.begin(), [](uint32_t request) {
        return Pin{request, [] { return 0u; }};
    });
}

void SpiBus::attach(uint32_t address, SpiChip* chip, uint32_t segment) {
    const std::lock_guard lock(mutex_);
    Slot& slot = slots_.at(address);
    slot.writer = chip;
    std::erase_if(slot.readers, [&](const Reader& reader) { return reader.segment == segment; });
    slot.readers.push_back({segment, chip});
    remember(chip);
}

void SpiBus::attachSends(uint32_t address, SpiChip* chip) {
    const std::lock_guard lock(mutex_);
    slots_.at(address).writer = chip;
    remember(chip);
}

void SpiBus::detach(SpiChip* chip) {
    const std::lock_guard lock(mutex_);
    for (Slot& slot : slots_) {
        const size_t readers = slot.readers.size();
        std::erase_if(slot.readers, [chip](const Reader& reader) { return reader.chip == chip; });
        if (slot.writer == chip)
            slot.writer = nullptr;
        else if (slot.readers.size() == readers)
            continue;
        slot.name.clear();
    }
    std::erase(chips_, chip);
    if (selected_ == chip)
        selected_ = nullptr;
}

void SpiBus::remember(SpiChip* chip) {
    if (std::find(chips_.begin(), chips_.end(), chip) == chips_.end())
        chips_.push_back(chip);
}

void SpiBus::setName(uint32_t address, const std::string& name) {
    const std::lock_guard lock(mutex_);
    slots_.at(address).name = name;
}

std::vector<std::string> SpiBus::names() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    for (const Slot& slot : slots_)
        if (!slot.name.empty())
            found.push_back(slot.name);
    return found;
}

void SpiBus::setChipFaults(std::function<ChipFault(const std::string& name)> faultOf) {
    const std::lock_guard lock(mutex_);
    chipFault_ = std::move(faultOf);
}

ChipFault SpiBus::faultOf(uint32_t address) const {
    const bool named = address < spiAddresses && !slots_[address].name.empty();
    return named && chipFault_ ? chipFault_(slots_[address].name) : ChipFault::none;
}

void SpiBus::setPin(uint32_t request, uint32_t level) {
    setPinSource(request, [level] { return level; });
}

void SpiBus::setPinSource(uint32_t request, std::function<uint32_t()> source) {
    const std::lock_guard lock(mutex_);
    for (Pin& pin : pins_)
        if (pin.request == request) {
            pin.source = std::move(source);
            return;
        }
    throw std::out_of_range(text("no pin ", request));
}

uint32_t SpiBus::bitrateDivider() const {
    const std::lock_guard lock(mutex_);
    return divider_;
}

uint32_t SpiBus::selectDelay() const {
    const std::lock_guard lock(mutex_);
    return selectDelay_;
}

uint32_t SpiBus::triggerPulse() const {
    const std::lock_guard lock(mutex_);
    return triggerPulse_;
}

uint64_t SpiBus::transfers() const {
    const std::lock_guard lock(mutex_);
    return transfers_;
}

uint64_t SpiBus::faults() const {
    const std::lock_guard lock(mutex_);
    return faults_;
}

std::string SpiBus::faultTexts() const {
    const std::lock_guard lock(mutex_);
    return faultTexts_;
}

void SpiBus::intercept(std::function<bool(const SpiTransfer&)> interceptor) {
    const std::lock_guard lock(mutex_);
    interceptor_ = std::move(interceptor);
}

void SpiBus::failTransfers(uint64_t first, uint64_t count) {
    intercept([index = uint64_t{0}, first, count](const SpiTransfer&) mutable {
        const uint64_t now = index++;
        return now < first || now - first >= count;
    });
}

int SpiBus::ioctl(uint32_t request, uintptr_t argument) {
    const std::lock_guard lock(mutex_);
    switch (request) {
    case tvko_selectChip: return selectChip(argument);
    case tvko_deselectChip: return deselectChip();
    case tvko_send: return transferRecord(argument, false);
    case tvko_receive: return transferRecord(argument, true);
    case tvko_sendList: return sendList(argument);
    case tvko_ioUpdate: pulseIoUpdate(static_cast<uint32_t>(argument)); return 0;
    case tvko_triggerPulse: return setTriggerPulse(argument);
    case tvko_setBitrateDivider: return setInRange(&divider_, argument, 1, settingMax, "bit-rate divider");
    case tvko_setSelectDelay: return setInRange(&selectDelay_, argument, 0, settingMax, "select delay");
    default: break;
    }
    if (const Pin* pin = findPin(request); pin != nullptr)
        return readPin(*pin, argument);
    return fault(text("unknown request ", request));
}

int SpiBus::transferRecord(uintptr_t argument, bool read) {
    const auto* record = at<const tvko_transfer>(argument);
    if (record == nullptr)
        return fault("transfer without a record");
    auto* const data = static_cast<uint8_t*>(record->data);
    return transfer({read, record->address, record->length, record->mode, record->board, data, data});
}

int SpiBus::transfer(const Pass& pass) {
    const char* const kind = pass.read ? "read" : "send";
    clock_spend(spiTransfer_ns);
    if (pass.data == nullptr || pass.length == 0 || pass.length > frameMax)
        return fault(text(kind, " of ", pass.length, " bytes at address ", pass.address));
    const std::span<const uint8_t> frame(pass.data, pass.read ? 0 : pass.length);
    if (interceptor_ && !interceptor_({pass.read, pass.address, pass.mode, pass.board, frame}))
        return -EIO;
    const ChipFault chipFault = faultOf(pass.address);
    if (chipFault == ChipFault::silent)
        return -EIO;
    if (chipFault == ChipFault::absent || (chipFault == ChipFault::stuck && pass.read)) {
        if (pass.read)
            memset(pass.room, chipFault == ChipFault::absent ? 0xFF : 0, pass.length);
        return 0;
    }
    SpiChip* const chip = find(pass);
    if (chip == nullptr)
        return fault(text("nobody at address ", pass.address, ", segment ", pass.board, " (", kind, " of ", pass.length,
                          " bytes)"));
    const bool held = chip == selected_;
    if (!held && selected_ != nullptr)
        return fault(text(kind, " at address ", pass.address, " while another chip is held selected"));
    if (!held)
        chip->select(true);
    const bool taken = pass.read ? chip->receive({pass.room, pass.length}, pass.mode, pass.board) //
                                 : chip->send(frame, pass.mode);
    if (!held)
        chip->select(false);
    if (!taken)
        return fault(text("chip at address ", pass.address, ", segment ", pass.board, " refused a ", kind, " of ",
                          pass.length, " bytes, mode ", pass.mode));
    ++transfers_;
    return 0;
}

int SpiBus::sendList(uintptr_t argument) {
    const auto* place = at<const uint8_t>(argument);
    if (place == nullptr)
        return fault("no captured list");
    for (;;) {
        tvko_listRecord record;
        memcpy(&record.address, place, sizeof record.address);
        if (record.address == tvko_listEnd)
            return 0;
        memcpy(&record, place, sizeof record);
        if (record.length > frameMax)
            return fault(text("captured record of ", record.length, " bytes"));
        const Pass pass{false, record.address, record.length, record.mode, 0, place + sizeof record, nullptr};
        if (const int error = record.address < spiAddresses ? transfer(pass) : runListOperation(pass); error != 0)
            return error;
        place += sizeof record + (record.length + listAlignment - 1) / listAlignment * listAlignment;
    }
}

int SpiBus::runListOperation(const Pass& record) {
    if (record.address == tvko_listDelay && record.length == sizeof(uint32_t)) {
        uint32_t microseconds;
        memcpy(&microseconds, record.data, sizeof microseconds);
        wait(microseconds);
        return 0;
    }
    if (record.address == tvko_listDelay || record.address > tvko_listDelay)
        return fault(text("captured operation ", record.address, " of ", record.length, " bytes"));
    pulseIoUpdate(record.address == tvko_listIoUpdateTriggered ? 1 : 0);
    return 0;
}

int SpiBus::selectChip(uintptr_t address) {
    SpiChip* const chip = address < spiAddresses ? slots_[address].writer : nullptr;
    if (chip == nullptr)
        return fault(text("select of address ", address));
    if (chip == selected_)
        return 0;
    chip->select(true); // the line of a chip that hangs on both places does not go back in between
    deselectChip();
    selected_ = chip;
    return 0;
}

int SpiBus::deselectChip() {
    if (selected_ != nullptr)
        selected_->select(false);
    selected_ = nullptr;
    return 0;
}

void SpiBus::pulseIoUpdate(uint32_t trigger) {
    for (SpiChip* chip : chips_)
        chip->ioUpdate(trigger);
}

int SpiBus::readPin(const Pin& pin, uintptr_t argument) {
    if (argument == 0)
        return fault(text("pin ", pin.request, " without room for its value"));
    *at<uint32_t>(argument) = pin.source();
    return 0;
}

int SpiBus::setInRange(uint32_t* setting, uintptr_t value, uint32_t low, uint32_t high, const char* what) {
    if (value < low || value > high)
        return fault(text(what, " ", value));
    *setting = static_cast<uint32_t>(value);
    return 0;
}

int SpiBus::setTriggerPulse(uintptr_t value) {
    if (value != 0 && value != 1 && value != 3)
        return fault(text("trigger pulse ", value));
    triggerPulse_ = static_cast<uint32_t>(value);
    return 0;
}

int SpiBus::fault(const std::string& what) {
    if (faults_++ < faultsTold)
        faultTexts_ += what + "\n";
    return -EINVAL;
}

const SpiBus::Pin* SpiBus::findPin(uint32_t request) const {
    const auto pin = std::find_if(pins_.begin(), pins_.end(), [&](const Pin& p) { return p.request == request; });
    return pin != pins_.end() ? &*pin : nullptr;
}

SpiChip* SpiBus::find(const Pass& pass) const {
    if (pass.address >= spiAddresses)
        return nullptr;
    const Slot& slot = slots_[pass.address];
    if (!pass.read)
        return slot.writer;
    for (const Reader& reader : slot.readers)
        if (reader.segment == pass.board)
            return reader.chip;
    for (const Reader& reader : slot.readers)
        if (reader.segment == spiAnySegment)
            return reader.chip;
    return nullptr;
}

} // namespace vi
