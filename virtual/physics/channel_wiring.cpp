#include "virtual/physics/channel_wiring.h"

namespace vi {

void wiring_take(ChannelWiring* to, const ChannelWiring& from, unsigned parts) {
    if ((parts & wiringInput) != 0) {
        to->dut = from.dut;
        to->inputHigh = from.inputHigh;
    }
    if ((parts & wiringSource) != 0) {
        to->reference = from.reference;
        to->driven = from.driven;
        to->source_Hz = from.source_Hz;
        to->drive_dB = from.drive_dB;
    }
    if ((parts & wiringIf) != 0)
        to->ifChain = from.ifChain;
    if ((parts & wiringLoop) != 0)
        to->loop = from.loop;
    if ((parts & wiringCounter) != 0)
        to->counter = from.counter;
}

} // namespace vi
