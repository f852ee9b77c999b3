#include "ostreljet/mapping/GeoTransform.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace ostreljet::mapping {
namespace {

// WGS84: semi-major axis 6378137 m, flattening 1/298.257223563.
constexpr double kA = 6378137.0;
constexpr double kF = 1.0 / 298.257223563;
constexpr double kE2 = kF * (2.0 - kF);
constexpr double kDegree = 0.017453292519943278;

// Radius of curvature of the meridian at latitude phi (radians), m.
double meridianRadius(double phi) {
    const double s = std::sin(phi);
    return kA * (1.0 - kE2) / std::pow(1.0 - kE2 * s * s, 1.5);
}

// Length of the meridian between two latitudes (degrees), m, by Simpson's rule.
double meridianArc(double fromDegrees, double toDegrees) {
    constexpr int n = 1000;
    const double h = (toDegrees - fromDegrees) * kDegree / n;
    double sum = meridianRadius(fromDegrees * kDegree) + meridianRadius(toDegrees * kDegree);
    for (int k = 1; k < n; ++k) {
        sum += (k % 2 == 1 ? 4.0 : 2.0) * meridianRadius(fromDegrees * kDegree + k * h);
    }
    return sum * h / 3.0;
}

TEST(GeoTransform, HandWorkedPointsNearFiftyTwoNorth) {
    const GeoTransform t(52.0, 5.0);
    // The origin is itself.
    EXPECT_NEAR(t.toLonLat(0.0, 0.0).latitude, 52.0, 1e-12);
    EXPECT_NEAR(t.toLonLat(0.0, 0.0).longitude, 5.0, 1e-12);
    // 1 km north: 1000 m / M(52°) = 0.0089874 degrees of latitude, the longitude unchanged.
    const GeoTransform::LonLat north = t.toLonLat(0.0, 1000.0);
    EXPECT_NEAR(north.latitude - 52.0, 0.0089874, 1e-7);
    EXPECT_NEAR(north.longitude, 5.0, 1e-12);
    // 1 km east: 1000 m / (N cos 52°) = 0.0145607 degrees of longitude; the latitude drops by
    // x² tan(52°) / (2 N M), under 1e-6 degrees.
    const GeoTransform::LonLat east = t.toLonLat(1000.0, 0.0);
    EXPECT_NEAR(east.longitude - 5.0, 0.0145607, 1e-7);
    EXPECT_NEAR(east.latitude, 52.0, 2e-6);
    EXPECT_LT(east.latitude, 52.0);
}

TEST(GeoTransform, TwentyKilometresNorthIsTheMeridianArcToWithinACentimetreAndRoundTrips) {
    const GeoTransform t(52.0, 5.0);
    const GeoTransform::LonLat far = t.toLonLat(0.0, 20000.0);
    EXPECT_NEAR(meridianArc(52.0, far.latitude), 20000.0, 0.01);
    for (const double x : {-20000.0, 0.0, 13000.0, 20000.0}) {
        for (const double y : {-20000.0, 500.0, 20000.0}) {
            const GeoTransform::LonLat ll = t.toLonLat(x, y);
            const GeoTransform::EastNorth back = t.toSite(ll.longitude, ll.latitude);
            EXPECT_NEAR(back.x, x, 1e-3);
            EXPECT_NEAR(back.y, y, 1e-3);
        }
    }
}

TEST(GeoTransform, RefusesAnOriginOffTheGlobeNamingTheValue) {
    try {
        GeoTransform t(95.0, 5.0);
        FAIL();
    } catch (const GeoTransformError &e) {
        EXPECT_STREQ(e.what(), "the origin's latitude 95 is not within [-89, 89] degrees");
    }
    EXPECT_THROW(GeoTransform(52.0, 181.0), GeoTransformError);
    EXPECT_THROW(GeoTransform(std::nan(""), 0.0), GeoTransformError);
}

} // namespace
} // namespace ostreljet::mapping
