// Cost of a complete run of each example scenario: validation, orifice conditions and the integration
// to the stopping condition. Reported per run: integrator steps, derivative and stopping-function
// evaluations, centreline solves and residual evaluations, heap allocations, output steps.

#include <benchmark/benchmark.h>

#include <atomic>
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

// Counts the integrator's internal steps and the evaluations of the jet equations.
class CountingJetModel : public ostreljet::JetModel {
public:
    long steps = 0;       // integrator calls of the last run
    long derivatives = 0; // derivative evaluations of the last run
    long roots = 0;       // stopping-function evaluations of the last run

    void calculateDerivatives(double t, const double *y, double *ydot) override {
        ++derivatives;
        JetModel::calculateDerivatives(t, y, ydot);
    }
    double calculateRootFunction(double t, const double *y, int iroot) override {
        ++roots;
        return JetModel::calculateRootFunction(t, y, iroot);
    }
    void afterStep() override {
        ++steps;
        JetModel::afterStep();
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
