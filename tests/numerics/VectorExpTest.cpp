#include "ostreljet/numerics/VectorExp.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

using ostreljet::VectorExp;

namespace {

// Units in the last place between two finite doubles of one sign.
std::int64_t ulpsApart(double a, double b) {
    const std::int64_t difference = std::bit_cast<std::int64_t>(a) - std::bit_cast<std::int64_t>(b);
    return difference < 0 ? -difference : difference;
}

} // namespace

// Against the C library's exp over the range where both are normal numbers: within 4 ulp. Each value is
// the same alone as anywhere in a row, for rows of every length around the register's (the tail goes
// through a padded register). Exact at 0; 0 at minus infinity; NaN stays NaN.
TEST(VectorExp, WithinAnUlpOfTheCLibraryAndTheSameAloneAsInARow) {
    std::mt19937_64 random(20261126);
    std::uniform_real_distribution<double> argument(-708.0, 709.0);
    std::vector<double> x(4099);
    for (double &value : x)
        value = argument(random);
    std::vector<double> row(x.size());
    VectorExp::apply(x.data(), row.data(), x.size());
    for (std::size_t k = 0; k < x.size(); ++k)
        ASSERT_LE(ulpsApart(row[k], std::exp(x[k])), 4) << x[k];

    for (std::size_t length = 1; length <= 9; ++length) {
        std::vector<double> part(length);
        VectorExp::apply(x.data() + 100, part.data(), length);
        for (std::size_t k = 0; k < length; ++k) {
            double alone = 0.0;
            VectorExp::apply(&x[100 + k], &alone, 1);
            EXPECT_EQ(std::bit_cast<std::uint64_t>(part[k]), std::bit_cast<std::uint64_t>(row[100 + k]));
            EXPECT_EQ(std::bit_cast<std::uint64_t>(alone), std::bit_cast<std::uint64_t>(row[100 + k]));
        }
    }

    const double special[] = {
        0.0,    -0.0, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(),
        -745.2, 1.0};
    double out[6];
    VectorExp::apply(special, out, 6);
    EXPECT_EQ(out[0], 1.0);
    EXPECT_EQ(out[1], 1.0);
    EXPECT_EQ(out[2], 0.0);
    EXPECT_TRUE(std::isnan(out[3]));
    EXPECT_EQ(out[4], 0.0); // below the least subnormal either way
    EXPECT_LE(ulpsApart(out[5], 2.718281828459045), 4);
    // In place.
    double inPlace[3] = {0.0, 1.0, -1.0};
    VectorExp::apply(inPlace, inPlace, 3);
    EXPECT_EQ(inPlace[0], 1.0);
    EXPECT_LE(ulpsApart(inPlace[2], 0.36787944117144233), 4);
}
