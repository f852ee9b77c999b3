#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/atmosphere/JetGas.hpp"
#include "ostreljet/numerics/ODESolverDDRIV3.hpp"
#include "ostreljet/numerics/vector3.hpp"

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

    // The ambient atmosphere as the inputs and the last run left it; its velocity is the wind at the
    // last point the run evaluated.
    const Atmosphere &atmosphere() const { return atmosphere_; }

protected:
    // The operations the integration loop calls back; derived classes may extend them (to count calls).
    double getEndValue() override;
    void setInitialConditions(double *t0, double *y0) override;
    void calculateDerivatives(double t, const double *y, double *ydot) override;
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

    std::uint64_t resultsRevision_ = 0; // counts the changes of the results

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
