#include "ostreljet/farfield/BriggsSigma.hpp"

#include <gtest/gtest.h>

#include <cmath>

using ostreljet::BriggsSigma;
using ostreljet::FarFieldDispersion;

// Figures worked by hand from Briggs's table at 1 km:
// rural D: sigma_y = 80 / sqrt(1.1) = 76.2770 m, sigma_z = 60 / sqrt(2.5) = 37.9473 m;
// rural E: sigma_z = 30 / 1.3 = 23.0769 m; rural A: sigma_z = 200 m;
// urban A: sigma_y = 320 / sqrt(1.4) = 270.4494 m, sigma_z = 240 sqrt(2) = 339.4113 m;
// urban F: sigma_z = 80 / sqrt(2.5) = 50.5964 m; class 9 is treated as D.
TEST(BriggsSigma, RuralAndUrbanSetsAtOneKilometre) {
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::rural, 3).sigmaY(1000.0), 76.2770, 1e-4);
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::rural, 3).sigmaZ(1000.0), 37.9473, 1e-4);
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::rural, 4).sigmaZ(1000.0), 23.0769, 1e-4);
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::rural, 0).sigmaZ(1000.0), 200.0, 1e-12);
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::urban, 0).sigmaY(1000.0), 270.4494, 1e-4);
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::urban, 0).sigmaZ(1000.0), 339.4113, 1e-4);
    EXPECT_NEAR(BriggsSigma(FarFieldDispersion::urban, 5).sigmaZ(1000.0), 50.5964, 1e-4);
    EXPECT_EQ(BriggsSigma(FarFieldDispersion::rural, 9).sigmaZ(1000.0),
              BriggsSigma(FarFieldDispersion::rural, 3).sigmaZ(1000.0));
}

// The virtual-source distance is the inverse of the curve; the rural F sigma_z never passes
// 0.016 / 0.0003 = 53.33 m, so no distance gives 60 m.
TEST(BriggsSigma, InversesGiveTheVirtualSourceDistance) {
    for (int stability = 0; stability < 6; ++stability) {
        for (auto terrain : {FarFieldDispersion::rural, FarFieldDispersion::urban}) {
            const BriggsSigma s(terrain, stability);
            for (const double x : {0.5, 350.0, 20000.0}) {
                EXPECT_NEAR(s.distanceForSigmaY(s.sigmaY(x)), x, 1e-9 * x) << stability << " at " << x;
                EXPECT_NEAR(s.distanceForSigmaZ(s.sigmaZ(x)), x, 1e-9 * x) << stability << " at " << x;
            }
        }
    }
    const BriggsSigma f(FarFieldDispersion::rural, 5);
    EXPECT_NEAR(f.sigmaZLimit(), 53.3333333, 1e-6);
    EXPECT_TRUE(std::isnan(f.distanceForSigmaZ(60.0)));
    EXPECT_TRUE(std::isinf(BriggsSigma(FarFieldDispersion::rural, 3).sigmaZLimit()));
    // The slope against a central difference.
    const BriggsSigma d(FarFieldDispersion::rural, 3);
    EXPECT_NEAR(d.sigmaZSlope(500.0), (d.sigmaZ(500.001) - d.sigmaZ(499.999)) / 0.002, 1e-7);
}
