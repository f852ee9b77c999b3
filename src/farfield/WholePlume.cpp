#include "ostreljet/farfield/WholePlume.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

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
    // Rows of constant (x, y) on every core: past the hand-off plane from the far field, whole rows at
    // once, ahead of it from the jet (not computed beyond its end).
    const std::int64_t nx = numberOfPointsX, ny = numberOfPointsY, nz = numberOfPointsZ;
    if (nx <= 0 || ny <= 0 || nz <= 0)
        return;
    std::vector<double> heights(static_cast<std::size_t>(nz));
    for (std::int64_t k = 0; k < nz; ++k)
        heights[static_cast<std::size_t>(k)] = ConcentrationField::gridCoordinate(zStart, zEnd, k, nz, false);
    ConcentrationField::forEachRow(nx * ny, nz, threads, progress, [&]() -> ConcentrationField::RowWork {
        auto blocks = std::make_shared<std::vector<std::size_t>>();
        return [=, this, &heights](std::int64_t row) {
            const double x = ConcentrationField::gridCoordinate(xStart, xEnd, row / ny, nx, true);
            const double y = ConcentrationField::gridCoordinate(yStart, yEnd, row % ny, ny, false);
            double *target = out + row * nz;
            if (!beyondHandOff(x, y)) {
                jet_.gridRow(target, x, y, zStart, zEnd, nz, *blocks);
                return;
            }
            farField_.concentrations(x, y, heights.data(), nz, target);
            for (std::int64_t k = 0; k < nz; ++k)
                target[k] = physicalOrNotComputed(target[k]);
        };
    });
}

} // namespace ostreljet
