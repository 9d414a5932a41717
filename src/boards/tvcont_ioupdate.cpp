#include "boards/tvcont_ioupdate.h"

#include "drivers/tvspi.h"
#include "platform/rt.h"
#include "platform/tvko.h"

int TVCONT_ioupdate() {
    if (const int captured = tvspi_doCapture(tvko_listIoUpdate, 0, 0, nullptr); captured != 0)
        return captured;
    return rt_dev_ioctl(tvkono, tvko_ioUpdate, 0);
}
