#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>

namespace ostreljet {

// Briggs's (1973) dispersion coefficients sigma_y(x) and sigma_z(x) of a passive plume, for open country
// (rural) and cities (urban), as tabulated by Hanna, Briggs and Hosker (1982), Handbook on Atmospheric
// Diffusion, DOE/TIC-11223 (also Gifford 1976, Nuclear Safety 17(1)); the table numbers in those books
// were not checked against the originals. Each is
// a x (1 + b x)^p with x the downwind distance from the (virtual) source in m, meant for 100 m to 10 km
// and for averages over about 10 minutes. Immutable; any number of threads may use one at once.
enum class FarFieldDispersion : std::int32_t { rural = 0, urban = 1 };

class OSTRELJET_EXPORT BriggsSigma {
public:
    // The set for a terrain and a Pasquill class (0 = A .. 5 = F; any other value is treated as D).
    BriggsSigma(FarFieldDispersion terrain, std::int32_t stabilityClass);

    double sigmaY(double x) const;      // m, at x m downwind of the source
    double sigmaZ(double x) const;      // m
    double sigmaYSlope(double x) const; // d sigma_y / dx, -
    double sigmaZSlope(double x) const; // d sigma_z / dx, -

    // The distance (m) from the source at which sigma_y (sigma_z) reaches s (m), for virtual sources;
    // NaN when the curve never reaches s (the rural E and F sigma_z tend to a / b: 100 m and 53.3 m).
    double distanceForSigmaY(double s) const;
    double distanceForSigmaZ(double s) const;
    // The largest sigma_z the curve approaches, m (infinity when it grows without bound).
    double sigmaZLimit() const;

    // One coefficient set a x (1 + b x)^p.
    struct Curve {
        double a; // -
        double b; // 1/m
        double p; // -
        double at(double x) const;
        double slope(double x) const;
        double inverse(double s) const;
        double limit() const;
    };
    const Curve &yCurve() const { return y_; }
    const Curve &zCurve() const { return z_; }

private:
    Curve y_;
    Curve z_;
};

} // namespace ostreljet
