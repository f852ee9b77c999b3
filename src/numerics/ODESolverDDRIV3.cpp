#include "ostreljet/numerics/ODESolverDDRIV3.hpp"

namespace ostreljet {

namespace {
thread_local ODESolverDDRIV3 *currentSolver = nullptr; // the object the integrator's callbacks reach
} // namespace

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

ODESolverDDRIV3::~ODESolverDDRIV3() = default;

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

bool ODESolverDDRIV3::integrate() {
    currentSolver = this;
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

bool ODESolverDDRIV3::checkContinue(double, const double *) {
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
