#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/Version.hpp"
#include "ostreljet/numerics/Constants.hpp"

#include "ostreljet/numerics/RootFinder.hpp"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

namespace ostreljet {

namespace {

// Literals of the model, kept exactly so that results match to the last digit.
constexpr double pi = constants::pi;
constexpr double twoPi = 2.0 * constants::pi;
constexpr double minusPiG = -(constants::pi * constants::gravity); // m/s^2
static_assert(minusPiG == -30.808499596326314);
constexpr double gasConstant = constants::gasConstant; // J/(mol K)
constexpr double degreesToRadians = constants::degreesToRadians;
constexpr double endOfArcLength = JetModel::arcLengthRange; // m

// Coefficients of the raised-cosine cross-section profiles.
constexpr double k1 = 0.18266892;
constexpr double k2 = 0.11028002;
constexpr double k3 = 0.09676283;
constexpr double k4 = 0.14867882;
constexpr double k5 = 0.07160517;
constexpr double k6 = 0.06562163;
constexpr double k7 = 0.08617882;
constexpr double k8 = 0.07878246;
constexpr double k9 = 0.05679896;

constexpr std::int32_t numberOfStateEquations = 9;
constexpr std::int32_t numberOfStoppingFunctions = 5;
constexpr int centrelineSolveAttempts = 1000;

std::string formatDistance(const char *format, double s) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, format, s);
    return buffer;
}

} // namespace

JetModel::JetModel()
    : ODESolverDDRIV3(numberOfStateEquations), massIndex_(0), momentumXIndex_(1), momentumYIndex_(2),
      momentumZIndex_(3), sourceGasIndex_(4), enthalpyIndex_(5), positionXIndex_(6), positionYIndex_(7),
      positionZIndex_(8), xComponent_(1), yComponent_(2), zComponent_(3) {
    setNumberOfRoots(numberOfStoppingFunctions);
}

JetModel::~JetModel() = default;

bool JetModel::runModel() {
    resetModel();
    if (timeLimit_ > 0.0) {
        deadline_ = std::chrono::steady_clock::now() +
                    std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                        std::chrono::duration<double>(timeLimit_));
    }
    solverState = 1;
    if (!validateInputs()) {
        return false;
    }
    integrate();
    return true;
}

void JetModel::resetModel() {
    ++resultsRevision_;
    centrelineLocation_.clear();
    centrelineVelocityVectors_.clear();
    profileRadius_.clear();
    centrelineConcentration_.clear();
    centrelineTemperature_.clear();
    arclength_.clear();
    centrelineVelocity_.clear();
    clearMessages();
    jetGas_.reset();
    atmosphere_.setLocation(vector3(0.0, 0.0, 0.0));
    entrainmentRate_ = 0.0;
    sourceRadius_ = 0.0;
    centrelineVelocityValue_ = 0.0;
    centrelineTemperatureValue_ = 0.0;
    profileRadiusValue_ = 0.0;
    maxProfileRadius_ = 0.0;
    maxCentrelineHeight_ = 0.0;
    radiusOfCurvature_ = 0.0;
    centrelineMassFraction_ = 2.8;
    centrelineConcentrationValue_ = 2.8;
    centrelineToMeanRatio_ = 2.8;
    stateCache_.valid = false;
    stateIsCached_ = false;
    centrelineSolves_ = 0;
    centrelineRecalls_ = 0;
    residualEvaluations_ = 0;
    derivativeEvaluations_ = 0;
    lastArcLength_ = 0.0;
    sourceFigures_ = SourceFigures{};
    interruption_ = Interruption::None;
    cancelRequested_.store(false, std::memory_order_relaxed);
}

void JetModel::afterStep() {
    // Integrator calls that accept no step evaluate no stopping function: the run is checked here too,
    // and the clock only here and in the bracket widening.
    checkDeadline();
    checkInterruption();
}

void JetModel::checkDeadline() {
    if (timeLimit_ > 0.0 && interruption_ == Interruption::None &&
        std::chrono::steady_clock::now() >= deadline_) {
        interruption_ = Interruption::TimeLimit;
        char text[200];
        std::snprintf(text, sizeof text, "The run was ended at %.1f m: its time limit of %g s was reached.",
                      lastArcLength_, timeLimit_);
        addMessage(text, 2, timeLimitCode);
        stop();
    }
}

void JetModel::cancel() {
    cancelRequested_.store(true, std::memory_order_relaxed);
}

void JetModel::checkInterruption() {
    // The first of the budget and a cancel request to be noticed ends the run with its own message.
    if (interruption_ != Interruption::None) {
        return;
    }
    if (cancelRequested_.load(std::memory_order_relaxed)) {
        interruption_ = Interruption::Cancelled;
        addMessage(formatDistance("The run was cancelled at %.1f m.", lastArcLength_), 2, runCancelledCode);
    } else if (evaluationBudget_ != 0 && workDone() >= evaluationBudget_) {
        interruption_ = Interruption::BudgetSpent;
        addMessage(
            formatDistance("The run was ended at %.1f m: its budget of centreline evaluations is spent.",
                           lastArcLength_),
            2, budgetSpentCode);
    } else {
        return;
    }
    stop();
}

std::int32_t JetModel::numberOfOutputSteps() const {
    return static_cast<std::int32_t>(centrelineConcentration_.size());
}

double JetModel::profileRadius(std::int32_t outputStep) const {
    return profileRadius_.data()[outputStep];
}

double JetModel::centrelineConcentration(std::int32_t outputStep) const {
    return centrelineConcentration_.data()[outputStep];
}

double JetModel::centrelineTemperature(std::int32_t outputStep) const {
    return centrelineTemperature_.data()[outputStep];
}

double JetModel::arclength(std::int32_t outputStep) const {
    return arclength_.data()[outputStep];
}

double JetModel::centrelineLocation(std::int32_t index, std::int32_t outputStep) const {
    return centrelineLocation_.data()[outputStep].data[index - 1];
}

double JetModel::centrelineVelocity(std::int32_t outputStep) const {
    return centrelineVelocity_.data()[outputStep];
}

const char *JetModel::versionInfo() {
    return OSTRELJET_VERSION_STRING;
}

JetModel::ExitConditions JetModel::exitConditions() const {
    const Gas &source = jetGas_.source();
    return ExitConditions{source.velocity().norm(), source.density(), 2.0 * sourceRadius_};
}

double JetModel::windAlongAxis() const {
    return windAcrossAndAlongAxis().along;
}

double JetModel::windNormalToAxis() const {
    return windAcrossAndAlongAxis().normal;
}

JetModel::AxisWind JetModel::windAcrossAndAlongAxis() const {
    const vector3 tangent = jetGas_.current.velocity().unit();
    const vector3 &wind = atmosphere_.velocity();
    return AxisWind{wind.dot(tangent), cross(wind, tangent).norm()};
}

double JetModel::massFlux() const {
    const Gas &gas = jetGas_.current;
    const double b = jetGas_.radius();
    return pi * b * b * gas.velocity().norm() * gas.density();
}

double JetModel::enthalpyFlux() const {
    const Gas &gas = jetGas_.current;
    return massFlux() * gas.specificHeat() * gas.temperature();
}

double JetModel::sourceGasFlux() const {
    return massFlux() * jetGas_.current.massFraction();
}

vector3 JetModel::momentumFlux() const {
    const double m = massFlux();
    const vector3 &u = jetGas_.source().velocity();
    return vector3(m * u.x(), m * u.y(), m * u.z());
}

void JetModel::updateJetState(const double *y) {
    // Recompute the jet's gas, radius and curvature from a state vector.
    // 1. Move the atmosphere to the centreline position.
    // 2. Mass fraction, specific heat and temperature from the fluxes.
    // 3. Density by ideal mixing of specific volumes at the jet temperature.
    // 4. Velocity, radius and the radius of curvature, with the entrainment rate as last stored.
    // The same state vector and entrainment rate give the same jet: the last one is recalled, not redone.
    atmosphere_.setLocation(vector3(y[positionXIndex_], y[positionYIndex_], y[positionZIndex_]));
    if (stateCache_.valid && stateCache_.entrainmentRate == entrainmentRate_ &&
        std::memcmp(stateCache_.y, y, sizeof stateCache_.y) == 0) {
        jetGas_.current = stateCache_.gas;
        jetGas_.setRadius(stateCache_.radius);
        radiusOfCurvature_ = stateCache_.radiusOfCurvature;
        stateIsCached_ = true;
        return;
    }
    Gas &gas = jetGas_.current;
    const double m = y[massIndex_];
    const double f = y[sourceGasIndex_] / m;
    const double cps = jetGas_.source().specificHeat();
    const double cpa = atmosphere_.specificHeat();
    const double cp = (cps - cpa) * f + cpa;
    const double t = y[enthalpyIndex_] / (m * cp);
    const double pa = atmosphere_.pressure();
    const double rhoSource = pa * sourceMolecularWeight_ / (gasConstant * t);
    const double rhoAirAtJetTemperature = pa * atmosphere_.molecularWeight() / (gasConstant * t);
    const double rho =
        1.0 / ((1.0 / rhoSource - 1.0 / rhoAirAtJetTemperature) * f + 1.0 / rhoAirAtJetTemperature);
    gas.setMassFraction(f);
    gas.setSpecificHeat(cp);
    gas.setTemperature(t);
    gas.setDensity(rho);

    vector3 &u = gas.velocity();
    u.data[0] = y[momentumXIndex_] / m;
    u.data[1] = y[momentumYIndex_] / m;
    u.data[2] = y[momentumZIndex_] / m;
    const double speed = u.norm();
    const double b = std::sqrt(m / (pi * rho * speed));
    jetGas_.setRadius(b);

    const vector3 &wind = atmosphere_.velocity();
    const double e = entrainmentRate_;
    const vector3 acceleration((wind.x() - u.x()) * e / m, (wind.y() - u.y()) * e / m,
                               (minusPiG * b * b * (rho - atmosphere_.density()) - e * u.z()) / m);
    radiusOfCurvature_ = std::pow(speed, 3.0) / cross(u, acceleration).norm();

    std::memcpy(stateCache_.y, y, sizeof stateCache_.y);
    stateCache_.entrainmentRate = entrainmentRate_;
    stateCache_.gas = gas;
    stateCache_.radius = b;
    stateCache_.radiusOfCurvature = radiusOfCurvature_;
    stateCache_.profileValid = false;
    stateCache_.valid = true;
    stateIsCached_ = true;
}

void JetModel::calculateEntrainment(double s) {
    // Entrainment rate per unit arc length.
    // 1. Diffusive coefficient from the time averaging.
    // 2. Effective exit speed: the source speed, capped by the source gas's sound speed in the local air.
    // 3. Far-field factor on the jet-excess entrainment and crosswind factor that switches on the
    //    wind-normal entrainment over the jet's development length.
    // 4. Entrainment velocity from the along-axis excess and the normal wind; add ambient turbulence.
    const double cd = timeAveraging_ == LONG_TIME_AVERAGING ? 2.0 : 0.2;
    const Gas &gas = jetGas_.current;
    const double speed = gas.velocity().norm();
    const double ta = atmosphere_.temperature();
    const double soundSpeed = std::sqrt(ta * sourceSpecificHeatRatio_ * gasConstant / sourceMolecularWeight_);
    const double sourceSpeed = jetGas_.source().velocity().norm();
    const double ue = soundSpeed <= sourceSpeed ? soundSpeed : sourceSpeed;

    double f1 = 1.0;
    if (speed > 0.0) {
        f1 = ue / (3.7 * speed);
        if (f1 >= 1.0) {
            f1 = 1.0;
        }
    }

    double f2 = 1.0;
    const double diameter = 2.0 * sourceRadius_;
    const double windSpeed = atmosphere_.velocity().norm();
    const double rhoA = atmosphere_.density();
    if (windSpeed > 0.0 && rhoA > 0.0) {
        const double length = std::sqrt(jetGas_.source().density() / rhoA) * (ue / windSpeed) * diameter;
        const double r = (s / length - 0.4) / 0.6;
        if (r <= 0.0) {
            f2 = 0.0;
        } else if (r >= 1.0) {
            f2 = 1.0;
        } else {
            f2 = r;
        }
    }

    const AxisWind axisWind = windAcrossAndAlongAxis();
    const double up = axisWind.along;
    const double un = axisWind.normal;
    const double ve = 0.07 * f1 * std::sqrt(std::fabs(speed * speed - up * up)) + 0.7 * f2 * un;
    entrainmentRate_ = ve * std::sqrt(gas.density() * rhoA) * twoPi * jetGas_.radius() +
                       cd * rhoA * atmosphere_.eddyDiffusivity();
}

void JetModel::calculateDerivatives(double t, const double *y, double *ydot) {
    lastArcLength_ = t;
    ++derivativeEvaluations_;
    updateJetState(y);
    calculateEntrainment(t);
    const double e = entrainmentRate_;
    const vector3 &wind = atmosphere_.velocity();
    const Gas &gas = jetGas_.current;
    const double b = jetGas_.radius();
    const vector3 tangent = gas.velocity().unit();
    ydot[massIndex_] = e;
    ydot[momentumXIndex_] = wind.x() * e;
    ydot[momentumYIndex_] = wind.y() * e;
    ydot[momentumZIndex_] = minusPiG * b * b * (gas.density() - atmosphere_.density());
    ydot[sourceGasIndex_] = atmosphere_.massFraction() * e;
    ydot[enthalpyIndex_] = atmosphere_.specificHeat() * atmosphere_.temperature() * e;
    ydot[positionXIndex_] = tangent.data[xComponent_ - 1];
    ydot[positionYIndex_] = tangent.data[yComponent_ - 1];
    ydot[positionZIndex_] = tangent.data[zComponent_ - 1];
}

double JetModel::chokedStagnationPressure() const {
    const double gamma = sourceSpecificHeatRatio_;
    const double ts = sourceTemperature();
    const double ms = sourceMolecularWeight_;
    const double radius = orificeDiameter_ / 2.0;
    const double criticalSpeed = std::sqrt(2.0 * gamma * gasConstant * ts / ((gamma + 1.0) * ms));
    return massFlowrate_ / (dischargeCoefficient_ * pi * radius * radius * (ms / (gasConstant * ts)) *
                            std::pow(2.0 / (gamma + 1.0), 1.0 / (gamma - 1.0)) * criticalSpeed);
}

double JetModel::pseudoSourceVelocity(double stagnationPressure) const {
    const double gamma = sourceSpecificHeatRatio_;
    const double ts = sourceTemperature();
    const double ms = sourceMolecularWeight_;
    const double cd = dischargeCoefficient_;
    const double criticalSpeed = std::sqrt(2.0 * gamma * gasConstant * ts / ((gamma + 1.0) * ms));
    const double throatPressure = stagnationPressure * std::pow(2.0 / (gamma + 1.0), gamma / (gamma - 1.0));
    const double throatDensity =
        std::pow(2.0 / (gamma + 1.0), 1.0 / (gamma - 1.0)) * ms * stagnationPressure / (gasConstant * ts);
    return cd * criticalSpeed +
           (throatPressure - atmosphere_.pressure()) / (cd * throatDensity * criticalSpeed);
}

void JetModel::calculateExitConditions() {
    // Conditions at the orifice, with a pseudo-source in place of a choked orifice.
    // 1. Stagnation pressure that would pass the flow through a choked orifice, and the critical pressure.
    // 2. Choked: the pseudo-source's speed, radius and density after expansion to ambient pressure.
    //    Otherwise: ideal-gas density at the source temperature, the orifice radius, and a speed that the
    //    discharge coefficient raises rather than the area it contracts.
    // 3. Direction from the release angle and the stack bearing (from +y towards +x).
    const double gamma = sourceSpecificHeatRatio_;
    const double ms = sourceMolecularWeight_;
    const double ts = sourceTemperature();
    const double cd = dischargeCoefficient_;
    const double d = orificeDiameter_;
    const double pa = atmosphere_.pressure();
    const double p0 = chokedStagnationPressure();
    const double criticalPressure = pa * std::pow(2.0 / (gamma + 1.0), -gamma / (gamma - 1.0));

    double rhoSource;
    double b0;
    double speed;
    if (p0 > criticalPressure) {
        speed = pseudoSourceVelocity(p0);
        b0 = 0.5 * d * cd *
             std::sqrt(std::pow(2.0 / (gamma + 1.0), 1.0 / (gamma - 1.0)) * (p0 / pa) * gamma /
                       (1.0 + gamma * cd * cd));
        rhoSource = massFlowrate_ / (pi * b0 * b0 * speed);
    } else {
        rhoSource = pa * ms / (gasConstant * ts);
        b0 = d / 2.0;
        speed = massFlowrate_ / (pi * b0 * b0 * rhoSource * cd);
    }

    const double theta = releaseAngle_ * degreesToRadians;
    const double phi = stackBearing_ * degreesToRadians;
    const double horizontal = speed * std::cos(theta);
    Gas &source = jetGas_.source();
    source.setDensity(rhoSource);
    source.setVelocity(
        vector3(horizontal * std::sin(phi), horizontal * std::cos(phi), speed * std::sin(theta)));
    source.setMassFraction(1.0);
    sourceRadius_ = b0;
}

JetModel::SourceRatios JetModel::sourceRatios() const {
    return SourceRatios{jetGas_.source().density() / atmosphere_.density(),
                        jetGas_.source().velocity().norm() / atmosphere_.velocity().norm()};
}

bool JetModel::checkSourceConditions() {
    const auto [densityRatio, velocityRatio] = sourceRatios();
    sourceFigures_ =
        SourceFigures{densityRatio, jetGas_.source().velocity().norm(), atmosphere_.velocity().norm()};
    if (densityRatio > 5.0 || densityRatio < 0.2) {
        addMessage("The calculated density ratio is invalid.", 0, 28);
        return false;
    }
    if (velocityRatio < 3.0) {
        addMessage(
            "The calculated exit velocity is less than three times the wind velocity, model not valid.", 0,
            26);
        return false;
    }
    return true;
}

void JetModel::warnSourceConditions() {
    const auto [densityRatio, velocityRatio] = sourceRatios();
    if (densityRatio > 2.0 || densityRatio < 0.5) {
        addMessage("Density ratio outside normal range of model. Use results carefully", 0, 27);
    }
    if (velocityRatio < 6.0) {
        addMessage("The jet to wind velocity ratio is less than 6.0. Use results carefully.", 0, 25);
    }
}

double JetModel::getEndValue() {
    return endOfArcLength;
}

void JetModel::setInitialConditions(double *t0, double *y0) {
    atmosphere_.setLocation(vector3(stackLocationX_, stackLocationY_, stackHeight_));
    calculateExitConditions();
    if (!checkSourceConditions()) {
        stop();
    }
    warnSourceConditions();

    const Gas &source = jetGas_.source();
    Gas &current = jetGas_.current;
    current.setTemperature(source.temperature());
    current.setSpecificHeat(source.specificHeat());
    current.setVelocity(source.velocity());
    current.setDensity(source.density());
    current.setMassFraction(source.massFraction());
    jetGas_.setRadius(sourceRadius_);
    stateIsCached_ = false;

    *t0 = 0.0;
    calculateEntrainment(*t0);

    const double m = massFlux();
    const vector3 momentum = momentumFlux();
    y0[massIndex_] = m;
    y0[momentumXIndex_] = momentum.data[xComponent_ - 1];
    y0[momentumYIndex_] = momentum.data[yComponent_ - 1];
    y0[momentumZIndex_] = momentum.data[zComponent_ - 1];
    y0[sourceGasIndex_] = m * current.massFraction();
    y0[enthalpyIndex_] = m * current.specificHeat() * current.temperature();
    y0[positionXIndex_] = stackLocationX_;
    y0[positionYIndex_] = stackLocationY_;
    y0[positionZIndex_] = stackHeight_;
}

JetModel::ProfileCoefficients JetModel::profileCoefficients(double up) const {
    // The coefficients fold the integrals of the raised-cosine profiles into single constants.
    const double f = jetGas_.current.massFraction();
    const double v = jetGas_.current.velocity().norm() - up;
    const double ms = sourceMolecularWeight_;
    const double dm = atmosphere_.molecularWeight() - ms;
    const double ms2 = ms * ms;
    const double ms3 = ms2 * ms;
    const double dm2 = dm * dm;
    const double dm3 = dm2 * dm;
    const double f2 = f * f;
    return ProfileCoefficients{{
        0.0104920092417038 * ms3 * up * f2,
        0.0031553236976172 * v * ms3 * f + 0.0177529796276107 * ms2 * up * dm * f2 -
            0.00451093228963101 * ms3 * up * f,
        0.00452712703514793 * v * ms2 * dm * f - 0.00205354098551162 * v * ms3 +
            0.0089550870841982 * ms * up * dm2 * f2 - 0.00661708087348988 * ms2 * up * dm * f +
            0.000247627557445882 * ms3 * up,
        0.00182426179119249 * v * ms * dm2 * f - 0.00276318154258023 * v * ms2 * dm -
            0.00278667015858869 * ms * up * dm2 * f + 0.000322740784822077 * ms2 * up * dm +
            0.00121479582487403 * up * dm3 * f2,
        -0.000988435010251855 * v * ms * dm2 + 0.00021935367630075 * v * dm3 * f +
            0.000122260192864305 * ms * up * dm2 - 0.000334879671956369 * up * dm3 * f,
        -0.000106295289912112 * v * dm3 + 0.0000131767738396672 * up * dm3,
    }};
}

double JetModel::ProfileCoefficients::evaluate(double fc) const {
    double sum = 0.0;
    double power = 1.0;
    for (int i = 0; i < 6; ++i) {
        sum += c[i] * power;
        power *= fc;
    }
    return sum;
}

double JetModel::ProfileCoefficients::signKeptWithin(double x0, double value0) const {
    // A distance r such that every floating-point evaluation within r of x0 keeps the strict sign of
    // value0 = evaluate(x0), with room for every rounding error; 0 when none can be shown.
    // 1. Taylor coefficients d_k at x0, and a_k of the polynomial with coefficients |c_k| at |x0|: within r
    //    of x0 the residual moves by at most sum_k>=1 |d_k| r^k, an evaluation errs by at most a small
    //    multiple of sum_k a_k r^k, and so do the computed d_k.
    // 2. The margin is |value0| less the error of value0 itself; r starts at the linear estimate and is
    //    halved until the bound on the residual's move and on the evaluation's error fits the margin.
    constexpr double roundoff = 1e-13; // relative error of a sum of six products, with ample room
    double d[6];
    double a[6];
    const double ax = std::fabs(x0);
    for (int k = 0; k < 6; ++k) {
        d[k] = c[k];
        a[k] = std::fabs(c[k]);
    }
    for (int k = 0; k < 5; ++k) {
        for (int j = 4; j >= k; --j) {
            d[j] += x0 * d[j + 1];
            a[j] += ax * a[j + 1];
        }
    }
    const double margin = std::fabs(value0) - 2.0 * roundoff * a[0];
    if (!(margin > 0.0) || !(a[0] > 1e-250) || !(a[0] < 1e250)) {
        return 0.0;
    }
    double h[6];
    for (int k = 1; k < 6; ++k) {
        h[k] = std::fabs(d[k]) + 2.0 * roundoff * a[k];
    }
    double r = h[1] > 0.0 ? margin / h[1] : ax + 1.0;
    for (int halvings = 0; halvings < 60; ++halvings) {
        const double move = ((((h[5] * r + h[4]) * r + h[3]) * r + h[2]) * r + h[1]) * r;
        if (move * (1.0 + 1e-12) < margin) {
            return r;
        }
        r *= 0.5;
    }
    return 0.0;
}

bool JetModel::solveWidened(const ProfileCoefficients &coefficients, double f, double atMean,
                            double tolerance, std::uint64_t &evaluations, double &root, bool &complete) {
    // Brackets from f to f (1 + 0.01 i), i = 1, 2, ..., until one holds a root: true and the root, or false
    // and 0. complete is false when the run's budget, a cancel or its time limit cut the search short.
    // A bracket that fails is followed by those whose far ends provably keep the residual's sign: they
    // are passed over without evaluating it there.
    auto residual = [&coefficients, &evaluations](double fc) {
        ++evaluations;
        return coefficients.evaluate(fc);
    };
    auto farEnd = [f](int i) { return f * (1.0 + 0.01 * i); };
    root = 0.0;
    complete = true;
    for (int i = 1; i < centrelineSolveAttempts; ++i) {
        if (timeLimit_ > 0.0) {
            checkDeadline();
        }
        if ((evaluationBudget_ != 0 && workDone() + evaluations > evaluationBudget_) ||
            cancelRequested_.load(std::memory_order_relaxed) || runInterrupted()) {
            complete = false;
            return false;
        }
        const double far = farEnd(i);
        const double atFar = residual(far);
        if (!sameStrictSign(atMean, atFar)) {
            if (findRootBetween(f, atMean, far, atFar, tolerance, residual, root)) {
                return true;
            }
            continue;
        }
        const double reach = coefficients.signKeptWithin(far, atFar);
        while (i + 1 < centrelineSolveAttempts &&
               std::fabs(farEnd(i + 1) - far) <= reach - 4.4e-16 * std::fabs(farEnd(i + 1))) {
            ++i;
        }
    }
    return false;
}

double JetModel::profileResidual(double fc) const {
    return profileCoefficients(windAlongAxis()).evaluate(fc);
}

void JetModel::calculateCentrelineProperties() {
    // Centreline values of the raised-cosine profiles that carry the jet's fluxes.
    // 1. Solve the profile residual for the centreline mass fraction, widening the bracket on failure.
    // 2. Mole fraction, centreline velocity and centreline temperature from the profile coefficients.
    // 3. Profile radius from the mass flux, then the bending check against the radius of curvature.
    const Gas &gas = jetGas_.current;
    const double f = gas.massFraction();
    const double tolerance = getTolerance();
    // The wind along the axis, the residual's coefficients and its value at f belong to the jet state:
    // the solves at one state (its stopping functions and its output step) compute them once.
    if (!stateIsCached_ || !stateCache_.profileValid) {
        stateCache_.up = windAlongAxis();
        stateCache_.coefficients = profileCoefficients(stateCache_.up);
        stateCache_.residualAtMean = stateCache_.coefficients.evaluate(f);
        stateCache_.profileValid = stateIsCached_;
        stateCache_.wideningKnown = false;
        stateCache_.centrelineKnown = false;
        stateCache_.solveCount = 0;
        stateCache_.nextSolveSlot = 0;
    }
    const double up = stateCache_.up;
    const ProfileCoefficients &coefficients = stateCache_.coefficients;
    std::uint64_t evaluations = 0;
    auto residual = [&coefficients, &evaluations](double fc) {
        ++evaluations;
        return coefficients.evaluate(fc);
    };
    double root = 0.0;
    bool solved = false;
    if (!runInterrupted()) {
        // Every bracket starts at f: its residual is evaluated once per state and shared by all of them.
        const double atMean = stateCache_.residualAtMean;
        ++evaluations;
        // A solve is a function of the state and its starting end: one met before at this state is recalled.
        const double start = centrelineMassFraction_;
        const bool memoUsable = stateCache_.profileValid;
        int memo = 0;
        while (memoUsable && memo < stateCache_.solveCount && !(stateCache_.solves[memo].start == start)) {
            ++memo;
        }
        if (memoUsable && memo < stateCache_.solveCount) {
            ++centrelineRecalls_;
            solved = stateCache_.solves[memo].solved;
            root = stateCache_.solves[memo].root;
        } else {
            ++centrelineSolves_;
            bool complete = true;
            solved = findRootFrom(f, atMean, start, tolerance, residual, root);
            // The widened brackets depend on the state alone, so their outcome is found once per state.
            if (!solved && memoUsable && stateCache_.wideningKnown) {
                solved = stateCache_.wideningSolved;
                root = stateCache_.wideningRoot;
            } else if (!solved) {
                solved = solveWidened(coefficients, f, atMean, tolerance, evaluations, root, complete);
                stateCache_.wideningKnown = complete;
                stateCache_.wideningSolved = solved;
                stateCache_.wideningRoot = root;
            }
            if (memoUsable && complete) {
                JetStateCache::Solve &entry =
                    stateCache_.solves[stateCache_.solveCount < JetStateCache::solveSlots
                                           ? stateCache_.solveCount++
                                           : stateCache_.nextSolveSlot++ % JetStateCache::solveSlots];
                entry = JetStateCache::Solve{start, solved, root};
            }
        }
        residualEvaluations_ += evaluations;
        checkInterruption();
    }
    double fc;
    if (solved) {
        fc = root;
        centrelineToMeanRatio_ = fc / f;
    } else {
        fc = f * centrelineToMeanRatio_;
    }
    centrelineMassFraction_ = fc;
    // The centreline values are a function of the state and fc: a solve at this state that ends on the
    // same fc as the last one takes its values.
    if (stateCache_.profileValid && stateCache_.centrelineKnown &&
        std::bit_cast<std::uint64_t>(stateCache_.centrelineFraction) == std::bit_cast<std::uint64_t>(fc)) {
        setCentrelineValues(stateCache_.centreline);
        warnIfBendingTooSharply();
        return;
    }

    const double ma = atmosphere_.molecularWeight();
    const double ms = sourceMolecularWeight_;
    const double dm = ma - ms;
    const double speed = gas.velocity().norm();
    const double cp = gas.specificHeat();
    const double cpa = atmosphere_.specificHeat();
    const double dcp = cpa - cp;
    const double t = gas.temperature();
    const double ta = atmosphere_.temperature();
    const double rho = gas.density();
    const double b = jetGas_.radius();
    const double pa = atmosphere_.pressure();

    const double mc = dm * fc + ms;
    centrelineConcentrationValue_ = fc * ma / mc;

    double uc;
    if (up > 0.0001) {
        const double nu = 0.5 * f * mc - k1 * fc * (f * dm + mc) + k2 * fc * fc * dm;
        const double du = k3 * fc * (f * dm + mc) - k4 * f * mc - k5 * fc * fc * dm;
        uc = (nu / du + 1.0) * up;
    } else {
        uc = (k4 * mc - k3 * fc * dm) / (k7 * mc - k6 * fc * dm) * (speed - up);
    }
    centrelineVelocityValue_ = uc;
    const double du = uc - up;

    const double sa = (0.5 * mc - k1 * fc * dm) * up + (k4 * mc - k3 * fc * dm) * du;
    const double q = dcp * mc + cpa * dm;
    const double va = k8 * dm * dcp * fc * fc + k1 * cpa * mc - k2 * fc * q;
    const double vb = k9 * dm * dcp * fc * fc + k3 * cpa * mc - k5 * fc * q;
    const double tc = sa * (t - ta) * cp / (va * up + vb * du) + ta;
    centrelineTemperatureValue_ = tc;

    const double mRadius = (fc > 1.0 && dm < 0.0) ? ma : mc;
    const double z = 0.5 * up * mRadius - k1 * up * fc * dm + k4 * du * mRadius - k3 * du * fc * dm;
    profileRadiusValue_ = std::sqrt(b * b * rho * speed * gasConstant * tc * mRadius / (2.0 * ma * pa * z));
    stateCache_.centrelineFraction = fc;
    stateCache_.centreline = centrelineValues();
    stateCache_.centrelineKnown = stateCache_.profileValid;

    warnIfBendingTooSharply();
}

void JetModel::warnIfBendingTooSharply() {
    if (profileRadiusValue_ > radiusOfCurvature_) {
        // Made once: this check runs at every solve and must not allocate.
        static const std::string bendingTooSharply =
            "The jet may be bending too sharply for the model to be valid. Please use results with caution "
            "or consider changing input parameters.";
        addMessage(bendingTooSharply, -1, 29);
    }
}

void JetModel::setCentrelineValues(const CentrelineValues &values) {
    centrelineConcentrationValue_ = values.concentration;
    centrelineVelocityValue_ = values.velocity;
    centrelineTemperatureValue_ = values.temperature;
    profileRadiusValue_ = values.radius;
}

void JetModel::updateMaxima(double height, double radius) {
    if (height > maxCentrelineHeight_) {
        maxCentrelineHeight_ = height;
    }
    if (radius > maxProfileRadius_) {
        maxProfileRadius_ = radius;
    }
}

void JetModel::storeOutputStep(double t, const double *y) {
    ++resultsRevision_;
    lastArcLength_ = t;
    updateJetState(y);
    calculateCentrelineProperties();
    centrelineLocation_.emplace_back(y[positionXIndex_], y[positionYIndex_], y[positionZIndex_]);
    centrelineVelocityVectors_.push_back(jetGas_.current.velocity());
    profileRadius_.push_back(profileRadiusValue_);
    updateMaxima(y[positionZIndex_], profileRadiusValue_);

    const double cc = centrelineConcentrationValue_;
    centrelineConcentration_.push_back(cc < 1.0 ? cc : 1.0);
    // The temperature never passes the source temperature on the side away from the ambient.
    const double ts = sourceTemperature();
    const double tc = centrelineTemperatureValue_;
    if (ts >= atmosphere_.temperature()) {
        centrelineTemperature_.push_back(tc < ts ? tc : ts);
    } else {
        centrelineTemperature_.push_back(tc > ts ? tc : ts);
    }
    arclength_.push_back(t);
    const double sourceSpeed = jetGas_.source().velocity().norm();
    const double uc = centrelineVelocityValue_;
    centrelineVelocity_.push_back(uc < sourceSpeed ? uc : sourceSpeed);
}

double JetModel::calculateRootFunction(double t, const double *y, int iroot) {
    lastArcLength_ = t;
    updateJetState(y);
    calculateCentrelineProperties();
    const double z = y[positionZIndex_];
    updateMaxima(z, profileRadiusValue_);
    const double top = atmosphere_.boundaryLayerHeight();
    // The speed and its horizontal part, for the two edge functions.
    auto speeds = [this] {
        const vector3 &u = jetGas_.current.velocity();
        return std::pair{u.norm(), std::sqrt(u.x() * u.x() + u.y() * u.y())};
    };
    switch (iroot) {
    case 1:
        return z;
    case 2:
        return z - top;
    case 3: {
        const auto [speed, horizontalSpeed] = speeds();
        return (top - z) * speed / horizontalSpeed - profileRadiusValue_;
    }
    case 4: {
        const auto [speed, horizontalSpeed] = speeds();
        return z * speed / horizontalSpeed - profileRadiusValue_;
    }
    case 5:
        return centrelineConcentrationValue_ - stoppingConcentration_;
    default:
        return 1.0;
    }
}

bool JetModel::checkContinue(double t, const double * /*y*/) {
    if (getSolverState() != 5) {
        return true;
    }
    switch (getRootIndex()) {
    case 1:
        addMessage(
            formatDistance("The centreline of the jet is interacting with the ground, model terminated at "
                           "%.1f m.",
                           t),
            2, 0);
        return false;
    case 2:
        addMessage(
            formatDistance("The centreline of the jet is interacting with the top of the boundary layer, "
                           "terminated at %.1f m.",
                           t),
            2, 32);
        return false;
    case 3:
        addMessage(formatDistance(
                       "The edge of the jet is interacting with the top of the boundary layer at %.1f m.", t),
                   -1, 31);
        return true;
    case 4:
        addMessage(formatDistance("The edge of the jet is interacting with the ground at %.1f m.", t), -1, 1);
        return true;
    case 5:
        addMessage(formatDistance("Stopping concentration reached at %.1f m.", t), 0, 2);
        return false;
    default:
        return true;
    }
}

} // namespace ostreljet
