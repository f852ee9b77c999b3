#pragma once

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/atmosphere/JetGas.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"
#include "ostreljet/numerics/vector3.hpp"

#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ostreljet {

// Time averaging of the concentrations, which sets the share of entrainment driven by ambient turbulence.
enum TIME_AVERAGING : std::int32_t { SHORT_TIME_AVERAGING = 0, LONG_TIME_AVERAGING = 1 };

// Integral model of a buoyant gas jet released from an orifice into a crosswind.
// The independent variable is the arc length s along the centreline (m); across a section the jet
// carries top-hat fluxes of mass, momentum, released gas and enthalpy.
class JetModel : public ODESolverDDRIV3 {
public:
    JetModel();
    ~JetModel() override;

    JetModel(const JetModel &) = delete;
    JetModel &operator=(const JetModel &) = delete;

    // Inputs. Putters store the value unchecked; the atmospheric ones forward to the atmosphere,
    // and those that shape the wind profile rebuild it at once.
    double stackHeight() const { return stackHeight_; }
    void setStackHeight(double value) { stackHeight_ = value; }
    double orificeDiameter() const { return orificeDiameter_; }
    void setOrificeDiameter(double value) { orificeDiameter_ = value; }
    double stackLocationX() const { return stackLocationX_; }
    void setStackLocationX(double value) { stackLocationX_ = value; }
    double stackLocationY() const { return stackLocationY_; }
    void setStackLocationY(double value) { stackLocationY_ = value; }
    double releaseAngle() const { return releaseAngle_; }
    void setReleaseAngle(double value) { releaseAngle_ = value; }
    double dischargeCoefficient() const { return dischargeCoefficient_; }
    void setDischargeCoefficient(double value) { dischargeCoefficient_ = value; }
    double massFlowrate() const { return massFlowrate_; }
    void setMassFlowrate(double value) { massFlowrate_ = value; }
    double atmosphereMolecularWeight() const;
    void setAtmosphereMolecularWeight(double value);
    double atmospherePressure() const;
    void setAtmospherePressure(double value);
    double atmosphereSpecificHeat() const;
    void setAtmosphereSpecificHeat(double value);
    double atmosphereTemperature() const;
    void setAtmosphereTemperature(double value);
    double atmosphereSurfaceRoughness() const;
    void setAtmosphereSurfaceRoughness(double value);
    double referenceWindHeight() const;
    void setReferenceWindHeight(double value);
    double referenceWindSpeed() const;
    void setReferenceWindSpeed(double value);
    double referenceWindBearing() const;
    void setReferenceWindBearing(double value);
    double sourceMolecularWeight() const { return sourceMolecularWeight_; }
    void setSourceMolecularWeight(double value) { sourceMolecularWeight_ = value; }
    double sourceSpecificHeat() const;
    void setSourceSpecificHeat(double value);
    double sourceSpecificHeatRatio() const { return sourceSpecificHeatRatio_; }
    void setSourceSpecificHeatRatio(double value) { sourceSpecificHeatRatio_ = value; }
    double sourceTemperature() const;
    void setSourceTemperature(double value);
    std::int32_t timeAveraging() const { return timeAveraging_; }
    void setTimeAveraging(std::int32_t value) { timeAveraging_ = value; }
    double stoppingConcentration() const { return stoppingConcentration_; }
    void setStoppingConcentration(double value) { stoppingConcentration_ = value; }
    std::int32_t pasquillStability() const;
    void setPasquillStability(std::int32_t value);
    double stackBearing() const { return stackBearing_; }
    void setStackBearing(double value) { stackBearing_ = value; }

    // The run: reset, validate, integrate. True when the inputs passed validation, whatever
    // happened during the integration; the message list tells the rest.
    bool runModel();
    // Checks the inputs in a fixed order; the first failure adds its message and returns false.
    bool validateInputs();
    // Empties the results and messages and returns the working values to their starting values.
    void resetModel();

    // Results of the last run, one entry per output step. Indexes are not checked.
    std::int32_t numberOfOutputSteps() const;
    double profileRadius(std::int32_t outputStep) const;
    double centrelineConcentration(std::int32_t outputStep) const;
    double centrelineTemperature(std::int32_t outputStep) const;
    double arclength(std::int32_t outputStep) const;
    // index is one-based: 1 = x, 2 = y, 3 = z; the output step is zero-based.
    double centrelineLocation(std::int32_t index, std::int32_t outputStep) const;
    double centrelineVelocity(std::int32_t outputStep) const;
    static const char *versionInfo();

    // Whole series, for hosts that read them at once.
    const std::vector<vector3> &centrelineLocations() const { return centrelineLocation_; }
    const std::vector<vector3> &centrelineVelocityVectors() const { return centrelineVelocityVectors_; }
    const std::vector<double> &profileRadii() const { return profileRadius_; }
    const std::vector<double> &centrelineConcentrations() const { return centrelineConcentration_; }
    const std::vector<double> &centrelineTemperatures() const { return centrelineTemperature_; }
    const std::vector<double> &arclengths() const { return arclength_; }
    const std::vector<double> &centrelineVelocities() const { return centrelineVelocity_; }
    double maxProfileRadius() const { return maxProfileRadius_; }
    double maxCentrelineHeight() const { return maxCentrelineHeight_; }

    // Concentration (mass fraction) at a point from the last run's series; 0 before any run.
    double calculateConcentration(double x, double y, double z) const;
    // Concentrations on a regular grid, x outermost and z innermost. The x axis reaches xEnd; the
    // y and z axes stop one step short of their ends.
    std::vector<double> calculateConcentrationGrid(double xStart, double yStart, double zStart, double xEnd,
                                                   double yEnd, double zEnd, std::int32_t numberOfPointsX,
                                                   std::int32_t numberOfPointsY,
                                                   std::int32_t numberOfPointsZ) const;
    // The same grid written into out (nx * ny * nz values), evaluated on `threads` threads (0: one per
    // core) with results identical to the serial order. `progress` (optional) is called now and then
    // on the calling thread with the points done and the total.
    using GridProgress = std::function<void(std::int64_t done, std::int64_t total)>;
    void calculateConcentrationGrid(double *out, double xStart, double yStart, double zStart, double xEnd,
                                    double yEnd, double zEnd, std::int32_t numberOfPointsX,
                                    std::int32_t numberOfPointsY, std::int32_t numberOfPointsZ,
                                    unsigned threads, const GridProgress &progress = {}) const;
    // nx * ny * nz in 64 bits; negative when an odd number of counts is negative. A product beyond the
    // 64-bit range saturates at the largest (or smallest) 64-bit value, which no memory can hold.
    static std::int64_t gridPointCount(std::int32_t numberOfPointsX, std::int32_t numberOfPointsY,
                                       std::int32_t numberOfPointsZ);
    // Coordinate of point `index` of `count` on one grid axis; the x axis reaches its end, y and z do not.
    static double gridCoordinate(double start, double end, std::int64_t index, std::int64_t count,
                                 bool reachesEnd);

    // Read access to the working state, for inspection and tests.
    const Atmosphere &atmosphere() const { return atmosphere_; }
    Atmosphere &atmosphere() { return atmosphere_; }
    const JetGas &jetGas() const { return jetGas_; }
    JetGas &jetGas() { return jetGas_; }
    double sourceRadius() const { return sourceRadius_; }
    double entrainmentRate() const { return entrainmentRate_; }
    double radiusOfCurvature() const { return radiusOfCurvature_; }
    double centrelineMassFraction() const { return centrelineMassFraction_; }
    double centrelineConcentrationValue() const { return centrelineConcentrationValue_; }
    double centrelineVelocityValue() const { return centrelineVelocityValue_; }
    double centrelineTemperatureValue() const { return centrelineTemperatureValue_; }
    double profileRadiusValue() const { return profileRadiusValue_; }

    // Jet equations and orifice conditions.
    void updateJetState(const double *y);
    void calculateEntrainment(double s);
    void calculateExitConditions();
    double chokedStagnationPressure() const;
    double pseudoSourceVelocity(double stagnationPressure) const;
    void calculateCentrelineProperties();
    bool checkSourceConditions();
    void warnSourceConditions();
    double windAlongAxis() const;
    double windNormalToAxis() const;
    double massFlux() const;
    double enthalpyFlux() const;
    double sourceGasFlux() const;
    vector3 momentumFlux() const;
    // Residual of the centreline profile whose root is the centreline mass fraction: a polynomial of
    // degree 5 whose coefficients depend on the current jet state.
    struct ProfileCoefficients {
        double c[6]; // c0 .. c5
        double evaluate(double centrelineFraction) const;
    };
    // up: the wind along the jet's axis, m/s.
    ProfileCoefficients profileCoefficients(double up) const;
    double profileResidual(double centrelineFraction) const;

    // Brent's method on [a, b]: true and the root, or false and 0.0 when the ends do not bracket a
    // root or 100000 iterations do not converge.
    template <typename Function>
    static bool findRoot(double a, double b, double tolerance, Function &&function, double &result);

    // The operations the integration loop calls back.
    double getEndValue() override;
    void setInitialConditions(double *t0, double *y0) override;
    void calculateDerivatives(double t, const double *y, double *ydot) override;
    void storeOutputStep(double t, const double *y) override;
    double calculateRootFunction(double t, const double *y, int iroot) override;
    bool checkContinue(double t, const double *y) override;

    // A position or direction without heap storage, for the concentration field's inner loops.
    struct Point {
        double x;
        double y;
        double z;
    };

private:
    struct AxisWind {
        double along;  // wind component along the jet's axis, m/s
        double normal; // magnitude of the wind normal to the axis, m/s
    };
    AxisWind windAcrossAndAlongAxis() const;
    struct SourceRatios {
        double density;  // source density over ambient density at the stack
        double velocity; // source speed over wind speed at the stack
    };
    SourceRatios sourceRatios() const;
    struct Segment;
    struct Field;
    Field buildField() const;
    const Field &field() const;
    void discardField();
    bool rejectedQuickly(double x, double y, double z) const;
    double concentrationAt(double x, double y, double z, const Field &field) const;
    static double contributeFromSegment(const Point &q, std::size_t i, const Segment &segment,
                                        double previousCosB, double &result);
    static double sampleSegment(const Point &q, const Point &a, const Segment &segment);

protected:
    // Appends one output step as a run would; for derived classes that supply their own centreline.
    void appendOutputStep(const vector3 &location, const vector3 &velocity, double radius,
                          double concentration, double temperature, double arclength,
                          double velocityOnCentreline);
    void updateMaxima(double height, double radius);

private:
    // State-vector positions and the one-based components of a 3-vector.
    std::int32_t massIndex_;      // m, kg/s
    std::int32_t momentumXIndex_; // Mx, kg m/s^2
    std::int32_t momentumYIndex_; // My, kg m/s^2
    std::int32_t momentumZIndex_; // Mz, kg m/s^2
    std::int32_t sourceGasIndex_; // mf, kg/s
    std::int32_t enthalpyIndex_;  // H, W
    std::int32_t positionXIndex_; // x, m
    std::int32_t positionYIndex_; // y, m
    std::int32_t positionZIndex_; // z, m
    std::int32_t xComponent_;     // 1
    std::int32_t yComponent_;     // 2
    std::int32_t zComponent_;     // 3

    // Inputs held by the model itself.
    double stackHeight_ = 0.0;             // m
    double orificeDiameter_ = 0.0;         // m
    double stackLocationX_ = 0.0;          // m, east
    double stackLocationY_ = 0.0;          // m, north
    double releaseAngle_ = 0.0;            // degrees above horizontal
    double dischargeCoefficient_ = 1.0;    // -
    double massFlowrate_ = 0.0;            // kg/s
    double sourceMolecularWeight_ = 0.0;   // kg/mol
    double sourceSpecificHeatRatio_ = 0.0; // -
    std::int32_t timeAveraging_ = SHORT_TIME_AVERAGING;
    double stoppingConcentration_ = 0.0; // mass fraction
    double stackBearing_ = 0.0;          // degrees from +y towards +x

    Atmosphere atmosphere_;
    JetGas jetGas_;

    // Working values of a run.
    double entrainmentRate_ = 0.0;              // E, kg/(m s)
    double radiusOfCurvature_ = 0.0;            // Rc, m
    double sourceRadius_ = 0.0;                 // b0, m
    double centrelineMassFraction_ = 2.8;       // fc, -
    double centrelineConcentrationValue_ = 2.8; // Cc, mole fraction
    double centrelineVelocityValue_ = 0.0;      // uc, m/s
    double profileRadiusValue_ = 0.0;           // Rp, m
    double centrelineTemperatureValue_ = 0.0;   // Tc, K
    double centrelineToMeanRatio_ = 2.8;        // fc / f, -
    double maxProfileRadius_ = 0.0;             // m
    double maxCentrelineHeight_ = 0.0;          // m

    // The concentration field's view of the series, built on the first query after they change.
    mutable std::mutex fieldMutex_;
    mutable std::unique_ptr<Field> field_;

    // Output series, one entry per output step.
    std::vector<vector3> centrelineLocation_;        // m
    std::vector<vector3> centrelineVelocityVectors_; // m/s
    std::vector<double> profileRadius_;              // m
    std::vector<double> centrelineConcentration_;    // mole fraction, at most 1
    std::vector<double> centrelineTemperature_;      // K
    std::vector<double> arclength_;                  // m
    std::vector<double> centrelineVelocity_;         // m/s
};

template <typename Function>
bool JetModel::findRoot(double a, double b, double tolerance, Function &&function, double &result) {
    // Brent's method: bisection, secant and inverse quadratic interpolation on a shrinking bracket.
    // 1. Evaluate both ends and refuse a bracket without a sign change.
    // 2. Keep b the best estimate and c the other side of the root; take the interpolation step when
    //    it stays inside the bracket and shrinks fast enough, otherwise bisect.
    // 3. Stop when half the bracket is within 2 eps |b| + tol / 2 or the function is exactly zero.
    constexpr int maximumIterations = 100000;
    constexpr double twiceEpsilon = 4.4e-16;
    double fa = function(a);
    double fb = function(b);
    if ((fa > 0.0 && fb > 0.0) || (fa < 0.0 && fb < 0.0)) {
        result = 0.0;
        return false;
    }
    double c = b;
    double fc = fb;
    double d = 0.0;
    double e = 0.0;
    for (int iteration = 1; iteration <= maximumIterations; ++iteration) {
        if ((fb > 0.0 && fc > 0.0) || (fb < 0.0 && fc < 0.0)) {
            c = a;
            fc = fa;
            d = b - a;
            e = d;
        }
        if (std::fabs(fc) < std::fabs(fb)) {
            a = b;
            b = c;
            c = a;
            fa = fb;
            fb = fc;
            fc = fa;
        }
        const double tolerance1 = twiceEpsilon * std::fabs(b) + 0.5 * tolerance;
        const double xm = 0.5 * (c - b);
        if (std::fabs(xm) <= tolerance1 || fb == 0.0) {
            result = b;
            return true;
        }
        if (std::fabs(e) >= tolerance1 && std::fabs(fa) > std::fabs(fb)) {
            const double s = fb / fa;
            double p;
            double q;
            if (a == c) {
                p = 2.0 * xm * s;
                q = 1.0 - s;
            } else {
                q = fa / fc;
                const double r = fb / fc;
                p = s * (2.0 * xm * q * (q - r) - (b - a) * (r - 1.0));
                q = (q - 1.0) * (r - 1.0) * (s - 1.0);
            }
            if (p > 0.0) {
                q = -q;
            }
            p = std::fabs(p);
            const double min1 = 3.0 * xm * q - std::fabs(tolerance1 * q);
            const double min2 = std::fabs(e * q);
            if (2.0 * p < (min1 < min2 ? min1 : min2)) {
                e = d;
                d = p / q;
            } else {
                d = xm;
                e = d;
            }
        } else {
            d = xm;
            e = d;
        }
        a = b;
        fa = fb;
        if (std::fabs(d) > tolerance1) {
            b += d;
        } else {
            b += xm >= 0.0 ? std::fabs(tolerance1) : -std::fabs(tolerance1);
        }
        fb = function(b);
    }
    result = 0.0;
    return false;
}

} // namespace ostreljet
