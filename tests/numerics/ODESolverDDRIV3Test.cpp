// The ODE system base: callbacks, stop requests, the step cap, tolerance, published and reference solutions.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Reference.hpp"
#include "ostreljet/numerics/DDRIV3.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

namespace {

using ostreljet::ODESolverDDRIV3;

// A problem from callables (by default y' = -y from y = 1 up to t = 1) that records what the loop asks.
class Problem : public ODESolverDDRIV3 {
public:
    explicit Problem(int n) : ODESolverDDRIV3(n), y0(static_cast<std::size_t>(n), 1.0) {}
    struct Point {
        double t;
        std::vector<double> y;
    };
    double tEnd = 1.0;
    std::vector<double> y0;
    std::function<void(double, const double *, double *)> rhs = [this](double, const double *y,
                                                                       double *ydot) {
        for (int i = 0; i < numberOfEquations; ++i) {
            ydot[i] = -y[i];
        }
    };
    std::function<double(double, const double *, int)> root;
    bool continueAtRoots = false, stopInInitialConditions = false;

    std::vector<std::string> trace; // the start-up operations and the derivatives, in calling order
    std::vector<Point> points;      // stored output points
    std::vector<int> rootIndexes;   // the root index at each root
    std::vector<double> rootTimes;  // t of the point stored at each root
    int afterStepCalls = 0;

    double getEndValue() override {
        trace.push_back("getEndValue");
        return tEnd;
    }
    void setInitialConditions(double *t, double *y) override {
        trace.push_back("setInitialConditions");
        *t = 0.0;
        std::copy(y0.begin(), y0.end(), y);
        if (stopInInitialConditions) {
            stop();
        }
    }
    void calculateDerivatives(double t, const double *y, double *ydot) override {
        trace.push_back("calculateDerivatives");
        rhs(t, y, ydot);
    }
    void storeOutputStep(double t, const double *y) override {
        points.push_back({t, std::vector<double>(y, y + numberOfEquations)});
    }
    double calculateRootFunction(double t, const double *y, int iroot) override {
        return root ? root(t, y, iroot) : ODESolverDDRIV3::calculateRootFunction(t, y, iroot);
    }
    bool checkContinue(double t, const double *y) override {
        trace.push_back("checkContinue");
        if (solverState == 5) {
            rootTimes.push_back(points.back().t);
            rootIndexes.push_back(getRootIndex());
            if (continueAtRoots) {
                return !isFatal();
            }
        }
        return ODESolverDDRIV3::checkContinue(t, y);
    }
    void afterStep() override { ++afterStepCalls; }
    double configuredTolerance() const { return getTolerance(); }
};

} // namespace

TEST(ODESolverBase, CallbackTargetAndTolerance) {
    Problem first(1);
    auto second = std::make_unique<Problem>(1);
    EXPECT_EQ(ODESolverDDRIV3::current(), second.get());
    // The message routine hands on the first NMESSG characters to the current object.
    ostreljet::integratorMessage("to the second object", 13, 7, 0);
    ASSERT_EQ(second->messageCount(), 1);
    EXPECT_EQ(second->message(0).text, "to the second");
    EXPECT_EQ(second->message(0).code, 7);
    EXPECT_EQ(second->message(0).level, 0);
    second.reset();
    EXPECT_EQ(ODESolverDDRIV3::current(), nullptr);   // a destroyed object is no longer reachable
    ostreljet::integratorMessage("dropped", 7, 1, 2); // nothing receives it
    EXPECT_EQ(first.messageCount(), 0);
    auto third = std::make_unique<Problem>(1);
    auto fourth = std::make_unique<Problem>(1);
    third.reset(); // destroying another object leaves the target alone
    EXPECT_EQ(ODESolverDDRIV3::current(), fourth.get());
    first.tEnd = 0.0;
    first.integrate(); // makes the object the callbacks' target again
    EXPECT_EQ(ODESolverDDRIV3::current(), &first);
    EXPECT_EQ(first.configuredTolerance(), 1e-7);
    for (double refused : {0.0, -1e-7, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_FALSE(first.setTolerance(refused));
    }
    EXPECT_EQ(first.configuredTolerance(), 1e-7);
    EXPECT_TRUE(first.setTolerance(1e-9));
    EXPECT_EQ(first.configuredTolerance(), 1e-9);
}

TEST(ODESolverBase, StopInInitialConditionsOrAnEndNotAheadEndsBeforeAnyIntegratorCall) {
    for (double end : {1.0, 0.0, -5.0}) {
        Problem p(1);
        p.tEnd = end;
        p.stopInInitialConditions = end == 1.0;
        p.integrate();
        const std::vector<std::string> all = {"setInitialConditions", "getEndValue", "checkContinue",
                                              "getEndValue"}; // the last one the loop test, if not stopped
        EXPECT_EQ(p.trace, std::vector<std::string>(all.begin(), all.end() - (end == 1.0 ? 1 : 0)));
        EXPECT_TRUE(p.points.empty());
        EXPECT_EQ(p.afterStepCalls, 0);
        EXPECT_EQ(p.messageCount(), 0);
    }
}

TEST(ODESolverBase, TheTenThousandthCallEndsTheLoopSilently) {
    Problem p(2); // a fast oscillation over a long interval needs far more than 10000 steps
    p.y0 = {1.0, 0.0};
    p.tEnd = 1.0e4;
    p.rhs = [](double, const double *y, double *ydot) {
        ydot[0] = 50.0 * y[1];
        ydot[1] = -50.0 * y[0];
    };
    p.integrate();
    EXPECT_EQ(p.afterStepCalls, 10000);
    EXPECT_EQ(p.points.size(), 10001U); // the initial point and one per call
    EXPECT_LT(p.points.back().t, p.tEnd);
    EXPECT_EQ(p.messageCount(), 0);
    EXPECT_FALSE(p.isFatal());
}

TEST(ODESolverBase, RobertsonChemistryAtFortySeconds) {
    Problem p(3);
    p.y0 = {1.0, 0.0, 0.0};
    p.tEnd = 40.0;
    p.rhs = reference::robertson;
    p.integrate();
    const auto &last = p.points.back();
    EXPECT_EQ(last.t, 40.0);
    // Published reference values: y1 = 0.7158, y2 = 9.185e-6 (to three figures); mass is conserved.
    EXPECT_NEAR(last.y[0], 0.7158, 0.0005);
    EXPECT_NEAR(last.y[1], 9.185e-6, 0.005e-6);
    EXPECT_NEAR(last.y[0] + last.y[1] + last.y[2], 1.0, 1e-6);
    EXPECT_EQ(p.messageCount(), 0);
}

TEST(ODESolverBase, VanDerPolPeriodForMuOneHundred) {
    // Zero crossings of y1 from (2, 0); the period (first to third crossing) 162.8371 comes from a classical
    // Runge-Kutta integration at steps of 2e-4 and 4e-4 (asymptotic formula: 162.851).
    Problem p(2);
    p.y0 = {2.0, 0.0};
    p.tEnd = 400.0;
    p.rhs = [](double, const double *y, double *ydot) {
        ydot[0] = y[1];
        ydot[1] = 100.0 * (1.0 - y[0] * y[0]) * y[1] - y[0];
    };
    p.setNumberOfRoots(1);
    p.root = [](double, const double *y, int) { return y[0]; };
    p.continueAtRoots = true;
    p.integrate();
    ASSERT_GE(p.rootTimes.size(), 3U);
    EXPECT_NEAR(p.rootTimes[2] - p.rootTimes[0], 162.8371, 2e-3);
    EXPECT_NEAR(p.rootTimes[0], 81.1724, 2e-3);
}

TEST(ODESolverBase, RaisedToleranceIsReportedTwiceAndNotKept) {
    Problem p(1);
    ASSERT_TRUE(p.setTolerance(1e-300));
    p.integrate();
    ASSERT_EQ(p.messageCount(), 2);
    EXPECT_EQ(p.message(0).code, 4);
    EXPECT_EQ(p.message(1).text, "Too much accuracy requested - the solver has reset the tolerance");
    EXPECT_EQ(p.message(1).level, 1);
    EXPECT_EQ(p.message(1).code, 17);
    EXPECT_FALSE(p.isFatal());
    EXPECT_EQ(p.points.back().t, 1.0); // the run went on with the raised value
    EXPECT_NEAR(p.points.back().y[0], std::exp(-1.0), 1e-9);
    EXPECT_EQ(p.configuredTolerance(), 1e-300);

    // A second run starts again from the configured value: the same pair of messages again, all kept.
    const std::vector<Problem::Point> first = p.points;
    p.points.clear();
    p.integrate();
    EXPECT_EQ(p.messageCount(), 4);
    EXPECT_EQ(p.message(3).code, 17);
    ASSERT_EQ(p.points.size(), first.size());
    EXPECT_EQ(p.points.back().y[0], first.back().y[0]);
}
