// Cost of the concentration field: grids of 1e6 and 1e7 points in the boxes that just hold the plumes of
// the vent and of the hot stack, on one thread and on every core, and single points beside the hot stack's
// plume and beside a 10,000-step jet that show where the cost of a point lies.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"

namespace {

// An example run once and shared by every benchmark: 0 the vent, 1 the hot stack.
const ostreljet::JetModel &example(int which) {
    static ostreljet::JetModel *models[2] = {};
    if (models[which] == nullptr) {
        ostreljet::JetModel::setEchoStream(nullptr);
        auto *run = new ostreljet::JetModel;
        const char *file = which == 0 ? "/vertical_buoyant_vent.json" : "/hot_stack_unstable.json";
        ostreljet::Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + file).applyTo(*run);
        run->runModel();
        models[which] = run;
    }
    return *models[which];
}

// The hot stack, whose plume rises from 60 m and bends over in the wind.
const ostreljet::JetModel &plume() {
    return example(1);
}

// The box that just holds the plume: the bounds of the spheres of one profile radius around every
// output step, so that every point gets past the quick rejection and most lie beside the jet.
struct Box {
    double x0, y0, z0; // m
    double x1, y1, z1; // m
};

Box plumeBox(const ostreljet::JetModel &model) {
    const auto &centreline = model.centrelineLocations();
    const auto &radii = model.profileRadii();
    Box box{centreline[0].x(), centreline[0].y(), centreline[0].z(),
            centreline[0].x(), centreline[0].y(), centreline[0].z()};
    for (std::size_t k = 0; k < centreline.size(); ++k) {
        const double r = radii[k];
        box.x0 = std::min(box.x0, centreline[k].x() - r);
        box.y0 = std::min(box.y0, centreline[k].y() - r);
        box.z0 = std::min(box.z0, centreline[k].z() - r);
        box.x1 = std::max(box.x1, centreline[k].x() + r);
        box.y1 = std::max(box.y1, centreline[k].y() + r);
        box.z1 = std::max(box.z1, centreline[k].z() + r);
    }
    return box;
}

// A grid in the box that just holds the plume of example range(0): range(1) points (1e6 as 200 x 100 x 50,
// 1e7 as 400 x 250 x 100) on range(2) threads (1 is the serial order, 0 one thread per core).
void grid(benchmark::State &state) {
    const ostreljet::JetModel &model = example(static_cast<int>(state.range(0)));
    const ostreljet::ConcentrationField field(model, ostreljet::ConcentrationField::Rules::asSpecified);
    const Box box = plumeBox(model);
    const bool large = state.range(1) > 1000000;
    const std::int32_t nx = large ? 400 : 200;
    const std::int32_t ny = large ? 250 : 100;
    const std::int32_t nz = large ? 100 : 50;
    const unsigned threads = static_cast<unsigned>(state.range(2));
    std::vector<double> values(static_cast<std::size_t>(nx) * ny * nz);
    for (auto _ : state) {
        field.grid(values.data(), box.x0, box.y0, box.z0, box.x1, box.y1, box.z1, nx, ny, nz, threads);
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
    }
    std::int64_t inside = 0;
    for (const double value : values) {
        inside += value > 0.0 ? 1 : 0;
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(values.size()));
    state.counters["points"] = static_cast<double>(values.size());
    state.counters["inJet"] = static_cast<double>(inside);
}

BENCHMARK(grid)
    ->ArgNames({"example", "points", "threads"})
    ->ArgsProduct({{0, 1}, {1000000, 10000000}, {1, 0}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2.0);

// One point: (x, y, z) chosen by the benchmark's argument.
enum class Where { Rejected, BehindTheSource, NearTheJet };

void point(benchmark::State &state, Where where) {
    const ostreljet::JetModel &model = plume();
    const auto &centreline = model.centrelineLocations();
    const auto &middle = centreline[centreline.size() / 2];
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    switch (where) {
    case Where::Rejected: // farther from the downwind line than the largest radius
        x = 100.0;
        y = 500.0;
        z = 60.0;
        break;
    case Where::BehindTheSource: // passes the quick test, beside no segment: the segment loop alone
        x = -50.0;
        y = 0.0;
        z = 60.0;
        break;
    case Where::NearTheJet: // beside the middle of the plume: the segment loop and the sample searches
        x = middle.x();
        y = middle.y() + 1.0;
        z = middle.z();
        break;
    }
    const ostreljet::ConcentrationField field(model, ostreljet::ConcentrationField::Rules::asSpecified);
    double value = 0.0;
    for (auto _ : state) {
        value = field.concentration(x, y, z);
        benchmark::DoNotOptimize(value);
    }
    state.counters["concentration"] = value;
    state.counters["segments"] = static_cast<double>(centreline.size() - 1);
}

BENCHMARK_CAPTURE(point, rejected, Where::Rejected)->Unit(benchmark::kNanosecond);
BENCHMARK_CAPTURE(point, behind_the_source, Where::BehindTheSource)->Unit(benchmark::kNanosecond);
BENCHMARK_CAPTURE(point, near_the_jet, Where::NearTheJet)->Unit(benchmark::kNanosecond);

// A jet of 10,000 output steps: the hot stack's centreline with every step cut into equal pieces
// (positions, velocities, radii and concentrations interpolated linearly), so that a point beside its
// middle is within reach of as many segments as a run of that many steps would put there.
struct LongJet {
    std::vector<ostreljet::vector3> locations;
    std::vector<ostreljet::vector3> velocities;
    std::vector<double> radii;
    std::vector<double> concentrations;
};

const LongJet &longJet() {
    static const LongJet jet = [] {
        const ostreljet::JetModel &model = plume();
        const auto &p = model.centrelineLocations();
        const auto &v = model.centrelineVelocityVectors();
        const auto &r = model.profileRadii();
        const auto &c = model.centrelineConcentrations();
        const std::size_t pieces = (10000 + p.size() - 2) / (p.size() - 1);
        LongJet out;
        for (std::size_t k = 0; k + 1 < p.size() && out.radii.size() < 9999; ++k) {
            for (std::size_t j = 0; j < pieces && out.radii.size() < 9999; ++j) {
                const double s = static_cast<double>(j) / static_cast<double>(pieces);
                out.locations.push_back(p[k] + (p[k + 1] - p[k]) * s);
                out.velocities.push_back(v[k] + (v[k + 1] - v[k]) * s);
                out.radii.push_back(r[k] + (r[k + 1] - r[k]) * s);
                out.concentrations.push_back(c[k] + (c[k + 1] - c[k]) * s);
            }
        }
        out.locations.push_back(p.back());
        out.velocities.push_back(v.back());
        out.radii.push_back(r.back());
        out.concentrations.push_back(c.back());
        return out;
    }();
    return jet;
}

void pointBesideALongJet(benchmark::State &state) {
    const ostreljet::JetModel &model = plume();
    const LongJet &jet = longJet();
    ostreljet::ConcentrationField::Series series = ostreljet::ConcentrationField::seriesOf(model);
    series.locations = jet.locations;
    series.velocities = jet.velocities;
    series.radii = jet.radii;
    series.concentrations = jet.concentrations;
    const ostreljet::ConcentrationField field(series, ostreljet::ConcentrationField::Rules::exact, 0.0);
    const ostreljet::vector3 &middle = jet.locations[jet.locations.size() / 2];
    double value = 0.0;
    for (auto _ : state) {
        value = field.concentration(middle.x(), middle.y() + 1.0, middle.z());
        benchmark::DoNotOptimize(value);
    }
    state.counters["concentration"] = value;
    state.counters["steps"] = static_cast<double>(jet.radii.size());
}

BENCHMARK(pointBesideALongJet)->Unit(benchmark::kNanosecond);

} // namespace
