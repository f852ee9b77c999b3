#include "ostreljet/mapping/FootprintWriter.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace ostreljet::mapping {
namespace {

// A square 10 m a side with a 2 m square hole, and a level that is not reached.
std::vector<LabelledFootprint> twoFootprints() {
    LabelledFootprint square;
    square.footprint.level = 0.01;
    square.footprint.grid = PlaneGrid{0.0, 0.0, 10.0, 10.0, 11, 11, 0.0};
    square.footprint.polygons.push_back(
        Polygon{{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, {{{4, 4}, {4, 6}, {6, 6}, {6, 4}}}});
    square.name = "1%";
    square.value = 1.0;
    square.unit = "%";
    square.gas = "carbon dioxide";
    square.scenario = "co2 <test>.json";
    LabelledFootprint none = square;
    none.footprint.polygons.clear();
    none.name = "5%";
    none.value = 5.0;
    return {square, none};
}

TEST(FootprintGeoJson, SiteFrameFeaturesWithClosedRingsAndANullGeometryWhereNotReached) {
    const auto json = nlohmann::json::parse(footprintGeoJson(twoFootprints(), nullptr));
    EXPECT_EQ(json["type"], "FeatureCollection");
    EXPECT_EQ(json["coordinates"], kSiteFrameCoordinates);
    ASSERT_EQ(json["features"].size(), 2u);
    const auto &first = json["features"][0];
    EXPECT_EQ(first["geometry"]["type"], "MultiPolygon");
    const auto &rings = first["geometry"]["coordinates"][0];
    ASSERT_EQ(rings.size(), 2u);
    EXPECT_EQ(rings[0].size(), 5u);
    EXPECT_EQ(rings[0].front(), rings[0].back());
    EXPECT_EQ(rings[1][1], nlohmann::json::array({4.0, 6.0}));
    EXPECT_EQ(first["properties"]["area_m2"], 96.0);
    EXPECT_EQ(first["properties"]["name"], "1%");
    EXPECT_EQ(first["properties"]["unit"], "%");
    EXPECT_EQ(first["properties"]["volumeFraction"], 0.01);
    EXPECT_EQ(first["properties"]["gridCell_m"], 1.0);
    EXPECT_EQ(first["properties"]["reached"], true);
    EXPECT_FALSE(first["properties"].contains("probability"));
    const auto &second = json["features"][1];
    EXPECT_TRUE(second["geometry"].is_null());
    EXPECT_EQ(second["properties"]["reached"], false);
    EXPECT_TRUE(second["properties"]["area_m2"].is_null());
}

TEST(FootprintGeoJson, LongitudeAndLatitudeWithAnOrigin) {
    const GeoTransform origin(52.0, 5.0);
    const auto json = nlohmann::json::parse(footprintGeoJson(twoFootprints(), &origin));
    EXPECT_EQ(json["coordinates"], "WGS84 longitude and latitude, degrees");
    const auto &corner = json["features"][0]["geometry"]["coordinates"][0][0][2];
    const GeoTransform::LonLat expected = origin.toLonLat(10.0, 10.0);
    EXPECT_EQ(corner[0].get<double>(), expected.longitude);
    EXPECT_EQ(corner[1].get<double>(), expected.latitude);
}

TEST(FootprintKml, PlacemarksWithEscapedNamesOuterAndInnerBoundaries) {
    const GeoTransform origin(52.0, 5.0);
    const std::string kml = footprintKml(twoFootprints(), origin);
    EXPECT_NE(kml.find("<name>co2 &lt;test&gt;.json</name>"), std::string::npos);
    EXPECT_NE(kml.find("<outerBoundaryIs><LinearRing><coordinates>5.0000000000,52.0000000000,0 "),
              std::string::npos);
    EXPECT_NE(kml.find("<innerBoundaryIs>"), std::string::npos);
    EXPECT_NE(kml.find("<Data name=\"reached\"><value>false</value></Data>"), std::string::npos);
    EXPECT_EQ(kml.find("<Placemark>", kml.find("<Placemark>") + 1) != std::string::npos, true);
}

} // namespace
} // namespace ostreljet::mapping
