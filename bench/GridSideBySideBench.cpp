// Grids of the vent example through two builds of the library in one process: points per second on
// one core and on every core, in the jet's near field and wholly in the far field, and the largest
// difference between the two builds' values.
// Usage: grid_side_by_side_bench BASELINE.so CANDIDATE.so SCENARIO.json
// Phases: load both libraries side by side (RTLD_LOCAL | RTLD_DEEPBIND); run the scenario in each; find
// the downwind direction and the far field's span; time each grid (best of three) with the process held
// to one core, then free on every core; compare the values point by point.

#include <sched.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "LoadedLibrary.hpp"

namespace {

struct Api {
    LoadedLibrary library;
    void *(*create)() = nullptr;
    int (*run)(void *) = nullptr;
    int (*loadScenario)(void *, const char *) = nullptr;
    double (*concentration)(const void *, double, double, double) = nullptr;
    double (*farFieldFigure)(const void *, const char *) = nullptr;
    long long (*grid)(const void *, double, double, double, double, double, double, int, int, int, double *,
                      long long) = nullptr;
    void *model = nullptr;

    bool load(const char *path, const char *scenario) {
        if (!library.open(path)) {
            return false;
        }
        bool ok = true;
        const auto bind = [&](auto &function, const char *name) { ok = library.bind(function, name) && ok; };
        bind(create, "ostreljet_create");
        bind(run, "ostreljet_run");
        bind(loadScenario, "ostreljet_load_scenario");
        bind(concentration, "ostreljet_concentration");
        bind(grid, "ostreljet_concentration_grid");
        if (!ok) {
            return false;
        }
        // A build from before the far field has none: its grid past the jet is not timed.
        if (!library.has("ostreljet_far_field_figure") ||
            !library.bind(farFieldFigure, "ostreljet_far_field_figure")) {
            farFieldFigure = nullptr;
        }
        model = create();
        if (loadScenario(model, scenario) != 0 || run(model) < 0) {
            std::fprintf(stderr, "%s: the scenario %s does not run\n", path, scenario);
            return false;
        }
        return true;
    }
};

struct Box {
    const char *name;
    std::array<double, 6> corners; // x0 y0 z0 x1 y1 z1, m
    std::array<int, 3> points;
};

// Best of three wall times of one grid, s.
double timed(const Api &api, const Box &box, std::vector<double> &out) {
    double best = 1e300;
    for (int repeat = 0; repeat < 3; ++repeat) {
        const auto start = std::chrono::steady_clock::now();
        const auto &c = box.corners;
        api.grid(api.model, c[0], c[1], c[2], c[3], c[4], c[5], box.points[0], box.points[1], box.points[2],
                 out.data(), static_cast<long long>(out.size()));
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

bool holdToOneCore(bool one, cpu_set_t &every) {
    if (!one) {
        return sched_setaffinity(0, sizeof every, &every) == 0;
    }
    cpu_set_t single;
    CPU_ZERO(&single);
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &every)) {
            CPU_SET(cpu, &single);
            break;
        }
    }
    return sched_setaffinity(0, sizeof single, &single) == 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s BASELINE.so CANDIDATE.so SCENARIO.json\n", argv[0]);
        return 2;
    }
    Api baseline;
    Api candidate;
    if (!baseline.load(argv[1], argv[3]) || !candidate.load(argv[2], argv[3])) {
        return 1;
    }
    // The downwind direction: the one of the four along which the far field answers.
    const double handOff = candidate.farFieldFigure(candidate.model, "handOffDistance");
    const double end = candidate.farFieldFigure(candidate.model, "endDistance");
    if (!std::isfinite(handOff) || !std::isfinite(end)) {
        std::fprintf(stderr, "the scenario has no far field\n");
        return 1;
    }
    const double middle = 0.5 * (handOff + end);
    std::array<double, 2> along{0.0, 0.0};
    for (const auto &direction : {std::array<double, 2>{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
        if (candidate.concentration(candidate.model, middle * direction[0], middle * direction[1], 0.0) >
            0.0) {
            along = direction;
        }
    }
    // A box from x0 to x1 downwind, +-half across, z0 to z1 up, in the site frame.
    auto site = [&](const char *name, double x0, double x1, double half, double z0, double z1) {
        const double a0 = along[0] * x0 - along[1] * half, a1 = along[0] * x1 + along[1] * half;
        const double b0 = along[1] * x0 - along[0] * half, b1 = along[1] * x1 + along[0] * half;
        return Box{name,
                   {std::min(a0, a1), std::min(b0, b1), z0, std::max(a0, a1), std::max(b0, b1), z1},
                   {100, 100, 100}};
    };
    const double farStart = handOff + 0.05 * (end - handOff);
    const std::array<Box, 2> boxes{
        site("near field (the vent's plume box)", 0.0, 75.0, 8.0, 15.0, 35.0),
        site("far field", farStart, farStart + 0.5 * (end - farStart), 300.0, 0.0, 100.0),
    };
    std::printf("hand-off at %.1f m, far field to %.0f m; grids of 1e6 points, best of three\n", handOff,
                end);
    cpu_set_t every;
    sched_getaffinity(0, sizeof every, &every);
    std::vector<double> before(1000000);
    std::vector<double> after(1000000);
    for (const Box &box : boxes) {
        const bool compared = &box == &boxes[0] || baseline.farFieldFigure != nullptr;
        std::array<std::array<double, 2>, 2> rates{};
        for (int one = 1; one >= 0; --one) {
            holdToOneCore(one == 1, every);
            rates[one][0] = compared ? 1e6 / timed(baseline, box, before) / 1e6 : NAN;
            rates[one][1] = 1e6 / timed(candidate, box, after) / 1e6;
        }
        holdToOneCore(false, every);
        if (!compared) {
            std::printf(
                "%-36s one core: %7.2f M points/s | every core: %7.2f M points/s (%.2f of one core's) | "
                "the baseline has no far field\n",
                box.name, rates[1][1], rates[0][1], rates[0][1] / rates[1][1]);
            continue;
        }
        double largest = 0.0;
        long long differ = 0;
        for (std::size_t k = 0; k < after.size(); ++k) {
            if (std::isnan(before[k]) != std::isnan(after[k])) {
                ++differ;
            } else if (!std::isnan(before[k]) && before[k] != after[k]) {
                ++differ;
                largest =
                    std::max(largest, std::abs(after[k] - before[k]) / std::max(std::abs(before[k]), 1e-300));
            }
        }
        std::printf("%-36s one core: %7.2f -> %7.2f M points/s | every core: %7.2f -> %7.2f M points/s "
                    "(%.2f of one core's) | %lld values differ, largest by %.1e of itself\n",
                    box.name, rates[1][0], rates[1][1], rates[0][0], rates[0][1], rates[0][1] / rates[1][1],
                    differ, largest);
    }
    return 0;
}
