#include "ostreljet/farfield/GaussianPlume.hpp"

#include <cmath>
#include <limits>
#include <numbers>

namespace ostreljet {

double GaussianPlume::crosswindFactor(double y, double sigmaY) {
    return std::exp(-(y * y) / (2.0 * sigmaY * sigmaY));
}

double GaussianPlume::verticalFactor(double z, double h, double sigmaZ, double lid) {
    // Outside the layer, well mixed, or the ground's image alone; else images to eight sigma.
    if (!(sigmaZ > 0.0) || std::isnan(lid))
        return std::numeric_limits<double>::quiet_NaN(); // no spread to reflect: not computed
    if (z < 0.0 || z > lid)
        return 0.0;
    const double twoSigmaSquared = 2.0 * sigmaZ * sigmaZ;
    auto term = [&](double centre) { return std::exp(-(z - centre) * (z - centre) / twoSigmaSquared); };
    if (!std::isfinite(lid))
        return term(h) + term(-h);
    if (sigmaZ >= 2.0 * lid)
        return std::sqrt(2.0 * std::numbers::pi) * sigmaZ / lid;
    const int images = static_cast<int>(std::ceil((8.0 * sigmaZ + 2.0 * lid) / (2.0 * lid)));
    double sum = 0.0;
    for (int n = -images; n <= images; ++n) {
        const double shift = 2.0 * n * lid;
        sum += term(shift + h) + term(shift - h);
    }
    return sum;
}

double GaussianPlume::concentration(double q, double u, double sigmaY, double sigmaZ, double y, double z,
                                    double h, double lid) {
    return q / (2.0 * std::numbers::pi * sigmaY * sigmaZ * u) * crosswindFactor(y, sigmaY) *
           verticalFactor(z, h, sigmaZ, lid);
}

} // namespace ostreljet
