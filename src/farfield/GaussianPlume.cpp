#include "ostreljet/farfield/GaussianPlume.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

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

void GaussianPlume::concentrations(double q, double u, double sigmaY, double sigmaZ, double y,
                                   const double *z, std::int64_t count, double h, double lid, double *out) {
    // The same sums in the same order as concentration() gives each point, so each value is the same to
    // the bit; phases: the factor the points share; the image sources in verticalFactor's order, leaving
    // out those whose terms are exactly 0 at every height of the row (exp underflows to 0 below -745.2);
    // each height's sum.
    const double across = q / (2.0 * std::numbers::pi * sigmaY * sigmaZ * u) * crosswindFactor(y, sigmaY);
    if (across == 0.0 && sigmaZ > 0.0 && !std::isnan(lid)) {
        // Far to the side: the vertical factor is finite, so every product is 0.
        std::fill(out, out + count, 0.0);
        return;
    }
    if (!(sigmaZ > 0.0) || std::isnan(lid) || (std::isfinite(lid) && sigmaZ >= 2.0 * lid)) {
        for (std::int64_t k = 0; k < count; ++k)
            out[k] = across * verticalFactor(z[k], h, sigmaZ, lid);
        return;
    }
    double low = std::numeric_limits<double>::infinity(), high = -low;
    for (std::int64_t k = 0; k < count; ++k) {
        if (z[k] >= 0.0 && z[k] <= lid) {
            low = std::min(low, z[k]);
            high = std::max(high, z[k]);
        }
    }
    const double twoSigmaSquared = 2.0 * sigmaZ * sigmaZ;
    // Each image pair as verticalFactor adds it (a source and its mirror image); NaN marks a term left out.
    const double none = std::numeric_limits<double>::quiet_NaN();
    auto kept = [&](double centre) {
        const double gap = centre < low ? low - centre : centre > high ? centre - high : 0.0;
        return gap * gap / twoSigmaSquared > 746.0 ? none : centre;
    };
    std::vector<std::pair<double, double>> pairs;
    auto add = [&](double first, double second) {
        if (!std::isnan(kept(first)) || !std::isnan(kept(second)))
            pairs.emplace_back(kept(first), kept(second));
    };
    const bool ground = !std::isfinite(lid);
    if (ground) {
        add(h, -h);
    } else {
        const int images = static_cast<int>(std::ceil((8.0 * sigmaZ + 2.0 * lid) / (2.0 * lid)));
        for (int n = -images; n <= images; ++n) {
            const double shift = 2.0 * n * lid;
            add(shift + h, shift - h);
        }
    }
    for (std::int64_t k = 0; k < count; ++k) {
        const double at = z[k];
        if (at < 0.0 || at > lid) {
            out[k] = across * 0.0;
            continue;
        }
        auto term = [&](double centre) {
            return std::isnan(centre) ? 0.0 : std::exp(-(at - centre) * (at - centre) / twoSigmaSquared);
        };
        double sum = 0.0;
        if (ground) {
            sum = pairs.empty() ? 0.0 : term(pairs.front().first) + term(pairs.front().second);
        } else {
            for (const auto &[first, second] : pairs)
                sum += term(first) + term(second);
        }
        out[k] = across * sum;
    }
}

} // namespace ostreljet
