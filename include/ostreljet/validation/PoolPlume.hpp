#pragma once

#include "ostreljet/Export.hpp"
#include "ostreljet/farfield/BriggsSigma.hpp"
#include "ostreljet/farfield/BritterMcQuaidPlume.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostreljet {

// The ground-level plume of an evaporating pool, started directly from the pool: the jet model does not
// accept pools, so a pool is taken as the source of a dense continuous plume (Britter and McQuaid 1988,
// through the far field's BritterMcQuaidPlume) and then of a passive Gaussian plume (Briggs sigmas,
// reflected at the ground) from where the density excess stops mattering or the workbook's last curve,
// whichever comes first, as the far field does past a dense touchdown. Concentrations are volume
// fractions on the ground below the plume's axis; distances are from the pool's centre, m.
// Immutable once built; any number of threads may query one at once.

// The pool as the trials publish it.
struct PoolSource {
    double diameter = 0.0;        // m
    double evaporationFlux = 0.0; // kg/(m2 s)
    double gasTemperature = 0.0;  // K, of the gas leaving the pool
    double molecularWeight = 0.0; // kg/mol, of the gas
};

// The air over it.
struct PoolWeather {
    double windSpeed = 0.0;              // m/s at 10 m, the height of the workbook's wind
    double temperature = 0.0;            // K
    double pressure = 0.0;               // Pa
    std::int32_t stabilityClass = 3;     // Pasquill class for the Briggs sigmas (0 = A .. 5 = F)
    std::optional<double> averagingTime; // s; absent: sigma_y is not corrected (the Briggs curves' own)
};

class OSTRELJET_EXPORT PoolPlume {
public:
    // Throws std::invalid_argument when a figure is not finite and positive, or the gas is not heavier
    // than the air at its source temperature.
    PoolPlume(const PoolSource &source, const PoolWeather &weather);

    double massRate() const { return massRate_; }      // kg/s, flux times the pool's area
    double volumeFlux() const { return volumeFlux_; }  // m3/s of gas at its source temperature
    double reducedGravity() const { return reduced_; } // g0', m/s2
    const BritterMcQuaidPlume &dense() const { return dense_; }
    // Nearest distance the workbook's curves reach (the Cm/C0 = 0.1 curve), m.
    double firstDistance() const { return dense_.firstCurveDistance(); }
    // Where the passive Gaussian takes over, m.
    double passiveStart() const { return passiveStart_; }
    double sigmaYFactor() const { return sigmaYFactor_; } // averaging time's factor on sigma_y, -

    // Ground-level centreline concentration, volume fraction, at x m from the pool's centre; NaN nearer
    // than the workbook's first curve, where neither plume computes anything.
    double groundLevelAt(double x) const;
    // The distance (m) at which the ground-level centreline falls to a level (volume fraction); NaN when
    // the level is above the concentration at the first curve (nearer than the plumes reach) or is not
    // reached within maxDistance.
    double distanceToLevel(double level, double maxDistance = 100000.0) const;

    // What was assumed or limited, in plain words.
    const std::vector<std::string> &notes() const { return notes_; }

private:
    double passiveAt(double x) const;

    BritterMcQuaidPlume dense_;
    BriggsSigma sigmas_;
    double massRate_ = 0.0;
    double volumeFlux_ = 0.0;
    double reduced_ = 0.0;
    double ambientFlux_ = 0.0;  // m3/s of gas at the air's temperature
    double windSpeed_ = 0.0;    // m/s
    double passiveStart_ = 0.0; // m
    double sigmaYFactor_ = 1.0;
    double sigmaY0_ = 0.0, sigmaZ0_ = 0.0;   // m at the passive start
    double virtualY_ = 0.0, virtualZ_ = 0.0; // m; virtualZ_ NaN: sigma_z held at sigmaZ0_
    std::vector<std::string> notes_;
};

} // namespace ostreljet
