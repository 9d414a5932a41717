#include "boards/tvcont_ioupdate.h"

#include "base/error_codes.h"
#include "drivers/tvspi.h"
#include "platform/rt.h"
#include "platform/tvko.h"

namespace {

int update(uint32_t listOperation, uintptr_t word) {
    if (const int captured = tvspi_doCapture(listOperation, 0, 0, nullptr); captured != 0)
        return captured;
    return rt_dev_ioctl(tvkono, tvko_ioUpdate, word) >= 0 ? 0 : scpi::executionError;
}

} // namespace

int TVCONT_ioupdate() {
    return update(tvko_listIoUpdate, 0);
}

int TVCONT_ioupdateTrigger(int arg) {
    return update(arg != 0 ? tvko_listIoUpdateTriggered : tvko_listIoUpdate, static_cast<uintptr_t>(arg));
}
