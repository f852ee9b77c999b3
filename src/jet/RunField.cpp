#include "ostreljet/jet/RunField.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <memory>

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
    // The field's rows on every thread, each with NaN at its points beyond the end plane.
    const std::int64_t nx = numberOfPointsX;
    const std::int64_t ny = numberOfPointsY;
    const std::int64_t nz = numberOfPointsZ;
    if (nx <= 0 || ny <= 0 || nz <= 0) {
        return;
    }
    ConcentrationField::forEachRow(nx * ny, nz, threads, progress, [&]() -> ConcentrationField::RowWork {
        auto blocks = std::make_shared<std::vector<std::size_t>>();
        return [=, this](std::int64_t row) {
            gridRow(out + row * nz, ConcentrationField::gridCoordinate(xStart, xEnd, row / ny, nx, true),
                    ConcentrationField::gridCoordinate(yStart, yEnd, row % ny, ny, false), zStart, zEnd, nz,
                    *blocks);
        };
    });
}

void RunField::gridRow(double *target, double x, double y, double zStart, double zEnd, std::int64_t nz,
                       std::vector<std::size_t> &blocks) const {
    if (bounded_ && !hasResults_) {
        for (std::int64_t k = 0; k < nz; ++k) {
            target[k] = notComputed;
        }
        return;
    }
    field_.gridRow(target, x, y, zStart, zEnd, nz, blocks);
    if (!bounded_) {
        return;
    }
    for (std::int64_t k = 0; k < nz; ++k) {
        if (!computed(x, y, ConcentrationField::gridCoordinate(zStart, zEnd, k, nz, false))) {
            target[k] = notComputed;
        }
    }
}

} // namespace ostreljet
