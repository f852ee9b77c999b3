#include "report/ReportPage.hpp"

#include "ostreljet/component/Scenario.hpp"

#include <gtest/gtest.h>

#include <string>

using ostreljet::JetModel;
using ostreljet::Scenario;
using ostreljet::report::ReportPage;

namespace {

std::size_t count(const std::string &text, const std::string &part) {
    std::size_t n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++n;
    }
    return n;
}

std::string reportFor(const Scenario &scenario, const std::string &name) {
    JetModel model;
    scenario.applyTo(model);
    const bool ok = model.runModel();
    return ReportPage::render(model, scenario, name, ok, 2);
}

std::string exampleReport(const std::string &example, const std::string &name) {
    return reportFor(Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + example), name);
}

} // namespace

TEST(ReportPage, IsSelfContainedWithEveryChart) {
    const std::string page = exampleReport("vertical_buoyant_vent.json", "vent.json");
    EXPECT_EQ(page.rfind("<!DOCTYPE html>", 0), 0u);
    EXPECT_NE(page.find("<meta charset=\"utf-8\">"), std::string::npos);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page.find("<link"), std::string::npos);
    EXPECT_EQ(page.find("src="), std::string::npos);
    EXPECT_EQ(page.find("url(http"), std::string::npos);
    // The only address is the SVG namespace, which names and never loads anything.
    EXPECT_EQ(count(page, "http"), count(page, "xmlns=\"http://www.w3.org/2000/svg\""));
    // Side, plan, three centreline charts and two ambient profiles, each closed.
    EXPECT_EQ(count(page, "<svg "), 7u);
    EXPECT_EQ(count(page, "</svg>"), 7u);
    EXPECT_NE(page.find("</html>"), std::string::npos);
    // Axis titles carry their units.
    for (const char *title : {"downwind distance from the stack [m]", "height [m]", "x (east) [m]",
                              "y (north) [m]", "arc length [m]", "centreline temperature [K]",
                              "centreline velocity [m/s]", "wind speed [m/s]", "air temperature [K]"}) {
        EXPECT_NE(page.find(std::string(">") + title + "</text>"), std::string::npos) << title;
    }
}

TEST(ReportPage, ListsEveryInputWithItsUnit) {
    const std::string page = exampleReport("vertical_buoyant_vent.json", "vent.json");
    EXPECT_EQ(count(page, "<tr><td><code>") + count(page, "<tr class=\"default\"><td><code>"), 23u);
    EXPECT_NE(page.find("<code>massFlowrate</code></td><td class=\"num\">2</td><td>kg/s</td>"),
              std::string::npos);
    EXPECT_NE(page.find("<code>pasquillStability</code></td><td class=\"num\">D</td>"), std::string::npos);
    EXPECT_NE(page.find("<code>timeAveraging</code></td><td class=\"num\">short</td>"), std::string::npos);
    // Not in the scenario: shown greyed as a default.
    EXPECT_NE(page.find("<tr class=\"default\"><td><code>stackLocationX</code>"), std::string::npos);
    EXPECT_EQ(ReportPage::propertyUnit("sourceSpecificHeat"), "J/(kg\u00b7K)");
    EXPECT_EQ(ReportPage::propertyUnit("noSuchProperty"), "");
}

TEST(ReportPage, MarksWarningsAndAFatalTermination) {
    const std::string vent = exampleReport("vertical_buoyant_vent.json", "vent.json");
    EXPECT_NE(
        vent.find("<li class=\"warning\"><span class=\"badge warning\">warning</span>Stopping concentration "
                  "reached at 73.2 m.</li>"),
        std::string::npos);
    EXPECT_EQ(vent.find("banner fatal"), std::string::npos);

    const std::string dense = exampleReport("horizontal_dense_release.json", "dense.json");
    EXPECT_NE(dense.find("<p class=\"banner fatal\">The run was terminated by a fatal condition"),
              std::string::npos);
    EXPECT_NE(
        dense.find("<li class=\"fatal\"><span class=\"badge fatal\">fatal \u2013 terminated</span>The "
                   "centreline of the jet is interacting with the ground, model terminated at 35.7 m.</li>"),
        std::string::npos);
    EXPECT_NE(
        dense.find("<span class=\"badge warning\">warning</span>The edge of the jet is interacting with the "
                   "ground at 13.0 m."),
        std::string::npos);
}

TEST(ReportPage, ContoursAreLabelledWithTheirLevels) {
    const std::string page = exampleReport("vertical_buoyant_vent.json", "vent.json");
    // The stopping concentration is 0.01; the side view's plane through the stack reaches beyond 0.1.
    for (const char *level : {"0.01", "0.02", "0.05", "0.1"}) {
        EXPECT_NE(page.find(std::string("\">") + level + "</text>"), std::string::npos) << level;
    }
    EXPECT_NE(page.find("0.01 (the stopping concentration)"), std::string::npos);
    EXPECT_NE(page.find("0.1 (10\u00d7)"), std::string::npos);
}

TEST(ReportPage, EscapesTheScenarioNameAndGas) {
    const Scenario scenario =
        Scenario::fromText(R"({"stackHeight": 20, "orificeDiameter": 0.3, "releaseAngle": 90,
        "massFlowrate": 2, "gas": "methane", "sourceTemperature": 300, "atmosphereTemperature": 288.15,
        "atmosphereSpecificHeat": 1005, "atmosphereSurfaceRoughness": 0.1, "stoppingConcentration": 0.01})");
    const std::string page = reportFor(scenario, "<b>a&b's \"run\"</b>.json");
    EXPECT_EQ(page.find("<b>a&b"), std::string::npos);
    EXPECT_NE(
        page.find("<title>Ostreljet report: &lt;b&gt;a&amp;b&#39;s &quot;run&quot;&lt;/b&gt;.json</title>"),
        std::string::npos);
    EXPECT_NE(page.find("Released gas: <b>methane</b>"), std::string::npos);
}

TEST(ReportPage, FailedValidationStillShowsInputsAndTheMessage) {
    const Scenario scenario = Scenario::fromText("{}");
    const std::string page = reportFor(scenario, "empty.json");
    EXPECT_NE(page.find("The inputs failed validation, so the run was not carried out."), std::string::npos);
    EXPECT_EQ(count(page, "<svg "), 0u);
    EXPECT_EQ(count(page, "<li class=\"warning\">"), 1u);
    EXPECT_EQ(count(page, "<tr class=\"default\"><td><code>"), 23u);
}
