#include "ostreljet/farfield/WholePlume.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <cmath>
#include <limits>

namespace ostreljet {

namespace {

// A far-field value outside 0 to 1 (a virtual source nearer than the formulas hold) is not an answer:
// it is reported as not computed rather than passed on.
double physicalOrNotComputed(double c) {
    return c >= 0.0 && c <= 1.0 ? c : std::numeric_limits<double>::quiet_NaN();
}

} // namespace

WholePlume::WholePlume(const JetModel &model, const FarFieldOptions &options, ConcentrationField::Rules rules,
                       double cutoff)
    : jet_(model, rules, cutoff), farField_(model, options) {}

WholePlume::WholePlume(const JetModel &model, const FarFieldOptions &options, RunStatus status)
    : jet_(model, status), farField_(runStatusHasResults(status) ? FarField(model, options) : FarField()) {}

bool WholePlume::beyondHandOff(double x, double y) const {
    return (!jet_.bounded() || jet_.hasResults()) && farField_.computed() &&
           farField_.downwindDistanceOf(x, y) >= farField_.handOff().downwindDistance;
}

bool WholePlume::computed(double x, double y, double z) const {
    if (beyondHandOff(x, y))
        return !std::isnan(physicalOrNotComputed(farField_.concentration(x, y, z)));
    return jet_.computed(x, y, z);
}

double WholePlume::concentration(double x, double y, double z) const {
    if (beyondHandOff(x, y))
        return physicalOrNotComputed(farField_.concentration(x, y, z));
    return jet_.concentration(x, y, z);
}

double WholePlume::concentration(double x, double y, double z, std::uint64_t &segmentsSearched) const {
    if (beyondHandOff(x, y))
        return physicalOrNotComputed(farField_.concentration(x, y, z));
    return jet_.concentration(x, y, z, segmentsSearched);
}

void WholePlume::grid(double *out, double xStart, double yStart, double zStart, double xEnd, double yEnd,
                      double zEnd, std::int32_t numberOfPointsX, std::int32_t numberOfPointsY,
                      std::int32_t numberOfPointsZ, unsigned threads,
                      const ConcentrationField::GridProgress &progress) const {
    // The jet's grid on every core (not computed beyond its end), then the points past the hand-off plane
    // from the far field.
    jet_.grid(out, xStart, yStart, zStart, xEnd, yEnd, zEnd, numberOfPointsX, numberOfPointsY,
              numberOfPointsZ, threads, progress);
    if (!farField_.computed())
        return;
    const std::int64_t nx = numberOfPointsX, ny = numberOfPointsY, nz = numberOfPointsZ;
    if (nx <= 0 || ny <= 0 || nz <= 0)
        return;
    for (std::int64_t i = 0; i < nx; ++i) {
        const double x = ConcentrationField::gridCoordinate(xStart, xEnd, i, nx, true);
        for (std::int64_t j = 0; j < ny; ++j) {
            const double y = ConcentrationField::gridCoordinate(yStart, yEnd, j, ny, false);
            if (!beyondHandOff(x, y))
                continue;
            for (std::int64_t k = 0; k < nz; ++k) {
                const double z = ConcentrationField::gridCoordinate(zStart, zEnd, k, nz, false);
                out[(i * ny + j) * nz + k] = physicalOrNotComputed(farField_.concentration(x, y, z));
            }
        }
    }
}

} // namespace ostreljet
