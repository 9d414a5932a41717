#pragma once
/// The stage plan: which decimation stages of the acquisition FPGA serve a trace, over which offsets, with how many
/// correlations. Stage 0 covers the highest offsets, each further one about a decade below.

#include "device_table/device_fptrs.h"

#include <array>
#include <cstdint>

struct MeasConfig;

inline constexpr int stageCountMax = 8;

struct StagingPlan {
    std::array<double, stageCountMax> stageLow;           // lowest offset that the stage serves, Hz
    std::array<double, stageCountMax> stageHigh;          // highest, Hz
    std::array<int32_t, stageCountMax> stageCorrelations; // correlations that the FPGA folds into one capture
    std::array<int32_t, stageCountMax> stageSamples;      // record length, points
    int32_t capturePasses;                                // captures of one iteration
    int32_t stageCount;                                   // stages in use, 3 to 8
    double offsetMin;                                     // what the plan was made for: start offset, Hz
    int32_t correlations;                                 //   and correlations of the lowest stage
};

/// The plan for a start offset in Hz and a number of correlations. The stages in use follow one another without a gap
/// and the last one reaches down to `offsetMin`.
[[nodiscard]] StagingPlan staging_makePlan(double offsetMin, int32_t correlations);

/// Number of the first stage of `plan` that holds `offset` (Hz), so that a boundary belongs to the stage of the higher
/// offsets; 0 if none does.
[[nodiscard]] int staging_stageOf(const StagingPlan& plan, double offset);

/// Makes the plan of the configuration in force and hands it to the FPGA driver. While a run is on, its plan stays and
/// nothing happens: every INIT hands over anew. Returns 0.
int config_staging(Device* device);
/// The same unconditionally for `config`, for the start of a run; the caller holds stateMutex.
void staging_handOver(Device* device, const MeasConfig& config);

/// staging_stageOf the plan in hand.
[[nodiscard]] int config_getStageFromOffset(Device* device, double offset);
