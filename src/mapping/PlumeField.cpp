#include "ostreljet/mapping/PlumeField.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>
#include <thread>

namespace ostreljet::mapping {

namespace {

// Margin around the jet's plan box where a footprint search starts, m.
constexpr double kStartMargin = 10.0;
// Half-width of a far-field seed, in sigma_y: the Gaussian there is 1.1 % of its axis value.
constexpr double kSeedSigmas = 3.0;

} // namespace

PlumeField::PlumeField(const JetModel &model, const FarFieldOptions &options)
    : field_(model, options, ConcentrationField::Rules::exact, 0.0), sourceX_(model.stackLocationX()),
      sourceY_(model.stackLocationY()) {
    // 1. The jet's output steps, ahead of the hand-off plane when there is a far field.
    // 2. The far field's series on its axis, with three sigma_y across.
    // 3. The start box around the jet, and what cuts a region off.
    startX0_ = startX1_ = sourceX_;
    startY0_ = startY1_ = sourceY_;
    const FarField &far = field_.farField();
    const ConcentrationField::Series series = ConcentrationField::seriesOf(model);
    for (std::size_t k = 0; k < series.locations.size() && k < series.radii.size(); ++k) {
        const vector3 &p = series.locations[k];
        const double r = series.radii[k];
        if (std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(r)) {
            startX0_ = std::min(startX0_, p.x() - r);
            startX1_ = std::max(startX1_, p.x() + r);
            startY0_ = std::min(startY0_, p.y() - r);
            startY1_ = std::max(startY1_, p.y() + r);
            if (far.computed() && far.downwindDistanceOf(p.x(), p.y()) > far.handOff().downwindDistance) {
                continue;
            }
            centreline_.push_back(Point{p.x(), p.y()});
            radii_.push_back(r);
            heights_.push_back(p.z());
        }
    }
    if (far.computed()) {
        for (const FarFieldPoint &point : far.series()) {
            const auto [x, y] = far.axisPointAt(point.downwindDistance);
            if (std::isfinite(x) && std::isfinite(y) && std::isfinite(point.sigmaY)) {
                centreline_.push_back(Point{x, y});
                radii_.push_back(kSeedSigmas * point.sigmaY);
                heights_.push_back(point.height);
            }
        }
    }
    cutoff_ = far.computed() ? 0.0 : model.stoppingConcentration();
    if (!series.concentrations.empty()) {
        endConcentration_ = series.concentrations.back();
    }
    startX0_ -= kStartMargin;
    startY0_ -= kStartMargin;
    startX1_ += kStartMargin;
    startY1_ += kStartMargin;
}

bool PlumeField::cutByEndOfRun(double level) const {
    const FarField &far = field_.farField();
    if (far.computed()) {
        const std::optional<FarField::Extent> extent = far.levelExtent(level);
        return extent && extent->atEnd;
    }
    return endConcentration_ >= level;
}

PlaneValues PlumeField::sample(const PlaneGrid &grid, unsigned threads, const PlaneProgress &progress) const {
    // Rows of constant x are handed out one at a time to the threads; each point is one query, so the
    // values do not depend on which thread computed them.
    PlaneValues values(static_cast<std::size_t>(std::max<std::int64_t>(grid.size(), 0)));
    if (values.empty()) {
        return values;
    }
    const std::vector<double> xs = grid.xs();
    const std::vector<double> ys = grid.ys();
    std::atomic<std::int32_t> nextRow{0};
    std::atomic<std::int32_t> rowsDone{0};
    const auto sampleRow = [&](std::int32_t i) {
        double *row = values.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(grid.ny);
        for (std::int32_t j = 0; j < grid.ny; ++j) {
            row[j] = field_.concentration(xs[static_cast<std::size_t>(i)], ys[static_cast<std::size_t>(j)],
                                          grid.z);
        }
        ++rowsDone;
    };
    const auto work = [&]() {
        for (std::int32_t i = nextRow++; i < grid.nx; i = nextRow++) {
            sampleRow(i);
        }
    };
    unsigned count = threads == 0 ? std::max(1u, std::thread::hardware_concurrency()) : threads;
    count = std::min<unsigned>(count, static_cast<unsigned>(grid.nx));
    std::vector<std::thread> helpers;
    for (unsigned t = 1; t < count; ++t) {
        helpers.emplace_back(work);
    }
    if (progress) {
        // The calling thread works too, reporting after each of its rows.
        for (std::int32_t i = nextRow++; i < grid.nx; i = nextRow++) {
            sampleRow(i);
            progress(rowsDone.load(), grid.nx);
        }
    } else {
        work();
    }
    for (std::thread &helper : helpers) {
        helper.join();
    }
    if (progress) {
        progress(grid.nx, grid.nx);
    }
    return values;
}

} // namespace ostreljet::mapping
