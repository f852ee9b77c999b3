#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/atmosphere/JetGas.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"
#include "ostreljet/numerics/vector3.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace ostreljet {

// Time averaging of the concentrations, which sets the share of entrainment driven by ambient turbulence.
enum TIME_AVERAGING : std::int32_t { SHORT_TIME_AVERAGING = 0, LONG_TIME_AVERAGING = 1 };

// Integral model of a buoyant gas jet released from an orifice into a crosswind.
// The independent variable is the arc length s along the centreline (m); across a section the jet
// carries top-hat fluxes of mass, momentum, released gas and enthalpy.
class OSTRELJET_EXPORT JetModel : public ODESolverDDRIV3 {
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

    // A bound on the work of a run, counted as the residual evaluations of its centreline solves plus ten
    // for each evaluation of the derivatives (about their relative cost): when the work passes this number,
    // the run ends at the end of the integrator call under way with a message of its own (number
    // budgetSpentCode). 0, the default, is no bound.
    std::uint64_t evaluationBudget() const { return evaluationBudget_; }
    void setEvaluationBudget(std::uint64_t evaluations) { evaluationBudget_ = evaluations; }
    // Asks the run in progress to end soon, with a message of its own (number runCancelledCode); safe to
    // call from another thread. A run clears the request when it starts.
    void cancel();
    // A budget for the fronts: far above the work of any ordinary run, yet spent in well under a second.
    // Ordinary runs do less than 100,000; a run at the 10,000-call cap with every solve widening about
    // 1.5 million.
    static constexpr std::uint64_t recommendedEvaluationBudget = 5000000;
    static constexpr std::int32_t budgetSpentCode = 90;  // message number of a run ended by its budget
    static constexpr std::int32_t runCancelledCode = 91; // message number of a cancelled run
    static constexpr std::int32_t timeLimitCode = 92;    // message number of a run ended by its time limit
    // A limit on a run's duration in seconds (0, the default: none). It ends the run like the budget, with
    // a message of its own (number timeLimitCode); results then depend on the machine's speed.
    double timeLimit() const { return timeLimit_; }
    void setTimeLimit(double seconds) { timeLimit_ = seconds; }
    // When the last run's time limit runs out (meaningful only with a time limit), and whether a cancel
    // has been asked for since that run started: work that follows a run (its summary) keeps to both.
    std::chrono::steady_clock::time_point deadline() const { return deadline_; }
    bool cancelRequested() const { return cancelRequested_.load(std::memory_order_relaxed); }
    // Work done by the last run: centreline solves made, calls for centreline values answered by a solve
    // made before at the same state and from the same start, and the residual evaluations of the solves
    // (one for each answer recalled).
    std::uint64_t centrelineSolves() const { return centrelineSolves_; }
    std::uint64_t centrelineRecalls() const { return centrelineRecalls_; }
    std::uint64_t residualEvaluations() const { return residualEvaluations_; }
    std::uint64_t derivativeEvaluations() const { return derivativeEvaluations_; }
    // The work counted against the budget.
    std::uint64_t workDone() const { return residualEvaluations_ + 10 * derivativeEvaluations_; }

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

    // Changes whenever the results change (a run, or an output step appended); a field or other view
    // built from the results is current while this number is unchanged.
    std::uint64_t resultsRevision() const { return resultsRevision_; }

    // Where the jet starts, from the last run: the orifice, or for a choked release its pseudo-source.
    struct ExitConditions {
        double speed;    // m/s
        double density;  // kg/m3
        double diameter; // m
    };
    ExitConditions exitConditions() const;

    // What the source checks of the last run compared, at the stack (all 0 before a run reaches them).
    struct SourceFigures {
        double densityRatio = 0.0; // source density over ambient density, -
        double exitSpeed = 0.0;    // m/s
        double windSpeed = 0.0;    // m/s
    };
    const SourceFigures &sourceFigures() const { return sourceFigures_; }
    // The arc length at which every run ends at the latest, m.
    static constexpr double arcLengthRange = 10000.0;

    // The ambient atmosphere as the inputs and the last run left it; its velocity is the wind at the
    // last point the run evaluated.
    const Atmosphere &atmosphere() const { return atmosphere_; }

protected:
    // The operations the integration loop calls back; derived classes may extend them (to count calls).
    double getEndValue() override;
    void setInitialConditions(double *t0, double *y0) override;
    void calculateDerivatives(double t, const double *y, double *ydot) override;
    void afterStep() override;
    void storeOutputStep(double t, const double *y) override;
    double calculateRootFunction(double t, const double *y, int iroot) override;
    bool checkContinue(double t, const double *y) override;

private:
    // Tests reach the working state through this one class.
    friend struct JetModelTestAccess;

    // Jet equations and orifice conditions.
    void updateJetState(const double *y);
    void calculateEntrainment(double s);
    void calculateExitConditions();
    double chokedStagnationPressure() const;
    double pseudoSourceVelocity(double stagnationPressure) const;
    void calculateCentrelineProperties();
    // Adds the warning that the jet bends too sharply when the profile radius passes the radius of
    // curvature.
    void warnIfBendingTooSharply();
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
        // A distance r such that evaluate keeps the strict sign of value0 = evaluate(x0) at every point
        // within r of x0, rounding included; 0 when none can be shown.
        double signKeptWithin(double x0, double value0) const;
    };
    // up: the wind along the jet's axis, m/s.
    ProfileCoefficients profileCoefficients(double up) const;
    // The widened brackets of a centreline solve whose first bracket failed (see the definition).
    bool solveWidened(const ProfileCoefficients &coefficients, double f, double atMean, double tolerance,
                      std::uint64_t &evaluations, double &root, bool &complete);
    double profileResidual(double centrelineFraction) const;

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
    void updateMaxima(double height, double radius);

    // Why a run was ended before its stopping conditions.
    enum class Interruption { None, BudgetSpent, Cancelled, TimeLimit };
    bool runInterrupted() const { return interruption_ != Interruption::None; }
    // Ends the run (message and stop) once the budget is spent or a cancel has been asked for.
    void checkInterruption();
    // Ends the run (message and stop) once its time limit has passed.
    void checkDeadline();

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
    double stoppingConcentration_ = 0.0; // volume fraction
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

    std::uint64_t resultsRevision_ = 0; // counts the changes of the results

    // The centreline values that follow from a jet state and its centreline mass fraction.
    struct CentrelineValues {
        double concentration; // mole fraction
        double velocity;      // m/s
        double temperature;   // K
        double radius;        // m, the profile radius
    };
    CentrelineValues centrelineValues() const {
        return {centrelineConcentrationValue_, centrelineVelocityValue_, centrelineTemperatureValue_,
                profileRadiusValue_};
    }
    void setCentrelineValues(const CentrelineValues &values);

    // The jet state last computed from a state vector, and what the centreline solve derives from it;
    // recalled while the same state vector and entrainment rate come back.
    struct JetStateCache {
        bool valid = false;
        double y[9] = {};                 // the state vector
        double entrainmentRate = 0.0;     // kg/(m s), as it stood for that state
        Gas gas;                          // the jet's gas there
        double radius = 0.0;              // m
        double radiusOfCurvature = 0.0;   // m
        bool profileValid = false;        // whether the three below belong to this state
        double up = 0.0;                  // m/s, wind along the jet's axis
        ProfileCoefficients coefficients; // of the profile residual
        double residualAtMean = 0.0;      // the residual at the mean mass fraction f
        bool centrelineKnown = false;     // whether the centreline values below belong to this state
        double centrelineFraction = 0.0;  // -, the centreline mass fraction the values below follow from
        CentrelineValues centreline = {}; // at that fraction
        bool wideningKnown = false;       // whether the outcome of the widened brackets below is known
        bool wideningSolved = false;      // whether one of them gave a root
        double wideningRoot = 0.0;        // that root, -
        // Solves already made at this state, by their starting end.
        struct Solve {
            double start; // the bracket's first far end, -
            bool solved;  // whether a root was found
            double root;  // that root, -
        };
        static constexpr int solveSlots = 8;
        Solve solves[solveSlots] = {};
        int solveCount = 0;    // filled slots
        int nextSolveSlot = 0; // the slot to overwrite once all are filled
    };
    JetStateCache stateCache_;
    bool stateIsCached_ = false; // the jet state is the cached one (false after anything else moves it)
    std::uint64_t evaluationBudget_ = 0;      // residual evaluations a run may spend; 0 is no bound
    std::uint64_t centrelineSolves_ = 0;      // of the current run
    std::uint64_t centrelineRecalls_ = 0;     // of the current run
    std::uint64_t residualEvaluations_ = 0;   // of the current run
    std::uint64_t derivativeEvaluations_ = 0; // of the current run
    double lastArcLength_ = 0.0;              // m, the arc length the run last evaluated
    SourceFigures sourceFigures_;             // of the current run
    Interruption interruption_ = Interruption::None;
    std::atomic<bool> cancelRequested_{false};
    double timeLimit_ = 0.0;                           // s, 0 for none
    std::chrono::steady_clock::time_point deadline_{}; // of the run under way

    // Output series, one entry per output step.
    std::vector<vector3> centrelineLocation_;        // m
    std::vector<vector3> centrelineVelocityVectors_; // m/s
    std::vector<double> profileRadius_;              // m
    std::vector<double> centrelineConcentration_;    // mole fraction, at most 1
    std::vector<double> centrelineTemperature_;      // K
    std::vector<double> arclength_;                  // m
    std::vector<double> centrelineVelocity_;         // m/s
};

} // namespace ostreljet
