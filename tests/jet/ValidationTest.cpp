#include "JetModelTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

using ostreljet::JetModel;
using ostreljet::vector3;
using Access = ostreljet::JetModelTestAccess;
using ostreljet::testing::Input;
using ostreljet::testing::setInputs;
using ostreljet::testing::setValidRelease;

namespace {

struct Outcome {
    int code; // 0: passed
    std::string text;
};

Outcome validate(std::initializer_list<Input> change) {
    JetModel model;
    setValidRelease(model);
    setInputs(model, change);
    model.resetModel();
    const bool passed = model.validateInputs();
    EXPECT_EQ(model.messageCount(), passed ? 0 : 1);
    EXPECT_TRUE(passed || model.message(0).level == 0);
    return passed ? Outcome{0, ""} : Outcome{model.messageCode(0), model.messageText(0)};
}

using J = JetModel;
// Each check's code, the input it checks and the exact text of its message.
const std::map<int, std::pair<void (JetModel::*)(double), std::string>> kChecks = {
    {3, {nullptr, "You can not release a gas directly into a crosswind, please modify input parameters"}},
    {4, {&J::setStackHeight, "The stack height should lie between 0 and 1000m."}},
    {5, {&J::setOrificeDiameter, "The orifice diameter should lie between 0 and 100m."}},
    {6, {&J::setDischargeCoefficient, "The discharge coefficient should lie between 0 and 1."}},
    {7, {&J::setReleaseAngle, "The release angle should lie between -180 and 180 degrees."}},
    {8, {&J::setMassFlowrate, "The initial mass flowrate must be greater than 0Kg/s."}},
    {9,
     {&J::setSourceMolecularWeight,
      "The molecular weight of the source should lie between 0.002 and 0.15kg/mol."}},
    {10,
     {&J::setSourceSpecificHeat, "The specific heat of the source should lie between 100 and 100000J/Kg K."}},
    {11,
     {&J::setSourceSpecificHeatRatio, "The specific heat ratio of the source should lie between 1 and 1.7."}},
    {12, {&J::setSourceTemperature, "The temperature of the source should lie between 80 and 2500K."}},
    {13, {&J::setReferenceWindSpeed, "The reference wind speed should lie between 0 and 20m/s."}},
    {14, {&J::setReferenceWindHeight, "The reference wind height should lie between 0 and 200m."}},
    {15,
     {&J::setAtmosphereSurfaceRoughness, "The Surface Roughness Length should lie between 0.0001 and 0.3m."}},
    {16,
     {&J::setAtmosphereSpecificHeat,
      "The atmosphere specific heat should lie between 100 and 100000J/Kg K."}},
    {17,
     {&J::setAtmosphereMolecularWeight,
      "The atmosphere molecular weight should lie between 0.002 and 0.15kg/mol."}},
    {18, {&J::setStackLocationX, "The stack x location should be between -1000000 and 1000000m."}},
    {19, {&J::setStackLocationY, "The stack y location should be between -1000000 and 1000000m."}},
    // Checked at the site origin, where the neutral profile gives the reference temperature.
    {20, {&J::setAtmosphereTemperature, "The atmosphere temperature should lie between 80 and 2500K."}},
    {21, {&J::setAtmospherePressure, "The atmosphere pressure should lie between 80000 and 120000Pa."}},
    {22, {&J::setStoppingConcentration, "The stopping concentration should be greater than 0."}},
    {23, {&J::setStackBearing, "The stack bearing should be between 0 and 360."}},
    {24, {&J::setReferenceWindBearing, "The wind bearing should be between 0 and 360."}},
    {25, {nullptr, "The jet to wind velocity ratio is less than 6.0. Use results carefully."}},
    {26,
     {nullptr, "The calculated exit velocity is less than three times the wind velocity, model not valid."}},
    {27, {nullptr, "Density ratio outside normal range of model. Use results carefully"}},
    {28, {nullptr, "The calculated density ratio is invalid."}},
};

// Resets the model and returns the arc length and then the nine state values at the orifice.
std::vector<double> initialState(JetModel &model) {
    model.resetModel();
    std::vector<double> start(10, -1.0);
    Access::setInitialConditions(model, &start[0], &start[1]);
    return start;
}

} // namespace

TEST(Validation, EveryCheckAtItsBoundaries) {
    const double above1000 = std::nextafter(1000.0, 2000.0), above100 = std::nextafter(100.0, 200.0);
    const double above1 = std::nextafter(1.0, 2.0), above180 = std::nextafter(180.0, 200.0),
                 below1 = std::nextafter(1.0, 0.0);
    const struct {
        int check;
        double value;
        bool passes;
    } cases[] = {
        {4, 0.0, true},         {4, 1000.0, true},       {4, -1e-300, false},   {4, above1000, false},
        {5, 0.0, false},        {5, 100.0, true},        {5, above100, false},  {6, 1.0, true},
        {6, 0.0, false},        {6, above1, false},      {7, -180.0, true},     {7, 180.0, true},
        {7, above180, false},   {8, 0.0, false},         {9, 0.002, true},      {9, 0.15, true},
        {9, 0.0019, false},     {10, 100.0, true},       {10, 100000.5, false}, {11, 1.0, false},
        {11, 1.7, true},        {12, 79.9, false},       {12, 2500.0, true},    {13, 0.0, false},
        {13, 20.0, true},       {14, 0.0, false},        {14, 200.0, true},     {15, 0.0001, true},
        {15, 0.30001, false},   {16, 99.0, false},       {17, 0.16, false},     {18, -1000000.0, true},
        {18, 1000000.5, false}, {19, -1000000.5, false}, {20, 79.0, false},     {20, 80.0, true},
        {21, 80000.0, true},    {21, 79999.0, false},    {22, 0.0, false},      {22, 1.0, false},
        {22, below1, true},     {23, 360.0, true},       {23, -1.0, false},     {24, 361.0, false}};
    for (const auto &c : cases) {
        const Outcome outcome = validate({{kChecks.at(c.check).first, c.value}});
        EXPECT_EQ(outcome.code, c.passes ? 0 : c.check) << c.check << " " << c.value;
        EXPECT_EQ(outcome.text, c.passes ? "" : kChecks.at(c.check).second) << c.check << " " << c.value;
    }
}

TEST(Validation, FirstFailingCheckWins) {
    EXPECT_EQ(validate({{&J::setReferenceWindSpeed, 50.0}, {&J::setSourceTemperature, 10.0}}).code, 12);
    // The location checks run after the bearing checks although their codes are lower.
    EXPECT_EQ(validate({{&J::setStackLocationX, 2e6}, {&J::setReferenceWindBearing, 400.0}}).code, 24);
}

TEST(Validation, CrosswindReleaseNeedsExactHorizontalAndOpposition) {
    // Bearings are not reduced modulo 360: 0 and 360 are the same direction but a difference of 360 passes.
    const struct {
        double angle, stack, wind;
        int code;
    } cases[] = {{0.0, 90.0, 270.0, 3}, {0.0, 270.0, 90.0, 3},    {0.0, 0.0, 180.0, 3},
                 {1.0, 90.0, 270.0, 0}, {0.0001, 90.0, 270.0, 0}, {0.0, 90.0, 269.999, 0},
                 {0.0, 0.0, 360.0, 0}};
    for (const auto &c : cases) {
        const Outcome outcome = validate({{&J::setReleaseAngle, c.angle},
                                          {&J::setStackBearing, c.stack},
                                          {&J::setReferenceWindBearing, c.wind}});
        EXPECT_EQ(outcome.code, c.code) << c.angle << " " << c.stack << " " << c.wind;
        EXPECT_EQ(outcome.text, c.code == 0 ? "" : kChecks.at(3).second);
    }
}

TEST(OrificeConditions, UnchokedReleaseUsesTheOrificeAndRaisesTheSpeedByTheDischargeCoefficient) {
    // Methane at 300 K through 0.2 m: rho = P M / (R T) = 0.64996139200 kg/m3.
    JetModel model;
    setValidRelease(model);
    model.setDischargeCoefficient(0.8);
    const std::vector<double> start = initialState(model);
    EXPECT_EQ(start[0], 0.0);
    EXPECT_DOUBLE_EQ(Access::sourceRadius(model), 0.1);
    EXPECT_NEAR(Access::jetGas(model).source().density(), 0.6499613920046571, 1e-14);
    // Initial mass flux is the flow divided by Cd, not the flow.
    EXPECT_NEAR(start[1], 1.0 / 0.8, 1e-12);
    EXPECT_NEAR(start[5], start[1], 1e-15);
    EXPECT_NEAR(start[6], start[1] * 2200.0 * 300.0, 1e-9);
    EXPECT_EQ(std::vector<double>(start.begin() + 7, start.end()), (std::vector<double>{0.0, 0.0, 10.0}));
    EXPECT_NEAR(Access::jetGas(model).source().velocity().norm(),
                1.0 / (3.14159265358979 * 0.01 * 0.6499613920046571 * 0.8), 1e-10);
}

TEST(OrificeConditions, ChokedReleaseUsesThePseudoSourceAboveTheCriticalPressureOnly) {
    // 20 kg/s of methane through 0.1 m with Cd 0.9: P0 = 1.674 MPa against a critical 185.7 kPa.
    // Pseudo-source worked out separately: ue = 696.8244456868454 m/s, b0 = 0.11531242265784718 m,
    // rho = 0.6870756412727808 kg/m3.
    JetModel model;
    setValidRelease(model);
    setInputs(model, {{&J::setMassFlowrate, 20.0}, {&J::setOrificeDiameter, 0.1}});
    model.setDischargeCoefficient(0.9);
    model.resetModel();
    EXPECT_NEAR(Access::chokedStagnationPressure(model), 1674231.5030500183, 1e-6);
    initialState(model);
    EXPECT_NEAR(Access::jetGas(model).source().velocity().norm(), 696.8244456868454, 1e-9);
    EXPECT_NEAR(Access::sourceRadius(model), 0.11531242265784718, 1e-14);
    EXPECT_NEAR(Access::jetGas(model).source().density(), 0.6870756412727808, 1e-13);
    // A stagnation pressure equal to the critical pressure is not choked.
    setInputs(model, {{&J::setOrificeDiameter, 0.5}, {&J::setDischargeCoefficient, 1.0}});
    model.resetModel();
    const double gamma = 1.3, critical = 101325.0 * std::pow(2.0 / (gamma + 1.0), -gamma / (gamma - 1.0));
    // Walk the mass flow (P0 is proportional to it) to the value whose P0 equals the critical pressure.
    double flow = 61.61019347828397;
    model.setMassFlowrate(flow);
    for (int i = 0; i < 200 && Access::chokedStagnationPressure(model) != critical; ++i) {
        model.setMassFlowrate(
            flow = std::nextafter(flow, Access::chokedStagnationPressure(model) < critical ? 1e9 : 0));
    }
    ASSERT_EQ(Access::chokedStagnationPressure(model), critical);
    initialState(model);
    EXPECT_EQ(Access::sourceRadius(model), 0.25); // the orifice itself: not choked
    do {
        model.setMassFlowrate(flow = std::nextafter(flow, 1e9));
    } while (Access::chokedStagnationPressure(model) <= critical);
    initialState(model);
    EXPECT_NE(Access::sourceRadius(model), 0.25);
}

TEST(OrificeConditions, BearingIsMeasuredFromNorthTowardsEast) {
    JetModel model;
    setValidRelease(model);
    const auto velocity = [&model](double angle, double bearing) {
        setInputs(model, {{&JetModel::setReleaseAngle, angle}, {&JetModel::setStackBearing, bearing}});
        initialState(model);
        return Access::jetGas(model).source().velocity();
    };
    const vector3 east = velocity(0.0, 90.0);
    const double speed = east.norm();
    EXPECT_NEAR(east.x(), speed, 1e-12 * speed);
    EXPECT_NEAR(east.y() / speed, 1.6e-15, 0.2e-15);
    EXPECT_EQ(east.z(), 0.0);
    const vector3 north = velocity(0.0, 0.0);
    EXPECT_EQ(north.x(), 0.0);
    EXPECT_EQ(north.y(), speed);
    // A vertical release keeps a tiny horizontal part: the converted angle is not exactly a right angle.
    const vector3 up = velocity(90.0, 0.0);
    EXPECT_NEAR(up.y() / speed, 1.6e-15, 0.2e-15);
    EXPECT_NE(up.y(), 0.0);
    EXPECT_EQ(up.z(), speed);
}

TEST(SourceChecks, DensityAndVelocityRatiosAtTheirThresholds) {
    const double above5 = std::nextafter(5.0, 6.0), below02 = std::nextafter(0.2, 0.0);
    const double below3 = std::nextafter(3.0, 0.0), below6 = std::nextafter(6.0, 0.0),
                 above2 = std::nextafter(2.0, 3.0);
    const struct {
        double density, speed; // against air of density 1 kg/m3 moving at 1 m/s
        bool runs;
        const char *codes;
    } cases[] = {{5.0, 10.0, true, "27"},         {0.2, 10.0, true, "27"},
                 {above5, 10.0, false, "28 27"},  {below02, 10.0, false, "28 27"},
                 {2.0, 10.0, true, ""},           {0.5, 6.0, true, ""},
                 {1.0, 3.0, true, "25"},          {1.0, below3, false, "26 25"},
                 {above2, below6, true, "27 25"}, {10.0, 1.0, false, "28 27 25"}};
    for (const auto &c : cases) {
        JetModel model;
        Access::atmosphere(model).setDensity(1.0);
        Access::atmosphere(model).setVelocity(vector3(0.6, 0.8, 0.0));
        Access::jetGas(model).source().setDensity(c.density);
        Access::jetGas(model).source().setVelocity(vector3(0.0, 0.0, c.speed));
        EXPECT_EQ(Access::checkSourceConditions(model), c.runs) << c.density << " " << c.speed;
        Access::warnSourceConditions(model);
        std::string codes;
        for (int i = 0; i < model.messageCount(); ++i) {
            codes += (i == 0 ? "" : " ");
            codes += std::to_string(model.messageCode(i));
            EXPECT_EQ(model.message(i).level, 0);
            EXPECT_EQ(model.messageText(i), kChecks.at(model.messageCode(i)).second);
        }
        EXPECT_EQ(codes, c.codes) << c.density << " " << c.speed;
    }
}
