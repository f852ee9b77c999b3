#include "ostreljet/atmosphere/Gas.hpp"
#include "ostreljet/atmosphere/JetGas.hpp"

#include <gtest/gtest.h>

#include <vector>

using ostreljet::Gas;
using ostreljet::JetGas;
using ostreljet::vector3;

// density, temperature, specific heat, mass fraction and the velocity's three elements
static std::vector<double> fields(const Gas &g) {
    EXPECT_EQ(g.velocity().size, 3);
    return {g.density(),      g.temperature(),  g.specificHeat(), g.massFraction(),
            g.velocity().x(), g.velocity().y(), g.velocity().z()};
}

TEST(Gas, DefaultsResetAndDeepCopies) {
    EXPECT_EQ(fields(Gas()), std::vector<double>(7, 0.0));
    JetGas jet; // a new or reset record is pure source gas at zero radius; reset keeps the source
    const std::vector<double> pure = {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};
    EXPECT_EQ(fields(jet.current), pure);
    EXPECT_EQ(jet.radius(), 0.0);
    EXPECT_EQ(fields(jet.source()), std::vector<double>(7, 0.0));
    Gas source;
    source.setDensity(1.2);
    source.setTemperature(300.0);
    source.setSpecificHeat(1005.0);
    source.setMassFraction(0.25);
    source.setVelocity(vector3(1.0, 2.0, 3.0));
    const std::vector<double> filled = {1.2, 300.0, 1005.0, 0.25, 1.0, 2.0, 3.0};
    jet.current = source;
    jet.setSource(source);
    jet.setRadius(0.7);
    source.velocity().data[0] = 7.0; // velocity() is the stored vector; the copies are deep
    EXPECT_EQ(source.velocity().x(), 7.0);
    EXPECT_EQ(fields(jet.current), filled);
    EXPECT_EQ(fields(jet.source()), filled);
    jet.reset();
    EXPECT_EQ(fields(jet.current), pure);
    EXPECT_EQ(jet.radius(), 0.0);
    EXPECT_EQ(fields(jet.source()), filled);
}
