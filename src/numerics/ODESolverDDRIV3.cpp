#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

#include <memory>
#include <string>

#include "ostreljet/numerics/DDRIV3.hpp"

namespace ostreljet {

namespace {

// The object the integrator's callbacks reach: one per thread, so that separate objects may integrate on
// separate threads; within one thread only one integration runs at a time.
thread_local ODESolverDDRIV3 *currentSolver = nullptr;

// Right-hand side bridge.
void derivativeBridge(int *, double *t, double *y, double *ydot) {
    if (currentSolver != nullptr) {
        currentSolver->calculateDerivatives(*t, y, ydot);
    }
}

// Stopping-function bridge.
double rootBridge(int *, double *t, double *y, int *iroot) {
    if (currentSolver == nullptr) {
        return 1.0;
    }
    return currentSolver->calculateRootFunction(*t, y, *iroot);
}

// Analytic Jacobian bridge: never reached, the Jacobian is formed by differences.
void jacobianBridge(int *, double *, double *, double *, int *, int *, int *) {}

} // namespace

// Mass-matrix bridge: fills the object's matrix and copies it column-major into the integrator's array.
// A friend of the class because it reaches the protected matrix.
void massMatrixBridge(int *, double *t, double *y, double *a, int *matdim, int *, int *, int *) {
    ODESolverDDRIV3 *solver = currentSolver;
    if (solver == nullptr) {
        return;
    }
    solver->calculateMassMatrix(*t, y, solver->massMatrix);
    const int m = *matdim;
    for (int j = 0; j < m; ++j) {
        for (int i = 0; i < m; ++i) {
            a[i + j * m] = solver->massMatrix[i][j];
        }
    }
}

void integratorMessage(const char *msg, int nmessg, int nerr, int level) {
    if (currentSolver == nullptr) {
        return;
    }
    const std::string text(msg, static_cast<std::size_t>(nmessg));
    currentSolver->reportSolverMessage(text.c_str(), nerr, level);
}

ODESolverDDRIV3::ODESolverDDRIV3(std::int32_t n) : numberOfEquations(n) {
    if (n >= 1) {
        massMatrix.resize(n);
        for (std::int32_t i = 0; i < n; ++i) {
            massMatrix[i].resize(n);
        }
    } else {
        massMatrix.resize(1);
        massMatrix[0].resize(1);
    }
    currentSolver = this;
}

ODESolverDDRIV3::~ODESolverDDRIV3() {
    // The rows first, then the row array.
    for (std::int32_t i = 0; i < massMatrix.size; ++i) {
        massMatrix[i].resize(0);
    }
    massMatrix.resize(0);
    // The callbacks must not reach a destroyed object.
    if (currentSolver == this) {
        currentSolver = nullptr;
    }
}

void ODESolverDDRIV3::setImplicitMode(int mode) {
    implicitMode = mode;
}

bool ODESolverDDRIV3::setTolerance(double eps) {
    if (eps > 0.0) {
        tolerance = eps;
        return true;
    }
    return false;
}

bool ODESolverDDRIV3::setNumberOfRoots(int nroot) {
    numberOfRoots = nroot;
    return true;
}

bool ODESolverDDRIV3::setNumberOfEquations(int n) {
    numberOfEquations = n;
    return true;
}

// Integration loop: initial conditions, integrator options and work sizes, then one integrator call per
// internal step until the end value, a stop request, the call cap or checkContinue ends it.
bool ODESolverDDRIV3::integrate() {
    constexpr int maxCalls = 10000;
    currentSolver = this;
    int n = numberOfEquations;
    const auto y = std::make_unique<double[]>(static_cast<std::size_t>(n > 0 ? n : 0));
    stopRequested = false;

    double t = 0.0;
    setInitialConditions(&t, y.get());
    const double t0 = t;
    double tout = getEndValue();
    double hmax = tout - t0 < 0.0 ? -(tout - t0) : tout - t0;

    int ntask = 2;
    int mint = 2;
    int miter = 2;
    int ierror = 3;
    int ml = 0;
    int mu = 0;
    int mxord = 12;
    int nde = 0;
    int mxstep = 100000;
    int nroot = numberOfRoots;
    double eps = tolerance;
    double ewt = tolerance;

    int impl = 0;
    int lenw = 0;
    if (implicitMode == 1) {
        impl = 1;
        for (std::int32_t i = 0; i < massMatrix.size; ++i) {
            massMatrix[i].resize(0);
        }
        massMatrix.resize(0);
        massMatrix.resize(n);
        for (std::int32_t i = 0; i < n; ++i) {
            massMatrix[i].resize(n);
        }
        lenw = 2 * n * n + 16 * n + 214;
    } else if (implicitMode == 2) {
        impl = 2;
        lenw = 2 * n * n + 16 * n + 214;
    } else {
        lenw = n * n + 16 * n + 214;
    }
    int leniw = n + 21;
    // Zero-filled although the integrator initialises what it reads on its first call. The N x N elements
    // beyond LENW are slack for the mass-matrix bridge, which copies a full matrix even where the integrator
    // (IMPL 2) reserves only one column.
    const auto work = std::make_unique<double[]>(static_cast<std::size_t>(lenw > 0 ? lenw : 1) +
                                                 static_cast<std::size_t>(n > 0 ? n * n : 0));
    const auto iwork = std::make_unique<int[]>(static_cast<std::size_t>(leniw > 0 ? leniw : 1));

    solverState = 1;
    if (checkContinue(t0, y.get())) {
        for (int calls = 0;; ++calls) {
            if (stopRequested || !(getEndValue() > t) || calls >= maxCalls) {
                break;
            }
            if (calls == 0) {
                storeOutputStep(t, y.get());
            }
            int nstate = solverState;
            tout = getEndValue();
            DDRIV3(&n, &t, y.get(), derivativeBridge, &nstate, &tout, &ntask, &nroot, &eps, &ewt, &ierror,
                   &mint, &miter, &impl, &ml, &mu, &mxord, &hmax, work.get(), &lenw, iwork.get(), &leniw,
                   jacobianBridge, massMatrixBridge, &nde, &mxstep, rootBridge);
            solverState = nstate;
            if (nstate == 5) {
                setRootIndex(iwork[5]);
            }
            if (nstate == 2 || nstate == 5) {
                storeOutputStep(t, y.get());
            }
            afterStep();
            if (!checkContinue(t, y.get())) {
                break;
            }
        }
    }
    return true;
}

void ODESolverDDRIV3::stop() {
    stopRequested = true;
}

void ODESolverDDRIV3::reportSolverMessage(const char *text, int code, int level) {
    addMessage(text, level, code);
}

void ODESolverDDRIV3::calculateMassMatrix(double, const double *, KVector<KVector<double>> &a) {
    for (std::int32_t i = 0; i < numberOfEquations; ++i) {
        for (std::int32_t j = 0; j < numberOfEquations; ++j) {
            a[i][j] = i == j ? 1.0 : 0.0;
        }
    }
}

void ODESolverDDRIV3::storeOutputStep(double, const double *) {}

double ODESolverDDRIV3::calculateRootFunction(double, const double *, int) {
    return 1.0;
}

// Status check after each integrator call: the raised tolerance and the step limit are reported and the
// run goes on unless a fatal message has arrived; a root ends the run.
bool ODESolverDDRIV3::checkContinue(double, const double *) {
    if (solverState == 4) {
        appendMessage(
            ErrorMessage("Too much accuracy requested - the solver has reset the tolerance", 1, 17));
        return !isFatal();
    }
    if (solverState == 3) {
        appendMessage(ErrorMessage(
            "The maximum number of integration steps has been taken without reaching t_end", 1, 3));
        return !isFatal();
    }
    if (solverState > 2) {
        return false;
    }
    return !isFatal();
}

void ODESolverDDRIV3::afterStep() {}

void ODESolverDDRIV3::setRootIndex(int iroot) {
    rootIndex = iroot;
}

ODESolverDDRIV3 *ODESolverDDRIV3::current() {
    return currentSolver;
}

} // namespace ostreljet
