#include "measure/settings/staging.h"

#include "measure/run/meas_data.h"
#include "measure/run/measure.h"
#include "measure/settings/measurement_configuration.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr StagingPlan decadePlan = {
    .stageLow = {1e6, 1e5, 1e4, 1e3, 100, 10, 1, 0.1},
    .stageHigh = {50e6, 1e6, 1e5, 1e4, 1e3, 100, 10, 5},
    .stageCorrelations = {},
    .stageSamples = {512, 512, 512, 512, 512, 512, 512, 512},
    .capturePasses = 1,
    .stageCount = stageCountMax,
    .offsetMin = 0,
    .correlations = 0,
};

constexpr int lowestStage = stageCountMax - 1;
constexpr double boundaryFactor = 5; // stages meet at 5 times a power of ten

/// Start offsets for which the two lowest stages have record lengths of their own. `factor` scales the correlations of
/// the stages above, so that all stages take about the same time.
struct LowRecord {
    double offsetMin;
    int32_t samples6;
    int32_t samples7;
    double factor;
};
constexpr LowRecord lowRecords[] = {
    {0.01, 128, 2048, 32}, {0.05, 128, 512, 8}, {0.1, 128, 256, 4},
    {0.5, 128, 128, 2},    {1, 128, 64, 1},     {5, 128, 2, 0.5},
};

constexpr std::array<int64_t, stageCountMax> correlationCap = {900000, 900000, 500000, 100000,
                                                               100000, 100000, 100000, 100000};

int32_t stageCountFor(double offsetMin) {
    if (offsetMin == 5)
        return 7;
    if (offsetMin > 5000)
        return 3;
    if (offsetMin > 500)
        return 4;
    if (offsetMin > 50)
        return 5;
    if (offsetMin > 5)
        return 6;
    return 8;
}

void placeBoundaries(StagingPlan* plan) {
    for (int stage = std::min(plan->stageCount, lowestStage) - 1; stage > 0; --stage) {
        plan->stageHigh[stage] *= boundaryFactor;
        plan->stageLow[stage - 1] = plan->stageHigh[stage];
    }
    const double m = plan->offsetMin;
    if (m < 5) {
        const double between = m < 1 ? 2 : 5; // where the stages 6 and 7 meet
        plan->stageLow[6] = between;
        plan->stageHigh[6] = 50;
        plan->stageLow[7] = m < 0.05 ? 0.01 : m < 0.1 ? 0.05 : m < 0.5 ? 0.1 : m < 1 ? 0.5 : 1;
        plan->stageHigh[7] = between;
    }
    // A start offset between the table's decades: the record of the last stage reaches down to it all the same.
    double& lowest = plan->stageLow[plan->stageCount - 1];
    lowest = std::min(lowest, m);
}

void ladderCorrelations(StagingPlan* plan) {
    int64_t base = 1;
    for (int stage = 1; stage < std::min(plan->stageCount, lowestStage); ++stage)
        base *= 10;
    for (const LowRecord& record : lowRecords) {
        if (plan->offsetMin == record.offsetMin) {
            plan->stageSamples[6] = record.samples6;
            plan->stageSamples[7] = record.samples7;
            base = static_cast<int64_t>(static_cast<double>(base) * record.factor);
        }
    }

    const int64_t correlations = plan->correlations;
    std::array<int64_t, stageCountMax> raw{};
    int64_t ladder = correlations * base;
    for (int stage = 0; stage < 6; ++stage, ladder /= 10)
        raw[stage] = ladder;
    raw[6] = std::max(correlations * (plan->stageSamples[7] / 64 * 15 - 2), correlations);
    raw[7] = correlations;
    for (int stage = 0; stage < stageCountMax; ++stage)
        plan->stageCorrelations[stage] =
            static_cast<int32_t>(std::min(std::max<int64_t>(raw[stage], 1), correlationCap[stage]));
}

void spreadOverPasses(StagingPlan* plan) {
    const double m = plan->offsetMin;
    const double lowestCorrelations = plan->stageCorrelations[lowestStage];
    double passes = 1;
    if (!(m > 10))
        passes = lowestCorrelations;
    else if (lowestCorrelations * 10 / m >= 1)
        passes = lowestCorrelations / std::pow(10, std::floor(std::log10(m)) - 1);
    plan->capturePasses = std::max(static_cast<int32_t>(passes), 1);
    for (int32_t& correlations : plan->stageCorrelations)
        correlations = std::max(correlations / plan->capturePasses, 1);
}

} // namespace

StagingPlan staging_makePlan(double offsetMin, int32_t correlations) {
    StagingPlan plan = decadePlan;
    plan.offsetMin = offsetMin;
    plan.correlations = correlations;
    plan.stageCount = stageCountFor(offsetMin);
    placeBoundaries(&plan);
    ladderCorrelations(&plan);
    spreadOverPasses(&plan);
    return plan;
}

int staging_stageOf(const StagingPlan& plan, double offset) {
    for (int stage = 0; stage < plan.stageCount; ++stage)
        if (plan.stageLow[stage] <= offset && offset <= plan.stageHigh[stage])
            return stage;
    return 0;
}

void staging_handOver(Device* device, const MeasConfig& config) {
    const StagingPlan plan = meas_data.plan = staging_makePlan(config.offsetMin, config.correlations);
    slot_carryOn(Device_setFdStages(device, static_cast<uint32_t>(plan.stageCount))); // all stored; a capture sends it
    for (int32_t stage = 0; stage < plan.stageCount; ++stage) {
        slot_carryOn({Device_setFdCorrelations(device, stage, static_cast<uint32_t>(plan.stageCorrelations[stage])),
                      Device_setFdSamplesCount(device, stage, static_cast<uint32_t>(plan.stageSamples[stage]))});
    }
    slot_carryOn(config.measurementMethod == methodCrossCorrelation ? Device_setFdChannelCrosscorrelation(device)
                                                                    : Device_setFdChannelAOnly(device));
}

int config_staging(Device* device) {
    MutexLock lock(meas_data.stateMutex);
    if (meas_data.idle != 0 || measure_isMeasurementThread())
        staging_handOver(device, *configPNPtr);
    return 0;
}

int config_getStageFromOffset(Device*, double offset) {
    return staging_stageOf(meas_data.plan, offset);
}
