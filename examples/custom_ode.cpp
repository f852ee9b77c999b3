// Stating your own initial-value problem: a projectile with air drag, integrated until it lands.
//
// The first half derives from ODESolverDDRIV3: the base class runs the integration loop, and a stopping
// function (the height) ends it where the projectile reaches the ground. The second half calls the integrator
// DDRIV3 itself on the same equations, one output point every 0.5 s.

#include <cmath>
#include <cstdio>
#include <vector>

#include <ostreljet/numerics/Constants.hpp>
#include <ostreljet/numerics/DDRIV3.hpp>
#include <ostreljet/numerics/ODESolverDDRIV3.hpp>

namespace {

constexpr double gravity = ostreljet::constants::gravity; // m/s^2
constexpr double drag = 0.02;                             // drag coefficient per unit mass, 1/m

// State: x, z (m), then u, w (m/s). Quadratic drag opposes the velocity.
void projectile(const double *y, double *ydot) {
    const double speed = std::sqrt(y[2] * y[2] + y[3] * y[3]);
    ydot[0] = y[2];
    ydot[1] = y[3];
    ydot[2] = -drag * speed * y[2];
    ydot[3] = -gravity - drag * speed * y[3];
}

class Projectile : public ostreljet::ODESolverDDRIV3 {
public:
    Projectile() : ODESolverDDRIV3(4) { setNumberOfRoots(1); }

    double getEndValue() override { return 60.0; } // s, far beyond the flight time
    void setInitialConditions(double *t0, double *y0) override {
        *t0 = 0.0;
        y0[0] = 0.0;
        y0[1] = 0.0;
        y0[2] = 30.0; // m/s
        y0[3] = 30.0; // m/s
    }
    void calculateDerivatives(double, const double *y, double *ydot) override { projectile(y, ydot); }
    // The height: it changes sign on landing (starting at zero is not a root; only a sign change is).
    double calculateRootFunction(double, const double *y, int) override { return y[1]; }
    void storeOutputStep(double t, const double *y) override {
        ++points;
        landing = {t, y[0]};
    }

    int points = 0;                    // output points recorded
    std::vector<double> landing{0, 0}; // time (s) and range (m) of the last point
};

void derivatives(int *, double *, double *y, double *ydot) {
    projectile(y, ydot);
}

} // namespace

int main() {
    // With the base class.
    Projectile flight;
    flight.integrate();
    std::printf("Base class: %d output points, landed after %.4f s at %.3f m, %d messages\n", flight.points,
                flight.landing[0], flight.landing[1], flight.messageCount());

    // With the integrator itself, with backward differentiation formulas and NTASK 1 (interpolated
    // output at each TOUT). Its messages go to the solver object of this thread (here `flight`).
    int n = 4;
    double t = 0.0;
    double y[4] = {0.0, 0.0, 30.0, 30.0};
    int nstate = 1;
    int ntask = 1;
    int nroot = 0;
    double eps = 1e-8;
    double ewt = 1e-8;
    int ierror = 3;
    int mint = 2;
    int miter = 2;
    int impl = 0;
    int ml = 0;
    int mu = 0;
    int mxord = 5;
    double hmax = 1.0;
    int lenw = n * n + 9 * n + 204; // the need for these options without stopping functions
    int leniw = n + 21;
    std::vector<double> work(static_cast<std::size_t>(lenw));
    std::vector<int> iwork(static_cast<std::size_t>(leniw));
    int nde = 0;
    int mxstep = 1000;
    std::printf("\n    t (s)      x (m)      z (m)\n");
    for (double tout = 0.5; tout <= 4.0; tout += 0.5) {
        ostreljet::DDRIV3(&n, &t, y, derivatives, &nstate, &tout, &ntask, &nroot, &eps, &ewt, &ierror, &mint,
                          &miter, &impl, &ml, &mu, &mxord, &hmax, work.data(), &lenw, iwork.data(), &leniw,
                          nullptr, nullptr, &nde, &mxstep, nullptr);
        if (nstate != 2) {
            std::printf("integration stopped with state %d\n", nstate);
            return 1;
        }
        std::printf("%9.2f %10.4f %10.4f\n", t, y[0], y[1]);
    }
    return 0;
}
