// The C API's footprints, plane and weather: what a host copies out, and what it is refused.
#include "CApiTestSupport.hpp"

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

namespace ostreljet::testsupport {
namespace {

Model co2() {
    Model m(ostreljet_create());
    EXPECT_EQ(ostreljet_load_scenario(m.get(), OSTRELJET_EXAMPLES_DIR "/horizontal_dense_release.json"), 0);
    EXPECT_EQ(ostreljet_run(m.get()), 1);
    return m;
}

TEST(MappingApi, FootprintTextIsAskedForByLengthThenCopiedWhole) {
    const Model m = co2();
    const double none = std::nan("");
    const long long length =
        ostreljet_footprint_geojson(m.get(), "1%,5%", "vol", 0.0, none, none, nullptr, 0);
    ASSERT_GT(length, 100);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    EXPECT_EQ(ostreljet_footprint_geojson(m.get(), "1%,5%", "vol", 0.0, none, none, text.data(), length + 1),
              length);
    EXPECT_EQ(text[static_cast<std::size_t>(length)], '\0');
    EXPECT_NE(text.find("\"type\": \"FeatureCollection\""), std::string::npos);
    EXPECT_NE(text.find("\"name\": \"5%\""), std::string::npos);
    // Too small a buffer is left alone.
    std::string small(10, 'x');
    EXPECT_EQ(ostreljet_footprint_geojson(m.get(), "1%", "vol", 0.0, none, none, small.data(), 10),
              ostreljet_footprint_geojson(m.get(), "1%", "vol", 0.0, none, none, nullptr, 0));
    EXPECT_EQ(small, std::string(10, 'x'));
    // The carbon dioxide has no named gas, so no LFL; a latitude off the globe; a negative height.
    EXPECT_EQ(ostreljet_footprint_geojson(m.get(), "LFL", "vol", 0.0, none, none, nullptr, 0), -1);
    EXPECT_NE(std::string(ostreljet_last_error()).find("LFL"), std::string::npos);
    EXPECT_EQ(ostreljet_footprint_geojson(m.get(), "1%", "vol", 0.0, 95.0, 5.0, nullptr, 0), -1);
    EXPECT_STREQ(ostreljet_last_error(), "the origin's latitude 95 is not within [-89, 89] degrees");
    EXPECT_EQ(ostreljet_footprint_geojson(m.get(), "1%", "vol", -1.0, none, none, nullptr, 0), -1);
    const Model unrun(ostreljet_create());
    EXPECT_EQ(ostreljet_footprint_geojson(unrun.get(), "1%", "vol", 0.0, none, none, nullptr, 0), -1);
    EXPECT_STREQ(ostreljet_last_error(), "the model has no run with results to map");
}

TEST(MappingApi, ThePlaneIsThePointQueryAtEveryNode) {
    const Model m = co2();
    // Out to 300 m east, far past the jet's end 36 m downwind: the far field answers there as the point
    // query does: on the axis above 0.01 % (0.1 % reaches 194.7 m downwind).
    std::vector<double> values(11 * 5);
    ASSERT_EQ(ostreljet_plane(m.get(), 0.0, -2.0, 300.0, 2.0, 11, 5, 0.0, values.data(), 55), 55);
    for (int i = 0; i < 11; ++i) {
        for (int j = 0; j < 5; ++j) {
            EXPECT_EQ(values[static_cast<std::size_t>(i * 5 + j)],
                      ostreljet_concentration(m.get(), 30.0 * i, -2.0 + j, 0.0));
        }
    }
    EXPECT_GT(values[10 * 5 + 2], 1e-4);
    EXPECT_EQ(ostreljet_plane(m.get(), 0.0, -2.0, 30.0, 2.0, 11, 5, 0.0, values.data(), 54), -1);
    EXPECT_EQ(ostreljet_plane(m.get(), 0.0, std::nan(""), 30.0, 2.0, 11, 5, 0.0, values.data(), 55), -1);
}

TEST(MappingApi, RoseCasesAndOneCaseWeather) {
    const std::string path = ::testing::TempDir() + "mapping_api_rose.csv";
    std::ofstream(path) << "windFrom,windSpeed,pasquillStability,frequency,atmosphereTemperature\n"
                           "0,2,F,3,280\n180,6,A,1,300\n";
    ASSERT_EQ(ostreljet_weather_rose(path.c_str(), nullptr, 0), 2);
    double cases[12];
    ASSERT_EQ(ostreljet_weather_rose(path.c_str(), cases, 2), 2);
    EXPECT_EQ(cases[3], 0.75);
    EXPECT_EQ(cases[2], 5.0);
    EXPECT_EQ(cases[4], 280.0);
    EXPECT_EQ(cases[6 + 5], 2.0);
    EXPECT_EQ(ostreljet_weather_rose(path.c_str(), cases, 1), -1);
    std::ofstream(path) << "windFrom,windSpeed,pasquillStability,frequency\n0,2,Q,1\n";
    EXPECT_EQ(ostreljet_weather_rose(path.c_str(), nullptr, 0), -1);
    EXPECT_NE(std::string(ostreljet_last_error()).find("line 2 (row 1), column pasquillStability"),
              std::string::npos);

    // The example's release points downwind (90° into a wind towards 90°); from the north it turns south.
    const Model m = co2();
    ASSERT_EQ(ostreljet_apply_weather(m.get(), 0.0, 4.0, 5, 275.0), 0);
    double value = 0.0;
    ASSERT_EQ(ostreljet_get(m.get(), "referenceWindBearing", &value), 0);
    EXPECT_EQ(value, 180.0);
    ASSERT_EQ(ostreljet_get(m.get(), "stackBearing", &value), 0);
    EXPECT_EQ(value, 180.0);
    ASSERT_EQ(ostreljet_get(m.get(), "referenceWindSpeed", &value), 0);
    EXPECT_EQ(value, 4.0);
    ASSERT_EQ(ostreljet_get(m.get(), "atmosphereTemperature", &value), 0);
    EXPECT_EQ(value, 275.0);
    EXPECT_NE(ostreljet_apply_weather(m.get(), 0.0, 4.0, 6, std::nan("")), 0);
}

} // namespace
} // namespace ostreljet::testsupport
