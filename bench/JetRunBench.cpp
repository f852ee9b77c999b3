// Cost of a complete run of each example scenario: validation, orifice conditions and the integration
// to the stopping condition. Reported per run: integrator steps, derivative evaluations, output steps.

#include <benchmark/benchmark.h>

#include <string>

#include "ostreljet/io/Scenario.hpp"

namespace {

// Counts the integrator's internal steps and the evaluations of the jet equations.
class CountingJetModel : public ostreljet::JetModel {
public:
    long steps = 0;       // integrator calls of the last run
    long derivatives = 0; // derivative evaluations of the last run

    void calculateDerivatives(double t, const double *y, double *ydot) override {
        ++derivatives;
        JetModel::calculateDerivatives(t, y, ydot);
    }
    void afterStep() override { ++steps; }
};

void runExample(benchmark::State &state, const char *file) {
    const ostreljet::Scenario scenario =
        ostreljet::Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file);
    ostreljet::JetModel::setEchoStream(nullptr);
    CountingJetModel model;
    scenario.applyTo(model);
    for (auto _ : state) {
        model.steps = 0;
        model.derivatives = 0;
        const bool ok = model.runModel();
        benchmark::DoNotOptimize(ok);
    }
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
