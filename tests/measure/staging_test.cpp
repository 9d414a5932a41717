#include "measure/meas_data.h"
#include "measure/measurement_configuration.h"
#include "measure/staging.h"

#include <gtest/gtest.h>

TEST(Staging, WorkedPlans) {
    const struct {
        double offsetMin;
        int32_t correlations;
        int32_t stageCount;
        int32_t passes;
        std::array<int32_t, 8> stageCorrelations;
        std::vector<double> low;
    } plans[] = {
        {1000, 1, 4, 1, {1000, 100, 10, 1, 1, 1, 118, 1}, {5e6, 5e5, 5e4, 1000}},
        {1000, 1000, 4, 10, {90000, 10000, 1000, 100, 10, 1, 10000, 100}, {5e6, 5e5, 5e4, 1000}},
        {10, 1, 6, 1, {100000, 10000, 1000, 100, 10, 1, 118, 1}, {5e6, 5e5, 5e4, 5000, 500, 10}},
        {10000, 1, 3, 1, {100, 10, 1, 1, 1, 1, 118, 1}, {5e6, 5e5, 10000}},
        {1, 1, 8, 1, {900000, 100000, 10000, 1000, 100, 10, 13, 1}, {5e6, 5e5, 5e4, 5000, 500, 50, 5, 1}},
    };
    for (const auto& expected : plans) {
        SCOPED_TRACE(testing::Message() << expected.offsetMin << " Hz, " << expected.correlations);
        const StagingPlan plan = staging_makePlan(expected.offsetMin, expected.correlations);
        EXPECT_EQ(plan.stageCount, expected.stageCount);
        EXPECT_EQ(plan.capturePasses, expected.passes);
        EXPECT_EQ(plan.stageCorrelations, expected.stageCorrelations);
        for (size_t stage = 0; stage < expected.low.size(); ++stage)
            EXPECT_EQ(plan.stageLow[stage], expected.low[stage]) << stage;
    }
}

TEST(Staging, OffsetsThatAreNamedExactlyHaveRecordsOfTheirOwn) {
    const struct {
        double offsetMin;
        int32_t stageCount, samples6, samples7, correlations3, correlations6;
        double low7;
    } rows[] = {
        {0.01, 8, 128, 2048, 32000, 478, 0.01},
        {0.02, 8, 512, 512, 1000, 118, 0.01},
        {0.05, 8, 128, 512, 8000, 118, 0.05},
        {0.1, 8, 128, 256, 4000, 58, 0.1},
        {0.5, 8, 128, 128, 2000, 28, 0.5},
        {0.7, 8, 512, 512, 1000, 118, 0.5},
        {1, 8, 128, 64, 1000, 13, 1},
        {4.9999, 8, 512, 512, 1000, 118, 1},
        {5, 7, 128, 2, 500, 1, 0.1},
        {5.0001, 6, 512, 512, 100, 118, 0.1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.offsetMin);
        const StagingPlan plan = staging_makePlan(row.offsetMin, 1);
        EXPECT_EQ(plan.stageCount, row.stageCount);
        EXPECT_EQ(plan.stageSamples[6], row.samples6);
        EXPECT_EQ(plan.stageSamples[7], row.samples7);
        EXPECT_EQ(plan.stageCorrelations[3], row.correlations3);
        EXPECT_EQ(plan.stageCorrelations[6], row.correlations6);
        EXPECT_EQ(plan.stageLow[7], row.low7);
    }
    EXPECT_EQ(staging_makePlan(5000, 1).stageCount, 4);
    EXPECT_EQ(staging_makePlan(5000.1, 1).stageCount, 3);
}

TEST(Staging, EveryStartOffsetIsCoveredWithoutAGap) {
    for (double offsetMin = 0.01; offsetMin <= 50e6; offsetMin *= 1.01) {
        for (const int32_t correlations : {1, 7, 1000, 10000}) {
            SCOPED_TRACE(testing::Message() << offsetMin << " Hz, " << correlations);
            const StagingPlan plan = staging_makePlan(offsetMin, correlations);
            EXPECT_EQ(plan.stageHigh[0], 50e6);
            EXPECT_LE(plan.stageLow[plan.stageCount - 1], offsetMin);
            for (int stage = 1; stage < plan.stageCount; ++stage) {
                EXPECT_EQ(plan.stageHigh[stage], plan.stageLow[stage - 1]) << stage;
                EXPECT_LT(plan.stageLow[stage], plan.stageHigh[stage]) << stage;
            }
            EXPECT_GE(plan.capturePasses, 1);
            for (const int32_t perCapture : plan.stageCorrelations) {
                EXPECT_GE(perCapture, 1);
                EXPECT_LE(perCapture, 900000);
            }
        }
    }
}

TEST(Staging, AStageOwnsItsLowerBoundary) {
    configPN.offsetMin = 1000;
    getStaging(&meas_data.plan);
    const struct {
        double offset;
        int stage;
    } rows[] = {{60e6, 0}, {50e6, 0}, {5e6, 0}, {4.9e6, 1}, {5e5, 1}, {1000, 3}, {999, 0}};
    for (const auto& [offset, stage] : rows)
        EXPECT_EQ(config_getStageFromOffset(nullptr, offset), stage) << offset;
}
