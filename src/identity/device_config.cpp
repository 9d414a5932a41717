#include "identity/device_config.h"

#include "core/file_draft.h"
#include "core/file_trees.h"

#include <cstring>
#include <unistd.h>

namespace {

constexpr char updateMarker[] = "/tolvane/dev/fwupdate";

} // namespace

void device_config_init() {
    device_config_reset_cause = 0;
    device_config_readSN(device_config_sn);
    device_config_loadModelNameExt();
    device_config_fwStatus = access(updateMarker, F_OK) == 0 ? 1 : 0;
}

void device_config_finishInterruptedWrites() {
    for (const char* folder : {"/tolvane/dev", "/tolvane/cust", "/etc/network"})
        file_removeDrafts(folder);
    device_config_finishLanConfig();
    tvstuffProtectRoot();
    tvstuffProtectTv();
}

const char* device_config_getFWVersion() {
    return device_config_fwStatus != 0 ? "0.0.1" : device_config_fwversion;
}

void device_config_getOptionsString(char* buffer) {
    strcpy(buffer, device_config_usesOptionFs() ? "0,FS" : "0");
}
