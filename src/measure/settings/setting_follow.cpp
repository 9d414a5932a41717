#include "measure/settings/setting_follow.h"

#include "measure/settings/config_hw.h"
#include "measure/settings/setting_rows.h"
#include "measure/settings/staging.h"

namespace {

void restore(auto* record, const auto& rows) {
    for (const auto& row : rows)
        if (row.initial.value)
            record->*row.field = *row.initial.value;
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
    restore(config, measNumbers);
    restore(config, detectedNumbers);
    restore(config, measCounts);
    restore(config, measSwitches);
    restore(config, measChoices);
}

void setting_restore(VcoConfig* config) {
    restore(config, sweepNumbers);
    restore(config, sweepCounts);
    restore(config, sweepSwitches);
    restore(config, sweepChoices);
    for (const auto& row : sweepLists)
        for (size_t i = 0; i < row.initial.value->size(); ++i)
            (config->*row.field)[i] = (*row.initial.value)[i];
}

void setting_restore(BasebandConfig* config) {
    restore(config, basebandChoices);
}
