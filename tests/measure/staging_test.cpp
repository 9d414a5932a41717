#include "measure/settings/staging.h"

#include <gtest/gtest.h>

TEST(Staging, WorkedPlans) {
    const struct {
        double offsetMin;
        int32_t correlations, passes;
        std::array<int32_t, 8> stageCorrelations;
        std::array<int32_t, 2> samples; // of the two lowest stages: offsets named exactly have their own
        std::vector<double> low;        // of the stages in use
    } plans[] = {
        {5000.1, 1, 1, {100, 10, 1, 1, 1, 1, 118, 1}, {512, 512}, {5e6, 5e5, 5000.1}},
        {1000, 1000, 10, {90000, 10000, 1000, 100, 10, 1, 10000, 100}, {512, 512}, {5e6, 5e5, 5e4, 1000}},
        {10, 1, 1, {100000, 10000, 1000, 100, 10, 1, 118, 1}, {512, 512}, {5e6, 5e5, 5e4, 5000, 500, 10}},
        {5, 1, 1, {500000, 50000, 5000, 500, 50, 5, 1, 1}, {128, 2}, {5e6, 5e5, 5e4, 5000, 500, 50, 1}},
        {1, 1, 1, {900000, 100000, 10000, 1000, 100, 10, 13, 1}, {128, 64}, {5e6, 5e5, 5e4, 5000, 500, 50, 5, 1}},
        {0.7, 1, 1, {900000, 100000, 10000, 1000, 100, 10, 118, 1}, {512, 512}, {5e6, 5e5, 5e4, 5e3, 500, 50, 2, 0.5}},
        {.02, 1, 1, {900000, 100000, 10000, 1000, 100, 10, 118, 1}, {512, 512}, {5e6, 5e5, 5e4, 5e3, 500, 50, 2, .01}},
        {.01,
         1,
         1,
         {900000, 900000, 320000, 32000, 3200, 320, 478, 1},
         {128, 2048},
         {5e6, 5e5, 5e4, 5e3, 500, 50, 2, .01}},
    };
    for (const auto& row : plans) {
        SCOPED_TRACE(testing::Message() << row.offsetMin << " Hz, " << row.correlations);
        const StagingPlan plan = staging_makePlan(row.offsetMin, row.correlations);
        EXPECT_EQ(plan.capturePasses, row.passes);
        EXPECT_EQ(plan.stageCorrelations, row.stageCorrelations);
        EXPECT_EQ((std::array{plan.stageSamples[6], plan.stageSamples[7]}), row.samples);
        EXPECT_EQ(std::vector(plan.stageLow.begin(), plan.stageLow.begin() + plan.stageCount), row.low);
    }
}

TEST(Staging, EveryStartOffsetIsCoveredWithoutAGap) {
    for (double offsetMin = 0.01; offsetMin <= 50e6; offsetMin *= 1.01)
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
            for (const int32_t perCapture : plan.stageCorrelations)
                EXPECT_TRUE(perCapture >= 1 && perCapture <= 900000) << perCapture;
        }
}

TEST(Staging, AStageOwnsItsLowerBoundary) {
    const StagingPlan plan = staging_makePlan(1000, 1);
    for (const auto& [offset, stage] :
         {std::pair{60e6, 0}, {50e6, 0}, {5e6, 0}, {4.9e6, 1}, {5e5, 1}, {1000.0, 3}, {999.0, 0}})
        EXPECT_EQ(staging_stageOf(plan, offset), stage) << offset;
}
