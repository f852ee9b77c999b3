#include "ostreljet/atmosphere/Atmosphere.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

using namespace ostreljet;

// Figures worked out independently in python3 from the formulas.
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
    EXPECT_EQ(air.location().size, 3);
    // roughness, molecular weight, pressure, reference wind speed, height and temperature, bearing, eddy
    // diffusivity, the boundary layer (1000 m, not the 500 m of class D) and the location's height
    EXPECT_EQ((std::vector<double>{air.surfaceRoughness(), air.molecularWeight(), air.pressure(),
                                   air.referenceWindSpeed(), air.referenceWindHeight(),
                                   air.referenceTemperature(), air.referenceWindBearing(),
                                   air.eddyDiffusivity(), air.boundaryLayerHeight(), air.location().z()}),
              (std::vector<double>{0.0, 0.02896, 101325.0, 5.0, 10.0, 288.15, 90.0, 0.0, 1000.0, 0.0}));
    // The local air is all zero until the first setLocation.
    EXPECT_EQ((std::vector<double>{air.density(), air.temperature(), air.specificHeat(), air.massFraction(),
                                   air.velocity().x()}),
              std::vector<double>(5, 0.0));
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
    const double heights[] = {2500.0, 2500.0, 1500.0, 800.0, 500.0, 300.0, 200.0, 2500.0}; // classes -1 to 6
    for (std::int32_t cls = -1; cls <= 6; ++cls) {
        air.setPasquillStability(cls);
        EXPECT_EQ(air.boundaryLayerHeight(), heights[cls + 1]) << cls;
    }
    EXPECT_EQ(air.inverseObukhovLength(), 0.0); // an unknown class is neutral
}

// The surface layer's wind and temperature for every class are checked on the profile itself; here the
// local air takes them, with the density of the ideal gas.
TEST(Atmosphere, LocalAirAtFiftyMetresInClassesAAndD) {
    Atmosphere a = atmosphereFor(PASQUILL_A), d = atmosphereFor(PASQUILL_D);
    for (Atmosphere *air : {&a, &d}) {
        air->setLocation(vector3(3.0, -4.0, 50.0));
        EXPECT_NEAR(air->velocity().y(), 0.0, 1e-13); // default bearing 90: along +x
        EXPECT_EQ(air->velocity().z(), 0.0);
    }
    EXPECT_NEAR(a.velocity().x(), 5.918433849774423, 1e-11);
    EXPECT_NEAR(a.temperature(), 285.85896944258, 1e-9);
    EXPECT_NEAR(a.density(), 1.2346264192679843, 1e-12);
    EXPECT_NEAR(a.eddyDiffusivity(), 27.431113105273045, 1e-10);
    EXPECT_NEAR(a.temperatureAt(50.0), 285.85896944258, 1e-9);
    EXPECT_NEAR(a.eddyDiffusivityAt(50.0), 27.431113105273045, 1e-10);
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

TEST(Atmosphere, PressureAndMolecularWeightActAtTheNextLocationTheReferenceTemperatureAtOnce) {
    Atmosphere air = atmosphereFor(PASQUILL_D);
    air.setLocation(vector3(0.0, 0.0, 50.0));
    air.setPressure(50662.5);
    air.setMolecularWeight(0.004);
    air.setSpecificHeat(1005.0);
    EXPECT_NEAR(air.density(), 1.224810119238344, 1e-12);
    air.setLocation(vector3(0.0, 0.0, 50.0));
    EXPECT_NEAR(air.density(), 50662.5 * 0.004 / (288.15 * 8.31434), 1e-15);
    EXPECT_EQ(air.specificHeat(), 1005.0); // setLocation leaves the specific heat alone
    air.setReferenceTemperature(300.0);    // writes the air at once and rebuilds the profile
    EXPECT_EQ(air.temperature(), 300.0);
    EXPECT_EQ(air.referenceTemperature(), 300.0);
    EXPECT_EQ(air.surfaceTemperature(), 300.0);
}

TEST(Atmosphere, TheAirOfTheLastHeightIsReusedOnlyWhileNoInputChanges) {
    Atmosphere air = atmosphereFor(PASQUILL_D);
    air.setLocation(vector3(0.0, 0.0, 50.0));
    const double wind = air.velocity().x();
    const double density = air.density();
    air.setTemperature(1.0); // a write to the air itself is undone by the next location
    air.setLocation(vector3(3.0, 4.0, 50.0));
    EXPECT_EQ(air.velocity().x(), wind);
    EXPECT_EQ(air.density(), density);
    EXPECT_EQ(air.location().x(), 3.0);
    air.setReferenceWindSpeed(10.0); // a profile input: the same height now has twice the wind
    air.setLocation(vector3(0.0, 0.0, 50.0));
    EXPECT_NEAR(air.velocity().x(), 2.0 * wind, 1e-12);
    air.setSurfaceRoughness(1.0);
    air.setLocation(vector3(0.0, 0.0, 50.0));
    EXPECT_NE(air.velocity().x(), 2.0 * wind);
}
