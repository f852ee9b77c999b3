#include "ostreljet/atmosphere/Gas.hpp"
#include "ostreljet/atmosphere/JetGas.hpp"

#include <gtest/gtest.h>

using ostreljet::Gas;
using ostreljet::JetGas;
using ostreljet::vector3;

namespace {

void expectVector(const vector3 &v, double x, double y, double z) {
    ASSERT_EQ(v.size, 3);
    EXPECT_EQ(v.x(), x);
    EXPECT_EQ(v.y(), y);
    EXPECT_EQ(v.z(), z);
}

Gas filledGas() {
    Gas gas;
    gas.setDensity(1.2);
    gas.setTemperature(300.0);
    gas.setSpecificHeat(1005.0);
    gas.setMassFraction(0.25);
    gas.setVelocity(vector3(1.0, 2.0, 3.0));
    return gas;
}

} // namespace

TEST(Gas, DefaultIsAllZeroWithThreeElementVelocity) {
    const Gas gas;
    EXPECT_EQ(gas.density(), 0.0);
    EXPECT_EQ(gas.temperature(), 0.0);
    EXPECT_EQ(gas.specificHeat(), 0.0);
    EXPECT_EQ(gas.massFraction(), 0.0);
    expectVector(gas.velocity(), 0.0, 0.0, 0.0);
}

TEST(Gas, SettersStoreValuesUncheckedAndEachFieldIsSeparate) {
    Gas gas;
    gas.setDensity(-1.5);
    gas.setTemperature(-20.0);
    gas.setSpecificHeat(4.0);
    gas.setMassFraction(2.0);
    EXPECT_EQ(gas.density(), -1.5);
    EXPECT_EQ(gas.temperature(), -20.0);
    EXPECT_EQ(gas.specificHeat(), 4.0);
    EXPECT_EQ(gas.massFraction(), 2.0);
}

TEST(Gas, VelocityIsTheStoredVectorButSetVelocityCopies) {
    Gas gas;
    vector3 v(1.0, 2.0, 3.0);
    gas.setVelocity(v);
    v.data[0] = 9.0;
    expectVector(gas.velocity(), 1.0, 2.0, 3.0);

    gas.velocity().data[2] = -4.0;
    expectVector(gas.velocity(), 1.0, 2.0, -4.0);
}

TEST(Gas, AssignmentIsADeepCopy) {
    Gas source = filledGas();
    Gas copy;
    copy = source;
    source.setDensity(0.0);
    source.setTemperature(0.0);
    source.setSpecificHeat(0.0);
    source.setMassFraction(0.0);
    source.velocity().data[0] = 7.0;
    EXPECT_EQ(copy.density(), 1.2);
    EXPECT_EQ(copy.temperature(), 300.0);
    EXPECT_EQ(copy.specificHeat(), 1005.0);
    EXPECT_EQ(copy.massFraction(), 0.25);
    expectVector(copy.velocity(), 1.0, 2.0, 3.0);
}

TEST(JetGas, NewRecordIsPureSourceGasAtZeroRadius) {
    JetGas jet;
    EXPECT_EQ(jet.current.massFraction(), 1.0);
    EXPECT_EQ(jet.current.density(), 0.0);
    EXPECT_EQ(jet.radius(), 0.0);
    EXPECT_EQ(jet.source().massFraction(), 0.0);
    expectVector(jet.source().velocity(), 0.0, 0.0, 0.0);
}

TEST(JetGas, ResetClearsCurrentAndRadiusButKeepsSource) {
    JetGas jet;
    jet.current = filledGas();
    jet.setRadius(0.7);
    jet.source().setTemperature(450.0);
    jet.source().setSpecificHeat(2200.0);

    jet.reset();

    EXPECT_EQ(jet.current.density(), 0.0);
    EXPECT_EQ(jet.current.temperature(), 0.0);
    EXPECT_EQ(jet.current.specificHeat(), 0.0);
    EXPECT_EQ(jet.current.massFraction(), 1.0);
    expectVector(jet.current.velocity(), 0.0, 0.0, 0.0);
    EXPECT_EQ(jet.radius(), 0.0);
    EXPECT_EQ(jet.source().temperature(), 450.0);
    EXPECT_EQ(jet.source().specificHeat(), 2200.0);
}

TEST(JetGas, SetSourceCopiesTheGasAndSourceGivesTheStoredRecord) {
    JetGas jet;
    Gas gas = filledGas();
    jet.setSource(gas);
    gas.setTemperature(1.0);
    gas.velocity().data[1] = 8.0;
    EXPECT_EQ(jet.source().temperature(), 300.0);
    expectVector(jet.source().velocity(), 1.0, 2.0, 3.0);

    jet.source().setDensity(5.0);
    EXPECT_EQ(jet.source().density(), 5.0);
    jet.setRadius(3.5);
    EXPECT_EQ(jet.radius(), 3.5);
}
