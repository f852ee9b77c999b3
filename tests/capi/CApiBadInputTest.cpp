// The C API checks what the component leaves to its caller: null pointers, names, indexes, capacities
// and grid counts. Each refusal returns its status, writes nothing and leaves a message that names the fault.
#include "capi/CApiTestSupport.hpp"
#include "ostreljet/ostreljet.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

using ostreljet::testsupport::Model;
using ostreljet::testsupport::validVent;

std::string lastError() {
    return ostreljet_last_error();
}

// The methane vent, run once.
Model ranVent() {
    Model m = validVent();
    EXPECT_EQ(ostreljet_run(m.get()), 1);
    EXPECT_GT(ostreljet_step_count(m.get()), 2);
    return m;
}

constexpr double kUntouched = -7.0;

} // namespace

TEST(CApiBadInput, NullPointersAreRefused) {
    Model m = ranVent();
    double value = kUntouched;
    EXPECT_EQ(ostreljet_set(nullptr, "stackHeight", 1.0), -2);
    EXPECT_EQ(ostreljet_set(m.get(), nullptr, 1.0), -2);
    EXPECT_EQ(ostreljet_get(nullptr, "stackHeight", &value), -2);
    EXPECT_EQ(ostreljet_get(m.get(), nullptr, &value), -2);
    EXPECT_EQ(ostreljet_get(m.get(), "stackHeight", nullptr), -2);
    EXPECT_EQ(lastError(), "null model, property name or result pointer");
    EXPECT_EQ(value, kUntouched);
    EXPECT_EQ(ostreljet_run(nullptr), -2);
    EXPECT_EQ(ostreljet_step_count(nullptr), -2);
    EXPECT_EQ(ostreljet_message_count(nullptr), -2);
    EXPECT_EQ(ostreljet_message(nullptr, 0), nullptr);
    EXPECT_EQ(ostreljet_series(nullptr, "x", &value, 1), -2);
    EXPECT_EQ(ostreljet_series(m.get(), nullptr, &value, 1), -2);
    EXPECT_EQ(ostreljet_series(m.get(), "x", nullptr, 1), -2);
    EXPECT_EQ(ostreljet_series(m.get(), "x", nullptr, 0), 0); // nothing to write, nowhere to write it
    EXPECT_EQ(ostreljet_load_scenario(nullptr, "vent.json"), -2);
    EXPECT_EQ(ostreljet_load_scenario(m.get(), nullptr), -2);
    EXPECT_TRUE(std::isnan(ostreljet_concentration(nullptr, 0, 0, 0)));
    EXPECT_EQ(ostreljet_concentration_grid(nullptr, 0, 0, 0, 1, 1, 1, 1, 1, 1, &value, 1), -1);
    EXPECT_EQ(lastError(), "null model");
    EXPECT_EQ(ostreljet_concentration_grid(m.get(), 0, 0, 0, 1, 1, 1, 1, 1, 1, nullptr, 1), -1);
    EXPECT_EQ(lastError(), "null output array is too small for the 1 points of the grid (1 x 1 x 1)");
    EXPECT_EQ(value, kUntouched);
    ostreljet_destroy(nullptr);
}

TEST(CApiBadInput, UnknownNamesAreNamed) {
    Model m = ranVent();
    double value = kUntouched;
    EXPECT_EQ(ostreljet_set(m.get(), "", 1.0), -1);
    EXPECT_EQ(lastError(), "unknown property \"\"");
    EXPECT_EQ(ostreljet_get(m.get(), "stackHeight ", &value), -1);
    EXPECT_EQ(lastError(), "unknown property \"stackHeight \"");
    EXPECT_EQ(ostreljet_series(m.get(), "X", &value, 1), -1);
    EXPECT_EQ(lastError(), "unknown series \"X\"");
    EXPECT_EQ(value, kUntouched);
}

TEST(CApiBadInput, MessageIndexesOutsideTheListGiveNull) {
    Model m = ranVent();
    const int count = ostreljet_message_count(m.get());
    ASSERT_GE(count, 1);
    EXPECT_NE(ostreljet_message(m.get(), count - 1), nullptr);
    for (int index : {count, count + 1, INT_MAX, -1, INT_MIN}) {
        EXPECT_EQ(ostreljet_message(m.get(), index), nullptr) << index;
    }
}

TEST(CApiBadInput, SeriesCapacities) {
    Model m = ranVent();
    const int steps = ostreljet_step_count(m.get());
    std::vector<double> buffer(static_cast<std::size_t>(steps) + 1, kUntouched);
    EXPECT_EQ(ostreljet_series(m.get(), "arclength", buffer.data(), -1), -2);
    EXPECT_EQ(ostreljet_series(m.get(), "arclength", buffer.data(), INT_MIN), -2);
    EXPECT_EQ(lastError(), "negative capacity or null output array");
    EXPECT_EQ(buffer[0], kUntouched);
    EXPECT_EQ(ostreljet_series(m.get(), "arclength", buffer.data(), 1), 1);
    EXPECT_EQ(buffer[0], 0.0); // the orifice
    EXPECT_EQ(buffer[1], kUntouched);
    // Any capacity beyond the series copies the series alone; the last slot stays untouched.
    EXPECT_EQ(ostreljet_series(m.get(), "arclength", buffer.data(), steps + 1), steps);
    EXPECT_EQ(buffer[static_cast<std::size_t>(steps)], kUntouched);
    EXPECT_EQ(ostreljet_series(m.get(), "arclength", buffer.data(), INT_MAX), steps);
    EXPECT_EQ(buffer[static_cast<std::size_t>(steps)], kUntouched);
}

TEST(CApiBadInput, GridCountsAndCapacities) {
    Model m = ranVent();
    std::vector<double> buffer(9, kUntouched);
    const auto grid = [&](int nx, int ny, int nz, double *out, long long capacity) {
        return ostreljet_concentration_grid(m.get(), 0, -5, 0, 50, 5, 30, nx, ny, nz, out, capacity);
    };
    EXPECT_EQ(grid(2, -1, 2, buffer.data(), 9), -1);
    EXPECT_EQ(lastError(), "negative point count in the grid of 2 x -1 x 2 points");
    EXPECT_EQ(grid(-1, -1, 2, buffer.data(), 9), -1); // an even number of negatives is still refused
    // (2^31 - 1)^3 is about 9.9e27, beyond 2^63: refused whatever capacity is claimed.
    EXPECT_EQ(grid(INT_MAX, INT_MAX, INT_MAX, buffer.data(), LLONG_MAX), -1);
    EXPECT_EQ(lastError(),
              "the grid of 2147483647 x 2147483647 x 2147483647 points has more points than can be counted");
    EXPECT_EQ(grid(INT_MAX, INT_MAX, 2, buffer.data(), 9), -1); // 2^63 - 2^33 + 2 points fit in 64 bits
    EXPECT_EQ(lastError(), "output capacity 9 is too small for the 9223372028264841218 points of the grid "
                           "(2147483647 x 2147483647 x 2)");
    EXPECT_EQ(grid(2, 2, 2, buffer.data(), -1), -1);
    EXPECT_EQ(lastError(), "negative output capacity -1");
    EXPECT_EQ(grid(2, 2, 2, buffer.data(), 7), -1);
    for (double value : buffer) {
        EXPECT_EQ(value, kUntouched);
    }
    EXPECT_EQ(grid(2, 2, 2, buffer.data(), 9), 8);
    EXPECT_EQ(buffer[8], kUntouched);
    // A zero count empties the grid whatever the other counts, so no buffer is needed.
    EXPECT_EQ(grid(0, INT_MAX, INT_MAX, nullptr, 0), 0);
    EXPECT_EQ(grid(INT_MAX, INT_MAX, 0, nullptr, 0), 0);
}

TEST(CApiBadInput, EnumerationsTakeWhole32BitNumbersOnly) {
    Model m(ostreljet_create());
    double value = 0.0;
    EXPECT_EQ(ostreljet_set(m.get(), "pasquillStability", 2147483648.0), -2);
    EXPECT_EQ(ostreljet_set(m.get(), "timeAveraging", std::nan("")), -2);
    EXPECT_NE(lastError().find("\"timeAveraging\" takes an integer"), std::string::npos) << lastError();
    EXPECT_EQ(ostreljet_get(m.get(), "timeAveraging", &value), 0);
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(ostreljet_set(m.get(), "pasquillStability", -2147483648.0), 0); // stored as given
    EXPECT_EQ(ostreljet_get(m.get(), "pasquillStability", &value), 0);
    EXPECT_EQ(value, -2147483648.0);
}

TEST(CApiBadInput, ScenarioFilesThatCannotBeRead) {
    Model m(ostreljet_create());
    EXPECT_EQ(ostreljet_load_scenario(m.get(), "/nonexistent/vent.json"), -2);
    EXPECT_EQ(lastError(), "/nonexistent/vent.json: no such file");
    EXPECT_EQ(ostreljet_load_scenario(m.get(), "/"), -2);
    EXPECT_EQ(lastError(), "/: is a directory, not a scenario file");
    EXPECT_EQ(ostreljet_load_scenario(m.get(), ""), -2);
}

TEST(CApiBadInput, DeeplyNestedValuesAreNamedByTheirType) {
    // Writing such a value out would recurse once per level; the message names its type instead.
    const std::string path = ::testing::TempDir() + "ostreljet_deep.json";
    const std::size_t depth = 200000;
    {
        std::ofstream out(path);
        out << "{\"stackHeight\": " << std::string(depth, '[') << std::string(depth, ']') << "}";
    }
    Model m(ostreljet_create());
    EXPECT_EQ(ostreljet_load_scenario(m.get(), path.c_str()), -2);
    EXPECT_EQ(lastError(), path + ": \"stackHeight\" must be a number, not a deeply nested array");
    {
        std::ofstream out(path);
        out << "{\"gas\": " << std::string(17, '[') << std::string(17, ']') << "}";
    }
    EXPECT_EQ(ostreljet_load_scenario(m.get(), path.c_str()), -2);
    EXPECT_EQ(lastError(), path + ": \"gas\" must be the name of a gas, not a deeply nested array");
    {
        // Sixteen levels are still shown.
        std::ofstream out(path);
        out << "{\"gas\": " << std::string(16, '[') << std::string(16, ']') << "}";
    }
    EXPECT_EQ(ostreljet_load_scenario(m.get(), path.c_str()), -2);
    EXPECT_EQ(lastError(),
              path + ": \"gas\" must be the name of a gas, not [[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]");
    std::remove(path.c_str());
}
