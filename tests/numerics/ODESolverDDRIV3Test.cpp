// Tests of the ODE system base: the integration loop and its calling order, the step cap, stop requests,
// the work sizes, the status messages, stopping functions, implicit modes, and solutions checked against
// answers known independently (exact solutions, published chemistry values, the Van der Pol period).

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ostreljet/numerics/DDRIV3.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

namespace {

using ostreljet::KVector;
using ostreljet::ODESolverDDRIV3;

// A problem assembled from callables, recording what the loop asks of it.
class Problem : public ODESolverDDRIV3 {
public:
    explicit Problem(int n) : ODESolverDDRIV3(n), y0(static_cast<std::size_t>(n), 0.0) {}

    struct Point {
        double t;
        std::vector<double> y;
    };

    double t0 = 0.0;
    double tEnd = 1.0;
    std::vector<double> y0;
    std::function<void(double, const double *, double *)> rhs;
    std::function<double(double, const double *, int)> root;
    std::function<void(KVector<KVector<double>> &)> mass;
    bool continueAtRoots = false;
    bool stopInInitialConditions = false;
    int stopAfterCalls = -1;

    std::vector<std::string> trace; // the operations in the order the loop called them
    std::vector<Point> points;      // stored output points
    std::vector<int> rootIndexes;   // setRootIndex arguments
    std::vector<double> rootTimes;  // t of the point stored after each setRootIndex
    bool rootPending = false;
    int derivativeCalls = 0;
    int massMatrixCalls = 0;
    int afterStepCalls = 0;

    void record(const std::string &what) {
        if (trace.empty() || trace.back() != what || what != "calculateDerivatives") {
            trace.push_back(what);
        }
    }

    double getEndValue() override {
        record("getEndValue");
        return tEnd;
    }
    void setInitialConditions(double *t, double *y) override {
        record("setInitialConditions");
        *t = t0;
        for (std::size_t i = 0; i < y0.size(); ++i) {
            y[i] = y0[i];
        }
        if (stopInInitialConditions) {
            stop();
        }
    }
    void calculateDerivatives(double t, const double *y, double *ydot) override {
        record("calculateDerivatives");
        ++derivativeCalls;
        rhs(t, y, ydot);
    }
    void calculateMassMatrix(double t, const double *y, KVector<KVector<double>> &a) override {
        record("calculateMassMatrix");
        ++massMatrixCalls;
        if (mass) {
            mass(a);
        } else {
            ODESolverDDRIV3::calculateMassMatrix(t, y, a);
        }
    }
    void storeOutputStep(double t, const double *y) override {
        record("storeOutputStep");
        if (rootPending) {
            rootTimes.push_back(t);
            rootPending = false;
        }
        points.push_back({t, std::vector<double>(y, y + numberOfEquations)});
    }
    double calculateRootFunction(double t, const double *y, int iroot) override {
        record("calculateRootFunction");
        return root ? root(t, y, iroot) : ODESolverDDRIV3::calculateRootFunction(t, y, iroot);
    }
    bool checkContinue(double t, const double *y) override {
        record("checkContinue");
        if (continueAtRoots && solverState == 5) {
            return !isFatal();
        }
        return ODESolverDDRIV3::checkContinue(t, y);
    }
    void afterStep() override {
        record("afterStep");
        ++afterStepCalls;
        if (afterStepCalls == stopAfterCalls) {
            stop();
        }
    }
    void setRootIndex(int iroot) override {
        record("setRootIndex");
        ODESolverDDRIV3::setRootIndex(iroot);
        rootIndexes.push_back(iroot);
        rootPending = true;
    }

    // Read access to protected state for the tests.
    int state() const { return getSolverState(); }
    int lastRoot() const { return getRootIndex(); }
    double configuredTolerance() const { return getTolerance(); }
    int implicit() const { return getImplicitMode(); }
    const KVector<KVector<double>> &matrix() const { return massMatrix; }
    bool baseCheck(int state) {
        solverState = state;
        return ODESolverDDRIV3::checkContinue(0.0, nullptr);
    }
};

void decay(double, const double *y, double *ydot) {
    ydot[0] = -y[0];
}

void robertson(double, const double *y, double *ydot) {
    ydot[0] = -0.04 * y[0] + 1.0e4 * y[1] * y[2];
    ydot[1] = 0.04 * y[0] - 1.0e4 * y[1] * y[2] - 3.0e7 * y[1] * y[1];
    ydot[2] = 3.0e7 * y[1] * y[1];
}

} // namespace

TEST(ODESolverBase, ConstructionAndSetters) {
    Problem p(3);
    EXPECT_EQ(ODESolverDDRIV3::current(), &p);
    EXPECT_EQ(p.configuredTolerance(), 1e-7);
    EXPECT_EQ(p.state(), 1);
    ASSERT_EQ(p.matrix().size, 3);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(p.matrix()[i].size, 3);
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(p.matrix()[i][j], 0.0);
        }
    }
    Problem q(0);
    EXPECT_EQ(ODESolverDDRIV3::current(), &q);
    ASSERT_EQ(q.matrix().size, 1);
    EXPECT_EQ(q.matrix()[0].size, 1);

    EXPECT_FALSE(p.setTolerance(0.0));
    EXPECT_FALSE(p.setTolerance(-1e-7));
    EXPECT_FALSE(p.setTolerance(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(p.configuredTolerance(), 1e-7);
    EXPECT_TRUE(p.setTolerance(1e-9));
    EXPECT_EQ(p.configuredTolerance(), 1e-9);
    EXPECT_TRUE(p.setNumberOfRoots(4));
    EXPECT_TRUE(p.setNumberOfEquations(5));
    EXPECT_EQ(p.matrix().size, 3); // the matrix keeps its size
    p.setImplicitMode(7);
    EXPECT_EQ(p.implicit(), 7);

    // integrate makes the object the callbacks' target again
    p.rhs = decay;
    p.setNumberOfEquations(1);
    p.y0 = {1.0}; // one initial value for the one equation
    p.setNumberOfRoots(0);
    p.tEnd = 0.0;
    p.integrate();
    EXPECT_EQ(ODESolverDDRIV3::current(), &p);
}

TEST(ODESolverBase, CallbackTargetFollowsConstructionAndDestruction) {
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
}

TEST(ODESolverBase, CallingOrderOfOneIntegration) {
    Problem p(1);
    p.y0 = {1.0};
    p.rhs = decay;
    p.setNumberOfRoots(1);
    p.stopAfterCalls = 2;
    EXPECT_TRUE(p.integrate());
    const std::vector<std::string> expected = {
        "setInitialConditions", "getEndValue", "checkContinue",
        // first pass
        "getEndValue", "storeOutputStep", "getEndValue", "calculateRootFunction", "calculateDerivatives",
        "calculateRootFunction", "storeOutputStep", "afterStep", "checkContinue",
        // second pass: the stopping functions are evaluated again at the start of every call
        "getEndValue", "getEndValue", "calculateRootFunction", "calculateDerivatives",
        "calculateRootFunction", "storeOutputStep", "afterStep", "checkContinue"};
    EXPECT_EQ(p.trace, expected);
    ASSERT_EQ(p.points.size(), 3U);
    EXPECT_EQ(p.points[0].t, 0.0);
    EXPECT_EQ(p.points[0].y[0], 1.0);
    EXPECT_EQ(p.state(), 2);
}

TEST(ODESolverBase, StopInInitialConditionsEndsBeforeAnyIntegratorCall) {
    Problem p(1);
    p.y0 = {1.0};
    p.rhs = decay;
    p.stopInInitialConditions = true;
    p.integrate();
    const std::vector<std::string> expected = {"setInitialConditions", "getEndValue", "checkContinue"};
    EXPECT_EQ(p.trace, expected);
    EXPECT_TRUE(p.points.empty());
    EXPECT_EQ(p.derivativeCalls, 0);
}

TEST(ODESolverBase, EndValueNotAheadOfTheStartEndsAtOnce) {
    for (double end : {0.0, -5.0}) {
        Problem p(1);
        p.y0 = {1.0};
        p.rhs = decay;
        p.tEnd = end;
        p.integrate();
        EXPECT_TRUE(p.points.empty());
        EXPECT_EQ(p.derivativeCalls, 0);
        EXPECT_EQ(p.afterStepCalls, 0);
        EXPECT_EQ(p.messageCount(), 0);
    }
}

TEST(ODESolverBase, TheTenThousandthCallEndsTheLoopSilently) {
    // A fast oscillation over a long interval needs far more than 10000 steps.
    Problem p(2);
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

TEST(ODESolverBase, ExponentialDecayMatchesTheExactSolution) {
    Problem p(1);
    p.y0 = {1.0};
    p.tEnd = 5.0;
    p.rhs = decay;
    p.integrate();
    ASSERT_GT(p.points.size(), 10U);
    EXPECT_EQ(p.points.back().t, 5.0);
    for (const auto &point : p.points) {
        EXPECT_NEAR(point.y[0] / std::exp(-point.t), 1.0, 1e-5) << "t = " << point.t;
    }
    EXPECT_EQ(p.messageCount(), 0);
}

TEST(ODESolverBase, RobertsonChemistryAtFortySeconds) {
    Problem p(3);
    p.y0 = {1.0, 0.0, 0.0};
    p.tEnd = 40.0;
    p.rhs = robertson;
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
    // Zero crossings of y1 from (2, 0): the period is the time between the first and third crossing.
    // Reference 162.8371 from a classical Runge-Kutta integration with steps of 2e-4 and 4e-4 (agreeing
    // to 2e-5); the asymptotic formula (3 - 2 ln 2) mu + 7.014 mu^(-1/3) - (2/3) ln(mu) / mu gives 162.851.
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
    const std::vector<double> &crossings = p.rootTimes;
    ASSERT_EQ(p.rootIndexes.size(), crossings.size());
    ASSERT_GE(crossings.size(), 3U);
    const double period = crossings[2] - crossings[0];
    EXPECT_NEAR(period, 162.8371, 2e-3);
    EXPECT_NEAR(crossings[0], 81.1724, 2e-3);
}

TEST(ODESolverBase, FallingBallStopsAtEachStoppingFunctionInOrder) {
    // Dropped from 10 m: passes 5 m at sqrt(10 / 9.81) s and reaches the ground at sqrt(20 / 9.81) s.
    auto setUp = [](Problem &p) {
        p.y0 = {10.0, 0.0};
        p.tEnd = 10.0;
        p.rhs = [](double, const double *y, double *ydot) {
            ydot[0] = y[1];
            ydot[1] = -9.81;
        };
        p.setNumberOfRoots(2);
        p.root = [](double, const double *y, int iroot) { return iroot == 1 ? y[0] - 5.0 : y[0]; };
    };
    {
        // The base check ends the run at the first root, after storing the root point.
        Problem p(2);
        setUp(p);
        p.integrate();
        EXPECT_EQ(p.state(), 5);
        EXPECT_EQ(p.lastRoot(), 1);
        EXPECT_NEAR(p.points.back().t, std::sqrt(10.0 / 9.81), 1e-9);
        EXPECT_NEAR(p.points.back().y[0], 5.0, 1e-9);
        const std::vector<std::string> tail(p.trace.end() - 4, p.trace.end());
        EXPECT_EQ(tail, (std::vector<std::string>{"setRootIndex", "storeOutputStep", "afterStep",
                                                  "checkContinue"}));
    }
    {
        Problem p(2);
        setUp(p);
        p.continueAtRoots = true;
        p.tEnd = std::sqrt(20.0 / 9.81) + 0.5; // beyond the ground; the run ends at the end value
        p.integrate();
        ASSERT_EQ(p.rootIndexes.size(), 2U);
        EXPECT_EQ(p.rootIndexes[0], 1);
        EXPECT_EQ(p.rootIndexes[1], 2);
        ASSERT_EQ(p.rootTimes.size(), 2U);
        EXPECT_NEAR(p.rootTimes[0], std::sqrt(10.0 / 9.81), 1e-9);
        EXPECT_NEAR(p.rootTimes[1], std::sqrt(20.0 / 9.81), 1e-9);
        EXPECT_EQ(p.points.back().t, p.tEnd);
    }
}

TEST(ODESolverBase, WorkSizeCoversThirtySixStoppingFunctionsForNineEquations) {
    auto run = [](int nroot, Problem &p) {
        p.y0.assign(9, 1.0);
        p.tEnd = 1.0;
        p.rhs = [](double, const double *y, double *ydot) {
            for (int i = 0; i < 9; ++i) {
                ydot[i] = -y[i];
            }
        };
        p.setNumberOfRoots(nroot);
        p.stopAfterCalls = 3;
        p.integrate();
    };
    Problem fits(9);
    run(36, fits);
    EXPECT_EQ(fits.messageCount(), 0);
    EXPECT_EQ(fits.afterStepCalls, 3);

    Problem tooMany(9);
    run(37, tooMany);
    EXPECT_EQ(tooMany.afterStepCalls, 1);
    EXPECT_EQ(tooMany.state(), 1);
    EXPECT_TRUE(tooMany.isFatal());
    ASSERT_EQ(tooMany.messageCount(), 1);
    EXPECT_EQ(tooMany.message(0).code, 8);
    EXPECT_EQ(tooMany.message(0).level, 2);
    // 9^2 + 9*9 + 2*37 + 204 = 440 against the 439 allocated
    EXPECT_EQ(tooMany.message(0).text.substr(tooMany.message(0).text.size() - 8), "     440");
    EXPECT_EQ(tooMany.points.size(), 1U); // only the initial point
}

TEST(ODESolverBase, RaisedToleranceIsReportedTwiceAndNotKept) {
    Problem p(1);
    p.y0 = {1.0};
    p.tEnd = 1.0;
    p.rhs = decay;
    ASSERT_TRUE(p.setTolerance(1e-300));
    p.integrate();
    ASSERT_EQ(p.messageCount(), 2);
    EXPECT_EQ(p.message(0).code, 4);
    EXPECT_EQ(p.message(0).level, 1);
    EXPECT_EQ(p.message(0).text.substr(0, 16), "DDRIV34REC At T,");
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

TEST(ODESolverBase, BaseStatusCheck) {
    Problem p(1);
    EXPECT_TRUE(p.baseCheck(1));
    EXPECT_TRUE(p.baseCheck(2));
    EXPECT_FALSE(p.baseCheck(5));
    EXPECT_EQ(p.messageCount(), 0);
    EXPECT_TRUE(p.baseCheck(3));
    ASSERT_EQ(p.messageCount(), 1);
    EXPECT_EQ(p.message(0).text,
              "The maximum number of integration steps has been taken without reaching t_end");
    EXPECT_EQ(p.message(0).level, 1);
    EXPECT_EQ(p.message(0).code, 3);
    // appended directly: the same message again is kept
    EXPECT_TRUE(p.baseCheck(3));
    EXPECT_EQ(p.messageCount(), 2);
    p.addMessage("fatal", 2, 99);
    EXPECT_FALSE(p.baseCheck(2));
    EXPECT_FALSE(p.baseCheck(4));
    EXPECT_EQ(p.message(p.messageCount() - 1).code, 17);
}

TEST(ODESolverBase, SolverMessagesFollowTheListRules) {
    Problem p(1);
    p.reportSolverMessage("once", 5, -1);
    p.reportSolverMessage("once again", 5, -1);
    p.reportSolverMessage("warning", 2, 0);
    EXPECT_FALSE(p.isFatal());
    p.reportSolverMessage("fatal", 11, 2);
    EXPECT_TRUE(p.isFatal());
    ASSERT_EQ(p.messageCount(), 3);
    EXPECT_EQ(p.message(0).text, "once");
    EXPECT_EQ(p.message(1).code, 2);
    EXPECT_EQ(p.message(1).level, 0);
}

TEST(ODESolverBase, ImplicitModes) {
    auto lotkaVolterra = [](double, const double *y, double *ydot) {
        ydot[0] = 1.5 * y[0] - y[0] * y[1];
        ydot[1] = -3.0 * y[1] + y[0] * y[1];
    };
    Problem explicitRun(2);
    explicitRun.y0 = {1.0, 1.0};
    explicitRun.tEnd = 5.0;
    explicitRun.rhs = lotkaVolterra;
    explicitRun.integrate();

    // Mode 7 acts as mode 0: the very same steps, and no mass matrix.
    Problem seven(2);
    seven.y0 = {1.0, 1.0};
    seven.tEnd = 5.0;
    seven.rhs = lotkaVolterra;
    seven.setImplicitMode(7);
    seven.integrate();
    EXPECT_EQ(seven.massMatrixCalls, 0);
    ASSERT_EQ(seven.points.size(), explicitRun.points.size());
    for (std::size_t i = 0; i < seven.points.size(); ++i) {
        EXPECT_EQ(seven.points[i].t, explicitRun.points[i].t);
        EXPECT_EQ(seven.points[i].y, explicitRun.points[i].y);
    }

    // Mode 1 with A = [[2, 0.5], [0.5, 1]] and f = A g solves y' = g: the same solution within the tolerance.
    Problem one(2);
    one.y0 = {1.0, 1.0};
    one.tEnd = 5.0;
    one.rhs = [lotkaVolterra](double t, const double *y, double *ydot) {
        double g[2];
        lotkaVolterra(t, y, g);
        ydot[0] = 2.0 * g[0] + 0.5 * g[1];
        ydot[1] = 0.5 * g[0] + g[1];
    };
    one.mass = [](KVector<KVector<double>> &a) {
        a[0][0] = 2.0;
        a[0][1] = 0.5;
        a[1][0] = 0.5;
        a[1][1] = 1.0;
    };
    one.setImplicitMode(1);
    one.integrate();
    EXPECT_GT(one.massMatrixCalls, 0);
    EXPECT_EQ(one.messageCount(), 0);
    EXPECT_EQ(one.points.back().t, 5.0);
    EXPECT_NEAR(one.points.back().y[0], explicitRun.points.back().y[0],
                1e-4 * std::fabs(explicitRun.points.back().y[0]));
    EXPECT_NEAR(one.points.back().y[1], explicitRun.points.back().y[1],
                1e-4 * std::fabs(explicitRun.points.back().y[1]));

    // Mode 1 with the base identity matrix.
    Problem identity(2);
    identity.y0 = {1.0, 1.0};
    identity.tEnd = 5.0;
    identity.rhs = lotkaVolterra;
    identity.setImplicitMode(1);
    identity.integrate();
    EXPECT_GT(identity.massMatrixCalls, 0);
    EXPECT_NEAR(identity.points.back().y[0], explicitRun.points.back().y[0],
                1e-4 * std::fabs(explicitRun.points.back().y[0]));

    // A singular matrix is fatal on the first call: the state stays 1 and the loop ends.
    Problem singular(2);
    singular.y0 = {1.0, 1.0};
    singular.tEnd = 5.0;
    singular.rhs = lotkaVolterra;
    singular.mass = [](KVector<KVector<double>> &a) {
        for (int i = 0; i < 2; ++i) {
            for (int j = 0; j < 2; ++j) {
                a[i][j] = 0.0;
            }
        }
    };
    singular.setImplicitMode(1);
    singular.integrate();
    EXPECT_EQ(singular.state(), 1);
    EXPECT_EQ(singular.afterStepCalls, 1);
    ASSERT_EQ(singular.messageCount(), 1);
    EXPECT_EQ(singular.message(0).code, 13);
}

TEST(ODESolverBase, DiagonalModeWithoutDifferentialEquationsCannotStart) {
    Problem p(2);
    p.y0 = {1.0, 1.0};
    p.rhs = [](double, const double *y, double *ydot) {
        ydot[0] = -y[0];
        ydot[1] = -y[1];
    };
    p.setImplicitMode(2);
    p.integrate();
    EXPECT_EQ(p.afterStepCalls, 1);
    EXPECT_EQ(p.state(), 1);
    ASSERT_EQ(p.messageCount(), 1);
    EXPECT_EQ(p.message(0).code, 11);
    EXPECT_EQ(p.message(0).level, 2);
    EXPECT_EQ(p.message(0).text,
              "DDRIV311FE At T,  0.00000000D+00, the attempted step size has gone to zero.  "
              "Often this occurs if the problem setup is incorrect.");
    EXPECT_EQ(p.message(0).text.size(), 129U);
}

namespace {

struct ReferenceRow {
    int nstate;
    double t;
    int iroot;
    std::vector<double> y;
};

std::vector<ReferenceRow> readReference(const std::string &name, int n) {
    std::ifstream in(std::string(OSTRELJET_NUMERICS_DATA_DIR) + "/" + name);
    std::vector<ReferenceRow> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream fields(line);
        int call = 0;
        int order = 0;
        double hUsed = 0.0;
        ReferenceRow row{};
        fields >> call >> row.nstate >> row.t >> hUsed >> order >> row.iroot;
        row.y.resize(static_cast<std::size_t>(n));
        for (double &v : row.y) {
            fields >> v;
        }
        rows.push_back(row);
    }
    return rows;
}

} // namespace

TEST(ODESolverBase, NineEquationsWithFiveStoppingFunctionsFollowTheReference) {
    // The configuration of the jet (N = 9, five stopping functions, default options and work sizes),
    // checked point by point against the published routines.
    const std::vector<ReferenceRow> reference = readReference("nine_equations_five_roots.txt", 9);
    ASSERT_EQ(reference.size(), 114U);
    Problem p(9);
    for (int i = 1; i <= 9; ++i) {
        p.y0[static_cast<std::size_t>(i - 1)] = 1.0 / static_cast<double>(i);
    }
    p.tEnd = 3.0;
    p.rhs = [](double t, const double *y, double *ydot) {
        for (int i = 1; i <= 9; ++i) {
            const int ip = i % 9 + 1;
            const int im = (i + 7) % 9 + 1;
            ydot[i - 1] = -static_cast<double>(i) * y[i - 1] + 0.1 * y[ip - 1] * y[im - 1] + 0.5 + t;
        }
    };
    p.setNumberOfRoots(5);
    p.root = [](double t, const double *y, int iroot) {
        switch (iroot) {
        case 1:
            return y[0] - 0.6;
        case 2:
            return t - 0.5;
        case 3:
            return y[1] - y[2];
        case 4:
            return y[8] - 0.3;
        default:
            return t - 1.0;
        }
    };
    p.continueAtRoots = true;
    p.integrate();
    EXPECT_EQ(p.messageCount(), 0);
    ASSERT_EQ(p.points.size(), reference.size() + 1);
    std::vector<int> expectedRoots;
    for (std::size_t k = 0; k < reference.size(); ++k) {
        const auto &point = p.points[k + 1];
        EXPECT_NEAR(point.t, reference[k].t, 1e-9 * std::fabs(reference[k].t)) << "call " << k + 1;
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_NEAR(point.y[i], reference[k].y[i], 1e-9 * std::fabs(reference[k].y[i]))
                << "call " << k + 1;
        }
        if (reference[k].nstate == 5) {
            expectedRoots.push_back(reference[k].iroot);
        }
    }
    EXPECT_EQ(p.rootIndexes, expectedRoots);
    EXPECT_EQ(expectedRoots, (std::vector<int>{2, 5, 4}));
}
