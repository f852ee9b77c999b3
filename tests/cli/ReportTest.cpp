#include "cli/CliTestSupport.hpp"
#include "report/Contours.hpp"
#include "report/Html.hpp"
#include "report/ReportPage.hpp"
#include "report/Ticks.hpp"

#include "ostreljet/inputs/Scenario.hpp"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <tuple>

using namespace ostreljet::report;
using namespace ostreljet::testsupport;
using ostreljet::JetModel;
using ostreljet::Scenario;

namespace {

void expectTicks(double low, double high, int maxCount, double step, const std::vector<double> &values) {
    const Ticks ticks = linearTicks(low, high, maxCount);
    EXPECT_DOUBLE_EQ(ticks.step, step) << low << " .. " << high;
    EXPECT_EQ(ticks.values, values) << low << " .. " << high;
}

// The values of `field` on the grid, x outermost.
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

std::vector<double> axis(double low, double step, int count) {
    std::vector<double> values;
    for (int i = 0; i < count; ++i) {
        values.push_back(low + step * i);
    }
    return values;
}

// The sum of the two end points of a two-point piece, which names the corner it cuts off.
Point ends(const ContourLine &line) {
    EXPECT_EQ(line.points.size(), 2u);
    return {line.points[0].x + line.points[1].x, line.points[0].y + line.points[1].y};
}

std::size_t count(const std::string &text, const std::string &part) {
    std::size_t n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++n;
    }
    return n;
}

bool has(const std::string &page, const std::string &part) {
    return page.find(part) != std::string::npos;
}

std::string reportFor(const Scenario &scenario, const std::string &name) {
    JetModel model;
    scenario.applyTo(model);
    const bool ok = model.runModel();
    return ReportPage::render(model, scenario, name, ok, 2);
}

} // namespace

// Counted by hand: the finest step of 1, 2 or 5 times a power of ten with at most maxCount multiples inside.
TEST(ReportTicks, ChooseTheFinestOneTwoFiveStepThatFits) {
    expectTicks(0.0, 10.0, 6, 2.0, {0, 2, 4, 6, 8, 10});
    expectTicks(0.0, 1.0, 5, 0.5, {0.0, 0.5, 1.0});
    expectTicks(-3.7, 12.2, 8, 2.0, {-2, 0, 2, 4, 6, 8, 10, 12});
    expectTicks(0.0013, 0.0042, 4, 0.001, {0.002, 0.003, 0.004});
    expectTicks(100000.0, 101300.0, 4, 500.0, {100000.0, 100500.0, 101000.0});
    // Tenths come out as the doubles nearest the decimals, not as sums of rounded steps.
    expectTicks(0.0, 0.7, 8, 0.1, {0.0, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7});
    // Empty and non-finite ranges have none.
    EXPECT_TRUE(linearTicks(288.15, 288.15, 5).values.empty());
    EXPECT_TRUE(linearTicks(0.0, std::numeric_limits<double>::infinity(), 5).values.empty());
    EXPECT_TRUE(linearTicks(std::nan(""), 1.0, 5).values.empty());
}

TEST(ReportTicks, RoundedRangesLogarithmicAxesAndLabels) {
    // A range of zero width opens around its value (288.15 +- 1.44); whole steps of 0.5 widen it to
    // 286.5 .. 290, which calls for steps of 1.
    EXPECT_EQ(roundedRange(288.15, 288.15, 6), (std::pair<double, double>{286.0, 290.0}));
    EXPECT_EQ(logTicks(0.01, 1.0, 8), (std::vector<double>{0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0}));
    // No 1, 2 or 5 inside: linear ticks instead.
    EXPECT_EQ(logTicks(0.0021, 0.0049, 5), (std::vector<double>{0.0025, 0.003, 0.0035, 0.004, 0.0045}));
    EXPECT_TRUE(logTicks(0.0, 1.0, 5).empty());
    EXPECT_EQ(roundedLogRange(0.0023, 0.7), (std::pair<double, double>{0.001, 1.0}));
    // Labels show the decimals the step needs.
    EXPECT_EQ(formatTick(0.30000000000000004, 0.1), "0.3");
    EXPECT_EQ(formatTick(-2.0, 2.0), "\u22122");
    EXPECT_EQ(formatTick(-1e-17, 0.5), "0.0");
    EXPECT_EQ(formatLogTick(1e-5), "10\u207b\u2075");
    EXPECT_EQ(formatLogTick(2e-7), "2\u00d710\u207b\u2077");
}

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
    const bool forward = std::fabs(lines[0].points.front().y) < 1e-12;
    const Point bottom = forward ? lines[0].points.front() : lines[0].points.back();
    const Point left = forward ? lines[0].points.back() : lines[0].points.front();
    EXPECT_NEAR(bottom.x, 3.5, 1e-12);
    EXPECT_NEAR(bottom.y, 0.0, 1e-12);
    EXPECT_NEAR(left.x, 0.0, 1e-12);
    EXPECT_NEAR(left.y, 1.75, 1e-12);
    EXPECT_NEAR(contourLength(lines[0]), std::hypot(3.5, 1.75), 1e-12);
}

TEST(ReportContours, AConeGivesOneClosedCircleAndNothingAboveItsTop) {
    // A cone of height 2 and radius 2 at (0.3, -0.2): level 1 is the circle of radius 1 about its apex.
    const std::vector<double> xs = axis(-2.0, 0.05, 81);
    const std::vector<double> ys = axis(-2.5, 0.05, 91);
    const std::vector<double> values =
        sample(xs, ys, [](double x, double y) { return 2.0 - std::hypot(x - 0.3, y + 0.2); });
    const std::vector<ContourLine> lines = traceContours(xs, ys, values, 1.0);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].closed);
    for (const Point &p : lines[0].points) {
        EXPECT_NEAR(std::hypot(p.x - 0.3, p.y + 0.2), 1.0, 2e-3);
    }
    EXPECT_NEAR(contourLength(lines[0]), 2.0 * 3.14159265358979, 0.01);
    EXPECT_GT(lines[0].points.size(), 100u);
    EXPECT_TRUE(traceContours(xs, ys, values, 2.5).empty());
}

TEST(ReportContours, SaddlesFollowTheCentreAndNaNCountsAsOutside) {
    // Corners (0,0) and (1,1) at 1, the others at 0. At level 0.5, the mean of the corners, the centre is
    // inside and the two pieces cut off the outside corners (1, 0) and (0, 1) at the middles of their
    // sides; just above it the centre is outside and they cut off the inside corners (0, 0) and (1, 1).
    const std::vector<double> xs{0.0, 1.0};
    const std::vector<double> ys{0.0, 1.0};
    for (const auto &[level, tolerance, cornerA, cornerB] :
         {std::tuple{0.5, 1e-12, Point{1, 0}, Point{0, 1}},
          std::tuple{0.5 + 1e-9, 1e-6, Point{0, 0}, Point{1, 1}}}) {
        const std::vector<ContourLine> lines = traceContours(xs, ys, {1.0, 0.0, 0.0, 1.0}, level);
        ASSERT_EQ(lines.size(), 2u) << level;
        for (const ContourLine &line : lines) {
            // The two ends of a piece add up to the cut-off corner plus (0.5, 0.5).
            const Point s = ends(line);
            const auto cuts = [&](Point c) {
                return std::hypot(s.x - c.x - 0.5, s.y - c.y - 0.5) < tolerance;
            };
            EXPECT_TRUE(cuts(cornerA) || cuts(cornerB)) << level << ": " << s.x << " " << s.y;
        }
    }
    // A NaN corner is outside: one piece around the single inside corner (1, 1).
    const std::vector<ContourLine> withNaN = traceContours(xs, ys, {std::nan(""), 0.0, 0.0, 1.0}, 0.5);
    ASSERT_EQ(withNaN.size(), 1u);
    EXPECT_NEAR(ends(withNaN[0]).x, 1.5, 1e-12);
    EXPECT_NEAR(ends(withNaN[0]).y, 1.5, 1e-12);
    EXPECT_TRUE(traceContours({0.0}, ys, {1.0, 1.0}, 0.5).empty());
}

TEST(ReportContours, ExcludedCellsLeaveTheLineOpenAtTheirEdge) {
    // A disc of radius 1 about the origin on a grid of step 0.25; every sample at x > 0.5 is excluded, so
    // the circle is cut open and no piece enters a cell that has an excluded corner (x > 0.5 - 0.25).
    const std::vector<double> xs = axis(-2.0, 0.25, 17);
    const std::vector<double> ys = axis(-2.0, 0.25, 17);
    const std::vector<double> values =
        sample(xs, ys, [](double x, double y) { return 1.0 - std::hypot(x, y); });
    std::vector<char> excluded;
    for (const double x : xs) {
        for (std::size_t j = 0; j < ys.size(); ++j) {
            excluded.push_back(x > 0.5 ? 1 : 0);
        }
    }
    ASSERT_EQ(traceContours(xs, ys, values, 0.0).size(), 1u);
    EXPECT_TRUE(traceContours(xs, ys, values, 0.0)[0].closed);
    const std::vector<ContourLine> cut = traceContours(xs, ys, values, 0.0, &excluded);
    ASSERT_EQ(cut.size(), 1u);
    EXPECT_FALSE(cut[0].closed);
    for (const Point &p : cut[0].points) {
        EXPECT_LE(p.x, 0.5 + 1e-12) << p.y;
    }
    // The open ends are where the circle meets x = 0.5, the last grid line before the excluded cells.
    EXPECT_NEAR(cut[0].points.front().x, 0.5, 1e-12);
    EXPECT_NEAR(cut[0].points.back().x, 0.5, 1e-12);
}

TEST(ReportHtml, EscapesMarkupCharactersOnly) {
    EXPECT_EQ(escapeHtml("<a href=\"x\">Tom & Jerry's</a>"),
              "&lt;a href=&quot;x&quot;&gt;Tom &amp; Jerry&#39;s&lt;/a&gt;");
    EXPECT_EQ(escapeHtml("&amp;"), "&amp;amp;");
    EXPECT_EQ(escapeHtml("J/(kg\u00b7K), 10\u207b\u2075"), "J/(kg\u00b7K), 10\u207b\u2075");
}

TEST(ReportPage, InputsTableTakesUnitsAndMeaningsFromTheInputSchemaAndTheNameIsEscaped) {
    EXPECT_EQ(ReportPage::propertyUnit("releaseAngle"), "\u00b0");
    EXPECT_EQ(ReportPage::propertyUnit("sourceSpecificHeat"), "J/(kg\u00b7K)");
    EXPECT_EQ(ReportPage::propertyUnit("dischargeCoefficient"), "\u2013");
    EXPECT_EQ(ReportPage::propertyUnit("massFlowrate"), "kg/s");
    EXPECT_EQ(ReportPage::propertyUnit("noSuchInput"), "");
    const Scenario scenario = Scenario::fromText(
        R"({"stackHeight": 20, "gas": "methane", "orificeDiameter": 0.3, "massFlowrate": 2, "sourceTemperature": 300, "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1, "stoppingConcentration": 0.01})");
    const std::string page = reportFor(scenario, "<b>a&b's \"run\"</b>.json");
    EXPECT_TRUE(
        has(page, "<tr><td><code>stoppingConcentration</code></td><td class=\"num\">0.01</td><td>\u2013</td>"
                  "<td>centreline concentration (volume fraction) that ends the run</td></tr>"));
    EXPECT_TRUE(
        has(page, "<tr class=\"default\"><td><code>stackBearing</code></td><td class=\"num\">0</td>"
                  "<td>\u00b0</td><td>bearing of the release, from north (+y) to east (+x) (default)</td>"));
    EXPECT_FALSE(has(page, "<b>a&b"));
    EXPECT_TRUE(
        has(page, "<title>Ostreljet report: &lt;b&gt;a&amp;b&#39;s &quot;run&quot;&lt;/b&gt;.json</title>"));
    EXPECT_TRUE(has(page, "Released gas: <b>methane</b>"));
}

TEST(ReportCommand, WritesASelfContainedPageThatMarksAFatalTermination) {
    TemporaryFolder folder;
    const CommandResult result =
        cli({"report", example("horizontal_dense_release.json"), "-o", folder.file("report.html")});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(folder.entries(), std::set<std::string>{"report.html"}) << "the temporary file was left behind";
    const std::string page = readText(folder.file("report.html"));
    EXPECT_TRUE(has(page, "<title>Ostreljet report: horizontal_dense_release.json</title>"));
    for (const char *external : {"<script", "<link", "src=", "url(http"}) {
        EXPECT_FALSE(has(page, external)) << external;
    }
    // The only address is the SVG namespace, which names and never loads anything.
    EXPECT_EQ(count(page, "http"), count(page, "xmlns=\"http://www.w3.org/2000/svg\""));
    // Side, plan at ground level and at the plume's height, three centreline charts, the plume past the
    // jet along the wind and two ambient profiles, each closed.
    EXPECT_EQ(count(page, "<svg "), 9u);
    EXPECT_EQ(count(page, "</svg>"), 9u);
    // Past the jet: where the far field starts and why, to its end, before the ambient profiles.
    EXPECT_TRUE(has(page,
                    "<h2>Past the jet</h2>\n<p>From 35.58 m downwind, 0 m up, the far field carries the "
                    "plume on (dense touchdown; continuity ratio 1) to 10000 m downwind; nothing is "
                    "computed beyond.</p>"))
        << page;
    EXPECT_LT(page.find("<h2>Past the jet</h2>"), page.find("<h2>Ambient profiles</h2>"));
    EXPECT_TRUE(has(page, "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"plot\" width=\"1100\" "
                          "height=\"380\""));
    // The centreline on the ground is a legitimate end: a warning, once, with the run's status.
    EXPECT_TRUE(has(page, "<p class=\"banner caution\">Run status warning: results to use with care.</p>"));
    EXPECT_EQ(
        count(page, "The centreline of the jet is interacting with the ground, model terminated at 35.7 m."),
        2u)
        << "once as the end of the run, once in the messages";
    EXPECT_TRUE(
        has(page, "<li class=\"warning\"><span class=\"badge warning\">warning</span>The "
                  "centreline of the jet is interacting with the ground, model terminated at 35.7 m.</li>"));
    EXPECT_FALSE(has(page, "class=\"banner fatal\"") || has(page, "<span class=\"badge fatal\">"));
}

TEST(ReportCommand, ContoursAreAtTheRequestedLevelsNamedInTheUnitInBothPlanViews) {
    TemporaryFolder folder;
    const std::string out = folder.file("report.html");
    const CommandResult result = cli(
        {"report", example("vertical_buoyant_vent.json"), "-o", out, "--levels", "2%,5000", "--unit", "ppm"});
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    const std::string page = readText(out);
    // A bare number is in the unit: 5000 ppm, then 2 % by volume is 20000 ppm; lowest first.
    EXPECT_TRUE(has(page,
                    "Contours of concentration (ppm by volume): <span class=\"entry\"><span class=\"swatch\" "
                    "style=\"background:#2166ac\"></span>5000 (5000 ppm by volume)</span>, "))
        << page;
    EXPECT_TRUE(has(page, "></span>2% (20000 ppm by volume)</span>. "));
    EXPECT_FALSE(has(page, "stopping concentration)</span>"));
    EXPECT_TRUE(has(page, "<figcaption>Plan view at ground level (z = 0): "));
    EXPECT_TRUE(has(page, "<figcaption>Plan view in the horizontal plane at "));
    // The vent's plume stays aloft: no contour at ground level.
    EXPECT_TRUE(has(page,
                    "at ground level (z = 0): the centreline (dark line) and the jet's profile radius (band) "
                    "seen from above; the dot is the stack. No part of the field in this plane reaches the "
                    "lowest level, so there are no contours. The vertical"));
}

TEST(ReportCommand, InvalidInputsGiveThePageAndStatusOneAndUsageErrorsWriteNothing) {
    TemporaryFolder folder;
    const std::string scenario = folder.write("bad.json", ventWith("{\"stackHeight\": -5.0}"));
    const CommandResult invalid = cli({"report", scenario, "--output", folder.file("bad.html")});
    EXPECT_EQ(invalid.exitStatus, 1);
    EXPECT_EQ(invalid.out, "");
    EXPECT_NE(invalid.err.find("ostreljet: "), std::string::npos);
    const std::string page = readText(folder.file("bad.html"));
    EXPECT_TRUE(has(page,
                    "<p class=\"banner fatal\">Run status invalid: The stack height should lie between 0 and "
                    "1000m. (stackHeight = -5 m).</p>"));
    EXPECT_EQ(count(page, "<tr class=\"default\"><td><code>"), 3u); // the stack's place and bearing
    EXPECT_TRUE(has(page, "<h2>Past the jet</h2>\n<p>Not computed: the run has no results.</p>"));

    const std::string hotStack = example("hot_stack_unstable.json");
    EXPECT_EQ(cli({"report", hotStack}).exitStatus, 2);
    EXPECT_EQ(cli({"report", folder.file("nothing.json"), "-o", folder.file("r.html")}).exitStatus, 2);
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"bad.json", "bad.html"}));
}

TEST(ReportCommand, TheViewsShowTheWholePlumeAndMarkWhereTheFarFieldTakesOver) {
    // The hot stack carried on to 1e-6: the jet stays aloft, the far field past its passive transition at
    // 700 m reaches the ground, so the ground-level plan view has a 1e-06 contour and the side view marks
    // the hand-off.
    TemporaryFolder folder;
    nlohmann::json stack = nlohmann::json::parse(readText(example("hot_stack_unstable.json")));
    stack["stoppingConcentration"] = 1e-6;
    const std::string hot = folder.write("hot.json", stack.dump());
    const std::string out = folder.file("hot.html");
    ASSERT_EQ(cli({"report", hot, "-o", out}).exitStatus, 0);
    const std::string page = readText(out);
    EXPECT_TRUE(has(page, "<figcaption>Plan view at ground level (z = 0): the centreline (dark line) and the "
                          "jet's profile radius (band) seen from above; the dot is the stack. Contours of "
                          "concentration (volume fraction): <span class=\"entry\">"))
        << page;
    EXPECT_EQ(count(page, ">far field from here</text>"), 1u);
    EXPECT_TRUE(has(page, "along the wind through the stack, from the jet and, past the dashed line where it "
                          "hands over, from the far field."));
}
