#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>

namespace ostreljet {

// Pasquill stability classes, from very unstable (A) to moderately stable (F).
enum PASQUILL : std::int32_t {
    PASQUILL_A = 0,
    PASQUILL_B = 1,
    PASQUILL_C = 2,
    PASQUILL_D = 3,
    PASQUILL_E = 4,
    PASQUILL_F = 5,
};

// Monin-Obukhov similarity profile of wind speed and temperature in the surface layer,
// with the Businger-Dyer flux-profile relations. Every call inside the class goes through
// the seven virtual operations, so that a derived profile can replace any of them.
class OSTRELJET_EXPORT CAtmosSurfaceLayerProf {
public:
    // A neutral profile of 5 m/s and 288.15 K at 10 m over a roughness of 0.1 m, bearing 0.
    CAtmosSurfaceLayerProf();

    // Stability functions and integrated profile shapes; zeta is height times the inverse Obukhov length.
    virtual double phiMomentum(double zeta);
    virtual double psiMomentum(double zeta);
    virtual double phiHeat(double zeta);
    virtual double psiHeat(double zeta);
    virtual double momentumProfile(double z);
    virtual double heatProfile(double z);
    virtual double heatRoughness(double z0);

    // Rebuilds the whole profile so that it passes through the reference wind speed and temperature
    // (and the reference value of the second scalar) at the reference height.
    void initialise(std::int32_t stabilityClass, double scalarReference, double referenceHeight,
                    double roughness, double bearing, double referenceSpeed, double referenceTemperature);

    double windSpeed(double z);       // m/s
    double temperature(double z);     // K
    double eddyDiffusivity(double z); // m2/s

    double dissipationRate(double z);         // m2/s3
    double windShear(double z);               // 1/s
    double temperatureGradient(double z);     // K/m
    double scalarValue(double z);             // -
    double scalarGradient(double z);          // 1/m
    double verticalVelocitySpread(double z);  // m/s
    double frictionVelocityMultiple1() const; // m/s
    double frictionVelocityMultiple2() const; // m/s
    double frictionVelocityMultiple3() const; // m/s

    // Inverse Obukhov length (1/m) that a class implies over a roughness z0 (m); 0 for D and unknown classes.
    static double inverseObukhovLengthFor(std::int32_t stabilityClass, double roughness);
    // The class whose inverse Obukhov length lies nearest to the given one over a roughness z0 (m).
    static std::int32_t stabilityClassFor(double inverseObukhovLength, double roughness);

    double windBearing() const;          // degrees
    double inverseObukhovLength() const; // 1/m
    double frictionVelocity() const;     // m/s
    double roughnessLength() const;      // m
    double heatRoughnessLength() const;  // m
    double temperatureScale() const;     // K
    double surfaceTemperature() const;   // K
    double scalarScale() const;          // -
    double surfaceScalar() const;        // -

private:
    void setCoefficients();
    void build(double inverseLength, double scalarReference, double referenceHeight, double roughness,
               double bearing, double referenceSpeed, double referenceTemperature);

    double windBearing_ = 0.0;          // degrees, recorded only
    double inverseObukhovLength_ = 0.0; // 1/m, 0 neutral, negative unstable, positive stable
    double frictionVelocity_ = 0.0;     // m/s
    double roughnessLength_ = 0.0;      // m
    double heatRoughnessLength_ = 0.0;  // m
    double temperatureScale_ = 0.0;     // K
    double surfaceTemperature_ = 0.0;   // K, the profile's temperature at the heat roughness length
    double scalarScale_ = 0.0;          // -
    double surfaceScalar_ = 0.0;        // -
    double vonKarman_ = 0.0;            // -
    double betaHeat_ = 0.0;             // -
    double betaMomentum_ = 0.0;         // -
    double gammaMomentum_ = 0.0;        // -
    double gammaHeat_ = 0.0;            // -
    double dissipationUnstable_ = 0.0;  // -
    double dissipationStable_ = 0.0;    // -
    double sigmaWNeutral_ = 0.0;        // -
    double sigmaWUnstable_ = 0.0;       // -
    double frictionMultiple1_ = 0.0;    // -
    double frictionMultiple2_ = 0.0;    // -
    double frictionMultiple3_ = 0.0;    // -
    double turbulentPrandtl_ = 0.0;     // -
    double heatRoughnessRatio_ = 0.0;   // -
};

} // namespace ostreljet
