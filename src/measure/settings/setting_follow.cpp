#include "measure/settings/setting_follow.h"

#include "measure/settings/config_hw.h"
#include "measure/settings/setting_rows.h"
#include "measure/settings/staging.h"

#include <algorithm>

namespace {

template <auto field> void restore(auto* record) {
    if constexpr (const auto& initial = rowOf<field>.initial.value; requires { initial->size(); })
        std::ranges::copy(*initial, (record->*field).begin());
    else if (initial)
        record->*field = *initial;
}
template <class Settings> void restoreAll(auto* record) {
    setting_forEach(
        static_cast<const Settings*>(record), [record]<auto field> { restore<field>(record); });
}

} // namespace

int setting_follow(Device* device, MeasConfig* config, uint32_t outdates, std::optional<HardwareSide> moves,
                   bool active) {
    if ((outdates & outputGrid) != 0)
        config->gridChanged = 1;
    if (!active)
        return 0;
    if ((outdates & stagePlan) != 0)
        config_staging(device);
    return moves ? configHW_move(device, *moves) : 0;
}

void setting_restore(MeasConfig* config) {
    restoreAll<MeasSettings>(config);
    restoreAll<Detected>(config);
}

void setting_restore(VcoConfig* config) {
    restoreAll<VcoSettings>(config);
}

void setting_restore(BasebandConfig* config) {
    restoreAll<BasebandConfig>(config);
}
