#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>

namespace ostreljet {

// The Gaussian plume of a continuous point source in a uniform wind, reflected at the ground and at the
// top of the mixing layer by image sources (Turner 1970, Workbook of Atmospheric Dispersion Estimates,
// the plume with ground reflection and with a limited mixing height). Concentrations are volume fractions
// when the source strength is the volume flux of released gas at the ambient temperature and pressure.
// Stateless.
class OSTRELJET_EXPORT GaussianPlume {
public:
    // exp(-y^2 / (2 sigmaY^2)), -: y m across the wind from the plume's axis, sigmaY m.
    static double crosswindFactor(double y, double sigmaY);
    // The vertical factor, -: the sum over the source at height h (m) and its images in the ground and
    // in the lid of exp(-(z - z_image)^2 / (2 sigmaZ^2)). lid (m) may be infinite for the ground alone.
    // Once sigmaZ reaches twice the lid the plume is taken as well mixed: sqrt(2 pi) sigmaZ / lid, which
    // the image sum approaches within 1e-8. 0 below the ground and above the lid.
    static double verticalFactor(double z, double h, double sigmaZ, double lid);
    // Concentration, volume fraction: q / (2 pi sigmaY sigmaZ u) times both factors, with q the volume
    // flux of released gas (m3/s) and u the wind speed (m/s).
    static double concentration(double q, double u, double sigmaY, double sigmaZ, double y, double z,
                                double h, double lid);
    // The same at heights z[0..count) (m), into out: the factors common to the points once.
    static void concentrations(double q, double u, double sigmaY, double sigmaZ, double y, const double *z,
                               std::int64_t count, double h, double lid, double *out);
};

} // namespace ostreljet
