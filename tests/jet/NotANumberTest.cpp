// Inputs that validation lets through (NaN passes every comparison) or that lie far outside any physical
// range must still give a run that ends, and every query afterwards must stay inside the stored results.
#include "capi/CApiTestSupport.hpp"
#include "ostreljet/ostreljet.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kHuge = 1e308;
constexpr double kTiny = 4.9406564584124654e-324; // the smallest subnormal

// One output step at the orifice, then at most one per integrator call, which the loop caps at 10000.
constexpr int kMaximumSteps = 10001;

const char *const kSeries[] = {
    "arclength",         "x", "y", "z", "profileRadius", "centrelineConcentration", "centrelineTemperature",
    "centrelineVelocity"};

const char *const kDoubleInputs[] = {
    "stackHeight",         "orificeDiameter",         "stackLocationX",        "stackLocationY",
    "releaseAngle",        "dischargeCoefficient",    "massFlowrate",          "atmosphereMolecularWeight",
    "atmospherePressure",  "atmosphereSpecificHeat",  "atmosphereTemperature", "atmosphereSurfaceRoughness",
    "referenceWindHeight", "referenceWindSpeed",      "referenceWindBearing",  "sourceMolecularWeight",
    "sourceSpecificHeat",  "sourceSpecificHeatRatio", "sourceTemperature",     "stoppingConcentration",
    "stackBearing"};

using ostreljet::testsupport::Model;
using ostreljet::testsupport::validVent;

bool inUnitRangeOrNaN(double c) {
    return std::isnan(c) || (c >= 0.0 && c <= 1.0);
}

// Runs the model and checks that the run ended and that every query answers within its bounds. The run's
// result and time (s) go to the optional out parameters.
void runAndQuery(ostreljet_model *m, const std::string &what, int *result = nullptr,
                 double *seconds = nullptr) {
    SCOPED_TRACE(what);
    const auto start = std::chrono::steady_clock::now();
    const int ran = ostreljet_run(m);
    if (seconds != nullptr) {
        *seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    if (result != nullptr) {
        *result = ran;
    }
    ASSERT_TRUE(ran == 0 || ran == 1) << ran;
    const int steps = ostreljet_step_count(m);
    ASSERT_GE(steps, 0);
    ASSERT_LE(steps, kMaximumSteps);
    const int messages = ostreljet_message_count(m);
    if (ran == 0) {
        EXPECT_EQ(steps, 0);
        EXPECT_EQ(messages, 1);
    }

    // Series: exact capacity, a larger buffer whose tail must stay untouched, a short one, and refusals.
    const double sentinel = -12345.0;
    std::vector<double> buffer(static_cast<std::size_t>(steps) + 3, sentinel);
    for (const char *name : kSeries) {
        SCOPED_TRACE(name);
        EXPECT_EQ(ostreljet_series(m, name, buffer.data(), steps), steps);
        EXPECT_EQ(ostreljet_series(m, name, buffer.data(), steps + 3), steps);
        for (std::size_t k = static_cast<std::size_t>(steps); k < buffer.size(); ++k) {
            EXPECT_EQ(buffer[k], sentinel);
        }
        EXPECT_EQ(ostreljet_series(m, name, buffer.data(), 1), steps > 0 ? 1 : 0);
        EXPECT_EQ(ostreljet_series(m, name, buffer.data(), 0), 0);
        EXPECT_EQ(ostreljet_series(m, name, buffer.data(), -1), -2);
        EXPECT_EQ(ostreljet_series(m, name, nullptr, 4), -2);
    }
    EXPECT_EQ(ostreljet_series(m, "nosuch", buffer.data(), steps), -1);

    // Points: the orifice, far away, below ground, and coordinates that are themselves not numbers.
    const double points[][3] = {{0, 0, 10},   {50, 0, 10},       {1e6, 1e6, 1e6},    {-5, 3, -1},
                                {kNaN, 0, 0}, {0, kInfinity, 0}, {0, 0, -kInfinity}, {kHuge, -kHuge, kHuge}};
    for (const auto &p : points) {
        EXPECT_PRED1(inUnitRangeOrNaN, ostreljet_concentration(m, p[0], p[1], p[2]));
    }

    // Grids: an ordinary one with a guard after it, empty and refused ones.
    std::vector<double> grid(3 * 2 * 2 + 1, sentinel);
    EXPECT_EQ(ostreljet_concentration_grid(m, -10, -10, 0, 100, 10, 30, 3, 2, 2, grid.data(), 12), 12);
    EXPECT_EQ(grid[12], sentinel);
    for (int p = 0; p < 12; ++p) {
        EXPECT_PRED1(inUnitRangeOrNaN, grid[static_cast<std::size_t>(p)]);
    }
    EXPECT_EQ(ostreljet_concentration_grid(m, kNaN, 0, 0, kInfinity, 1, 1, 2, 1, 1, grid.data(), 2), 2);
    EXPECT_EQ(ostreljet_concentration_grid(m, 0, 0, 0, 1, 1, 1, 0, 5, 5, grid.data(), 0), 0);
    EXPECT_EQ(ostreljet_concentration_grid(m, 0, 0, 0, 1, 1, 1, 5, -1, 5, grid.data(), 12), -1);
    EXPECT_EQ(ostreljet_concentration_grid(m, 0, 0, 0, 1, 1, 1, 2, 2, 2, grid.data(), 7), -1);

    // Messages: every index inside the list has a text; the ends outside it have none.
    for (int i = 0; i < messages; ++i) {
        EXPECT_NE(ostreljet_message(m, i), nullptr) << i;
    }
    EXPECT_EQ(ostreljet_message(m, messages), nullptr);
    EXPECT_EQ(ostreljet_message(m, -1), nullptr);
}

class ExtremeInput : public ::testing::TestWithParam<std::tuple<const char *, double>> {};

TEST_P(ExtremeInput, GivesARunThatEndsAndQueriesThatStayInBounds) {
    const auto [name, value] = GetParam();
    Model m = validVent();
    ASSERT_EQ(ostreljet_set(m.get(), name, value), 0); // putters store anything
    double stored = 0.0;
    ASSERT_EQ(ostreljet_get(m.get(), name, &stored), 0);
    EXPECT_TRUE(std::isnan(value) ? std::isnan(stored) : stored == value);
    int ran = -1;
    double seconds = 0.0;
    runAndQuery(m.get(), std::string(name) + " = " + std::to_string(value), &ran, &seconds);
    if (std::isnan(value)) {
        // Every check is a comparison that is false for NaN, so the value is carried into the run.
        EXPECT_EQ(ran, 1);
    }
    // The call cap bounds every run; even a sanitized build finishes one in well under a minute.
    EXPECT_LT(seconds, 60.0);
}

std::string valueName(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "Infinity" : "MinusInfinity";
    }
    return value == kHuge ? "Huge" : value == -kHuge ? "MinusHuge" : value == kTiny ? "Tiny" : "MinusOne";
}

INSTANTIATE_TEST_SUITE_P(Values, ExtremeInput,
                         ::testing::Combine(::testing::ValuesIn(kDoubleInputs),
                                            ::testing::Values(kNaN, kInfinity, -kInfinity, kHuge, -kHuge,
                                                              kTiny, -1.0)),
                         [](const ::testing::TestParamInfo<ExtremeInput::ParamType> &info) {
                             return std::string(std::get<0>(info.param)) + "_" +
                                    valueName(std::get<1>(info.param));
                         });

TEST(NotANumber, EveryInputAtOnce) {
    Model m = validVent();
    for (const char *name : kDoubleInputs) {
        ASSERT_EQ(ostreljet_set(m.get(), name, kNaN), 0);
    }
    int ran = -1;
    runAndQuery(m.get(), "all NaN", &ran);
    EXPECT_EQ(ran, 1);
}

TEST(ExtremeEnumeration, OutOfRangeClassesAreStoredAndNonIntegersRefused) {
    for (const char *name : {"pasquillStability", "timeAveraging"}) {
        for (double value : {2147483647.0, -2147483648.0, -1.0, 6.0}) {
            Model m = validVent();
            ASSERT_EQ(ostreljet_set(m.get(), name, value), 0) << name << " " << value;
            runAndQuery(m.get(), std::string(name) + " = " + std::to_string(value));
        }
        Model m = validVent();
        for (double value : {kNaN, kInfinity, -kInfinity, 2147483648.0, -2147483649.0, 0.5, kTiny}) {
            EXPECT_EQ(ostreljet_set(m.get(), name, value), -2) << name << " " << value;
            EXPECT_NE(std::string(ostreljet_last_error()).find(name), std::string::npos);
        }
    }
}

} // namespace
