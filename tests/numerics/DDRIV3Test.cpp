// Tests of the integrator called directly: input checks and their exact messages, the accuracy and
// return states, stopping functions, interpolation, and step-by-step agreement with reference
// trajectories produced by the published routines.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ostreljet/numerics/DDRIV3.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

using ostreljet::DDRIV3;

namespace {

// A solver object that only collects the integrator's messages (it becomes the callbacks' target).
class MessageSink : public ostreljet::ODESolverDDRIV3 {
public:
    MessageSink() : ODESolverDDRIV3(1) {}
    double getEndValue() override { return 0.0; }
    void setInitialConditions(double *, double *) override {}
    void calculateDerivatives(double, const double *, double *) override {}
};

// Problems as plain routines, dispatched on a global selector as the published interface requires.
int problem = 0;

void rhs(int *n, double *t, double *y, double *ydot) {
    switch (problem) {
    case 0: // decay
        for (int i = 0; i < *n; ++i) {
            ydot[i] = -y[i];
        }
        break;
    case 1: // Robertson chemistry
        ydot[0] = -0.04 * y[0] + 1.0e4 * y[1] * y[2];
        ydot[1] = 0.04 * y[0] - 1.0e4 * y[1] * y[2] - 3.0e7 * y[1] * y[1];
        ydot[2] = 3.0e7 * y[1] * y[1];
        break;
    case 2: // ball falling under gravity
        ydot[0] = y[1];
        ydot[1] = -9.81;
        break;
    case 3: // Lotka-Volterra
        ydot[0] = 1.5 * y[0] - y[0] * y[1];
        ydot[1] = -3.0 * y[1] + y[0] * y[1];
        break;
    case 4: { // nine coupled equations with cyclic neighbours
        const int N = *n;
        for (int i = 1; i <= N; ++i) {
            const int ip = i % N + 1;
            const int im = (i + N - 2) % N + 1;
            ydot[i - 1] = -static_cast<double>(i) * y[i - 1] + 0.1 * y[ip - 1] * y[im - 1] + 0.5 + *t;
        }
        break;
    }
    default: // constant state
        for (int i = 0; i < *n; ++i) {
            ydot[i] = 0.0;
        }
    }
}

double roots(int *, double *t, double *y, int *iroot) {
    if (problem == 2) {
        // two functions with the same zero (the 5 m mark), then the ground
        if (*iroot == 1) {
            return y[0] - 5.0;
        }
        if (*iroot == 2) {
            return 2.0 * (y[0] - 5.0);
        }
        return y[0];
    }
    if (problem == 4) {
        switch (*iroot) {
        case 1:
            return y[0] - 0.6;
        case 2:
            return *t - 0.5;
        case 3:
            return y[1] - y[2];
        case 4:
            return y[8] - 0.3;
        default:
            return *t - 1.0;
        }
    }
    return 1.0;
}

void noJacobian(int *, double *, double *, double *, int *, int *, int *) {}

double massScale = 1.0;
void massMatrix(int *n, double *, double *, double *a, int *matdim, int *, int *, int *) {
    for (int j = 0; j < *n; ++j) {
        for (int i = 0; i < *n; ++i) {
            a[i + j * *matdim] = i == j ? massScale : 0.0;
        }
    }
}

// One integration set up with the options of the ODE base (NTASK 2, MINT 2, MITER 2, IMPL 0, IERROR 3).
struct Integration {
    int n;
    double t = 0.0;
    std::vector<double> y;
    int nstate = 1;
    double tout;
    int ntask = 2;
    int nroot = 0;
    double eps = 1e-7;
    double ewt = 1e-7;
    int ierror = 3;
    int mint = 2;
    int miter = 2;
    int impl = 0;
    int ml = 0;
    int mu = 0;
    int mxord = 12;
    double hmax;
    std::vector<double> work;
    int lenw;
    std::vector<int> iwork;
    int leniw;
    int nde = 0;
    int mxstep = 100000;

    Integration(int n, std::vector<double> y0, double tout, int lenw = 2000, int leniw = 100)
        : n(n), y(std::move(y0)), tout(tout), hmax(std::fabs(tout)), work(static_cast<std::size_t>(lenw)),
          lenw(lenw), iwork(static_cast<std::size_t>(leniw)), leniw(leniw) {}

    void call() {
        DDRIV3(&n, &t, y.data(), rhs, &nstate, &tout, &ntask, &nroot, &eps, &ewt, &ierror, &mint, &miter,
               &impl, &ml, &mu, &mxord, &hmax, work.data(), &lenw, iwork.data(), &leniw, noJacobian,
               massMatrix, &nde, &mxstep, roots);
    }
    // The step size and the order of the last step, and the root index (published work-array layout).
    double hUsed() const { return work[1]; }
    int orderUsed() const { return iwork[1]; }
    int rootIndex() const { return iwork[5]; }
};

// Checks that a refused call reported exactly one message and left T, Y and NSTATE alone.
void expectRefused(MessageSink &sink, Integration &run, int code, const std::string &text) {
    const double t0 = run.t;
    const std::vector<double> y0 = run.y;
    run.call();
    ASSERT_EQ(sink.messageCount(), 1);
    EXPECT_EQ(sink.message(0).code, code);
    EXPECT_EQ(sink.message(0).level, 2);
    EXPECT_EQ(sink.message(0).text, text);
    EXPECT_TRUE(sink.isFatal());
    EXPECT_EQ(run.nstate, 1);
    EXPECT_EQ(run.t, t0);
    EXPECT_EQ(run.y, y0);
}

} // namespace

TEST(DDRIV3InputChecks, WorkArraySizeForNineEquationsAndFiveRoots) {
    problem = 4;
    {
        MessageSink sink;
        Integration run(9, std::vector<double>(9, 1.0), 3.0, 375, 30);
        run.nroot = 5;
        const std::string text =
            "DDRIV38FE Illegal input.  Insufficient storage allocated for the WORK array.  "
            "Based on the value of the input parameters involved, the required storage is"
            "     376";
        ASSERT_EQ(text.size(), 162U);
        expectRefused(sink, run, 8, text);
    }
    {
        MessageSink sink;
        Integration run(9, std::vector<double>(9, 1.0), 3.0, 376, 30);
        run.nroot = 5;
        run.call();
        EXPECT_EQ(sink.messageCount(), 0);
        EXPECT_EQ(run.nstate, 2);
        EXPECT_GT(run.t, 0.0);
    }
}

TEST(DDRIV3InputChecks, IntegerWorkArrayOneShort) {
    problem = 3;
    MessageSink sink;
    Integration run(2, {1.0, 1.0}, 1.0, 500, 22); // needs N + 21 = 23
    const std::string text =
        "DDRIV310FE Illegal input.  Insufficient storage allocated for the IWORK array.  "
        "Based on the value of the input parameters involved, the required storage is"
        "      23";
    ASSERT_EQ(text.size(), 164U);
    expectRefused(sink, run, 10, text);
}

TEST(DDRIV3InputChecks, NegativeEpsZeroEquationsAndZeroOrder) {
    problem = 3;
    {
        MessageSink sink;
        Integration run(2, {1.0, 1.0}, 1.0);
        run.eps = -1e-7;
        const std::string text =
            std::string("DDRIV36FE Illegal input.  EPS,") + " -0.10000000D-06" + ", is negative.";
        ASSERT_EQ(text.size(), 60U);
        expectRefused(sink, run, 6, text);
    }
    {
        MessageSink sink;
        Integration run(2, {1.0, 1.0}, 1.0);
        run.n = 0;
        expectRefused(sink, run, 7,
                      "DDRIV37FE Illegal input.  Number of equations,       0, is not positive.");
        EXPECT_EQ(sink.message(0).text.size(), 72U);
    }
    {
        MessageSink sink;
        Integration run(2, {1.0, 1.0}, 1.0);
        run.mxord = 0;
        expectRefused(sink, run, 14, "DDRIV314FE Illegal input.  Maximum order,       0, is not positive.");
        EXPECT_EQ(sink.message(0).text.size(), 67U);
    }
}

TEST(DDRIV3InputChecks, ImproperMethodCombinations) {
    problem = 3;
    const std::string text = "DDRIV39FE Illegal input.  Improper value for MINT, MITER and/or IMPL.";
    ASSERT_EQ(text.size(), 69U);
    struct Combination {
        int mint, miter, impl;
    };
    // MINT out of range, MITER out of range, MITER 3 (needs a routine this interface cannot pass),
    // IMPL out of range, IMPL with functional iteration, IMPL 2 with Adams, MINT 3 with MITER 0 or IMPL 1.
    for (const Combination c : {Combination{0, 2, 0}, Combination{4, 2, 0}, Combination{2, 6, 0},
                                Combination{2, 3, 0}, Combination{2, 2, 3}, Combination{2, 0, 1},
                                Combination{1, 2, 2}, Combination{3, 0, 0}, Combination{3, 2, 1}}) {
        MessageSink sink;
        Integration run(2, {1.0, 1.0}, 1.0);
        run.mint = c.mint;
        run.miter = c.miter;
        run.impl = c.impl;
        expectRefused(sink, run, 9, text);
    }
}

TEST(DDRIV3InputChecks, FirstFailingCheckWins) {
    problem = 3;
    MessageSink sink;
    Integration run(2, {1.0, 1.0}, 1.0, 10, 5); // every size is short and the method is improper too
    run.mint = 7;
    run.eps = -1.0;
    run.call();
    ASSERT_EQ(sink.messageCount(), 1);
    EXPECT_EQ(sink.message(0).code, 6);
}

TEST(DDRIV3Accuracy, ZeroEpsIsRaisedToTheMachineLimit) {
    problem = 3;
    MessageSink sink;
    Integration run(2, {1.0, 1.0}, 1.0);
    run.eps = 0.0;
    run.ewt = 0.0;
    run.call();
    EXPECT_EQ(run.nstate, 4);
    EXPECT_EQ(run.t, 0.0);
    // Weights max(0, |y|) = 1 give a weighted root-mean-square size of 1, so EPS becomes u (1 + 10 u), u =
    // 2^-52.
    const double u = std::ldexp(1.0, -52);
    EXPECT_EQ(run.eps, u * (1.0 + 10.0 * u));
    ASSERT_EQ(sink.messageCount(), 1);
    EXPECT_EQ(sink.message(0).code, 4);
    EXPECT_EQ(sink.message(0).level, 1);
    const std::string text =
        "DDRIV34REC At T,  0.00000000D+00, the requested accuracy, EPS, was not obtainable "
        "with the machine precision.  EPS has been increased to  0.22204460D-15";
    ASSERT_EQ(text.size(), 152U);
    EXPECT_EQ(sink.message(0).text, text);
    EXPECT_FALSE(sink.isFatal());
    // Calling again with the raised EPS continues normally.
    run.call();
    EXPECT_EQ(run.nstate, 2);
    EXPECT_GT(run.t, 0.0);
}

TEST(DDRIV3Accuracy, ExponentialDecayFollowsTheExactSolution) {
    problem = 0;
    MessageSink sink;
    Integration run(1, {1.0}, 5.0);
    double worst = 0.0;
    int calls = 0;
    while (run.t < 5.0 && calls < 10000) {
        run.call();
        ++calls;
        ASSERT_EQ(run.nstate, 2);
        worst = std::max(worst, std::fabs(run.y[0] - std::exp(-run.t)) / std::exp(-run.t));
    }
    EXPECT_EQ(run.t, 5.0);  // the last step is cut to land on TOUT
    EXPECT_LT(worst, 1e-5); // a local bound of 1e-7 per step over some sixty steps
    EXPECT_EQ(sink.messageCount(), 0);
}

TEST(DDRIV3Accuracy, BdfOrderIsCappedAtFiveAndAdamsGoesHigher) {
    problem = 3;
    MessageSink sink;
    int highest[2] = {0, 0};
    for (int mint = 1; mint <= 2; ++mint) {
        Integration run(2, {1.0, 1.0}, 10.0);
        run.mint = mint;
        run.miter = mint == 1 ? 0 : 2;
        run.eps = 1e-10;
        run.ewt = 1e-10;
        while (run.t < 10.0) {
            run.call();
            ASSERT_EQ(run.nstate, 2);
            highest[mint - 1] = std::max(highest[mint - 1], run.orderUsed());
        }
    }
    EXPECT_GT(highest[0], 5);
    EXPECT_EQ(highest[1], 5);
}

TEST(DDRIV3Tasks, IntervalTasksEndExactlyAtTout) {
    problem = 0;
    MessageSink sink;
    for (int ntask : {1, 3}) {
        Integration run(1, {1.0}, 0.75);
        run.ntask = ntask;
        run.hmax = 2.0;
        run.call();
        EXPECT_EQ(run.nstate, 2);
        EXPECT_EQ(run.t, 0.75);
        EXPECT_NEAR(run.y[0], std::exp(-0.75), 1e-6);
        run.tout = 2.0;
        run.call();
        EXPECT_EQ(run.t, 2.0);
        EXPECT_NEAR(run.y[0], std::exp(-2.0), 1e-6);
    }
    EXPECT_EQ(sink.messageCount(), 0);
}

TEST(DDRIV3Tasks, ToutBehindTheSolutionIsInterpolatedWithAWarning) {
    problem = 5; // y' = 0
    MessageSink sink;
    Integration run(2, {3.0, -4.0}, 20000.0);
    while (run.t < 20000.0) {
        run.call();
    }
    ASSERT_EQ(sink.messageCount(), 0);
    run.tout = 10000.0;
    run.call();
    EXPECT_EQ(run.nstate, 2);
    EXPECT_EQ(run.t, 10000.0);
    EXPECT_EQ(run.y[0], 3.0);
    EXPECT_EQ(run.y[1], -4.0);
    ASSERT_EQ(sink.messageCount(), 1);
    EXPECT_EQ(sink.message(0).code, 2);
    EXPECT_EQ(sink.message(0).level, 0);
    const std::string text = "DDRIV32WRN With NTASK=2 on input, T,  0.20000000D+05, was beyond TOUT,  "
                             "0.10000000D+05.  Solution obtained by interpolation.";
    ASSERT_EQ(text.size(), 124U);
    EXPECT_EQ(sink.message(0).text, text);
}

TEST(DDRIV3Tasks, SingularMassMatrixIsFatalOnTheFirstCall) {
    problem = 3;
    MessageSink sink;
    Integration run(2, {1.0, 1.0}, 1.0);
    run.impl = 1;
    massScale = 0.0;
    run.call();
    massScale = 1.0;
    EXPECT_EQ(run.nstate, 1);
    ASSERT_EQ(sink.messageCount(), 1);
    EXPECT_EQ(sink.message(0).code, 13);
    EXPECT_EQ(sink.message(0).level, 2);
    EXPECT_EQ(sink.message(0).text,
              "DDRIV313FE At T,  0.00000000D+00, while solving A*YDOT = F, A is singular.");
}

TEST(DDRIV3Roots, SignChangeStopsAtTheRootAndSharedRootsComeInIndexOrder) {
    problem = 2;
    MessageSink sink;
    Integration run(2, {10.0, 0.0}, 3.0);
    run.nroot = 3;
    struct Stop {
        int index;
        double t, height;
    };
    std::vector<Stop> stops;
    while (run.t < 3.0) {
        run.call();
        if (run.nstate == 5) {
            stops.push_back({run.rootIndex(), run.t, run.y[0]});
        }
    }
    // Height 10 - 9.81 t^2 / 2: the 5 m mark at sqrt(10 / 9.81), the ground at sqrt(20 / 9.81).
    const double t5 = std::sqrt(10.0 / 9.81);
    const double tGround = std::sqrt(20.0 / 9.81);
    ASSERT_EQ(stops.size(), 3U);
    EXPECT_EQ(stops[0].index, 1);
    EXPECT_EQ(stops[1].index, 2);
    EXPECT_EQ(stops[1].t, stops[0].t);
    EXPECT_EQ(stops[2].index, 3);
    EXPECT_NEAR(stops[0].t, t5, 1e-9);
    EXPECT_NEAR(stops[0].height, 5.0, 1e-9);
    EXPECT_NEAR(stops[2].t, tGround, 1e-9);
    EXPECT_NEAR(stops[2].height, 0.0, 1e-9);
    EXPECT_EQ(sink.messageCount(), 0);
}

namespace {

struct ReferenceRow {
    int call, nstate;
    double t, hUsed;
    int order, iroot;
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
        ReferenceRow row{};
        fields >> row.call >> row.nstate >> row.t >> row.hUsed >> row.order >> row.iroot;
        row.y.resize(static_cast<std::size_t>(n));
        for (double &v : row.y) {
            fields >> v;
        }
        rows.push_back(row);
    }
    return rows;
}

double relativeDifference(double a, double b) {
    if (a == b) {
        return 0.0;
    }
    return std::fabs(a - b) / std::max(std::fabs(a), std::fabs(b));
}

void expectSameTrajectory(Integration &run, const std::vector<ReferenceRow> &reference) {
    double worst = 0.0;
    for (const ReferenceRow &row : reference) {
        run.call();
        ASSERT_EQ(run.nstate, row.nstate) << "call " << row.call;
        ASSERT_EQ(run.orderUsed(), row.order) << "call " << row.call;
        if (row.nstate == 5) {
            ASSERT_EQ(run.rootIndex(), row.iroot) << "call " << row.call;
        }
        worst =
            std::max({worst, relativeDifference(run.t, row.t), relativeDifference(run.hUsed(), row.hUsed)});
        for (std::size_t i = 0; i < row.y.size(); ++i) {
            worst = std::max(worst, relativeDifference(run.y[i], row.y[i]));
        }
    }
    EXPECT_LE(worst, 1e-9);
}

} // namespace

TEST(DDRIV3Reference, RobertsonStepByStep) {
    problem = 1;
    const std::vector<ReferenceRow> reference = readReference("robertson_bdf.txt", 3);
    ASSERT_EQ(reference.size(), 60U);
    MessageSink sink;
    Integration run(3, {1.0, 0.0, 0.0}, 40.0, 500, 50);
    expectSameTrajectory(run, reference);
    EXPECT_EQ(sink.messageCount(), 0);
}

TEST(DDRIV3Reference, NineEquationsWithFiveStoppingFunctionsStepByStep) {
    problem = 4;
    const std::vector<ReferenceRow> reference = readReference("nine_equations_five_roots.txt", 9);
    ASSERT_EQ(reference.size(), 114U);
    MessageSink sink;
    std::vector<double> y0(9);
    for (int i = 1; i <= 9; ++i) {
        y0[static_cast<std::size_t>(i - 1)] = 1.0 / static_cast<double>(i);
    }
    Integration run(9, y0, 3.0, 439, 30);
    run.nroot = 5;
    expectSameTrajectory(run, reference);
    EXPECT_EQ(run.t, 3.0);
    EXPECT_EQ(sink.messageCount(), 0);
}

TEST(DDRIV3Threads, SeparateThreadsIntegrateIndependently) {
    // Each thread has its own message target and buffer: with EPS = 0 every call raises it, and each sink
    // receives exactly the messages of its own integration.
    auto work = [](double *result, int *messages) {
        MessageSink sink;
        Integration run(3, {1.0, 0.0, 0.0}, 40.0, 500, 50);
        run.eps = 0.0;
        run.ewt = 1e-7;
        int calls = 0;
        while (run.t < 40.0 && calls < 5000) {
            run.call();
            ++calls;
        }
        *result = run.y[0];
        *messages = sink.messageCount();
    };
    problem = 1;
    double sequential = 0.0;
    int sequentialMessages = 0;
    work(&sequential, &sequentialMessages);
    double a = 0.0;
    double b = 0.0;
    int ma = 0;
    int mb = 0;
    std::thread first(work, &a, &ma);
    std::thread second(work, &b, &mb);
    first.join();
    second.join();
    EXPECT_EQ(a, sequential);
    EXPECT_EQ(b, sequential);
    EXPECT_GT(sequentialMessages, 0);
    EXPECT_EQ(ma, sequentialMessages);
    EXPECT_EQ(mb, sequentialMessages);
}
