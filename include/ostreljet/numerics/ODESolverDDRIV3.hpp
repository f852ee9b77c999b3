#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>

#include "ostreljet/diagnostics/ErrorMessageCollection.hpp"
#include "ostreljet/numerics/KVector.hpp"

namespace ostreljet {

// The abstract base of an initial-value problem y' = f(t, y) (or A y' = f(t, y)) with stopping functions.
// A derived class states its problem by overriding getEndValue, setInitialConditions and
// calculateDerivatives (and optionally storeOutputStep, calculateRootFunction, checkContinue, ...);
// integrate() then drives the variable-order integrator DDRIV3 one internal step at a time with
// backward differentiation formulas and a difference Jacobian. The object is its own message list:
// the integrator's messages, the loop's status notices and the derived class's messages all land in it.
//
// Callbacks from the integrator reach the object through one pointer per thread (the object most
// recently constructed or integrated on that thread), so one thread runs one integration at a time.
class OSTRELJET_EXPORT ODESolverDDRIV3 : public ErrorMessageCollection {
public:
    explicit ODESolverDDRIV3(std::int32_t numberOfEquations);
    ODESolverDDRIV3(const ODESolverDDRIV3 &) = delete;
    ODESolverDDRIV3 &operator=(const ODESolverDDRIV3 &) = delete;

    virtual ~ODESolverDDRIV3();
    // 0: y' = f; 1: A y' = f with A remade as zeros before every integration and then filled by
    // calculateMassMatrix; 2: A diagonal, its diagonal read from the first column of the matrix, which is
    // kept between integrations. Other values act as 0. Mode 2 is run with no differential equations
    // declared (NDE 0), with which the method cannot start: the first call ends with the fatal
    // "step size has gone to zero" message (number 11).
    // In modes 1 and 2 the integration needs room for 2 N^2 + 16 N + 214 doubles.
    virtual void setImplicitMode(int mode);
    // Stores eps as the relative error bound when eps > 0; refuses (false) zero, negative and NaN.
    virtual bool setTolerance(double eps);
    virtual bool setNumberOfRoots(int nroot);
    // Stores the number of equations; the mass matrix keeps its size.
    virtual bool setNumberOfEquations(int n);
    // Integrates from the initial conditions to getEndValue(), one integrator call per internal step,
    // at most 10000 calls; always returns true (problems are reported as messages).
    virtual bool integrate();
    // Asks the loop to end before its next integrator call.
    virtual void stop();
    // Adds an integrator message to the list under the list's level rules.
    virtual void reportSolverMessage(const char *text, int code, int level);
    // The value of the independent variable at which integration ends.
    virtual double getEndValue() = 0;
    // Writes the starting point and the N components of the initial state.
    virtual void setInitialConditions(double *t0, double *y0) = 0;
    // The right-hand side f(t, y): writes the N derivatives.
    virtual void calculateDerivatives(double t, const double *y, double *ydot) = 0;
    // The matrix A of A y' = f (implicit modes only); the base sets the N x N identity.
    virtual void calculateMassMatrix(double t, const double *y, KVector<KVector<double>> &a);
    // Records an output point (the initial point, each completed step and each root); the base ignores it.
    virtual void storeOutputStep(double t, const double *y);
    // Stopping function number iroot (1-based); a sign change ends an integrator call at its root.
    // The base returns 1.0 (never a root).
    virtual double calculateRootFunction(double t, const double *y, int iroot);
    // Decides after every integrator call whether to go on; the base reports the raised tolerance and the
    // step limit, ends at a root, and otherwise goes on while no fatal message has been added.
    virtual bool checkContinue(double t, const double *y);
    // Called after every integrator call; the base does nothing.
    virtual void afterStep();
    // Stores the 1-based index of the stopping function that ended the last integrator call.
    virtual void setRootIndex(int iroot);

    // The solver object that the integrator's callbacks reach on this thread (null before any exists).
    static ODESolverDDRIV3 *current();

protected:
    // Read access for derived classes and tests.
    double getTolerance() const { return tolerance; }
    std::int32_t getNumberOfEquations() const { return numberOfEquations; }
    std::int32_t getNumberOfRoots() const { return numberOfRoots; }
    std::int32_t getImplicitMode() const { return implicitMode; }
    // The integrator state after the last call: 1 before the first, 2 step done, 3 step limit,
    // 4 tolerance raised, 5 root found (unchanged after a fatal error).
    std::int32_t getSolverState() const { return solverState; }
    std::int32_t getRootIndex() const { return rootIndex; }
    bool isStopRequested() const { return stopRequested; }

    double tolerance = 1e-7;             // relative error bound handed to the integrator (dimensionless)
    bool stopRequested = false;          // set by stop(); tested before every integrator call
    std::int32_t numberOfEquations;      // N, the length of the state vector
    std::int32_t numberOfRoots = 0;      // number of stopping functions
    std::int32_t implicitMode = 0;       // 0 explicit, 1 or 2 with a mass matrix
    std::int32_t solverState = 1;        // integrator state after the last call
    std::int32_t rootIndex = 0;          // 1-based index of the stopping function of the last root
    KVector<KVector<double>> massMatrix; // N rows of N elements, the matrix A of the implicit modes

    friend void massMatrixBridge(int *n, double *t, double *y, double *a, int *matdim, int *ml, int *mu,
                                 int *nde);
};

} // namespace ostreljet
