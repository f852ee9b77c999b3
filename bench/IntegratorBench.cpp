// Cost of the integration loop on two stiff problems: the Robertson chemistry over its full time scale
// and the Van der Pol oscillator with mu = 1000 over one period. Reported per run: internal steps,
// right-hand-side evaluations and the time per step.

#include <benchmark/benchmark.h>

#include <cmath>

#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

namespace {

// Counts the integrator calls (one internal step each) and the right-hand-side evaluations.
class CountingProblem : public ostreljet::ODESolverDDRIV3 {
public:
    using ODESolverDDRIV3::ODESolverDDRIV3;
    long steps = 0;       // integrator calls of the last run
    long evaluations = 0; // right-hand-side evaluations of the last run
    double lastT = 0.0;   // where the last run ended

    void reset() {
        steps = 0;
        evaluations = 0;
        clearMessages();
    }
    void afterStep() override { ++steps; }
    void storeOutputStep(double t, const double *) override { lastT = t; }
};

class Robertson : public CountingProblem {
public:
    Robertson() : CountingProblem(3) {}
    double getEndValue() override { return 4.0e10; }
    void setInitialConditions(double *t, double *y) override {
        *t = 0.0;
        y[0] = 1.0;
        y[1] = 0.0;
        y[2] = 0.0;
    }
    void calculateDerivatives(double, const double *y, double *ydot) override {
        ++evaluations;
        ydot[0] = -0.04 * y[0] + 1.0e4 * y[1] * y[2];
        ydot[1] = 0.04 * y[0] - 1.0e4 * y[1] * y[2] - 3.0e7 * y[1] * y[1];
        ydot[2] = 3.0e7 * y[1] * y[1];
    }
};

class VanDerPol : public CountingProblem {
public:
    static constexpr double mu = 1000.0;
    VanDerPol() : CountingProblem(2) {}
    // One period by the asymptotic formula (3 - 2 ln 2) mu + 7.014 mu^(-1/3).
    double getEndValue() override { return (3.0 - 2.0 * std::log(2.0)) * mu + 7.014 / std::cbrt(mu); }
    void setInitialConditions(double *t, double *y) override {
        *t = 0.0;
        y[0] = 2.0;
        y[1] = 0.0;
    }
    void calculateDerivatives(double, const double *y, double *ydot) override {
        ++evaluations;
        ydot[0] = y[1];
        ydot[1] = mu * (1.0 - y[0] * y[0]) * y[1] - y[0];
    }
};

template <class Problem> void integrateProblem(benchmark::State &state) {
    Problem problem;
    for (auto _ : state) {
        problem.reset();
        problem.integrate();
        benchmark::ClobberMemory(); // the run's results live in the object
    }
    if (problem.lastT != problem.getEndValue() || problem.messageCount() != 0) {
        state.SkipWithError("the integration did not reach its end value cleanly");
        return;
    }
    state.counters["steps"] = static_cast<double>(problem.steps);
    state.counters["f_evals"] = static_cast<double>(problem.evaluations);
    state.counters["time_per_step"] =
        benchmark::Counter(static_cast<double>(problem.steps) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_RobertsonTo4e10(benchmark::State &state) {
    integrateProblem<Robertson>(state);
}
void BM_VanDerPolMu1000OnePeriod(benchmark::State &state) {
    integrateProblem<VanDerPol>(state);
}

} // namespace

BENCHMARK(BM_RobertsonTo4e10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VanDerPolMu1000OnePeriod)->Unit(benchmark::kMillisecond);
