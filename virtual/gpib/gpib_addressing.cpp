#include "virtual/gpib/gpib_addressing.h"

namespace vi {
namespace {
constexpr uint8_t groupMask = 0xe0, addressMask = 0x1f;
}

void GpibAddressing::clearInterface() {
    listens_ = talks_ = polled_ = false;
    awaitsSecondary_ = Group::none;
}

void GpibAddressing::enter(Group group) {
    (group == Group::listen ? listens_ : talks_) = true;
    (group == Group::listen ? talks_ : listens_) = false;
}

void GpibAddressing::takePrimary(Group group, int primary) {
    const GpibAddress own = address_();
    awaitsSecondary_ = Group::none;
    if (own.primary == primary && own.secondary >= 0)
        awaitsSecondary_ = group;
    else if (own.primary == primary)
        enter(group);
    else if (group == Group::talk)
        talks_ = false; // another one talks
}

void GpibAddressing::takeSecondary(int secondary) {
    if (awaitsSecondary_ != Group::none && address_().secondary == secondary)
        enter(awaitsSecondary_);
}

bool GpibAddressing::take(uint8_t command) {
    const int address = command & addressMask;
    switch (command) {
    case gpib_unlisten: listens_ = false; break;
    case gpib_untalk: talks_ = false; break;
    case gpib_pollEnable: polled_ = true; break;
    case gpib_pollDisable: polled_ = false; break;
    case gpib_selectedClear: return listens_;
    case gpib_deviceClear: return true;
    default:
        switch (command & groupMask) {
        case gpib_listen: takePrimary(Group::listen, address); return false;
        case gpib_talk: takePrimary(Group::talk, address); return false;
        case gpib_secondary: takeSecondary(address); return false;
        default: break; // trigger, local and lockout: this device has nothing for them
        }
    }
    awaitsSecondary_ = Group::none;
    return false;
}

} // namespace vi
