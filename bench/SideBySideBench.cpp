// Runs every scenario through two builds of the library in one process and compares them: time per run,
// grid points per second, identical messages and the largest relative difference of every series.
// Usage: side_by_side_bench BASELINE.so CANDIDATE.so EXAMPLES_DIR
// Phases: load both libraries side by side (RTLD_LOCAL | RTLD_DEEPBIND); per scenario run each library
// until a time budget is spent, keeping the best mean; compare messages and series; time the grids;
// compare 2,000 random releases bit for bit.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "LoadedLibrary.hpp"

namespace {

struct Api {
    LoadedLibrary library;
    void *(*create)() = nullptr;
    void (*destroy)(void *) = nullptr;
    int (*set)(void *, const char *, double) = nullptr;
    int (*run)(void *) = nullptr;
    int (*stepCount)(const void *) = nullptr;
    int (*series)(const void *, const char *, double *, int) = nullptr;
    int (*messageCount)(const void *) = nullptr;
    const char *(*message)(const void *, int) = nullptr;
    int (*loadScenario)(void *, const char *) = nullptr;
    long long (*grid)(const void *, double, double, double, double, double, double, int, int, int, double *,
                      long long) = nullptr;

    bool load(const char *path) {
        if (!library.open(path)) {
            return false;
        }
        bool ok = true;
        const auto bind = [&](auto &function, const char *name) { ok = library.bind(function, name) && ok; };
        bind(create, "ostreljet_create");
        bind(destroy, "ostreljet_destroy");
        bind(set, "ostreljet_set");
        bind(run, "ostreljet_run");
        bind(stepCount, "ostreljet_step_count");
        bind(series, "ostreljet_series");
        bind(messageCount, "ostreljet_message_count");
        bind(message, "ostreljet_message");
        bind(loadScenario, "ostreljet_load_scenario");
        bind(grid, "ostreljet_concentration_grid");
        return ok;
    }
};

struct Scenario {
    std::string name;
    std::string file;                                     // example file the scenario starts from
    std::vector<std::pair<const char *, double>> changes; // properties set after loading
};

struct Outcome {
    std::vector<std::string> messages;
    std::vector<std::vector<double>> series;
    double secondsPerRun = 0.0; // s
};

const char *const seriesNames[] = {
    "arclength",         "x", "y", "z", "profileRadius", "centrelineConcentration", "centrelineTemperature",
    "centrelineVelocity"};

// The messages and series of the model's last run.
void collectResults(const Api &api, void *model, Outcome &outcome) {
    for (int i = 0; i < api.messageCount(model); ++i) {
        outcome.messages.emplace_back(api.message(model, i));
    }
    const int steps = api.stepCount(model);
    for (const char *name : seriesNames) {
        std::vector<double> values(static_cast<std::size_t>(steps > 0 ? steps : 0));
        if (steps > 0) {
            api.series(model, name, values.data(), steps);
        }
        outcome.series.push_back(std::move(values));
    }
}

void *prepare(const Api &api, const Scenario &scenario) {
    void *model = api.create();
    if (api.loadScenario(model, scenario.file.c_str()) != 0) {
        std::fprintf(stderr, "cannot load scenario %s\n", scenario.file.c_str());
    }
    for (const auto &[property, value] : scenario.changes) {
        api.set(model, property, value);
    }
    return model;
}

Outcome measure(const Api &api, const Scenario &scenario, double budgetSeconds) {
    using clock = std::chrono::steady_clock;
    void *model = prepare(api, scenario);
    Outcome outcome;
    outcome.secondsPerRun = 1e300;
    const auto start = clock::now();
    int rounds = 0;
    do {
        const auto t0 = clock::now();
        int runs = 0;
        do {
            api.run(model);
            ++runs;
        } while (std::chrono::duration<double>(clock::now() - t0).count() < 0.05);
        const double mean = std::chrono::duration<double>(clock::now() - t0).count() / runs;
        outcome.secondsPerRun = std::min(outcome.secondsPerRun, mean);
        ++rounds;
    } while (std::chrono::duration<double>(clock::now() - start).count() < budgetSeconds || rounds < 3);
    collectResults(api, model, outcome);
    api.destroy(model);
    return outcome;
}

// Largest |a - b| / max(|a|, |b|, tiny) over every series; infinity when the step counts differ.
double largestRelativeDifference(const Outcome &a, const Outcome &b) {
    double worst = 0.0;
    for (std::size_t s = 0; s < a.series.size(); ++s) {
        if (a.series[s].size() != b.series[s].size()) {
            return INFINITY;
        }
        for (std::size_t k = 0; k < a.series[s].size(); ++k) {
            const double x = a.series[s][k];
            const double y = b.series[s][k];
            const double scale = std::max({std::fabs(x), std::fabs(y), 1e-300});
            worst = std::max(worst, std::fabs(x - y) / scale);
        }
    }
    return worst;
}

// The messages and series of one run of a model whose inputs were set one by one.
Outcome runOnce(const Api &api, const std::vector<std::pair<const char *, double>> &inputs) {
    void *model = api.create();
    for (const auto &[property, value] : inputs) {
        api.set(model, property, value);
    }
    api.run(model);
    Outcome outcome;
    collectResults(api, model, outcome);
    api.destroy(model);
    return outcome;
}

// Runs `count` random releases (light and dense gases, any class, wind, angle and bearing) through both
// libraries; prints how many were integrated and how many differ in any message or any bit of a series.
bool sameOnRandomScenarios(const Api &baseline, const Api &candidate, int count, FILE *table) {
    std::mt19937_64 random(20261125);
    auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    int integrated = 0;
    int differing = 0;
    for (int k = 0; k < count; ++k) {
        const bool dense = uniform(0.0, 1.0) < 0.3;
        const std::vector<std::pair<const char *, double>> inputs = {
            {"stackHeight", uniform(1.0, 100.0)},
            {"orificeDiameter", uniform(0.02, 3.0)},
            {"releaseAngle", uniform(-30.0, 90.0)},
            {"dischargeCoefficient", uniform(0.6, 1.0)},
            {"massFlowrate", uniform(0.1, 100.0)},
            {"sourceMolecularWeight", dense ? uniform(0.035, 0.08) : uniform(0.002, 0.03)},
            {"sourceSpecificHeat", uniform(500.0, 3000.0)},
            {"sourceSpecificHeatRatio", uniform(1.1, 1.67)},
            {"sourceTemperature", uniform(150.0, 700.0)},
            {"atmosphereTemperature", uniform(250.0, 310.0)},
            {"atmosphereSpecificHeat", 1005.0},
            {"atmosphereSurfaceRoughness", uniform(0.001, 0.3)},
            {"referenceWindSpeed", uniform(0.5, 15.0)},
            {"referenceWindHeight", 10.0},
            {"referenceWindBearing", uniform(0.0, 360.0)},
            {"stackBearing", uniform(0.0, 360.0)},
            {"pasquillStability", std::floor(uniform(0.0, 6.0))},
            {"timeAveraging", std::floor(uniform(0.0, 2.0))},
            {"stoppingConcentration", std::pow(10.0, uniform(-5.0, -1.0))}};
        const Outcome before = runOnce(baseline, inputs);
        const Outcome after = runOnce(candidate, inputs);
        integrated += before.series[0].size() > 1 ? 1 : 0;
        bool same = before.messages == after.messages;
        for (std::size_t s = 0; same && s < before.series.size(); ++s) {
            same = before.series[s].size() == after.series[s].size() &&
                   std::memcmp(before.series[s].data(), after.series[s].data(),
                               before.series[s].size() * sizeof(double)) == 0;
        }
        differing += same ? 0 : 1;
    }
    std::fprintf(table, "%d random releases (%d integrated): %d differ in a message or a bit of a series\n",
                 count, integrated, differing);
    return differing == 0;
}

struct Box {
    double v[6]; // x0, y0, z0, x1, y1, z1, m
};

// The box that just holds a plume: the bounds of the spheres of one profile radius around every output
// step, so that every point gets past the quick rejection and most lie beside the jet.
Box plumeBox(const Outcome &outcome) {
    Box box{};
    const std::vector<double> &x = outcome.series[1];
    const std::vector<double> &y = outcome.series[2];
    const std::vector<double> &z = outcome.series[3];
    const std::vector<double> &r = outcome.series[4];
    for (std::size_t k = 0; k < x.size(); ++k) {
        const double low[3] = {x[k] - r[k], y[k] - r[k], z[k] - r[k]};
        const double high[3] = {x[k] + r[k], y[k] + r[k], z[k] + r[k]};
        for (int a = 0; a < 3; ++a) {
            box.v[a] = k == 0 ? low[a] : std::min(box.v[a], low[a]);
            box.v[a + 3] = k == 0 ? high[a] : std::max(box.v[a + 3], high[a]);
        }
    }
    return box;
}

// Points per second of one grid of n points in the box, on every core; the values are left in out.
double gridPointsPerSecond(const Api &api, const Scenario &scenario, const Box &box, int n,
                           std::vector<double> &out) {
    void *model = prepare(api, scenario);
    api.run(model);
    const int nz = 100;
    const int ny = 100;
    const int nx = n / (ny * nz);
    out.assign(static_cast<std::size_t>(nx) * ny * nz, 0.0);
    const auto t0 = std::chrono::steady_clock::now();
    api.grid(model, box.v[0], box.v[1], box.v[2], box.v[3], box.v[4], box.v[5], nx, ny, nz, out.data(),
             static_cast<long long>(out.size()));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    api.destroy(model);
    return static_cast<double>(out.size()) / seconds;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s BASELINE.so CANDIDATE.so EXAMPLES_DIR [seconds per scenario]\n",
                     argv[0]);
        return 2;
    }
    Api baseline;
    Api candidate;
    if (!baseline.load(argv[1]) || !candidate.load(argv[2])) {
        return 2;
    }
    // The older library echoes every message to standard output; the table goes to the original
    // standard output and the echo to /dev/null.
    std::fflush(stdout);
    FILE *table = fdopen(dup(fileno(stdout)), "w");
    if (table == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::fprintf(stderr, "cannot set aside standard output\n");
        return 2;
    }
    const std::string dir = argv[3];
    const double budget = argc > 4 ? std::atof(argv[4]) : 1.0; // s
    const std::vector<Scenario> scenarios = {
        {"vertical_buoyant_vent", dir + "/vertical_buoyant_vent.json", {}},
        {"horizontal_dense_release", dir + "/horizontal_dense_release.json", {}},
        {"choked_high_pressure", dir + "/choked_high_pressure.json", {}},
        {"hot_stack_unstable", dir + "/hot_stack_unstable.json", {}},
        {"hot_stack_long", dir + "/hot_stack_unstable.json", {{"stoppingConcentration", 1e-6}}},
    };
    bool allSame = true;
    std::fprintf(table, "%-26s %14s %14s %8s %9s %12s\n", "scenario", "before (us)", "after (us)", "speedup",
                 "messages", "max rel diff");
    std::vector<Outcome> outcomes;
    for (const Scenario &scenario : scenarios) {
        const Outcome before = measure(baseline, scenario, budget);
        const Outcome after = measure(candidate, scenario, budget);
        outcomes.push_back(after);
        const bool sameMessages = before.messages == after.messages;
        const double difference = largestRelativeDifference(before, after);
        allSame = allSame && sameMessages;
        std::fprintf(table, "%-26s %14.1f %14.1f %8.2f %9s %12.3g\n", scenario.name.c_str(),
                     before.secondsPerRun * 1e6, after.secondsPerRun * 1e6,
                     before.secondsPerRun / after.secondsPerRun, sameMessages ? "same" : "DIFFER",
                     difference);
        if (!sameMessages) {
            for (const std::string &m : before.messages) {
                std::fprintf(table, "   before: %s\n", m.c_str());
            }
            for (const std::string &m : after.messages) {
                std::fprintf(table, "   after:  %s\n", m.c_str());
            }
        }
    }
    const Box ventBox = {{-20.0, -50.0, 0.0, 300.0, 50.0, 100.0}};
    const Box stackBox = {{-50.0, -100.0, 0.0, 1000.0, 100.0, 400.0}};
    const Box ventPlume = plumeBox(outcomes[0]);
    const Box stackPlume = plumeBox(outcomes[3]);
    for (int n : {1000000, 10000000}) {
        const struct {
            const char *name;
            const Scenario &scenario;
            const Box &box;
        } grids[] = {{"vent", scenarios[0], ventBox},
                     {"hot stack", scenarios[3], stackBox},
                     {"vent plume", scenarios[0], ventPlume},
                     {"stack plume", scenarios[3], stackPlume}};
        for (const auto &g : grids) {
            std::vector<double> before;
            std::vector<double> after;
            const double rateBefore = gridPointsPerSecond(baseline, g.scenario, g.box, n, before);
            const double rateAfter = gridPointsPerSecond(candidate, g.scenario, g.box, n, after);
            const bool same = before.size() == after.size() &&
                              std::memcmp(before.data(), after.data(), before.size() * sizeof(double)) == 0;
            allSame = allSame && same;
            std::fprintf(table,
                         "grid of %d points, %-11s: before %.3g points/s, after %.3g points/s, values %s\n",
                         n, g.name, rateBefore, rateAfter, same ? "bit-identical" : "DIFFER");
        }
    }
    allSame = sameOnRandomScenarios(baseline, candidate, 2000, table) && allSame;
    return allSame ? 0 : 1;
}
