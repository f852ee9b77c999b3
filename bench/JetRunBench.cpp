// Cost of a complete run of each example scenario: validation, orifice conditions and the integration
// to the stopping condition. Reported per run: integrator steps, derivative and stopping-function
// evaluations, centreline solves and residual evaluations, heap allocations, output steps.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ostreljet/io/Scenario.hpp"

namespace {

std::atomic<long> heapAllocations{0}; // operator new calls since the program started

} // namespace

// Every allocation of the program passes here and is counted. GCC takes the replaced pair for a mismatch.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void *operator new(std::size_t size) {
    heapAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void *p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void *p) noexcept {
    std::free(p);
}
void operator delete(void *p, std::size_t) noexcept {
    std::free(p);
}

namespace {

// Counts the integrator's internal steps and the evaluations of the jet equations, the time spent in
// them, and the states at which the derivatives were asked for.
class CountingJetModel : public ostreljet::JetModel {
public:
    using clock = std::chrono::steady_clock;
    long steps = 0;               // integrator calls of the last run
    long derivatives = 0;         // derivative evaluations of the last run
    long roots = 0;               // stopping-function evaluations of the last run
    double callbackSeconds = 0.0; // s, inside the three calls below during the last run
    bool recording = false;       // time the three calls below, and keep the derivative evaluations' states
    struct State {
        double t;
        double y[9];
    };
    std::vector<State> states; // of the recorded run's derivative evaluations

    void calculateDerivatives(double t, const double *y, double *ydot) override {
        ++derivatives;
        if (recording) {
            State state{t, {}};
            std::copy(y, y + 9, state.y);
            states.push_back(state);
        }
        timed([&] { JetModel::calculateDerivatives(t, y, ydot); });
    }
    double calculateRootFunction(double t, const double *y, int iroot) override {
        ++roots;
        double g = 0.0;
        timed([&] { g = JetModel::calculateRootFunction(t, y, iroot); });
        return g;
    }
    void afterStep() override {
        ++steps;
        timed([&] { JetModel::afterStep(); });
    }

    template <typename Call> void timed(Call &&call) {
        if (!recording) {
            call();
            return;
        }
        const auto t0 = clock::now();
        call();
        callbackSeconds += std::chrono::duration<double>(clock::now() - t0).count();
    }

    // Mean time of the recorded derivative evaluations made again one after another, alone, s.
    double replaySeconds() {
        double ydot[9];
        const int rounds = 20;
        const auto t0 = clock::now();
        for (int r = 0; r < rounds; ++r) {
            for (const State &state : states) {
                JetModel::calculateDerivatives(state.t, state.y, ydot);
                benchmark::DoNotOptimize(ydot);
            }
        }
        return std::chrono::duration<double>(clock::now() - t0).count() / rounds;
    }
};

void runExample(benchmark::State &state, const char *file,
                std::vector<std::pair<const char *, double>> changes = {}) {
    const ostreljet::Scenario scenario =
        ostreljet::Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file);
    ostreljet::JetModel::setEchoStream(nullptr);
    CountingJetModel model;
    scenario.applyTo(model);
    for (const auto &[property, value] : changes) {
        if (property == std::string("stoppingConcentration")) {
            model.setStoppingConcentration(value);
        }
    }
    long allocations = 0;
    for (auto _ : state) {
        model.steps = 0;
        model.derivatives = 0;
        model.roots = 0;
        const long before = heapAllocations.load();
        const bool ok = model.runModel();
        allocations = heapAllocations.load() - before;
        benchmark::DoNotOptimize(ok);
    }
    // The floor of a run: its derivative evaluations made alone, one of them again per output step for
    // that step's centreline solve, and the integrator's own work: the run less the time in the model's
    // calls (measured in a timed run, less the cost of reading the clock).
    using clock = CountingJetModel::clock;
    const int untimedRuns = 20;
    auto t0 = clock::now();
    for (int r = 0; r < untimedRuns; ++r) {
        model.runModel();
    }
    const double oneRun = std::chrono::duration<double>(clock::now() - t0).count() / untimedRuns;
    const int clockReads = 100000;
    t0 = clock::now();
    for (int r = 0; r < clockReads; ++r) {
        benchmark::DoNotOptimize(clock::now());
    }
    const double clockRead = std::chrono::duration<double>(clock::now() - t0).count() / clockReads;
    model.derivatives = 0;
    model.roots = 0;
    model.steps = 0;
    model.callbackSeconds = 0.0;
    model.recording = true;
    model.states.clear();
    model.runModel();
    model.recording = false;
    const double calls = static_cast<double>(model.derivatives + model.roots + model.steps);
    const double inModel = model.callbackSeconds - calls * clockRead;
    const double derivativesAlone = model.replaySeconds();
    const double perEvaluation = derivativesAlone / static_cast<double>(model.states.size());
    const double integratorOwn = oneRun - inModel;
    const double floor = derivativesAlone + perEvaluation * model.numberOfOutputSteps() + integratorOwn;
    state.counters["floorUs"] = floor * 1e6;
    state.counters["derivativeUs"] = perEvaluation * 1e6;
    state.counters["integratorUs"] = integratorOwn * 1e6;
    state.counters["runOverFloor"] = oneRun / floor;
    state.counters["rootFunctions"] = static_cast<double>(model.roots);
    state.counters["centrelineSolves"] = static_cast<double>(model.centrelineSolves());
    state.counters["residuals"] = static_cast<double>(model.residualEvaluations());
    state.counters["allocations"] = static_cast<double>(allocations);
    state.counters["steps"] = static_cast<double>(model.steps);
    state.counters["derivatives"] = static_cast<double>(model.derivatives);
    state.counters["outputSteps"] = model.numberOfOutputSteps();
}

} // namespace

BENCHMARK_CAPTURE(runExample, vertical_buoyant_vent, "vertical_buoyant_vent.json")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(runExample, horizontal_dense_release, "horizontal_dense_release.json")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(runExample, choked_high_pressure, "choked_high_pressure.json")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(runExample, hot_stack_unstable, "hot_stack_unstable.json")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(runExample, hot_stack_long, "hot_stack_unstable.json",
                  std::vector<std::pair<const char *, double>>{{"stoppingConcentration", 1e-6}})
    ->Unit(benchmark::kMicrosecond);
