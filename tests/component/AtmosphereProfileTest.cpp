#include "ostreljet/component/AtmosphereProfile.hpp"

#include <gtest/gtest.h>

#include <cmath>

using namespace ostreljet;

// Reference figures were worked out independently in python3 from the profile's formulas.

TEST(AtmosphereProfile, ClassDGivesTheClassHeightAndNeutralRows) {
    AtmosphereProfileInputs inputs;
    inputs.heights = {10.0, 50.0};
    const AtmosphereProfile profile = computeAtmosphereProfile(inputs);
    EXPECT_EQ(profile.boundaryLayerHeight, 500.0); // the class's, not the 1000 m of a new atmosphere
    EXPECT_EQ(profile.inverseObukhovLength, 0.0);
    EXPECT_NEAR(profile.frictionVelocity, 0.3800076716653453, 1e-15);
    EXPECT_EQ(profile.temperatureScale, 0.0);
    EXPECT_EQ(profile.surfaceTemperature, 288.15);
    ASSERT_EQ(profile.rows.size(), 2u);
    EXPECT_NEAR(profile.rows[0].windSpeed, 5.0, 1e-12);
    const AtmosphereProfileRow &row = profile.rows[1];
    EXPECT_NEAR(row.windSpeed, 6.747425010840047, 1e-11);
    EXPECT_NEAR(row.windX, 6.747425010840047, 1e-11);
    EXPECT_NEAR(row.windY, 0.0, 1e-13);
    EXPECT_EQ(row.temperature, 288.15);
    EXPECT_NEAR(row.density, 1.224810119238344, 1e-12);
    EXPECT_NEAR(row.eddyDiffusivity, 6.650134254143543, 1e-12);
    inputs.surfaceRoughness = 0.0; // gives non-finite values silently
    const AtmosphereProfile smooth = computeAtmosphereProfile(inputs);
    EXPECT_EQ(smooth.frictionVelocity, 0.0);
    EXPECT_TRUE(std::isnan(smooth.rows[1].windSpeed));
}

TEST(AtmosphereProfile, TheClassReachesTheProfile) {
    // Class A at 50 m; the surface layer's figures for every class are checked in the atmosphere tests.
    AtmosphereProfileInputs inputs;
    inputs.heights = {50.0};
    inputs.pasquillStability = PASQUILL_A;
    const AtmosphereProfile a = computeAtmosphereProfile(inputs);
    EXPECT_EQ(a.boundaryLayerHeight, 2500.0);
    EXPECT_NEAR(a.inverseObukhovLength, -0.1220690300077079, 1e-15);
    EXPECT_NEAR(a.temperatureScale, -2.9944076920800704, 1e-11);
    EXPECT_NEAR(a.rows[0].temperature, 285.85896944258, 1e-9);
}

TEST(AtmosphereProfile, EveryInputReachesTheRows) {
    AtmosphereProfileInputs inputs;
    inputs.referenceWindSpeed = 3.0;
    inputs.referenceWindHeight = 20.0;
    inputs.referenceWindBearing = 180.0;
    inputs.referenceTemperature = 300.0;
    inputs.pressure = 90000.0;
    inputs.molecularWeight = 0.03;
    inputs.surfaceRoughness = 0.5;
    inputs.heights = {20.0, 0.5, 0.2};
    const AtmosphereProfile profile = computeAtmosphereProfile(inputs);
    EXPECT_NEAR(profile.frictionVelocity, 0.35 * 3.0 / std::log(40.0), 1e-15);
    const AtmosphereProfileRow &top = profile.rows[0];
    EXPECT_NEAR(top.windSpeed, 3.0, 1e-12);
    EXPECT_NEAR(top.windX, 0.0, 1e-12); // blowing towards -y
    EXPECT_NEAR(top.windY, -3.0, 1e-12);
    EXPECT_EQ(top.temperature, 300.0);
    EXPECT_NEAR(top.density, 90000.0 * 0.03 / (300.0 * 8.31434), 1e-14);
    // At and below the roughness length there is no wind.
    EXPECT_EQ(profile.rows[1].windSpeed, 0.0);
    EXPECT_EQ(profile.rows[2].windX, 0.0);
}
