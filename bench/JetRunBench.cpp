// Cost of a complete run of each example scenario: validation, orifice conditions and the integration
// to the stopping condition. Reported per run: integrator steps, derivative and stopping-function
// evaluations, centreline solves (and the calls answered by one made before) and residual evaluations,
// heap allocations, output steps, and the run's floor (see below).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "JetModelTestSupport.hpp"
#include "ostreljet/inputs/Scenario.hpp"

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

// Counts the integrator's internal steps and the evaluations of the jet equations. A recorded run also
// keeps the states the derivatives and the output steps were asked at, and every answer the model gave the
// integrator, so that a replayed run can give the integrator the same answers without computing them.
class CountingJetModel : public ostreljet::JetModel {
public:
    using clock = std::chrono::steady_clock;
    enum class Mode { Compute, Record, Replay };
    Mode mode = Mode::Compute;
    long steps = 0;       // integrator calls of the last run
    long derivatives = 0; // derivative evaluations of the last run
    long roots = 0;       // stopping-function evaluations of the last run
    struct State {
        double t;
        double y[9];
    };
    std::vector<State> states;       // of the recorded run's derivative evaluations
    std::vector<State> outputStates; // of the recorded run's output steps
    std::vector<double> slopes;      // the recorded run's derivatives, nine per evaluation
    std::vector<double> stopValues;  // the recorded run's stopping-function values
    std::size_t slopeCursor = 0;     // next answers of a replayed run
    std::size_t stopCursor = 0;

    void record() {
        mode = Mode::Record;
        states.clear();
        outputStates.clear();
        slopes.clear();
        stopValues.clear();
    }
    void replay() {
        mode = Mode::Replay;
        slopeCursor = 0;
        stopCursor = 0;
    }

    void calculateDerivatives(double t, const double *y, double *ydot) override {
        ++derivatives;
        if (mode == Mode::Replay) {
            if (slopeCursor + 9 <= slopes.size()) {
                std::copy_n(slopes.data() + slopeCursor, 9, ydot);
                slopeCursor += 9;
            }
            return;
        }
        JetModel::calculateDerivatives(t, y, ydot);
        if (mode == Mode::Record) {
            State state{t, {}};
            std::copy_n(y, 9, state.y);
            states.push_back(state);
            slopes.insert(slopes.end(), ydot, ydot + 9);
        }
    }
    double calculateRootFunction(double t, const double *y, int iroot) override {
        ++roots;
        if (mode == Mode::Replay) {
            return stopCursor < stopValues.size() ? stopValues[stopCursor++] : 1.0;
        }
        const double g = JetModel::calculateRootFunction(t, y, iroot);
        if (mode == Mode::Record) {
            stopValues.push_back(g);
        }
        return g;
    }
    void storeOutputStep(double t, const double *y) override {
        if (mode == Mode::Replay) {
            return;
        }
        if (mode == Mode::Record) {
            State state{t, {}};
            std::copy_n(y, 9, state.y);
            outputStates.push_back(state);
        }
        JetModel::storeOutputStep(t, y);
    }
    void afterStep() override {
        ++steps;
        JetModel::afterStep();
    }

    // Mean time of the recorded derivative evaluations made again one after another, alone, s.
    double derivativesAloneSeconds() {
        double ydot[9];
        return replayed(states, [&](const State &state) {
            JetModel::calculateDerivatives(state.t, state.y, ydot);
            benchmark::DoNotOptimize(ydot);
        });
    }
    // Mean time of one centreline solve at each recorded output step, one after another, each from the
    // step before's centreline value, alone, s.
    double solvesAloneSeconds() {
        return replayed(outputStates, [&](const State &state) {
            ostreljet::JetModelTestAccess::solveCentreline(*this, state.y);
        });
    }
    template <typename Call> static double replayed(const std::vector<State> &recorded, Call &&call) {
        const int rounds = 20;
        const auto t0 = clock::now();
        for (int r = 0; r < rounds; ++r) {
            for (const State &state : recorded) {
                call(state);
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
    // The floor of a run: its derivative evaluations made alone, one centreline solve per output step made
    // alone, and the integrator's own work: a run whose calls to the model return the answers recorded
    // from a real run (the same steps, none of the model's work). Each is the least of several
    // measurements, which an interruption only lengthens.
    using clock = CountingJetModel::clock;
    const int repetitions = 10;
    auto leastSecondsPerRun = [&](auto &&run) {
        double least = 1e30;
        for (int r = 0; r < repetitions; ++r) {
            const int runs = 10;
            const auto t0 = clock::now();
            for (int k = 0; k < runs; ++k) {
                run();
            }
            least = std::min(least, std::chrono::duration<double>(clock::now() - t0).count() / runs);
        }
        return least;
    };
    model.mode = CountingJetModel::Mode::Compute;
    const double oneRun = leastSecondsPerRun([&] { model.runModel(); });
    model.record();
    model.runModel();
    model.mode = CountingJetModel::Mode::Compute;
    const std::size_t recordedSteps = model.outputStates.size();
    const double integratorOwn = leastSecondsPerRun([&] {
        model.replay();
        model.runModel();
    });
    if (model.slopeCursor != model.slopes.size() || model.stopCursor != model.stopValues.size()) {
        state.SkipWithError("the replayed run did not ask for the recorded answers");
    }
    model.mode = CountingJetModel::Mode::Compute;
    double derivativesAlone = 1e30;
    double solvesAlone = 1e30;
    for (int r = 0; r < repetitions; ++r) {
        derivativesAlone = std::min(derivativesAlone, model.derivativesAloneSeconds());
        solvesAlone = std::min(solvesAlone, model.solvesAloneSeconds());
    }
    const double perEvaluation = derivativesAlone / static_cast<double>(model.states.size());
    // The counts below are those of one more run as the benchmark made it.
    model.steps = 0;
    model.derivatives = 0;
    model.roots = 0;
    model.runModel();
    const double floor = derivativesAlone + solvesAlone + integratorOwn;
    state.counters["floorUs"] = floor * 1e6;
    state.counters["derivativeUs"] = perEvaluation * 1e6;
    state.counters["solveUs"] = solvesAlone / static_cast<double>(recordedSteps) * 1e6;
    state.counters["integratorUs"] = integratorOwn * 1e6;
    state.counters["runOverFloor"] = oneRun / floor;
    state.counters["rootFunctions"] = static_cast<double>(model.roots);
    state.counters["centrelineSolves"] = static_cast<double>(model.centrelineSolves());
    state.counters["centrelineRecalls"] = static_cast<double>(model.centrelineRecalls());
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
