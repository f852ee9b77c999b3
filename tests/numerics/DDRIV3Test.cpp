// The integrator called directly: input checks, accuracy, stopping functions and the reference trajectories.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "Reference.hpp"
#include "ostreljet/numerics/DDRIV3.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

namespace {

// A solver object that only collects the integrator's messages (it becomes the callbacks' target).
class MessageSink : public ostreljet::ODESolverDDRIV3 {
public:
    MessageSink() : ODESolverDDRIV3(1) {}
    double getEndValue() override { return 0.0; }
    void setInitialConditions(double *, double *) override {}
    void calculateDerivatives(double, const double *, double *) override {}
};

// The problem behind the plain routines of the published interface, chosen by each test.
void (*problem)(double, const double *, double *) = reference::lotkaVolterra;
double (*stopping)(double, const double *, int) = nullptr;

const auto rhs = [](int *, double *t, double *y, double *ydot) { problem(*t, y, ydot); };
const auto roots = [](int *, double *t, double *y, int *k) { return stopping ? stopping(*t, y, *k) : 1.0; };
void noJacobian(int *, double *, double *, double *, int *, int *, int *) {}
void massMatrix(int *, double *, double *, double *, int *, int *, int *, int *) {}

// One integration set up with the options of the ODE base (NTASK 2, MINT 2, MITER 2, IMPL 0, IERROR 3).
struct Integration {
    int n;
    double t = 0.0;
    std::vector<double> y;
    int nstate = 1;
    double tout;
    int ntask = 2, nroot = 0;
    double eps = 1e-7, ewt = 1e-7;
    int ierror = 3, mint = 2, miter = 2, impl = 0, ml = 0, mu = 0, mxord = 12;
    double hmax;
    std::vector<double> work;
    int lenw;
    std::vector<int> iwork;
    int leniw, nde = 0, mxstep = 100000;

    Integration(int n, std::vector<double> y0, double tout, int lenw = 2000, int leniw = 100)
        : n(n), y(std::move(y0)), tout(tout), hmax(std::fabs(tout)), work(static_cast<std::size_t>(lenw)),
          lenw(lenw), iwork(static_cast<std::size_t>(leniw)), leniw(leniw) {}

    void call() {
        ostreljet::DDRIV3(&n, &t, y.data(), rhs, &nstate, &tout, &ntask, &nroot, &eps, &ewt, &ierror, &mint,
                          &miter, &impl, &ml, &mu, &mxord, &hmax, work.data(), &lenw, iwork.data(), &leniw,
                          noJacobian, massMatrix, &nde, &mxstep, roots);
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

TEST(DDRIV3InputChecks, ExactMessagesOfTheRefusedInputsAndTheSizesThatFit) {
    problem = reference::nineEquations;
    stopping = reference::nineRoots;
    struct Case {
        void (*spoil)(Integration &);
        int code;
        std::string text;
        std::size_t length;
    };
    const Case cases[] = {
        {[](Integration &r) { r.lenw = 375; }, 8, // nine equations and five roots need 376
         "DDRIV38FE Illegal input.  Insufficient storage allocated for the WORK array.  "
         "Based on the value of the input parameters involved, the required storage is     376",
         162},
        {[](Integration &r) { r.leniw = 29; }, 10, // needs N + 21 = 30
         "DDRIV310FE Illegal input.  Insufficient storage allocated for the IWORK array.  "
         "Based on the value of the input parameters involved, the required storage is      30",
         164},
        {[](Integration &r) { r.eps = -1e-7; }, 6,
         "DDRIV36FE Illegal input.  EPS, -0.10000000D-06, is negative.", 60},
        {[](Integration &r) { r.n = 0; }, 7,
         "DDRIV37FE Illegal input.  Number of equations,       0, is not positive.", 72},
        {[](Integration &r) { r.mxord = 0; }, 14,
         "DDRIV314FE Illegal input.  Maximum order,       0, is not positive.", 67},
        {[](Integration &r) { // every check fails: the first one wins
             r.lenw = 10;
             r.leniw = 5;
             r.mint = 7;
             r.eps = -1.0;
         },
         6, "DDRIV36FE Illegal input.  EPS, -0.10000000D+01, is negative.", 60},
        {nullptr, 0, "", 0}, // the sizes that just fit
    };
    for (const Case &c : cases) {
        MessageSink sink;
        Integration run(9, std::vector<double>(9, 1.0), 3.0, 376, 30);
        run.nroot = 5;
        if (c.spoil == nullptr) {
            run.call();
            EXPECT_EQ(sink.messageCount(), 0);
            EXPECT_EQ(run.nstate, 2);
            EXPECT_GT(run.t, 0.0);
            continue;
        }
        c.spoil(run);
        ASSERT_EQ(c.text.size(), c.length);
        expectRefused(sink, run, c.code, c.text);
    } // Message 9: MINT, MITER out of range, MITER 3 (needs a routine this interface cannot pass), IMPL out
      // of
    // range, IMPL with functional iteration, IMPL 2 with Adams, MINT 3 with MITER 0 or IMPL 1.
    const std::string text = "DDRIV39FE Illegal input.  Improper value for MINT, MITER and/or IMPL.";
    ASSERT_EQ(text.size(), 69U);
    const int combinations[][3] = {{0, 2, 0}, {4, 2, 0}, {2, 6, 0}, {2, 3, 0}, {2, 2, 3},
                                   {2, 0, 1}, {1, 2, 2}, {3, 0, 0}, {3, 2, 1}};
    for (const auto &c : combinations) {
        MessageSink sink;
        Integration run(2, {1.0, 1.0}, 1.0);
        run.mint = c[0];
        run.miter = c[1];
        run.impl = c[2];
        expectRefused(sink, run, 9, text);
    }
}

TEST(DDRIV3Accuracy, ZeroEpsIsRaisedToTheMachineLimit) {
    problem = reference::lotkaVolterra;
    MessageSink sink;
    Integration run(2, {1.0, 1.0}, 1.0);
    run.eps = 0.0;
    run.ewt = 0.0;
    run.call();
    EXPECT_EQ(run.nstate, 4);
    EXPECT_EQ(run.t, 0.0);
    // Weights max(0, |y|) = 1 give a weighted root-mean-square size of 1, so EPS becomes u (1 + 10 u).
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
    run.call(); // calling again with the raised EPS continues normally
    EXPECT_EQ(run.nstate, 2);
    EXPECT_GT(run.t, 0.0);
}

TEST(DDRIV3Accuracy, ExponentialDecayFollowsTheExactSolution) {
    problem = [](double, const double *y, double *ydot) { ydot[0] = -y[0]; };
    MessageSink sink;
    Integration run(1, {1.0}, 5.0);
    double worst = 0.0;
    for (int calls = 0; run.t < 5.0 && calls < 10000; ++calls) {
        run.call();
        ASSERT_EQ(run.nstate, 2);
        worst = std::max(worst, std::fabs(run.y[0] - std::exp(-run.t)) / std::exp(-run.t));
    }
    EXPECT_EQ(run.t, 5.0);  // the last step is cut to land on TOUT
    EXPECT_LT(worst, 1e-5); // a local bound of 1e-7 per step over some sixty steps
    EXPECT_EQ(sink.messageCount(), 0);
}

TEST(DDRIV3Roots, SignChangeStopsAtTheRootAndSharedRootsComeInIndexOrder) {
    problem = [](double, const double *y, double *ydot) {
        ydot[0] = y[1];
        ydot[1] = -9.81;
    };
    // two functions with the same zero (the 5 m mark), then the ground
    stopping = [](double, const double *y, int k) {
        return k == 3 ? y[0] : static_cast<double>(k) * (y[0] - 5.0);
    };
    MessageSink sink;
    Integration run(2, {10.0, 0.0}, 3.0);
    run.nroot = 3;
    std::vector<int> indexes;
    std::vector<double> times, heights;
    while (run.t < 3.0) {
        run.call();
        if (run.nstate == 5) {
            indexes.push_back(run.rootIndex());
            times.push_back(run.t);
            heights.push_back(run.y[0]);
        }
    }
    // Height 10 - 9.81 t^2 / 2: the 5 m mark at sqrt(10 / 9.81), the ground at sqrt(20 / 9.81).
    ASSERT_EQ(indexes, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(times[1], times[0]);
    EXPECT_NEAR(times[0], std::sqrt(10.0 / 9.81), 1e-9);
    EXPECT_NEAR(heights[0], 5.0, 1e-9);
    EXPECT_NEAR(times[2], std::sqrt(20.0 / 9.81), 1e-9);
    EXPECT_NEAR(heights[2], 0.0, 1e-9);
    EXPECT_EQ(sink.messageCount(), 0);
}

namespace {

// Steps call by call against the reference: the same states, orders and roots, and values within 1e-9.
void expectSameTrajectory(Integration &run, const std::vector<reference::Row> &rows) {
    double worst = 0.0;
    for (const reference::Row &row : rows) {
        run.call();
        ASSERT_EQ(run.nstate, row.nstate) << "call " << row.call;
        ASSERT_EQ(run.orderUsed(), row.order) << "call " << row.call;
        if (row.nstate == 5) {
            ASSERT_EQ(run.rootIndex(), row.iroot) << "call " << row.call;
        }
        const double h = run.hUsed() == row.hUsed ? 0.0 : std::fabs(run.hUsed() - row.hUsed) / row.hUsed;
        worst = std::max({worst, h, reference::difference(run.t, run.y, row)});
    }
    EXPECT_LE(worst, 1e-9);
}

} // namespace

TEST(DDRIV3Reference, RobertsonStepByStepAlsoOnTwoThreadsAtOnce) {
    // Each thread has its own callback target and message buffer: after the reference steps, EPS = 0 makes
    // the next call raise it, and each sink receives exactly that one message of its own integration.
    problem = reference::robertson;
    const std::vector<reference::Row> rows = reference::read("robertson_bdf.txt", 3);
    ASSERT_EQ(rows.size(), 60U);
    auto check = [&rows] {
        MessageSink sink;
        Integration run(3, {1.0, 0.0, 0.0}, 40.0, 500, 50);
        expectSameTrajectory(run, rows);
        EXPECT_EQ(sink.messageCount(), 0);
        run.eps = 0.0;
        run.call();
        EXPECT_EQ(run.nstate, 4);
        EXPECT_EQ(sink.messageCount(), 1);
    };
    check();
    std::thread first(check), second(check);
    first.join();
    second.join();
}

TEST(DDRIV3Reference, NineEquationsWithFiveStoppingFunctionsStepByStep) {
    problem = reference::nineEquations;
    stopping = reference::nineRoots;
    const std::vector<reference::Row> rows = reference::read("nine_equations_five_roots.txt", 9);
    ASSERT_EQ(rows.size(), 114U);
    MessageSink sink;
    Integration run(9, reference::nineStart(), 3.0, 439, 30);
    run.nroot = 5;
    expectSameTrajectory(run, rows);
    EXPECT_EQ(run.t, 3.0);
    EXPECT_EQ(sink.messageCount(), 0);
}
