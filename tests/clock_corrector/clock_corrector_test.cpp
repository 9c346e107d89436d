#include "clock_corrector/clock_corrector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace {

using namespace quorvel::clock_corrector;

TEST(CorrectedClock, TakesOutTheShareOfTheErrorAndNeverMore) {
    struct Case {
        double gain;
        double x;
        double y;
        double estimate;
        double
            after;  ///< half a second later, with the target at 0: half the error is taken out, which shows the slope
    };
    const Case cases[] = {
        {0.0, 0.25, 0.35, 0.275, 0.3875}, {0.5, 0.25, 0.35, 0.275, 0.4}, {0.0, 0.0, 99.0, 0.0, 0.25},
        {0.0, 2.0, 7.0, 7.0, 3.75},       {0.5, -5.0, 7.0, 7.0, 3.75},
    };
    for (const auto& one : cases) {
        const auto clock = newCorrectedClock(0, 0, 1, 1, one.gain);
        clock->update(one.x, one.y);
        EXPECT_NEAR(clock->time(), one.estimate, 1e-12) << one.x;
        clock->update(one.x + 0.5, 0);
        EXPECT_NEAR(clock->time(), one.after, 1e-12) << one.x;
    }
}

TEST(CorrectedClock, FollowsAStepWithItsTimeConstant) {
    const auto clock = newCorrectedClock(0, 0, 1, 1, 0);
    double x = 0;
    for (int i = 0; i < 1000; ++i) clock->update(x, (x += 0.001) + 0.5);
    EXPECT_NEAR(clock->time() - x, 0.5 * (1 - std::exp(-1.0)), 0.003);
}

TEST(CorrectedClock, RefusesATimeConstantOfNothing) {
    EXPECT_THROW(newCorrectedClock(0, 0, 1, 0, 0), std::invalid_argument);
    EXPECT_THROW(newCorrectedClock(0, 0, 1, std::numeric_limits<double>::quiet_NaN(), 0), std::invalid_argument);
    EXPECT_THROW(newClock({})->time(), std::bad_function_call);
    EXPECT_EQ(newClock([] { return 4.5; })->time(), 4.5);
}

}  // namespace
