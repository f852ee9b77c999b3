#include "JetModelTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

using ostreljet::JetModel;
using ostreljet::testing::setValidRelease;

namespace {

struct Outcome {
    bool passed;
    std::string text;
    int code;
};

Outcome validate(const std::function<void(JetModel &)> &change) {
    JetModel model;
    setValidRelease(model);
    change(model);
    model.resetModel();
    const bool passed = model.validateInputs();
    if (passed) {
        EXPECT_EQ(model.messageCount(), 0);
        return {true, "", -1};
    }
    EXPECT_EQ(model.messageCount(), 1);
    EXPECT_EQ(model.message(0).level, 0);
    return {false, model.messageText(0), model.messageCode(0)};
}

struct Boundary {
    const char *what;
    std::function<void(JetModel &, double)> set;
    double value;
    bool passes;
    const char *text;
    int code;
};

} // namespace

TEST(Validation, NewObjectFailsAtOrificeDiameter) {
    JetModel model;
    EXPECT_FALSE(model.runModel());
    ASSERT_EQ(model.messageCount(), 1);
    EXPECT_EQ(model.messageText(0), "The orifice diameter should lie between 0 and 100m.");
    EXPECT_EQ(model.messageCode(0), 5);
    EXPECT_EQ(model.numberOfOutputSteps(), 0);
}

TEST(Validation, BaselinePasses) {
    EXPECT_TRUE(validate([](JetModel &) {}).passed);
}

TEST(Validation, EveryCheckAtItsBoundaries) {
    const char *height = "The stack height should lie between 0 and 1000m.";
    const char *diameter = "The orifice diameter should lie between 0 and 100m.";
    const char *discharge = "The discharge coefficient should lie between 0 and 1.";
    const char *angle = "The release angle should lie between -180 and 180 degrees.";
    const char *flow = "The initial mass flowrate must be greater than 0Kg/s.";
    const char *sourceWeight = "The molecular weight of the source should lie between 0.002 and 0.15kg/mol.";
    const char *sourceHeat = "The specific heat of the source should lie between 100 and 100000J/Kg K.";
    const char *ratio = "The specific heat ratio of the source should lie between 1 and 1.7.";
    const char *sourceTemperature = "The temperature of the source should lie between 80 and 2500K.";
    const char *windSpeed = "The reference wind speed should lie between 0 and 20m/s.";
    const char *windHeight = "The reference wind height should lie between 0 and 200m.";
    const char *roughness = "The Surface Roughness Length should lie between 0.0001 and 0.3m.";
    const char *airHeat = "The atmosphere specific heat should lie between 100 and 100000J/Kg K.";
    const char *airWeight = "The atmosphere molecular weight should lie between 0.002 and 0.15kg/mol.";
    const char *pressure = "The atmosphere pressure should lie between 80000 and 120000Pa.";
    const char *stopping = "The stopping concentration should be greater than 0.";
    const char *stackBearing = "The stack bearing should be between 0 and 360.";
    const char *windBearing = "The wind bearing should be between 0 and 360.";
    const char *locationX = "The stack x location should be between -1000000 and 1000000m.";
    const char *locationY = "The stack y location should be between -1000000 and 1000000m.";

    const Boundary cases[] = {
        {"height 0", &JetModel::setStackHeight, 0.0, true, "", 0},
        {"height 1000", &JetModel::setStackHeight, 1000.0, true, "", 0},
        {"height -tiny", &JetModel::setStackHeight, -1e-300, false, height, 4},
        {"height 1000+", &JetModel::setStackHeight, std::nextafter(1000.0, 2000.0), false, height, 4},
        {"diameter 0", &JetModel::setOrificeDiameter, 0.0, false, diameter, 5},
        {"diameter 100", &JetModel::setOrificeDiameter, 100.0, true, "", 0},
        {"diameter 100+", &JetModel::setOrificeDiameter, std::nextafter(100.0, 200.0), false, diameter, 5},
        {"discharge 1", &JetModel::setDischargeCoefficient, 1.0, true, "", 0},
        {"discharge 0", &JetModel::setDischargeCoefficient, 0.0, false, discharge, 6},
        {"discharge 1+", &JetModel::setDischargeCoefficient, std::nextafter(1.0, 2.0), false, discharge, 6},
        {"angle -180", &JetModel::setReleaseAngle, -180.0, true, "", 0},
        {"angle 180", &JetModel::setReleaseAngle, 180.0, true, "", 0},
        {"angle 180+", &JetModel::setReleaseAngle, std::nextafter(180.0, 200.0), false, angle, 7},
        {"flow 0", &JetModel::setMassFlowrate, 0.0, false, flow, 8},
        {"source weight 0.002", &JetModel::setSourceMolecularWeight, 0.002, true, "", 0},
        {"source weight 0.15", &JetModel::setSourceMolecularWeight, 0.15, true, "", 0},
        {"source weight low", &JetModel::setSourceMolecularWeight, 0.0019, false, sourceWeight, 9},
        {"source heat 100", &JetModel::setSourceSpecificHeat, 100.0, true, "", 0},
        {"source heat high", &JetModel::setSourceSpecificHeat, 100000.5, false, sourceHeat, 10},
        {"ratio 1", &JetModel::setSourceSpecificHeatRatio, 1.0, false, ratio, 11},
        {"ratio 1.7", &JetModel::setSourceSpecificHeatRatio, 1.7, true, "", 0},
        {"source temperature 79", &JetModel::setSourceTemperature, 79.9, false, sourceTemperature, 12},
        {"source temperature 2500", &JetModel::setSourceTemperature, 2500.0, true, "", 0},
        {"wind 0", &JetModel::setReferenceWindSpeed, 0.0, false, windSpeed, 13},
        {"wind 20", &JetModel::setReferenceWindSpeed, 20.0, true, "", 0},
        {"wind height 0", &JetModel::setReferenceWindHeight, 0.0, false, windHeight, 14},
        {"wind height 200", &JetModel::setReferenceWindHeight, 200.0, true, "", 0},
        {"roughness 0.0001", &JetModel::setAtmosphereSurfaceRoughness, 0.0001, true, "", 0},
        {"roughness 0.3+", &JetModel::setAtmosphereSurfaceRoughness, 0.30001, false, roughness, 15},
        {"air heat 99", &JetModel::setAtmosphereSpecificHeat, 99.0, false, airHeat, 16},
        {"air weight 0.16", &JetModel::setAtmosphereMolecularWeight, 0.16, false, airWeight, 17},
        {"pressure 80000", &JetModel::setAtmospherePressure, 80000.0, true, "", 0},
        {"pressure 79999", &JetModel::setAtmospherePressure, 79999.0, false, pressure, 21},
        {"stopping 0", &JetModel::setStoppingConcentration, 0.0, false, stopping, 22},
        {"stopping 1", &JetModel::setStoppingConcentration, 1.0, false, stopping, 22},
        {"stopping below 1", &JetModel::setStoppingConcentration, std::nextafter(1.0, 0.0), true, "", 0},
        {"stack bearing 360", &JetModel::setStackBearing, 360.0, true, "", 0},
        {"stack bearing -1", &JetModel::setStackBearing, -1.0, false, stackBearing, 23},
        {"wind bearing 361", &JetModel::setReferenceWindBearing, 361.0, false, windBearing, 24},
        {"x 1e6", &JetModel::setStackLocationX, -1000000.0, true, "", 0},
        {"x beyond", &JetModel::setStackLocationX, 1000000.5, false, locationX, 18},
        {"y beyond", &JetModel::setStackLocationY, -1000000.5, false, locationY, 19},
    };
    for (const Boundary &c : cases) {
        const Outcome outcome = validate([&c](JetModel &m) { c.set(m, c.value); });
        EXPECT_EQ(outcome.passed, c.passes) << c.what;
        if (!c.passes) {
            EXPECT_EQ(outcome.text, c.text) << c.what;
            EXPECT_EQ(outcome.code, c.code) << c.what;
        }
    }
}

TEST(Validation, AtmosphereTemperatureIsTheAirAtTheSiteOrigin) {
    // The reset moves the air to the origin, where the neutral profile gives the reference temperature.
    Outcome cold = validate([](JetModel &m) { m.setAtmosphereTemperature(79.0); });
    EXPECT_FALSE(cold.passed);
    EXPECT_EQ(cold.text, "The atmosphere temperature should lie between 80 and 2500K.");
    EXPECT_EQ(cold.code, 20);
    EXPECT_TRUE(validate([](JetModel &m) { m.setAtmosphereTemperature(80.0); }).passed);
}

TEST(Validation, FirstFailingCheckWins) {
    Outcome outcome = validate([](JetModel &m) {
        m.setReferenceWindSpeed(50.0);
        m.setSourceTemperature(10.0);
    });
    EXPECT_EQ(outcome.code, 12);
    // The location checks run after the bearing checks although their codes are lower.
    outcome = validate([](JetModel &m) {
        m.setStackLocationX(2e6);
        m.setReferenceWindBearing(400.0);
    });
    EXPECT_EQ(outcome.code, 24);
}

TEST(Validation, NotANumberPassesEveryCheck) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(validate([nan](JetModel &m) {
                    m.setStackHeight(nan);
                    m.setOrificeDiameter(nan);
                    m.setMassFlowrate(nan);
                    m.setStoppingConcentration(nan);
                    m.setReleaseAngle(nan);
                }).passed);
}

TEST(Validation, CrosswindReleaseNeedsExactHorizontalAndOpposition) {
    const char *text = "You can not release a gas directly into a crosswind, please modify input parameters";
    auto crosswind = [](double angle, double stack, double wind) {
        return validate([=](JetModel &m) {
            m.setReleaseAngle(angle);
            m.setStackBearing(stack);
            m.setReferenceWindBearing(wind);
        });
    };
    Outcome outcome = crosswind(0.0, 90.0, 270.0);
    EXPECT_FALSE(outcome.passed);
    EXPECT_EQ(outcome.text, text);
    EXPECT_EQ(outcome.code, 3);
    EXPECT_FALSE(crosswind(0.0, 270.0, 90.0).passed);
    EXPECT_FALSE(crosswind(0.0, 0.0, 180.0).passed);
    EXPECT_TRUE(crosswind(1.0, 90.0, 270.0).passed);
    EXPECT_TRUE(crosswind(0.0001, 90.0, 270.0).passed);
    EXPECT_TRUE(crosswind(0.0, 90.0, 269.999).passed);
    // Not reduced modulo 360: 0 and 360 are the same direction but a difference of 360 passes.
    EXPECT_TRUE(crosswind(0.0, 0.0, 360.0).passed);
}

TEST(Validation, OutOfRangeStabilityClassIsStoredAndAccepted) {
    JetModel model;
    setValidRelease(model);
    model.setPasquillStability(7);
    EXPECT_EQ(model.pasquillStability(), 7);
    EXPECT_EQ(model.atmosphere().boundaryLayerHeight(), 2500.0);
    model.resetModel();
    EXPECT_TRUE(model.validateInputs());
}

TEST(Inputs, DefaultsOfANewObject) {
    JetModel model;
    EXPECT_EQ(model.stackHeight(), 0.0);
    EXPECT_EQ(model.orificeDiameter(), 0.0);
    EXPECT_EQ(model.dischargeCoefficient(), 1.0);
    EXPECT_EQ(model.atmosphereMolecularWeight(), 0.02896);
    EXPECT_EQ(model.atmospherePressure(), 101325.0);
    EXPECT_EQ(model.atmosphereSpecificHeat(), 0.0);
    EXPECT_EQ(model.atmosphereTemperature(), 288.15);
    EXPECT_EQ(model.atmosphereSurfaceRoughness(), 0.0);
    EXPECT_EQ(model.referenceWindHeight(), 10.0);
    EXPECT_EQ(model.referenceWindSpeed(), 5.0);
    EXPECT_EQ(model.referenceWindBearing(), 90.0);
    EXPECT_EQ(model.timeAveraging(), ostreljet::SHORT_TIME_AVERAGING);
    EXPECT_EQ(model.pasquillStability(), 3);
    EXPECT_EQ(model.atmosphere().boundaryLayerHeight(), 1000.0);
    EXPECT_EQ(model.stackBearing(), 0.0);
    EXPECT_STREQ(JetModel::versionInfo(), "1.1.0.0");
}
