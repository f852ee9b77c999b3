#pragma once

#include "ostreljet/Export.hpp"

namespace ostreljet {

// The averaging time of far-field concentrations: sigma_y grows with the time over which a concentration
// is averaged as the plume's meander is included, by the power law sigma_y(t) = sigma_y(t0) (t / t0)^0.2
// (Hanna, Briggs and Hosker 1982, Handbook on Atmospheric Diffusion, DOE/TIC-11223: exponent 0.2 for
// averaging times from a few minutes to an hour; t0 = 600 s, the averaging time of the Briggs curves).
// Below the floor the power law is not extrapolated: shorter times count as the floor, 600 s / 32,
// where the factor is 0.5 (a chosen limit, not a published figure). Stateless.
class OSTRELJET_EXPORT AveragingTime {
public:
    static constexpr double kReference = 600.0; // s, averaging time of the Briggs sigma curves
    static constexpr double kExponent = 0.2;    // -, Hanna, Briggs and Hosker (1982)
    static constexpr double kFloor = 18.75;     // s, 600 / 32 (chosen)
    static constexpr double kDefault = 600.0;   // s

    // The factor on the Briggs sigma_y for an averaging time in seconds (the floor applied).
    static double sigmaYFactor(double seconds);
    // The averaging time that is used for a requested one, s.
    static double effective(double seconds);
};

} // namespace ostreljet
