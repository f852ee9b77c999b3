// The far field through the C API: its inputs by name, its series and figures, and the concentration
// queries past the hand-off plane.
#include "capi/CApiTestSupport.hpp"

#include <cmath>
#include <string>
#include <vector>

using ostreljet::testsupport::Model;

TEST(CApiFarField, InputsSeriesFiguresAndConcentrationsPastTheJet) {
    Model model = ostreljet::testsupport::validVent();
    ostreljet_model *m = model.get();
    double value = 0.0;
    ASSERT_EQ(ostreljet_get(m, "farFieldDistance", &value), 0);
    EXPECT_EQ(value, 10000.0);
    EXPECT_EQ(ostreljet_set(m, "farFieldDispersion", 2.0), OSTRELJET_INVALID_ARGUMENT);
    EXPECT_STREQ(ostreljet_last_error(), "\"farFieldDispersion\" must be one of rural, urban, not 2");
    EXPECT_EQ(ostreljet_set(m, "farFieldDistance", 3000.0), 0);
    EXPECT_EQ(ostreljet_set(m, "farFieldDispersion", 1.0), 0);
    ASSERT_EQ(ostreljet_get(m, "farFieldDispersion", &value), 0);
    EXPECT_EQ(value, 1.0);
    // Before a run there is no far field.
    EXPECT_STREQ(ostreljet_far_field_hand_off(m), "not computed");
    EXPECT_EQ(ostreljet_far_field_series(m, "height", nullptr, 0), 0);
    EXPECT_TRUE(std::isnan(ostreljet_far_field_figure(m, "continuityRatio")));

    ASSERT_EQ(ostreljet_run(m), 1);
    const std::string reason = ostreljet_far_field_hand_off(m);
    EXPECT_TRUE(reason == "end of the jet" || reason == "passive transition") << reason;
    const int count = ostreljet_far_field_series(m, "downwindDistance", nullptr, 0);
    ASSERT_GT(count, 100);
    std::vector<double> distance(static_cast<std::size_t>(count)), ground(distance.size());
    ASSERT_EQ(ostreljet_far_field_series(m, "downwindDistance", distance.data(), count), count);
    ASSERT_EQ(ostreljet_far_field_series(m, "groundLevelConcentration", ground.data(), count), count);
    EXPECT_EQ(distance.front(), ostreljet_far_field_figure(m, "handOffDistance"));
    EXPECT_EQ(distance.back(), 3000.0);
    EXPECT_EQ(ostreljet_far_field_figure(m, "endDistance"), 3000.0);
    EXPECT_EQ(ostreljet_far_field_series(m, "colour", nullptr, 0), OSTRELJET_UNKNOWN_NAME);
    EXPECT_TRUE(std::isnan(ostreljet_far_field_figure(m, "colour")));
    EXPECT_STREQ(ostreljet_last_error(), "unknown far-field figure \"colour\"");

    // The wind blows towards +x from a stack at the origin, so the series' last point is (3000, y, 0),
    // with y the axis's offset: the jet rises straight up, so 0.
    EXPECT_DOUBLE_EQ(ostreljet_concentration(m, 3000.0, 0.0, 0.0), ground.back());
    EXPECT_GT(ground.back(), 0.0);
    // Nothing is computed beyond the far field's end.
    EXPECT_TRUE(std::isnan(ostreljet_concentration(m, 3000.5, 0.0, 0.0)));
    std::vector<double> grid(2);
    ASSERT_EQ(ostreljet_concentration_grid(m, 3000.0, 0.0, 0.0, 3001.0, 0.0, 0.0, 2, 1, 1, grid.data(), 2),
              2);
    EXPECT_DOUBLE_EQ(grid[0], ground.back());
    EXPECT_TRUE(std::isnan(grid[1]));
}
