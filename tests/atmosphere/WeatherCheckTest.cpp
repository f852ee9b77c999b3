#include "ostreljet/atmosphere/WeatherCheck.hpp"
#include "ostreljet/atmosphere/Atmosphere.hpp"

#include <gtest/gtest.h>

#include <string>

using ostreljet::Atmosphere;
using ostreljet::WeatherCheck;

namespace {

Atmosphere weather(int stabilityClass, double windSpeed) {
    Atmosphere air;
    air.setPasquillStability(stabilityClass);
    air.setSurfaceRoughness(0.1);
    air.setReferenceWindHeight(10.0);
    air.setReferenceWindSpeed(windSpeed);
    air.setReferenceTemperature(288.15);
    return air;
}

} // namespace

TEST(WeatherCheck, PasquillsKeyByWindSpeedAt10m) {
    // Turner (1970), Table 3-1, after Pasquill (1961): the classes each band of wind speed gives by day or
    // by night, D (overcast) everywhere; night below 2 m/s is left blank, so E and F are not questioned.
    const char *usual[] = {
        "ABDEF",  // 1 m/s
        "ABCDEF", // 2.5 m/s
        "BCDE",   // 4 m/s
        "CD",     // 5.5 m/s
        "CD",     // 8 m/s
    };
    const double speeds[] = {1.0, 2.5, 4.0, 5.5, 8.0};
    for (int band = 0; band < 5; ++band) {
        for (int c = 0; c < 6; ++c) {
            const bool expected =
                std::string(usual[band]).find(static_cast<char>('A' + c)) != std::string::npos;
            EXPECT_EQ(WeatherCheck::usualClass(c, speeds[band]), expected)
                << char('A' + c) << " " << speeds[band];
        }
    }
    // Band edges: 2, 3, 5 and 6 m/s start the next band.
    EXPECT_FALSE(WeatherCheck::usualClass(2, 1.99));
    EXPECT_TRUE(WeatherCheck::usualClass(2, 2.0));
    EXPECT_TRUE(WeatherCheck::usualClass(5, 2.99));
    EXPECT_FALSE(WeatherCheck::usualClass(5, 3.0));
    EXPECT_TRUE(WeatherCheck::usualClass(4, 4.99));
    EXPECT_FALSE(WeatherCheck::usualClass(4, 5.0));
    EXPECT_EQ(WeatherCheck::classLetter(3), "D");
}

TEST(WeatherCheck, RefusesASurfaceLayerThatCannotBeRealAndNamesWhatFailed) {
    // Class A at 15 m/s: the profile's temperature at the ground is about -2160 K.
    const WeatherCheck::Finding unstable = WeatherCheck::of(weather(0, 15.0));
    ASSERT_TRUE(unstable.refusal);
    EXPECT_EQ(unstable.refusal->rfind(
                  "The weather is not physical: class A with a wind speed of 15 m/s at 10 m gives "
                  "an air temperature of -2160 K at 0 m above the ground.",
                  0),
              0u)
        << *unstable.refusal;
    // Ordinary weather passes; an unusual class is only noticed.
    EXPECT_FALSE(WeatherCheck::of(weather(3, 5.0)).refusal);
    EXPECT_FALSE(WeatherCheck::of(weather(3, 5.0)).notice);
    const WeatherCheck::Finding stable = WeatherCheck::of(weather(5, 5.0));
    EXPECT_FALSE(stable.refusal);
    ASSERT_TRUE(stable.notice);
    EXPECT_EQ(*stable.notice,
              "Class F is unusual for a wind speed of 5 m/s at 10 m: Pasquill's key to stability "
              "classes does not give it at that speed (Pasquill 1961; Turner 1970, Table 3-1).");
    // Inputs that validation refuses on their own are left to it.
    EXPECT_FALSE(WeatherCheck::of(weather(0, 0.0)).refusal);
    Atmosphere rough = weather(0, 15.0);
    rough.setSurfaceRoughness(0.0);
    EXPECT_FALSE(WeatherCheck::of(rough).refusal);
}
