#include "ostreljet/farfield/GaussianPlume.hpp"
#include "ostreljet/numerics/VectorExp.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace ostreljet {

namespace {

// Centres of the source and its images, in pairs (source, mirror image): at most 2 (2 * 9 + 1), since a
// plume with sigma_z of twice the lid or more is taken as well mixed.
constexpr int kMostCentres = 38;
// A term more than e^-43 (2^-62) below the largest of a height's terms is left out: the at most 37 left
// out together stay below an eighth of the sum's last bit, so they could change it by rounding alone.
constexpr double kNegligibleExponent = 43.0;

// The centres for a lid (m; infinite: the ground's image alone), in the order the sum adds them.
int imageCentres(double h, double sigmaZ, double lid, double *centres) {
    if (!std::isfinite(lid)) {
        centres[0] = h;
        centres[1] = -h;
        return 2;
    }
    const int images = static_cast<int>(std::ceil((8.0 * sigmaZ + 2.0 * lid) / (2.0 * lid)));
    int count = 0;
    for (int n = -images; n <= images; ++n) {
        const double shift = 2.0 * n * lid;
        centres[count++] = shift + h;
        centres[count++] = shift - h;
    }
    return count;
}

// Heights whose sums are worked out together: their exponents go through the vector exponential at once.
constexpr std::int64_t kHeightsPerBlock = 32;

// The image sums at heights z[0..count) into sums: for each height, the sum over pairs of
// exp(-(z - centre)^2 / (2 sigma_z^2)), each pair added as one, a term far below the height's largest left
// out; an infinite centre adds nothing. `inverse` is 1 / (2 sigma_z^2), 1/m2. Phases, block by block: the
// exponents, centre by centre, with each height's least; the exponentials of each centre whose term some
// height keeps; each height's sum.
// A height's sum depends on that height alone, so a single height gives the same sum as it does in a row.
void imageSums(const double *z, std::int64_t count, const double *centres, int centreCount, double inverse,
               double *sums) {
    double exponents[kMostCentres * kHeightsPerBlock];
    double terms[kMostCentres * kHeightsPerBlock];
    double least[kHeightsPerBlock];
    for (std::int64_t first = 0; first < count; first += kHeightsPerBlock) {
        const std::int64_t n = std::min(kHeightsPerBlock, count - first);
        const double *heights = z + first;
        std::fill(least, least + n, std::numeric_limits<double>::infinity());
        for (int i = 0; i < centreCount; ++i) {
            double *row = exponents + i * n;
            for (std::int64_t k = 0; k < n; ++k) {
                row[k] = -((heights[k] - centres[i]) * (heights[k] - centres[i]) * inverse);
                least[k] = std::min(least[k], -row[k]);
            }
        }
        for (std::int64_t k = 0; k < n; ++k)
            least[k] += kNegligibleExponent; // now the exponent beyond which a term is left out
        for (int i = 0; i < centreCount; ++i) {
            // Only a centre whose term some height keeps needs its exponentials.
            const double *exponent = exponents + i * n;
            bool kept = false;
            for (std::int64_t k = 0; k < n && !kept; ++k)
                kept = !(-exponent[k] > least[k]);
            if (kept)
                VectorExp::apply(exponent, terms + i * n, static_cast<std::size_t>(n));
            else
                std::fill(terms + i * n, terms + (i + 1) * n, 0.0);
        }
        double *sum = sums + first;
        std::fill(sum, sum + n, 0.0);
        for (int i = 0; i < centreCount; i += 2) {
            const double *exponent = exponents + i * n;
            const double *term = terms + i * n;
            for (std::int64_t k = 0; k < n; ++k) {
                const double sourceTerm = term[k];
                const double imageTerm = term[k + n];
                const double source = -exponent[k] > least[k] ? 0.0 : sourceTerm;
                const double image = -exponent[k + n] > least[k] ? 0.0 : imageTerm;
                sum[k] += source + image;
            }
        }
    }
}

} // namespace

double GaussianPlume::crosswindFactor(double y, double sigmaY) {
    return std::exp(-(y * y) / (2.0 * sigmaY * sigmaY));
}

double GaussianPlume::verticalFactor(double z, double h, double sigmaZ, double lid) {
    // Outside the layer, well mixed, or the ground's image alone; else images to eight sigma.
    if (!(sigmaZ > 0.0) || std::isnan(lid))
        return std::numeric_limits<double>::quiet_NaN(); // no spread to reflect: not computed
    if (z < 0.0 || z > lid)
        return 0.0;
    if (std::isfinite(lid) && sigmaZ >= 2.0 * lid)
        return std::sqrt(2.0 * std::numbers::pi) * sigmaZ / lid;
    double centres[kMostCentres];
    double sum = 0.0;
    imageSums(&z, 1, centres, imageCentres(h, sigmaZ, lid, centres), 1.0 / (2.0 * sigmaZ * sigmaZ), &sum);
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
    // the bit; phases: the factor the points share; the image sources, those whose terms the sum leaves
    // out at every height of the row made infinite, and pairs of two such dropped; each height's sum.
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
        const bool inside = z[k] >= 0.0 && z[k] <= lid;
        low = inside && z[k] < low ? z[k] : low;
        high = inside && z[k] > high ? z[k] : high;
    }
    const double twoSigmaSquared = 2.0 * sigmaZ * sigmaZ;
    double all[kMostCentres];
    const int total = imageCentres(h, sigmaZ, lid, all);
    // Every height has a term at least as large as exp(-bound): the nearest centre's at its farthest.
    auto farthest = [&](double centre) { return std::max(std::abs(low - centre), std::abs(high - centre)); };
    double bound = std::numeric_limits<double>::infinity();
    for (int i = 0; i < total; ++i)
        bound = std::min(bound, farthest(all[i]) * farthest(all[i]) / twoSigmaSquared);
    const double inverse = 1.0 / twoSigmaSquared;
    double centres[kMostCentres];
    int kept = 0;
    for (int i = 0; i < total; i += 2) {
        double pair[2];
        for (int j = 0; j < 2; ++j) {
            // A centre that imageSum leaves out at every height of the row (exactly 0, or negligible
            // beside the largest term) is made infinite, which adds nothing there either.
            const double centre = all[i + j];
            const double gap = centre < low ? low - centre : centre > high ? centre - high : 0.0;
            const double nearest = gap * gap / twoSigmaSquared;
            pair[j] = nearest > 746.0 || nearest > bound + kNegligibleExponent
                          ? std::numeric_limits<double>::infinity()
                          : centre;
        }
        if (std::isfinite(pair[0]) || std::isfinite(pair[1])) {
            centres[kept++] = pair[0];
            centres[kept++] = pair[1];
        }
    }
    imageSums(z, count, centres, kept, inverse, out);
    for (std::int64_t k = 0; k < count; ++k)
        out[k] = across * (z[k] < 0.0 || z[k] > lid ? 0.0 : out[k]);
}

} // namespace ostreljet
