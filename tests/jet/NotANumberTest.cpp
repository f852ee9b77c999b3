// Inputs that validation lets through (NaN passes every comparison) or that lie far outside any physical
// range must still give a run that ends, and every query afterwards must stay inside the stored results.
// The inputs go in through the component's putters, which store anything; the C API refuses non-finite
// values and out-of-range classes before they get here (tests/capi).
#include "capi/CApiTestSupport.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

TEST(ExtremeInput, EveryInputAndValueGivesARunThatEndsAndQueriesThatStayInBounds) {
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 inf = std::numeric_limits<double>::infinity();
    const std::vector<const char *> doubles = {"stackHeight",           "orificeDiameter",
                                               "stackLocationX",        "stackLocationY",
                                               "releaseAngle",          "dischargeCoefficient",
                                               "massFlowrate",          "atmosphereMolecularWeight",
                                               "atmospherePressure",    "atmosphereSpecificHeat",
                                               "atmosphereTemperature", "atmosphereSurfaceRoughness",
                                               "referenceWindHeight",   "referenceWindSpeed",
                                               "referenceWindBearing",  "sourceMolecularWeight",
                                               "sourceSpecificHeat",    "sourceSpecificHeatRatio",
                                               "sourceTemperature",     "stoppingConcentration",
                                               "stackBearing"};
    // Each case sets every named input to the value; NaN everywhere at once comes last.
    std::vector<std::pair<std::vector<const char *>, double>> cases;
    for (const char *name : doubles) {
        for (double value : {nan, inf, -inf, 1e308, -1e308, 4.9e-324, -1.0}) {
            cases.push_back({{name}, value});
        }
    }
    for (double value : {2147483647.0, -2147483648.0, -1.0, 6.0}) { // stored as given
        cases.push_back({{"pasquillStability", "timeAveraging"}, value});
    }
    cases.push_back({doubles, nan});
    const auto inUnitRangeOrNaN = [](double c) { return std::isnan(c) || (c >= 0.0 && c <= 1.0); };
    for (const auto &[names, value] : cases) {
        SCOPED_TRACE(::testing::Message() << names[0] << " (of " << names.size() << ") = " << value);
        ostreljet::testsupport::Model vent = ostreljet::testsupport::validVent();
        ostreljet::JetModel model;
        for (const ostreljet::PropertyTable::Property &property : ostreljet::PropertyTable::properties()) {
            double ventValue = 0.0;
            ASSERT_EQ(ostreljet_get(vent.get(), std::string(property.name).c_str(), &ventValue), 0);
            property.put(model, ventValue);
        }
        for (const char *name : names) {
            ostreljet::PropertyTable::find(name)->put(model, value); // anything is stored
        }
        const int ran = model.runModel() ? 1 : 0;
        const int steps = model.numberOfOutputSteps(), messages = model.messageCount();
        // Every check is false for NaN, so the value is carried into the run.
        EXPECT_TRUE(ran == 1 || (ran == 0 && !std::isnan(value) && steps == 0 && messages == 1)) << ran;
        // One step at the orifice, then at most one per integrator call, which the loop caps at 10000.
        ASSERT_TRUE(steps >= 0 && steps <= 10001) << steps;
        for (const ostreljet::PropertyTable::Series &series : ostreljet::PropertyTable::series()) {
            EXPECT_EQ(ostreljet::PropertyTable::values(model, series).size(), static_cast<std::size_t>(steps))
                << series.name;
        }
        const double points[][3] = {{0, 0, 10},  {50, 0, 10},    {-5, 3, -1},
                                    {nan, 0, 0}, {0, inf, -inf}, {1e308, -1e308, 1e308}};
        const ostreljet::ConcentrationField field(model, ostreljet::ConcentrationField::Rules::asSpecified);
        for (const auto &p : points) {
            EXPECT_PRED1(inUnitRangeOrNaN, field.concentration(p[0], p[1], p[2]));
        }
        const std::vector<double> grid = field.grid(-10, -10, 0, 100, 10, 30, 3, 2, 2);
        EXPECT_EQ(grid.size(), 12u);
        for (double c : grid) {
            EXPECT_PRED1(inUnitRangeOrNaN, c);
        }
        EXPECT_TRUE(messages == 0 || !model.messageText(messages - 1).empty());
    }
}
