#include "ostreljet/farfield/GaussianPlume.hpp"
#include "ostreljet/farfield/AveragingTime.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

using ostreljet::AveragingTime;
using ostreljet::GaussianPlume;

namespace {
constexpr double kNoLid = std::numeric_limits<double>::infinity();
}

// Values worked by hand: q = 1 m3/s, u = 5 m/s, sigma_y = 10 m, sigma_z = 5 m, source 10 m up.
// At ground level below the axis: 1 / (2 pi 10 5 5) * 2 exp(-100 / 50) = 1.7231423e-4.
// On the axis: 1 / (2 pi 250) * (1 + exp(-400 / 50)) = 6.3683333e-4.
// 5 m to the side at ground level: the ground value times exp(-25 / 200) = 1.5206678e-4.
TEST(GaussianPlume, ReflectionAtTheGroundAgreesWithHandWorkedValues) {
    EXPECT_NEAR(GaussianPlume::concentration(1.0, 5.0, 10.0, 5.0, 0.0, 0.0, 10.0, kNoLid), 1.7231423441e-4,
                1e-13);
    EXPECT_NEAR(GaussianPlume::concentration(1.0, 5.0, 10.0, 5.0, 0.0, 10.0, 10.0, kNoLid), 6.3683333451e-4,
                1e-13);
    EXPECT_NEAR(GaussianPlume::concentration(1.0, 5.0, 10.0, 5.0, 5.0, 0.0, 10.0, kNoLid), 1.5206677814e-4,
                1e-13);
    // Nothing below the ground.
    EXPECT_EQ(GaussianPlume::concentration(1.0, 5.0, 10.0, 5.0, 0.0, -0.1, 10.0, kNoLid), 0.0);
}

// A lid at 30 m, source at 10 m, sigma_z = 20 m: images at 2 n 30 +- 10 m, summed by hand to |n| = 50:
// 1.8572431959 at the ground and 1.6713443026 at 15 m; nothing above the lid.
TEST(GaussianPlume, ReflectionAtTheLidAgreesWithTheImageSum) {
    EXPECT_NEAR(GaussianPlume::verticalFactor(0.0, 10.0, 20.0, 30.0), 1.8572431959, 1e-9);
    EXPECT_NEAR(GaussianPlume::verticalFactor(15.0, 10.0, 20.0, 30.0), 1.6713443026, 1e-9);
    EXPECT_EQ(GaussianPlume::verticalFactor(30.5, 10.0, 20.0, 30.0), 0.0);
    // Well mixed once sigma_z passes twice the lid: sqrt(2 pi) 100 / 30, which the image sum also gives.
    EXPECT_NEAR(GaussianPlume::verticalFactor(0.0, 10.0, 100.0, 30.0), 8.3554275821, 1e-8);
    // Just below the switch the image sum differs from the well-mixed value by its first Fourier term,
    // 2 exp(-pi^2 sigma^2 / (2 lid^2)) cos(pi h / lid) cos(pi z / lid) = 2.7e-9 of it here.
    const double mixed = std::sqrt(2.0 * M_PI) * 59.999 / 30.0;
    EXPECT_NEAR(GaussianPlume::verticalFactor(0.0, 10.0, 59.999, 30.0), mixed, 3e-9 * mixed);
}

// The power law with exponent 0.2 referred to 600 s: 6^0.2 = 1.4309691 for an hour; the floor 18.75 s
// gives (1/32)^0.2 = 0.5 and holds below it.
// A row of heights at once gives each height concentration()'s value to the bit: below the ground and
// above the lid 0, under a lid with its images (narrow and wide plumes), well mixed, the ground alone, far
// to the side (0), and NaN without a vertical spread.
TEST(GaussianPlume, RowsOfHeightsGiveThePointValues) {
    std::vector<double> heights;
    for (int k = -3; k < 120; ++k)
        heights.push_back(k * 8.5);
    for (const double lid : {kNoLid, 800.0, 150.0}) {
        for (const double sigmaZ : {0.7, 5.0, 60.0, 240.0, 400.0, 0.0}) {
            for (const double y : {0.0, 35.0, 1e4}) {
                std::vector<double> row(heights.size());
                GaussianPlume::concentrations(2.0, 4.0, 20.0, sigmaZ, y, heights.data(),
                                              static_cast<std::int64_t>(heights.size()), 60.0, lid,
                                              row.data());
                for (std::size_t k = 0; k < heights.size(); ++k) {
                    const double point =
                        GaussianPlume::concentration(2.0, 4.0, 20.0, sigmaZ, y, heights[k], 60.0, lid);
                    if (std::isnan(point)) {
                        EXPECT_TRUE(std::isnan(row[k]))
                            << lid << " " << sigmaZ << " " << y << " " << heights[k];
                    } else {
                        EXPECT_EQ(row[k], point) << lid << " " << sigmaZ << " " << y << " " << heights[k];
                    }
                }
            }
        }
    }
}

TEST(AveragingTime, PowerLawOnSigmaYWithItsFloor) {
    EXPECT_DOUBLE_EQ(AveragingTime::sigmaYFactor(600.0), 1.0);
    EXPECT_NEAR(AveragingTime::sigmaYFactor(3600.0), 1.4309690811, 1e-9);
    EXPECT_NEAR(AveragingTime::sigmaYFactor(18.75), 0.5, 1e-15);
    EXPECT_NEAR(AveragingTime::sigmaYFactor(1.0), 0.5, 1e-15);
    EXPECT_EQ(AveragingTime::effective(5.0), 18.75);
}
