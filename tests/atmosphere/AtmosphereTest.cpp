#include "ostreljet/atmosphere/Atmosphere.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

using namespace ostreljet;

// Reference figures were worked out independently in python3 from the formulas.

namespace {

Atmosphere atmosphereFor(std::int32_t stabilityClass) {
    Atmosphere air;
    air.setSurfaceRoughness(0.1);
    air.setPasquillStability(stabilityClass);
    return air;
}

} // namespace

TEST(Atmosphere, ConstructionDefaults) {
    const Atmosphere air;
    EXPECT_EQ(air.pasquillStability(), PASQUILL_D);
    EXPECT_EQ(air.surfaceRoughness(), 0.0);
    EXPECT_EQ(air.molecularWeight(), 0.02896);
    EXPECT_EQ(air.pressure(), 101325.0);
    EXPECT_EQ(air.referenceWindSpeed(), 5.0);
    EXPECT_EQ(air.referenceWindHeight(), 10.0);
    EXPECT_EQ(air.referenceTemperature(), 288.15);
    EXPECT_EQ(air.referenceWindBearing(), 90.0);
    EXPECT_EQ(air.eddyDiffusivity(), 0.0);
    EXPECT_EQ(air.boundaryLayerHeight(), 1000.0); // not the 500 m of class D
    EXPECT_EQ(air.location().size, 3);
    EXPECT_EQ(air.location().z(), 0.0);
    // The local air is all zero until the first setLocation.
    EXPECT_EQ(air.density(), 0.0);
    EXPECT_EQ(air.temperature(), 0.0);
    EXPECT_EQ(air.specificHeat(), 0.0);
    EXPECT_EQ(air.massFraction(), 0.0);
    EXPECT_EQ(air.velocity().x(), 0.0);
}

TEST(Atmosphere, ProfileIsFirstBuiltOverTenCentimetresThoughTheRoughnessReadsZero) {
    Atmosphere air;
    EXPECT_NEAR(air.frictionVelocity(), 0.3800076716653453, 1e-15);
    EXPECT_NEAR(air.windSpeedAt(10.0), 5.0, 1e-12);
    EXPECT_EQ(air.inverseObukhovLength(), 0.0);
    EXPECT_EQ(air.surfaceTemperature(), 288.15);
    // Any rebuild then uses the stored roughness of 0 m: the logarithm is infinite and u* vanishes.
    air.setReferenceWindSpeed(5.0);
    EXPECT_EQ(air.frictionVelocity(), 0.0);
    EXPECT_TRUE(std::isnan(air.windSpeedAt(10.0)));
}

TEST(Atmosphere, BoundaryLayerHeightByClass) {
    Atmosphere air;
    const double heights[] = {2500.0, 1500.0, 800.0, 500.0, 300.0, 200.0};
    for (std::int32_t cls = PASQUILL_A; cls <= PASQUILL_F; ++cls) {
        air.setPasquillStability(cls);
        EXPECT_EQ(air.pasquillStability(), cls);
        EXPECT_EQ(air.boundaryLayerHeight(), heights[cls]);
    }
    air.setPasquillStability(6);
    EXPECT_EQ(air.boundaryLayerHeight(), 2500.0);
    air.setPasquillStability(-1);
    EXPECT_EQ(air.boundaryLayerHeight(), 2500.0);
    EXPECT_EQ(air.inverseObukhovLength(), 0.0);
}

TEST(Atmosphere, LocalAirAtFiftyMetresInClassA) {
    Atmosphere air = atmosphereFor(PASQUILL_A);
    air.setLocation(vector3(3.0, -4.0, 50.0));
    EXPECT_EQ(air.location().x(), 3.0);
    EXPECT_EQ(air.location().y(), -4.0);
    EXPECT_EQ(air.location().z(), 50.0);
    EXPECT_NEAR(air.velocity().x(), 5.918433849774423, 1e-11); // default bearing 90: along +x
    EXPECT_NEAR(air.velocity().y(), 0.0, 1e-13);
    EXPECT_EQ(air.velocity().z(), 0.0);
    EXPECT_NEAR(air.temperature(), 285.85896944258, 1e-9);
    EXPECT_NEAR(air.density(), 1.2346264192679843, 1e-12);
    EXPECT_NEAR(air.eddyDiffusivity(), 27.431113105273045, 1e-10);
    EXPECT_NEAR(air.temperatureAt(50.0), 285.85896944258, 1e-9);
    EXPECT_NEAR(air.eddyDiffusivityAt(50.0), 27.431113105273045, 1e-10);
}

TEST(Atmosphere, ClassFAndDAtFiftyMetres) {
    Atmosphere f = atmosphereFor(PASQUILL_F);
    f.setLocation(vector3(0.0, 0.0, 50.0));
    EXPECT_NEAR(f.velocity().x(), 10.600857409296005, 1e-10);
    EXPECT_NEAR(f.temperature(), 300.62870563037836, 1e-9);
    EXPECT_NEAR(f.frictionVelocity(), 0.21869182574913823, 1e-12);
    EXPECT_NEAR(f.surfaceTemperature(), 279.9844404030987, 1e-9);
    EXPECT_NEAR(f.temperatureScale(), 0.28481797148002214, 1e-12);

    Atmosphere d = atmosphereFor(PASQUILL_D);
    d.setLocation(vector3(0.0, 0.0, 50.0));
    EXPECT_NEAR(d.velocity().x(), 6.747425010840047, 1e-11);
    EXPECT_EQ(d.temperature(), 288.15);
    EXPECT_NEAR(d.density(), 1.224810119238344, 1e-12);
}

TEST(Atmosphere, BearingIsMeasuredFromNorthTowardsEastAndActsAtTheNextLocation) {
    Atmosphere air = atmosphereFor(PASQUILL_D);
    air.setLocation(vector3(0.0, 0.0, 10.0));
    EXPECT_NEAR(air.velocity().x(), 5.0, 1e-12);
    EXPECT_NEAR(air.velocity().y(), 0.0, 1e-13);

    air.setReferenceWindBearing(0.0);
    EXPECT_NEAR(air.velocity().x(), 5.0, 1e-12); // not yet
    air.setLocation(vector3(0.0, 0.0, 10.0));
    EXPECT_EQ(air.velocity().x(), 0.0);
    EXPECT_NEAR(air.velocity().y(), 5.0, 1e-12);

    air.setReferenceWindBearing(225.0);
    air.setLocation(vector3(0.0, 0.0, 10.0));
    EXPECT_NEAR(air.velocity().x(), -5.0 / std::sqrt(2.0), 1e-12);
    EXPECT_NEAR(air.velocity().y(), -5.0 / std::sqrt(2.0), 1e-12);
}

TEST(Atmosphere, PressureAndMolecularWeightActAtTheNextLocation) {
    Atmosphere air = atmosphereFor(PASQUILL_D);
    air.setLocation(vector3(0.0, 0.0, 50.0));
    air.setPressure(50662.5);
    air.setMolecularWeight(0.004);
    EXPECT_NEAR(air.density(), 1.224810119238344, 1e-12);
    air.setLocation(vector3(0.0, 0.0, 50.0));
    EXPECT_NEAR(air.density(), 50662.5 * 0.004 / (288.15 * 8.31434), 1e-15);
}

TEST(Atmosphere, ReferenceTemperatureWritesTheAirAtOnceAndRebuilds) {
    Atmosphere air = atmosphereFor(PASQUILL_D);
    air.setReferenceTemperature(300.0);
    EXPECT_EQ(air.temperature(), 300.0);
    EXPECT_EQ(air.referenceTemperature(), 300.0);
    EXPECT_EQ(air.surfaceTemperature(), 300.0);
    air.setSpecificHeat(1005.0);
    air.setLocation(vector3(0.0, 0.0, 20.0));
    EXPECT_EQ(air.specificHeat(), 1005.0); // setLocation leaves the specific heat alone
}

TEST(Atmosphere, RebuildingSettersGiveTheSameProfileInAnyOrder) {
    Atmosphere first;
    first.setPasquillStability(PASQUILL_B);
    first.setReferenceWindSpeed(3.0);
    first.setReferenceWindHeight(20.0);
    first.setSurfaceRoughness(0.3);
    first.setReferenceTemperature(280.0);

    Atmosphere second;
    second.setReferenceTemperature(280.0);
    second.setSurfaceRoughness(0.3);
    second.setReferenceWindHeight(20.0);
    second.setReferenceWindSpeed(3.0);
    second.setPasquillStability(PASQUILL_B);

    EXPECT_EQ(first.frictionVelocity(), second.frictionVelocity());
    EXPECT_EQ(first.surfaceTemperature(), second.surfaceTemperature());
    EXPECT_NEAR(first.windSpeedAt(20.0), 3.0, 1e-12);
    EXPECT_NEAR(first.temperatureAt(20.0), 280.0, 1e-9);
}

TEST(Atmosphere, BelowTheRoughnessThereIsNoWindAndTheSurfaceTemperature) {
    Atmosphere air = atmosphereFor(PASQUILL_A);
    air.setLocation(vector3(0.0, 0.0, 0.1));
    EXPECT_EQ(air.velocity().x(), 0.0);
    EXPECT_EQ(air.velocity().y(), 0.0);
    air.setLocation(vector3(0.0, 0.0, 0.01));
    EXPECT_NEAR(air.temperature(), 329.6672171260103, 1e-9);
    EXPECT_EQ(air.temperature(), air.surfaceTemperature());
}
