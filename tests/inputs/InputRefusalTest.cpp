#include "ostreljet/inputs/InputRefusal.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <gtest/gtest.h>

#include <map>
#include <string>

using ostreljet::EngineeringRun;
using ostreljet::InputRefusal;
using ostreljet::JetModel;
using ostreljet::RunStatus;
using ostreljet::RunSummary;
using ostreljet::Scenario;

namespace {

// The end message of a run of the vent example with one input changed.
std::string refusalWith(const std::string &key, const std::string &value) {
    std::map<std::string, std::string> inputs = {{"gas", "\"methane\""},
                                                 {"stackHeight", "20"},
                                                 {"orificeDiameter", "0.3"},
                                                 {"releaseAngle", "90"},
                                                 {"massFlowrate", "2"},
                                                 {"atmosphereSpecificHeat", "1005"},
                                                 {"atmosphereSurfaceRoughness", "0.1"},
                                                 {"sourceTemperature", "300"},
                                                 {"stoppingConcentration", "0.01"}};
    inputs[key] = value;
    std::string text;
    for (const auto &[name, given] : inputs) {
        text += (text.empty() ? "{\"" : ", \"") + name + "\": " + given;
    }
    JetModel model;
    Scenario::fromText(text + "}", "t").applyTo(model);
    RunSummary summary = EngineeringRun::run(model, {});
    InputRefusal::annotate(summary, model);
    EXPECT_EQ(summary.status, RunStatus::invalid) << key;
    EXPECT_EQ(summary.messages.front().text, summary.endMessage.value_or(""));
    return summary.endMessage.value_or("");
}

} // namespace

TEST(InputRefusal, TheModelsTextKeepsItsWordsAndGainsTheKeyAndTheValue) {
    EXPECT_EQ(refusalWith("massFlowrate", "-1"),
              "The initial mass flowrate must be greater than 0Kg/s. (massFlowrate = -1 kg/s)");
    EXPECT_EQ(refusalWith("stackHeight", "1500"),
              "The stack height should lie between 0 and 1000m. (stackHeight = 1500 m)");
    EXPECT_EQ(refusalWith("stoppingConcentration", "1"),
              "The stopping concentration should be greater than 0. (stoppingConcentration = 1)");
    EXPECT_EQ(refusalWith("atmosphereSurfaceRoughness", "0.5"),
              "The Surface Roughness Length should lie between 0.0001 and 0.3m. (atmosphereSurfaceRoughness "
              "= 0.5 m)");
    EXPECT_EQ(refusalWith("referenceWindBearing", "400"),
              "The wind bearing should be between 0 and 360. (referenceWindBearing = 400 degree)");
    // A refusal that no single input explains keeps its text alone.
    EXPECT_FALSE(InputRefusal::keyAndValue(JetModel(), 3));
}
