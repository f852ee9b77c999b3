#include "JetModelTestSupport.hpp"

#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

using ostreljet::ConcentrationField;
using ostreljet::JetModel;
using ostreljet::vector3;
using Rules = ConcentrationField::Rules;
using ostreljet::testing::setValidRelease;

namespace {

// A centreline written directly instead of integrated.
struct DrawnJet {
    std::vector<vector3> locations, velocities;
    std::vector<double> radii, concentrations;
    vector3 wind{5.0, 0.0, 0.0};
    double maxRadius = 0.0, maxHeight = 0.0;

    DrawnJet &step(const vector3 &location, const vector3 &direction, double radius, double concentration) {
        locations.push_back(location);
        velocities.push_back(direction);
        radii.push_back(radius);
        concentrations.push_back(concentration);
        maxRadius = std::max(maxRadius, radius);
        maxHeight = std::max(maxHeight, location.z());
        return *this;
    }
    // The worked example: two steps 100 m apart along +x at 10 m, radii 2 and 12, concentrations 1 and 0.1.
    DrawnJet &twoSteps() {
        return step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0)
            .step(vector3(100, 0, 10), vector3(1, 0, 0), 12.0, 0.1);
    }
    ConcentrationField field(Rules rules = Rules::asSpecified, double cutoff = 0.0) const {
        ConcentrationField::Series series;
        series.locations = locations;
        series.velocities = velocities;
        series.radii = radii;
        series.concentrations = concentrations;
        series.maxProfileRadius = maxRadius;
        series.maxCentrelineHeight = maxHeight;
        series.wind = wind;
        return ConcentrationField(series, rules, cutoff);
    }
};

// Samples 12 and 13 are equally perpendicular and the later wins: offset (-2, 3, 0), radius 7.2,
// concentration 0.532, so 0.532 (0.5 + 0.5 cos(pi sqrt(13) / 7.2))^(1/1.35).
const double kBesideTwoSteps = 0.3177944327223222;

void runExample(JetModel &model, const std::string &name) {
    ostreljet::Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + name + ".json").applyTo(model);
    EXPECT_TRUE(model.runModel());
}

} // namespace

TEST(ConcentrationField, WorkedExampleBesideTwoStepsAndNothingBeyondThem) {
    for (const Rules rules : {Rules::asSpecified, Rules::exact}) {
        DrawnJet jet;
        const ConcentrationField field = jet.twoSteps().field(rules);
        EXPECT_EQ(field.concentration(-1, 0, 10), 0.0);    // behind the source
        EXPECT_EQ(field.concentration(100.5, 0, 10), 0.0); // past the last step
        // Within 1e-5 of the start plane of the first segment counts as beside it.
        EXPECT_DOUBLE_EQ(field.concentration(0, 0, 10), 1.0);
        EXPECT_NEAR(field.concentration(50, 3, 10), kBesideTwoSteps, 1e-14);
        EXPECT_NEAR(field.concentration(vector3(50, -3, 10)), kBesideTwoSteps, 1e-14); // the mirror image
        // Level with sample 12 (x = 48 m), exactly normal to the jet: radius 6.8, concentration 0.568, so
        // 0.568 (0.5 + 0.5 cos(pi 3 / 6.8))^(1/1.35).
        EXPECT_NEAR(field.concentration(48, 3, 10), 0.3851498060035699, 1e-14);
        EXPECT_EQ(ConcentrationField().concentration(0, 0, 0), 0.0); // no steps
        EXPECT_TRUE(DrawnJet().step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0).field(rules).empty());
        EXPECT_EQ(DrawnJet()
                      .step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0)
                      .field(rules)
                      .concentration(0, 0, 10),
                  0.0); // one step
    }
    // Without horizontal wind the quick rejection is skipped and the profile answers alone.
    DrawnJet calm;
    calm.wind = vector3(0, 0, 0);
    EXPECT_NEAR(calm.twoSteps().field().concentration(50, 3, 10), kBesideTwoSteps, 1e-14);
}

TEST(ConcentrationField, OnTheCentrelineAndAtHalfTheRadius) {
    DrawnJet jet;
    jet.step(vector3(0, 0, 10), vector3(1, 0, 0), 2.0, 1.0);
    jet.step(vector3(50, 0, 20), vector3(1, 0, 0.2), 6.0, 0.4);
    jet.step(vector3(100, 0, 25), vector3(1, 0, 0.1), 10.0, 0.2);
    const ConcentrationField field = jet.field();
    EXPECT_DOUBLE_EQ(field.concentration(50, 0, 20), 0.4);
    EXPECT_DOUBLE_EQ(field.concentration(100, 0, 25), 0.2);
    // Half the radius across the jet, in the plane normal to it: 0.5 ^ (1 / 1.35) of the centreline.
    EXPECT_NEAR(field.concentration(50, 3, 20), 0.4 * 0.598432013073045, 1e-12);
    EXPECT_EQ(field.concentration(50, 6, 20), 0.0); // at the radius and beyond, nothing
    EXPECT_EQ(field.concentration(50, 6.5, 20), 0.0);
}

TEST(ConcentrationField, CutoffIsChosenAtConstruction) {
    DrawnJet jet;
    jet.twoSteps();
    for (const Rules rules : {Rules::asSpecified, Rules::exact}) {
        EXPECT_NEAR(jet.field(rules, 0.3177).concentration(50, 3, 10), kBesideTwoSteps, 1e-14);
        EXPECT_EQ(jet.field(rules, 0.3178).concentration(50, 3, 10), 0.0);
        EXPECT_EQ(jet.field(rules, 0.3178).cutoff(), 0.3178);
    }
    // From a model: its stopping concentration unless another cutoff is given, and the model is unchanged.
    JetModel model;
    setValidRelease(model); // stopping concentration 0.01
    ASSERT_TRUE(model.runModel());
    const ConcentrationField cut(model, Rules::exact);
    const ConcentrationField uncut(model, Rules::exact, 0.0);
    EXPECT_EQ(cut.cutoff(), 0.01);
    EXPECT_EQ(model.stoppingConcentration(), 0.01);
    const std::vector<double> a = cut.grid(-5, -8, 0, 80, 8, 40, 23, 17, 13);
    const std::vector<double> b = uncut.grid(-5, -8, 0, 80, 8, 40, 23, 17, 13);
    int below = 0;
    for (std::size_t p = 0; p < a.size(); ++p) {
        EXPECT_TRUE(a[p] == b[p] || (a[p] == 0.0 && b[p] < 0.01)) << p;
        below += a[p] == 0.0 && b[p] > 0.0;
    }
    EXPECT_GT(below, 0);
    EXPECT_TRUE(cut.isCurrentFor(model, 0.01));
    EXPECT_FALSE(uncut.isCurrentFor(model, 0.01));
    model.setStoppingConcentration(0.02);
    EXPECT_TRUE(cut.isCurrentFor(model, 0.01));
    model.setStackLocationX(1.0); // only the as-specified rejection reads the stack
    EXPECT_TRUE(cut.isCurrentFor(model, 0.01));
    const ConcentrationField specified(model, Rules::asSpecified, 0.01);
    model.setStackLocationX(2.0);
    EXPECT_FALSE(specified.isCurrentFor(model, 0.01));
    model.setStackLocationX(0.0);
    ASSERT_TRUE(model.runModel());
    EXPECT_FALSE(cut.isCurrentFor(model, 0.01)); // a new run
}

TEST(ConcentrationField, DownwindLineRejectionOnlyUnderTheSpecifiedRules) {
    DrawnJet jet;
    jet.twoSteps(); // largest radius 12, highest centreline 10
    const ConcentrationField specified = jet.field(Rules::asSpecified);
    const ConcentrationField exact = jet.field(Rules::exact);
    EXPECT_EQ(specified.concentration(95, 0, 22.5), 0.0); // higher than 12 + 10 m
    EXPECT_GT(exact.concentration(95, 0, 21.5), 0.0);     // inside both limits
    EXPECT_EQ(exact.concentration(95, 0, 21.5), specified.concentration(95, 0, 21.5));
    // With the wind along +y the jet along +x lies off the downwind line: the specified rules lose it.
    jet.wind = vector3(0.0, 5.0, 0.0);
    EXPECT_EQ(jet.field(Rules::asSpecified).concentration(50, 3, 10), 0.0);
    EXPECT_NEAR(jet.field(Rules::exact).concentration(50, 3, 10), kBesideTwoSteps, 1e-14);
    EXPECT_GT(jet.field(Rules::asSpecified).concentration(4, 1, 10), 0.0);
}

TEST(ConcentrationField, ChokedExamplePlumeBesideTheDownwindLine) {
    // The release points north-east into an easterly wind; its centreline passes (22.53, 16.39, 5.09).
    JetModel model;
    runExample(model, "choked_high_pressure");
    const ConcentrationField specified(model, Rules::asSpecified);
    const ConcentrationField exact(model, Rules::exact);
    EXPECT_EQ(specified.concentration(22.53, 16.39, 5.09), 0.0);
    EXPECT_NEAR(exact.concentration(22.53, 16.39, 5.09), 0.0249, 0.0005);
    // Exact equals specified wherever the specified field answers; elsewhere exact finds the plume.
    const std::vector<double> a = specified.grid(-15, -15, 0, 65, 40, 20, 41, 28, 11);
    const std::vector<double> b = exact.grid(-15, -15, 0, 65, 40, 20, 41, 28, 11);
    int gained = 0;
    for (std::size_t p = 0; p < a.size(); ++p) {
        if (a[p] != 0.0) {
            ASSERT_EQ(a[p], b[p]) << p;
        }
        gained += a[p] == 0.0 && b[p] > 0.0;
    }
    EXPECT_GT(gained, 100);
}

TEST(ConcentrationField, SpecifiedRulesMatchTheRecordedComponentGrids) {
    // Reference grids were written by the model before the field became a class of its own.
    for (const char *name : {"choked_high_pressure", "horizontal_dense_release", "hot_stack_unstable",
                             "vertical_buoyant_vent"}) {
        std::ifstream in(std::string(OSTRELJET_JET_TEST_DATA) + "/" + name + ".grid");
        ASSERT_TRUE(in) << name;
        std::string line, word;
        std::getline(in, line); // comment
        double from[3], to[3];
        int n[3];
        in >> word >> from[0] >> from[1] >> from[2] >> word >> to[0] >> to[1] >> to[2] >> word >> n[0] >>
            n[1] >> n[2];
        JetModel model;
        runExample(model, name);
        const std::vector<double> values =
            ConcentrationField(model, Rules::asSpecified)
                .grid(from[0], from[1], from[2], to[0], to[1], to[2], n[0], n[1], n[2]);
        ASSERT_EQ(values.size(), static_cast<std::size_t>(n[0] * n[1] * n[2]));
        for (std::size_t p = 0; p < values.size(); ++p) {
            ASSERT_TRUE(in >> word) << name;
            char text[40];
            std::snprintf(text, sizeof text, "%.17g", values[p]);
            ASSERT_EQ(word, text) << name << " point " << p;
        }
    }
}

TEST(ConcentrationField, ManyThreadsQueryingOneFieldAgreeWithOneThread) {
    JetModel model;
    setValidRelease(model);
    ASSERT_TRUE(model.runModel());
    const ConcentrationField field(model, Rules::exact);
    const int nx = 23, ny = 17, nz = 13;
    const std::vector<double> serial = field.grid(-5, -8, 0, 80, 8, 40, nx, ny, nz);
    std::vector<double> parallel(serial.size(), -2.0);
    std::int64_t reported = 0;
    field.grid(parallel.data(), -5, -8, 0, 80, 8, 40, nx, ny, nz, 4,
               [&reported](std::int64_t done, std::int64_t) { reported = done; });
    EXPECT_EQ(reported, nx * ny * nz);
    EXPECT_EQ(std::memcmp(serial.data(), parallel.data(), serial.size() * sizeof(double)), 0);
    // Eight threads each query every point themselves, with no lock.
    std::vector<std::vector<double>> answers(8, std::vector<double>(serial.size()));
    std::vector<std::thread> threads;
    for (std::vector<double> &answer : answers) {
        threads.emplace_back([&field, &answer, nx, ny, nz] {
            for (int p = 0; p < nx * ny * nz; ++p) {
                answer[static_cast<std::size_t>(p)] =
                    field.concentration(ConcentrationField::gridCoordinate(-5, 80, p / (ny * nz), nx, true),
                                        ConcentrationField::gridCoordinate(-8, 8, p / nz % ny, ny, false),
                                        ConcentrationField::gridCoordinate(0, 40, p % nz, nz, false));
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    int nonZero = 0;
    for (const std::vector<double> &answer : answers) {
        EXPECT_EQ(std::memcmp(serial.data(), answer.data(), serial.size() * sizeof(double)), 0);
    }
    for (const double v : serial) {
        nonZero += v > 0.0;
    }
    EXPECT_GT(nonZero, 30);
}

TEST(ConcentrationField, AThreadThatCannotStartEndsTheGridWithAnErrorAfterJoiningTheOthers) {
    JetModel model;
    setValidRelease(model);
    ASSERT_TRUE(model.runModel());
    const ConcentrationField field(model, Rules::exact);
    std::vector<double> out(23 * 17 * 13, -2.0);
    struct HookReset {
        ~HookReset() { ConcentrationField::threadStartHook = nullptr; }
    } reset;
    // The third of four threads fails: two are running by then and must be joined before the error.
    ConcentrationField::threadStartHook = [](unsigned number) { return number != 3; };
    try {
        field.grid(out.data(), -5, -8, 0, 80, 8, 40, 23, 17, 13, 4);
        FAIL() << "the grid went on without its third thread";
    } catch (const std::runtime_error &error) {
        EXPECT_EQ(std::string(error.what()).rfind("cannot start grid thread 3 of 4: ", 0), 0u)
            << error.what();
    }
    // The progress thread is started the same way.
    ConcentrationField::threadStartHook = [](unsigned number) { return number != 2; };
    EXPECT_THROW(
        field.grid(out.data(), -5, -8, 0, 80, 8, 40, 23, 17, 13, 2, [](std::int64_t, std::int64_t) {}),
        std::runtime_error);
    // A progress report that throws ends the grid with its own error.
    ConcentrationField::threadStartHook = nullptr;
    EXPECT_THROW(field.grid(out.data(), -5, -8, 0, 80, 8, 40, 23, 17, 13, 3,
                            [](std::int64_t, std::int64_t) { throw std::logic_error("stop"); }),
                 std::logic_error);
}

TEST(ConcentrationField, PassingSegmentsOverNeverChangesAnAnswer) {
    // Points beside every example's jet, on its steps, on the end planes of its segments and just off
    // them, and scattered around it: the same bits whether segments are passed over or all searched.
    struct Reset {
        ~Reset() { ConcentrationField::searchEverySegment = false; }
    } reset;
    for (const char *name : {"choked_high_pressure", "horizontal_dense_release", "hot_stack_unstable",
                             "vertical_buoyant_vent"}) {
        JetModel model;
        runExample(model, name);
        const ConcentrationField field(model, Rules::exact, 0.0);
        const auto &p = model.centrelineLocations();
        const auto &v = model.centrelineVelocityVectors();
        const auto &r = model.profileRadii();
        std::vector<vector3> points;
        for (std::size_t k = 0; k + 1 < p.size(); ++k) {
            // A direction normal to the jet's velocity at the step: on the step's plane.
            const vector3 side = cross(v[k], vector3(0.0, 0.0, 1.0)).norm() > 0.0
                                     ? cross(v[k], vector3(0, 0, 1))
                                     : vector3(1.0, 0.0, 0.0);
            const vector3 unit = side * (1.0 / side.norm());
            for (const double f : {0.0, 0.3, 0.99, 1.0, 1.01, 2.5}) {
                points.push_back(p[k] + unit * (f * r[k]));
                points.push_back(p[k] + unit * (f * r[k]) + v[k] * 1e-9);
                points.push_back(p[k] + (p[k + 1] - p[k]) * 0.5 + vector3(0.0, 0.0, f * r[k]));
            }
        }
        std::uint64_t state = 88172645463325252ull;
        const auto uniform = [&state] {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            return static_cast<double>(state >> 11) / 9007199254740992.0;
        };
        for (int k = 0; k < 4000; ++k) {
            const vector3 &near = p[static_cast<std::size_t>(uniform() * static_cast<double>(p.size() - 1))];
            points.push_back(near + vector3(uniform() - 0.5, uniform() - 0.5, uniform() - 0.5) * 80.0);
        }
        std::vector<double> passed;
        for (const vector3 &q : points) {
            passed.push_back(field.concentration(q));
        }
        ConcentrationField::searchEverySegment = true;
        int nonZero = 0;
        for (std::size_t k = 0; k < points.size(); ++k) {
            const double searched = field.concentration(points[k]);
            ASSERT_EQ(std::memcmp(&searched, &passed[k], sizeof searched), 0)
                << name << " point " << k << ": " << searched << " searched, " << passed[k] << " passed over";
            nonZero += searched > 0.0;
        }
        ConcentrationField::searchEverySegment = false;
        EXPECT_GT(nonZero, static_cast<int>(points.size() / 10)) << name;
    }
}

TEST(ConcentrationField, PassingSegmentsOverBesideAJetOfManyShortSteps) {
    // The hot stack's centreline with every step cut into 24 (about 7,000 segments, many of them within
    // reach of each point): the fans of end planes pass most over, and the answers stay the same.
    struct Reset {
        ~Reset() { ConcentrationField::searchEverySegment = false; }
    } reset;
    JetModel model;
    runExample(model, "hot_stack_unstable");
    const auto &p = model.centrelineLocations();
    const auto &v = model.centrelineVelocityVectors();
    const auto &r = model.profileRadii();
    const auto &c = model.centrelineConcentrations();
    std::vector<vector3> locations, velocities;
    std::vector<double> radii, concentrations;
    for (std::size_t k = 0; k + 1 < p.size(); ++k) {
        for (int j = 0; j < 24; ++j) {
            const double s = j / 24.0;
            locations.push_back(p[k] + (p[k + 1] - p[k]) * s);
            velocities.push_back(v[k] + (v[k + 1] - v[k]) * s);
            radii.push_back(r[k] + (r[k + 1] - r[k]) * s);
            concentrations.push_back(c[k] + (c[k + 1] - c[k]) * s);
        }
    }
    ConcentrationField::Series series = ConcentrationField::seriesOf(model);
    series.locations = locations;
    series.velocities = velocities;
    series.radii = radii;
    series.concentrations = concentrations;
    const ConcentrationField field(series, Rules::exact, 0.0);
    std::uint64_t state = 2463534242ull;
    const auto uniform = [&state] {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return static_cast<double>(state >> 11) / 9007199254740992.0;
    };
    int nonZero = 0;
    for (int k = 0; k < 3000; ++k) {
        const std::size_t at =
            static_cast<std::size_t>(uniform() * static_cast<double>(locations.size() - 1));
        // On a step exactly, on its plane, or scattered within two radii.
        const double spread = 2.0 * radii[at];
        const vector3 q = k % 3 == 0
                              ? locations[at]
                              : locations[at] + vector3(uniform() - 0.5, uniform() - 0.5, uniform() - 0.5) *
                                                    (k % 3 == 1 ? 1e-9 : spread);
        const double passed = field.concentration(q);
        ConcentrationField::searchEverySegment = true;
        const double searched = field.concentration(q);
        ConcentrationField::searchEverySegment = false;
        ASSERT_EQ(std::memcmp(&searched, &passed, sizeof searched), 0) << "point " << k;
        nonZero += searched > 0.0;
    }
    EXPECT_GT(nonZero, 1000);
    // A grid's rows search only the blocks their vertical lines meet: the same bits as every segment.
    const auto rowsFiltered = field.grid(-20.0, -60.0, 40.0, 400.0, 60.0, 200.0, 24, 16, 30);
    ConcentrationField::searchEverySegment = true;
    const auto everySegment = field.grid(-20.0, -60.0, 40.0, 400.0, 60.0, 200.0, 24, 16, 30);
    ASSERT_EQ(std::memcmp(rowsFiltered.data(), everySegment.data(), everySegment.size() * sizeof(double)), 0);
    EXPECT_GT(
        std::count_if(everySegment.begin(), everySegment.end(), [](double value) { return value > 0.0; }),
        500);
}

TEST(ConcentrationField, GridAxesAreSpacedAsymmetrically) {
    // x includes its end; y and z stop one step short of theirs.
    EXPECT_EQ(ConcentrationField::gridCoordinate(0, 10, 1, 3, true), 5.0);
    EXPECT_EQ(ConcentrationField::gridCoordinate(0, 10, 2, 3, true), 10.0);
    EXPECT_DOUBLE_EQ(ConcentrationField::gridCoordinate(0, 10, 2, 3, false), 20.0 / 3.0);
    EXPECT_EQ(ConcentrationField::gridCoordinate(7, 10, 0, 1, false), 7.0);
    EXPECT_EQ(ConcentrationField::gridCoordinate(100, 0, 1, 3, true), 50.0); // walking downwards
    EXPECT_TRUE(ConcentrationField().grid(0, 0, 0, 10, 10, 10, 3, 0, 3).empty());
    EXPECT_EQ(ConcentrationField::gridPointCount(-2, 3, 4), -24);
    EXPECT_EQ(ConcentrationField::gridPointCount(1 << 30, 1 << 30, 1 << 30), INT64_MAX);
}
