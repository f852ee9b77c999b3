#include "report/Contours.hpp"
#include "report/Html.hpp"
#include "report/ReportPage.hpp"
#include "report/Ticks.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace ostreljet::report;

// Expected ticks were counted by hand: the finest step of 1, 2 or 5 times a power of ten that leaves at
// most the allowed number of multiples inside the range.

namespace {

void expectTicks(double low, double high, int maxCount, double step, const std::vector<double> &values) {
    const Ticks ticks = linearTicks(low, high, maxCount);
    EXPECT_DOUBLE_EQ(ticks.step, step) << low << " .. " << high;
    ASSERT_EQ(ticks.values.size(), values.size()) << low << " .. " << high;
    for (std::size_t k = 0; k < values.size(); ++k) {
        EXPECT_DOUBLE_EQ(ticks.values[k], values[k]) << "tick " << k << " of " << low << " .. " << high;
    }
}

} // namespace

TEST(ReportTicks, ChooseTheFinestOneTwoFiveStepThatFits) {
    expectTicks(0.0, 10.0, 6, 2.0, {0, 2, 4, 6, 8, 10});
    expectTicks(0.0, 10.0, 11, 1.0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    expectTicks(0.0, 1.0, 5, 0.5, {0.0, 0.5, 1.0});
    expectTicks(-3.7, 12.2, 8, 2.0, {-2, 0, 2, 4, 6, 8, 10, 12});
    expectTicks(0.0013, 0.0042, 4, 0.001, {0.002, 0.003, 0.004});
    expectTicks(100000.0, 101300.0, 4, 500.0, {100000.0, 100500.0, 101000.0});
    expectTicks(287.0, 290.0, 7, 0.5, {287.0, 287.5, 288.0, 288.5, 289.0, 289.5, 290.0});
    // Tenths come out as the doubles nearest the decimals, not as sums of rounded steps.
    expectTicks(0.0, 0.7, 8, 0.1, {0.0, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7});
}

TEST(ReportTicks, EmptyAndNonFiniteRangesHaveNoTicks) {
    EXPECT_TRUE(linearTicks(288.15, 288.15, 5).values.empty());
    EXPECT_TRUE(linearTicks(5.0, 1.0, 5).values.empty());
    EXPECT_TRUE(linearTicks(0.0, std::numeric_limits<double>::infinity(), 5).values.empty());
    EXPECT_TRUE(linearTicks(std::nan(""), 1.0, 5).values.empty());
}

TEST(ReportTicks, RoundedRangesEndOnTicks) {
    EXPECT_EQ(roundedRange(0.3, 9.7, 6), (std::pair<double, double>{0.0, 10.0}));
    EXPECT_EQ(roundedRange(0.0, 367.7, 5), (std::pair<double, double>{0.0, 400.0}));
    const auto [low, high] = roundedRange(288.0, 288.15, 6);
    EXPECT_NEAR(low, 288.0, 1e-9);
    EXPECT_NEAR(high, 288.15, 1e-9);
    // A range of zero width opens around its value (288.15 +- 1.44); whole steps of 0.5 widen it to
    // 286.5 .. 290, which calls for steps of 1.
    EXPECT_EQ(roundedRange(288.15, 288.15, 6), (std::pair<double, double>{286.0, 290.0}));
    EXPECT_EQ(roundedRange(0.0, 0.0, 6), (std::pair<double, double>{-1.0, 1.0}));
}

TEST(ReportTicks, LogarithmicAxes) {
    EXPECT_EQ(logTicks(0.01, 1.0, 8), (std::vector<double>{0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0}));
    EXPECT_EQ(logTicks(1e-6, 1.0, 8), (std::vector<double>{1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1.0}));
    EXPECT_EQ(logTicks(1e-12, 1.0, 5), (std::vector<double>{1e-10, 1e-5, 1.0}));
    // No 1, 2 or 5 inside: linear ticks instead.
    EXPECT_EQ(logTicks(0.0021, 0.0049, 5), (std::vector<double>{0.0025, 0.003, 0.0035, 0.004, 0.0045}));
    EXPECT_TRUE(logTicks(0.0, 1.0, 5).empty());
    EXPECT_EQ(roundedLogRange(0.0023, 0.7), (std::pair<double, double>{0.001, 1.0}));
    EXPECT_EQ(roundedLogRange(0.01, 1.0), (std::pair<double, double>{0.01, 1.0}));
    EXPECT_EQ(roundedLogRange(0.5, 0.5), (std::pair<double, double>{0.1, 1.0}));
}

TEST(ReportTicks, LabelsShowTheDecimalsTheStepNeeds) {
    EXPECT_EQ(formatTick(0.30000000000000004, 0.1), "0.3");
    EXPECT_EQ(formatTick(1.5, 0.5), "1.5");
    EXPECT_EQ(formatTick(100000.0, 500.0), "100000");
    EXPECT_EQ(formatTick(0.004, 0.001), "0.004");
    EXPECT_EQ(formatTick(-2.0, 2.0), "\u22122");
    EXPECT_EQ(formatTick(-1e-17, 0.5), "0.0");
    EXPECT_EQ(formatLogTick(0.001), "0.001");
    EXPECT_EQ(formatLogTick(5.0), "5");
    EXPECT_EQ(formatLogTick(1e-5), "10\u207b\u2075");
    EXPECT_EQ(formatLogTick(2e-7), "2\u00d710\u207b\u2077");
    EXPECT_EQ(formatLogTick(1e6), "10\u2076");
    EXPECT_EQ(formatLogTick(1e-10), "10\u207b\u00b9\u2070");
}

namespace {

std::vector<double> axis(double low, double step, int count) {
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(low + step * i);
    }
    return values;
}

template <typename Field>
std::vector<double> sample(const std::vector<double> &xs, const std::vector<double> &ys, Field field) {
    std::vector<double> values;
    for (const double x : xs) {
        for (const double y : ys) {
            values.push_back(field(x, y));
        }
    }
    return values;
}

} // namespace

TEST(ReportContours, APlaneGivesItsExactLineOnARectangularGrid) {
    // f = x + 2 y is linear along every grid side, so the crossings are exact; five columns and three
    // rows catch a transposed index.
    const std::vector<double> xs = axis(0.0, 1.0, 5);
    const std::vector<double> ys = axis(0.0, 1.0, 3);
    const std::vector<ContourLine> lines =
        traceContours(xs, ys, sample(xs, ys, [](double x, double y) { return x + 2.0 * y; }), 3.5);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_FALSE(lines[0].closed);
    for (const Point &p : lines[0].points) {
        EXPECT_NEAR(p.x + 2.0 * p.y, 3.5, 1e-12);
    }
    // It runs from the bottom side at x = 3.5 to the left side at y = 1.75, in either direction.
    const Point a = lines[0].points.front();
    const Point b = lines[0].points.back();
    const bool forward = std::fabs(a.y) < 1e-12;
    const Point bottom = forward ? a : b;
    const Point left = forward ? b : a;
    EXPECT_NEAR(bottom.x, 3.5, 1e-12);
    EXPECT_NEAR(bottom.y, 0.0, 1e-12);
    EXPECT_NEAR(left.x, 0.0, 1e-12);
    EXPECT_NEAR(left.y, 1.75, 1e-12);
    EXPECT_NEAR(contourLength(lines[0]), std::hypot(3.5, 1.75), 1e-12);
}

TEST(ReportContours, AConeGivesOneClosedCircle) {
    // A cone of height 2 and radius 2 at (0.3, -0.2): level 1 is the circle of radius 1 about its apex.
    const std::vector<double> xs = axis(-2.0, 0.05, 81);
    const std::vector<double> ys = axis(-2.5, 0.05, 91);
    const auto cone = [](double x, double y) { return 2.0 - std::hypot(x - 0.3, y + 0.2); };
    const std::vector<ContourLine> lines = traceContours(xs, ys, sample(xs, ys, cone), 1.0);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].closed);
    for (const Point &p : lines[0].points) {
        EXPECT_NEAR(std::hypot(p.x - 0.3, p.y + 0.2), 1.0, 2e-3);
    }
    EXPECT_NEAR(contourLength(lines[0]), 2.0 * 3.14159265358979, 0.01);
    EXPECT_GT(lines[0].points.size(), 100u);
}

TEST(ReportContours, SeparateHillsGiveSeparateLinesAndNothingAboveTheTop) {
    const std::vector<double> xs = axis(0.0, 0.1, 61);
    const std::vector<double> ys = axis(0.0, 0.1, 21);
    const auto hills = [](double x, double y) {
        return std::exp(-((x - 1.0) * (x - 1.0) + (y - 1.0) * (y - 1.0))) +
               std::exp(-((x - 5.0) * (x - 5.0) + (y - 1.0) * (y - 1.0)));
    };
    const std::vector<double> values = sample(xs, ys, hills);
    const std::vector<ContourLine> lines = traceContours(xs, ys, values, 0.5);
    ASSERT_EQ(lines.size(), 2u);
    for (const ContourLine &line : lines) {
        EXPECT_TRUE(line.closed);
        // exp(-r^2) = 0.5 at r = sqrt(ln 2) = 0.8326; the other hill adds less than 1e-4 there.
        const double cx = line.points.front().x < 3.0 ? 1.0 : 5.0;
        for (const Point &p : line.points) {
            EXPECT_NEAR(std::hypot(p.x - cx, p.y - 1.0), 0.8326, 0.01);
        }
    }
    EXPECT_TRUE(traceContours(xs, ys, values, 1.5).empty());
}

TEST(ReportContours, SaddlesFollowTheCentreAndNaNCountsAsOutside) {
    // Corners (0,0) and (1,1) at 1, the others at 0; level 0.5 equals the mean of the corners, so the
    // centre is inside and the two outside corners are cut off.
    const std::vector<double> xs{0.0, 1.0};
    const std::vector<double> ys{0.0, 1.0};
    const std::vector<ContourLine> joined = traceContours(xs, ys, {1.0, 0.0, 0.0, 1.0}, 0.5);
    ASSERT_EQ(joined.size(), 2u);
    for (const ContourLine &line : joined) {
        ASSERT_EQ(line.points.size(), 2u);
        // Each piece cuts off corner (1, 0) or corner (0, 1): its points are at the middles of the two
        // sides that meet there.
        const double sx = line.points[0].x + line.points[1].x;
        const double sy = line.points[0].y + line.points[1].y;
        EXPECT_TRUE((std::fabs(sx - 1.5) < 1e-12 && std::fabs(sy - 0.5) < 1e-12) ||
                    (std::fabs(sx - 0.5) < 1e-12 && std::fabs(sy - 1.5) < 1e-12))
            << sx << " " << sy;
    }
    // Just above the mean the centre is outside and the inside corners are cut off instead.
    const std::vector<ContourLine> split = traceContours(xs, ys, {1.0, 0.0, 0.0, 1.0}, 0.5 + 1e-9);
    ASSERT_EQ(split.size(), 2u);
    for (const ContourLine &line : split) {
        const double sx = line.points[0].x + line.points[1].x;
        const double sy = line.points[0].y + line.points[1].y;
        EXPECT_TRUE((std::fabs(sx - 0.5) < 1e-6 && std::fabs(sy - 0.5) < 1e-6) ||
                    (std::fabs(sx - 1.5) < 1e-6 && std::fabs(sy - 1.5) < 1e-6))
            << sx << " " << sy;
    }
    // A NaN corner is outside: one piece around the single inside corner (1, 1).
    const std::vector<ContourLine> withNaN = traceContours(xs, ys, {std::nan(""), 0.0, 0.0, 1.0}, 0.5);
    ASSERT_EQ(withNaN.size(), 1u);
    EXPECT_NEAR(withNaN[0].points[0].x + withNaN[0].points[1].x, 1.5, 1e-12);
    EXPECT_NEAR(withNaN[0].points[0].y + withNaN[0].points[1].y, 1.5, 1e-12);
    EXPECT_TRUE(traceContours({0.0}, ys, {1.0, 1.0}, 0.5).empty());
}

TEST(ReportHtml, EscapesMarkupCharactersOnly) {
    EXPECT_EQ(escapeHtml("<a href=\"x\">Tom & Jerry's</a>"),
              "&lt;a href=&quot;x&quot;&gt;Tom &amp; Jerry&#39;s&lt;/a&gt;");
    EXPECT_EQ(escapeHtml("&amp;"), "&amp;amp;");
    EXPECT_EQ(escapeHtml("J/(kg\u00b7K), 10\u207b\u2075"), "J/(kg\u00b7K), 10\u207b\u2075");
    EXPECT_EQ(escapeHtml(""), "");
}

TEST(ReportContourLevels, MultiplesOfTheStoppingConcentrationWithinTheField) {
    EXPECT_EQ(ReportPage::contourLevels(0.01, 0.5), (std::vector<double>{0.01, 0.02, 0.05, 0.1}));
    EXPECT_EQ(ReportPage::contourLevels(0.01, 0.03), (std::vector<double>{0.01, 0.02}));
    EXPECT_EQ(ReportPage::contourLevels(0.01, 0.01), (std::vector<double>{0.01}));
    EXPECT_TRUE(ReportPage::contourLevels(0.01, 0.005).empty());
    EXPECT_TRUE(ReportPage::contourLevels(0.01, 0.0).empty());
    // Without a stopping concentration the levels are taken from a hundredth of the field's top.
    EXPECT_EQ(ReportPage::contourLevels(0.0, 1.0), (std::vector<double>{0.01, 0.02, 0.05, 0.1}));
}
