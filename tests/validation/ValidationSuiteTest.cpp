// The suite's statistics on a hand-worked set, its refusals of bad case files, and its figures pinned in
// a narrow band around today's values so that a change to the physics is noticed.
#include "ostreljet/validation/ValidationSuite.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

namespace ostreljet {
namespace {

TEST(ValidationSuiteTest, StatisticsTakeTheCorrelationAsTheObservation) {
    // Model / correlation = 0.5, 2, 1, 4: ln(correlation / model) = ln2, -ln2, 0, -2 ln2; mean = -ln2 / 2
    // so MG = 1 / sqrt(2) = 0.707107 (below 1: the model is higher); mean of squares = 1.5 (ln2)^2 =
    // 0.720680 so VG = 2.055830; 0.5, 2 and 1 lie within a factor of two (both ends count), 4 does not:
    // FAC2 = 0.75. A NaN model figure and a zero correlation are left out.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const AgreementStatistics s =
        ValidationSuite::statistics({2.0, 1.0, 3.0, 1.0, 1.0, 0.0}, {1.0, 2.0, 3.0, 4.0, nan, 1.0});
    EXPECT_EQ(s.count, 4u);
    EXPECT_NEAR(s.geometricMean, 0.707107, 1e-6);
    EXPECT_NEAR(s.geometricVariance, 2.055830, 1e-6);
    EXPECT_DOUBLE_EQ(s.factorOfTwo, 0.75);
    EXPECT_TRUE(std::isnan(ValidationSuite::statistics({}, {}).geometricMean));
}

TEST(ValidationSuiteTest, VerdictsNameTheBiasAndTheShareWithinTwo) {
    // MG is correlation over model: 1.25 is a model 20 % low, 0.25 a model 300 % high.
    EXPECT_EQ(ValidationSuite::verdict({10, 1.25, 1.02, 1.0}),
              "Agrees: on average 20 % below the correlation, every point within a factor of two.");
    EXPECT_EQ(
        ValidationSuite::verdict({10, 2.5, 1.3, 1.0}),
        "Agrees roughly: on average 60 % below the correlation, 100 % of points within a factor of two.");
    EXPECT_EQ(ValidationSuite::verdict({10, 0.25, 4.0, 0.2}),
              "Departs: on average 300 % above the correlation, only 20 % of points within a factor of two.");
}

TEST(ValidationSuiteTest, RefusesBadCaseFilesNamingTheFault) {
    auto message = [](const std::string &text) {
        try {
            ValidationSuite::fromText(text, "cases.json");
        } catch (const ValidationSuiteError &e) {
            return std::string(e.what());
        }
        return std::string("accepted");
    };
    // A complete scenario for each correlation, so that the faults below are the first found.
    const auto withDefaults = [](const std::string &text) {
        const std::string complete =
            R"({"orificeDiameter": 0.3, "massFlowrate": 2, "atmosphereSpecificHeat": 1005, )"
            R"("atmosphereSurfaceRoughness": 0.1, "sourceMolecularWeight": 0.016, "sourceSpecificHeat": 2200, )"
            R"("sourceSpecificHeatRatio": 1.3, "sourceTemperature": 300, "stoppingConcentration": 0.01})";
        return R"({"defaults": {"chen-rodi": )" + complete + R"(, "hoot-dense": )" + complete +
               R"(, "pratte-baines": )" + complete + "}, " + text.substr(1);
    };
    EXPECT_EQ(message("{").rfind("cases.json: not valid JSON", 0), 0u);
    EXPECT_EQ(message("{}"), "cases.json: must be an object with an array \"cases\"");
    EXPECT_EQ(message(R"({"cases":[{"correlation":"nobody"}]})"),
              "cases.json: case 1: unknown correlation \"nobody\"");
    EXPECT_EQ(message(withDefaults(R"({"cases":[{"correlation":"chen-rodi","label":"a"}]})")),
              "cases.json: case 1 (a): needs \"at\"");
    EXPECT_EQ(message(withDefaults(R"({"cases":[{"correlation":"chen-rodi","label":"a","at":[-1]}]})")),
              "cases.json: case 1 (a): \"at\" must hold positive numbers, not -1");
    EXPECT_NE(
        message(withDefaults(R"({"cases":[{"correlation":"hoot-dense","inputs":{"stackHeight":"tall"}}]})"))
            .find("stackHeight"),
        std::string::npos);
    EXPECT_EQ(ValidationSuite::fromText(withDefaults(R"({"cases":[{"correlation":"hoot-dense"},
        {"correlation":"pratte-baines","at":[1],"sensitivity":{"inputs":{"timeAveraging":"long"}}}]})"))
                  .runCount(),
              3u);
}

TEST(ValidationSuiteTest, TodaysFiguresStayInTheirBandAndTheSensitivityAndDenseLimitsAreReported) {
    // Figures of the project's cases as measured when the suite was written (MG is correlation over
    // model); a band of +-0.005 on MG and VG catches a change to the physics without failing on
    // last-digit rounding.
    struct Pinned {
        std::size_t compared;
        std::size_t points;
        double mg;
        double vg;
        double fac2;
    };
    const std::map<std::string, Pinned> pinned = {
        {"briggs-two-thirds", {32, 32, 1.0285, 1.0229, 1.0}},
        {"briggs-final-neutral", {8, 8, 1.1841, 1.0318, 1.0}},
        {"briggs-final-stable", {8, 8, 1.2436, 1.0511, 1.0}},
        {"pratte-baines", {30, 30, 1.4766, 1.1698, 1.0}},
        {"chen-rodi", {12, 12, 0.8005, 1.0559, 1.0}},
        {"hoot-dense", {6, 9, 0.9851, 1.0185, 1.0}},
    };
    const std::vector<CorrelationResult> results =
        ValidationSuite::fromFile(OSTRELJET_VALIDATION_CASES).run();
    ASSERT_EQ(results.size(), pinned.size());
    for (const CorrelationResult &r : results) {
        SCOPED_TRACE(r.id);
        const Pinned &p = pinned.at(r.id);
        EXPECT_EQ(r.statistics.count, p.compared);
        EXPECT_EQ(r.points.size(), p.points);
        EXPECT_NEAR(r.statistics.geometricMean, p.mg, 0.005);
        EXPECT_NEAR(r.statistics.geometricVariance, p.vg, 0.005);
        EXPECT_DOUBLE_EQ(r.statistics.factorOfTwo, p.fac2);
        if (r.id == "pratte-baines") {
            // Long averaging (ten times the ambient-turbulence entrainment) lowers every trajectory.
            EXPECT_EQ(r.sensitivityLabel, "long averaging");
            for (const ValidationPoint &point : r.points) {
                EXPECT_LT(point.sensitivity, 0.8 * point.model) << point.label;
                EXPECT_GT(point.sensitivity, 0.3 * point.model) << point.label;
            }
        }
        if (r.id == "hoot-dense") {
            // At a density ratio of 4 the run stops at the orifice: no maximum, said so, left out.
            std::size_t missing = 0;
            for (const ValidationPoint &point : r.points) {
                if (std::isnan(point.model)) {
                    ++missing;
                    EXPECT_EQ(point.label.rfind("sg 4.0", 0), 0u);
                    EXPECT_EQ(
                        point.note.rfind(
                            "no maximum before the run ended: Stopping concentration reached at 0.0 m.", 0),
                        0u)
                        << point.note;
                }
            }
            EXPECT_EQ(missing, 3u);
            EXPECT_NE(r.verdict.find("3 point(s) not reached by the model."), std::string::npos);
        }
    }
}

} // namespace
} // namespace ostreljet
