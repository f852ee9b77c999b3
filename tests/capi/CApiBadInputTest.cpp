// The refusals the C host test leaves out: null pointers, grid counts and capacities. Nothing is written.
#include "capi/CApiTestSupport.hpp"

#include <climits>
#include <cmath>
#include <vector>

using ostreljet::testsupport::Model;

TEST(CApiBadInput, NullPointersAreRefused) {
    Model model(ostreljet_create());
    ostreljet_model *m = model.get();
    double value = -7.0;
    EXPECT_EQ(ostreljet_set(m, nullptr, 1.0), -2);
    EXPECT_EQ(ostreljet_get(nullptr, "stackHeight", &value), -2);
    EXPECT_EQ(ostreljet_get(m, nullptr, &value), -2);
    EXPECT_EQ(ostreljet_get(m, "stackHeight", nullptr), -2);
    EXPECT_STREQ(ostreljet_last_error(), "null model, property name or result pointer");
    EXPECT_EQ(ostreljet_run(nullptr), -2);
    EXPECT_EQ(ostreljet_cancel(nullptr), -2);
    EXPECT_EQ(ostreljet_set_budget(nullptr, 1), -2);
    EXPECT_STREQ(ostreljet_last_error(), "null model");
    EXPECT_EQ(ostreljet_cancel(m), 0);
    EXPECT_EQ(ostreljet_set_budget(m, 0), 0);
    EXPECT_EQ(ostreljet_step_count(nullptr), -2);
    EXPECT_EQ(ostreljet_message_count(nullptr), -2);
    EXPECT_EQ(ostreljet_message(nullptr, 0), nullptr);
    EXPECT_EQ(ostreljet_series(nullptr, "x", &value, 1), -2);
    EXPECT_EQ(ostreljet_series(m, nullptr, &value, 1), -2);
    EXPECT_EQ(ostreljet_series(m, "x", nullptr, 1), -2);
    EXPECT_EQ(ostreljet_series(m, "x", nullptr, 0), 0); // nothing to write, nowhere to write it
    EXPECT_EQ(ostreljet_load_scenario(nullptr, "vent.json"), -2);
    EXPECT_EQ(ostreljet_load_scenario(m, nullptr), -2);
    EXPECT_TRUE(std::isnan(ostreljet_concentration(nullptr, 0, 0, 0)));
    EXPECT_EQ(ostreljet_concentration_grid(nullptr, 0, 0, 0, 1, 1, 1, 1, 1, 1, &value, 1), -1);
    EXPECT_STREQ(ostreljet_last_error(), "null model");
    EXPECT_EQ(ostreljet_concentration_grid(m, 0, 0, 0, 1, 1, 1, 1, 1, 1, nullptr, 1), -1);
    EXPECT_STREQ(ostreljet_last_error(),
                 "null output array is too small for the 1 points of the grid (1 x 1 x 1)");
    EXPECT_EQ(value, -7.0);
}

TEST(CApiBadInput, GridCountsAndCapacities) {
    Model model(ostreljet_create());
    std::vector<double> buffer(9, -7.0);
    const auto grid = [&](int nx, int ny, int nz, double *out, long long capacity) {
        return ostreljet_concentration_grid(model.get(), 0, -5, 0, 50, 5, 30, nx, ny, nz, out, capacity);
    };
    EXPECT_EQ(grid(2, -1, 2, buffer.data(), 9), -1);
    EXPECT_STREQ(ostreljet_last_error(), "negative point count in the grid of 2 x -1 x 2 points");
    EXPECT_EQ(grid(-1, -1, 2, buffer.data(), 9), -1); // an even number of negatives is still refused
    // (2^31 - 1)^3 is about 9.9e27, beyond 2^63: refused whatever capacity is claimed.
    EXPECT_EQ(grid(INT_MAX, INT_MAX, INT_MAX, buffer.data(), LLONG_MAX), -1);
    EXPECT_STREQ(
        ostreljet_last_error(),
        "the grid of 2147483647 x 2147483647 x 2147483647 points has more points than can be counted");
    EXPECT_EQ(grid(INT_MAX, INT_MAX, 2, buffer.data(), 9), -1); // 2^63 - 2^33 + 2 points fit in 64 bits
    EXPECT_STREQ(ostreljet_last_error(),
                 "output capacity 9 is too small for the 9223372028264841218 points of the grid "
                 "(2147483647 x 2147483647 x 2)");
    EXPECT_EQ(grid(2, 2, 2, buffer.data(), -1), -1);
    EXPECT_STREQ(ostreljet_last_error(), "negative output capacity -1");
    EXPECT_EQ(grid(2, 2, 2, buffer.data(), 7), -1);
    EXPECT_EQ(buffer, std::vector<double>(9, -7.0));
    EXPECT_EQ(grid(2, 2, 2, buffer.data(), 9), 8);
    EXPECT_EQ(buffer[8], -7.0);
    // A zero count empties the grid whatever the other counts, so no buffer is needed.
    EXPECT_EQ(grid(0, INT_MAX, INT_MAX, nullptr, 0), 0);
    EXPECT_EQ(grid(INT_MAX, INT_MAX, 0, nullptr, 0), 0);
}

TEST(CApiBadInput, NonFiniteValuesAndClassesOutOfRangeAreRefusedAndNothingIsStored) {
    Model model(ostreljet_create());
    ostreljet_model *m = model.get();
    const double nan = std::nan(""), inf = HUGE_VAL;
    EXPECT_EQ(ostreljet_set(m, "stackHeight", nan), -2);
    EXPECT_STREQ(ostreljet_last_error(), "property \"stackHeight\" takes a finite number, not nan");
    EXPECT_EQ(ostreljet_set(m, "referenceWindSpeed", -inf), -2);
    EXPECT_STREQ(ostreljet_last_error(), "property \"referenceWindSpeed\" takes a finite number, not -inf");
    EXPECT_EQ(ostreljet_set(m, "pasquillStability", 7), -2); // the texts: see the C host test
    EXPECT_EQ(ostreljet_set(m, "timeAveraging", 5), -2);
    double value = -7.0;
    EXPECT_EQ(ostreljet_get(m, "stackHeight", &value), 0);
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(ostreljet_get(m, "pasquillStability", &value), 0);
    EXPECT_EQ(value, 3.0);
    EXPECT_EQ(ostreljet_get(m, "timeAveraging", &value), 0);
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(ostreljet_set(m, "pasquillStability", 0), 0);
    EXPECT_EQ(ostreljet_set(m, "stackHeight", 1e308), 0); // finite, for validation to judge
}

TEST(CApiBadInput, AReleaseStartingUndergroundIsRefusedAndTheLastRunKept) {
    Model model = ostreljet::testsupport::validVent();
    ostreljet_model *m = model.get();
    ASSERT_EQ(ostreljet_run(m), 1);
    const int steps = ostreljet_step_count(m);
    EXPECT_EQ(ostreljet_set(m, "stackHeight", 0), 0);
    EXPECT_EQ(ostreljet_set(m, "releaseAngle", -90), 0);
    EXPECT_EQ(ostreljet_run(m), -2);
    EXPECT_STREQ(
        ostreljet_last_error(),
        "the release starts at ground level (stackHeight 0 m) and points downward (releaseAngle -90 "
        "degrees), so the jet would start underground; raise the stack above 0 m or point the release "
        "at or above the horizontal");
    EXPECT_EQ(ostreljet_step_count(m), steps);
    // Level at ground, or downward from any height above it, still runs.
    EXPECT_EQ(ostreljet_set(m, "releaseAngle", 0), 0);
    EXPECT_EQ(ostreljet_run(m), 1);
    EXPECT_EQ(ostreljet_set(m, "releaseAngle", -45), 0);
    EXPECT_EQ(ostreljet_set(m, "stackHeight", 10), 0);
    EXPECT_EQ(ostreljet_run(m), 1);
}

TEST(CApiBadInput, NonFinitePointsAndGridsWhoseExtentOverflowsAreRefused) {
    Model model = ostreljet::testsupport::validVent();
    ostreljet_model *m = model.get();
    ASSERT_EQ(ostreljet_run(m), 1);
    EXPECT_TRUE(std::isnan(ostreljet_concentration(m, std::nan(""), 0, 0)));
    EXPECT_STREQ(ostreljet_last_error(), "the point's x is nan, not a finite number of metres");
    std::vector<double> buffer(8, -7.0);
    EXPECT_EQ(ostreljet_concentration_grid(m, 1e308, 0, 0, -1e308, 1, 1, 2, 2, 2, buffer.data(), 8), -1);
    EXPECT_STREQ(ostreljet_last_error(),
                 "the grid's x extent from 1e+308 m to -1e+308 m overflows: x1 - x0 is not a finite number");
    EXPECT_EQ(buffer, std::vector<double>(8, -7.0));
}
