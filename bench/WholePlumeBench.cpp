// What the far field adds to a run's time: for each example, the run with its summary at the gas's
// default levels as the engineering fronts make it, with the far field (the default) and without it
// (the jet's answers alone), and the run without its summary. The differences are the far field's
// construction and its share of the summary's searches, and the summary's own cost.

#include <benchmark/benchmark.h>

#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/units/Level.hpp"

#include <string>
#include <vector>

namespace {

void runWithSummary(benchmark::State &state, const char *file, bool farField) {
    const ostreljet::Scenario scenario =
        ostreljet::Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file);
    ostreljet::FarFieldOptions options = scenario.farFieldOptions();
    options.enabled = farField;
    ostreljet::JetModel model;
    scenario.applyTo(model);
    const std::vector<double> levels = ostreljet::Level::toModel(
        ostreljet::Level::defaults(scenario.gas(), model.stoppingConcentration()), model, scenario.gas());
    for (auto _ : state) {
        scenario.applyTo(model);
        benchmark::DoNotOptimize(ostreljet::WholePlumeSummary::run(model, levels, options));
    }
}

// The run alone, without its summary: the yardstick for what the summary adds.
void runAlone(benchmark::State &state, const char *file) {
    const ostreljet::Scenario scenario =
        ostreljet::Scenario::fromFile(std::string(OSTRELJET_EXAMPLES_DIR) + "/" + file);
    ostreljet::JetModel model;
    for (auto _ : state) {
        scenario.applyTo(model);
        benchmark::DoNotOptimize(model.runModel());
    }
}

void registerAll() {
    for (const char *file : {"vertical_buoyant_vent.json", "horizontal_dense_release.json",
                             "choked_high_pressure.json", "hot_stack_unstable.json"}) {
        benchmark::RegisterBenchmark((std::string(file) + "/run alone").c_str(), runAlone, file)
            ->Unit(benchmark::kMillisecond);
        for (const bool farField : {false, true}) {
            benchmark::RegisterBenchmark(
                (std::string(file) + (farField ? "/with far field" : "/jet alone")).c_str(), runWithSummary,
                file, farField)
                ->Unit(benchmark::kMillisecond);
        }
    }
}

const bool registered = (registerAll(), true);

} // namespace
