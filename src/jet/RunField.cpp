#include "ostreljet/jet/RunField.hpp"

#include "ostreljet/jet/JetModel.hpp"

namespace ostreljet {

RunField::RunField(const JetModel &model, RunStatus status)
    : field_(model, ConcentrationField::Rules::exact, 0.0),
      hasResults_(runStatusHasResults(status) && model.numberOfOutputSteps() > 0) {
    if (hasResults_) {
        const std::size_t last = static_cast<std::size_t>(model.numberOfOutputSteps() - 1);
        end_ = model.centrelineLocations()[last];
        direction_ = model.centrelineVelocityVectors()[last];
    }
}

RunField::RunField(const JetModel &model, ConcentrationField::Rules rules, double cutoff)
    : field_(model, rules, cutoff), hasResults_(model.numberOfOutputSteps() > 0), bounded_(false) {}

bool RunField::computed(double x, double y, double z) const {
    if (!bounded_) {
        return true;
    }
    if (!hasResults_) {
        return false;
    }
    const vector3 offset(x - end_.x(), y - end_.y(), z - end_.z());
    return !(offset.x() * direction_.x() + offset.y() * direction_.y() + offset.z() * direction_.z() > 0.0);
}

double RunField::concentration(double x, double y, double z) const {
    return computed(x, y, z) ? field_.concentration(x, y, z) : notComputed;
}

double RunField::concentration(double x, double y, double z, std::uint64_t &segmentsSearched) const {
    return computed(x, y, z) ? field_.concentration(x, y, z, segmentsSearched) : notComputed;
}

void RunField::grid(double *out, double xStart, double yStart, double zStart, double xEnd, double yEnd,
                    double zEnd, std::int32_t numberOfPointsX, std::int32_t numberOfPointsY,
                    std::int32_t numberOfPointsZ, unsigned threads,
                    const ConcentrationField::GridProgress &progress) const {
    // The field's grid, then NaN at every point beyond the end plane.
    field_.grid(out, xStart, yStart, zStart, xEnd, yEnd, zEnd, numberOfPointsX, numberOfPointsY,
                numberOfPointsZ, threads, progress);
    if (!bounded_) {
        return;
    }
    const std::int64_t nx = numberOfPointsX > 0 ? numberOfPointsX : 0;
    const std::int64_t ny = numberOfPointsY > 0 ? numberOfPointsY : 0;
    const std::int64_t nz = numberOfPointsZ > 0 ? numberOfPointsZ : 0;
    if (nx == 0 || ny == 0 || nz == 0 || !hasResults_) {
        if (hasResults_) {
            return; // no points
        }
        const std::int64_t points = nx * ny * nz;
        for (std::int64_t k = 0; k < points; ++k) {
            out[k] = notComputed;
        }
        return;
    }
    std::int64_t k = 0;
    for (std::int64_t i = 0; i < nx; ++i) {
        const double x = ConcentrationField::gridCoordinate(xStart, xEnd, i, nx, true);
        for (std::int64_t j = 0; j < ny; ++j) {
            const double y = ConcentrationField::gridCoordinate(yStart, yEnd, j, ny, false);
            for (std::int64_t l = 0; l < nz; ++l, ++k) {
                if (!computed(x, y, ConcentrationField::gridCoordinate(zStart, zEnd, l, nz, false))) {
                    out[k] = notComputed;
                }
            }
        }
    }
}

} // namespace ostreljet
