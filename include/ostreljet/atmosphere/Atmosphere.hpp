#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"
#include "ostreljet/atmosphere/Gas.hpp"
#include "ostreljet/numerics/vector3.hpp"

#include <cstdint>

namespace ostreljet {

// The ambient atmosphere: the user's atmospheric inputs, a current location and, as its Gas part,
// the state of the air at that location. The similarity profile is used but not exposed.
class OSTRELJET_EXPORT Atmosphere : public Gas, private CAtmosSurfaceLayerProf {
public:
    // Neutral profile over 0.1 m roughness, while the roughness input reads 0.0 and the boundary-layer
    // height 1000 m until those inputs are set; the local air stays all zero until the first setLocation.
    Atmosphere();

    // Moves to p and evaluates the wind vector, temperature, density and eddy diffusivity there; the
    // values of the last height are reused when p is at that height and no input has changed since.
    void setLocation(const vector3 &p);
    const vector3 &location() const { return location_; }

    // These store their value and rebuild the profile from all stored inputs.
    void setReferenceTemperature(double temperature); // also becomes the temperature of the air
    void setSurfaceRoughness(double roughness);
    void setReferenceWindHeight(double height);
    void setReferenceWindSpeed(double speed);
    void setPasquillStability(std::int32_t stabilityClass); // also sets the class's boundary-layer height

    // These only store; their values take effect at the next setLocation.
    void setMolecularWeight(double molecularWeight);
    void setPressure(double pressure);
    void setReferenceWindBearing(double bearing);

    std::int32_t pasquillStability() const;
    double surfaceRoughness() const;
    double molecularWeight() const { return molecularWeight_; }
    double pressure() const { return pressure_; }
    double referenceWindSpeed() const;
    double referenceWindHeight() const;
    double referenceTemperature() const;
    double referenceWindBearing() const;
    double eddyDiffusivity() const { return eddyDiffusivity_; } // at the current location
    double boundaryLayerHeight() const { return boundaryLayerHeight_; }

    // The air at the current location.
    using Gas::density;
    using Gas::specificHeat;
    using Gas::temperature;
    using Gas::velocity;

    // Values of the current profile.
    using CAtmosSurfaceLayerProf::frictionVelocity;
    using CAtmosSurfaceLayerProf::inverseObukhovLength;
    using CAtmosSurfaceLayerProf::surfaceTemperature;
    using CAtmosSurfaceLayerProf::temperatureScale;

    // The profile at any height z (m), without moving the current location.
    double windSpeedAt(double z);       // m/s
    double temperatureAt(double z);     // K
    double eddyDiffusivityAt(double z); // m2/s

    // sigma_w (m/s) at height z (m), without moving the current location.
    using CAtmosSurfaceLayerProf::verticalVelocitySpread;

    // Boundary-layer height (m) that belongs to a class; 2500 m for a value outside A..F.
    static double boundaryLayerHeightFor(std::int32_t stabilityClass);

private:
    void rebuildProfile();

    std::int32_t pasquillStability_ = PASQUILL_D; // -
    double surfaceRoughness_ = 0.0;               // m
    vector3 location_;                            // m
    double molecularWeight_ = 0.02896;            // kg/mol
    double pressure_ = 101325.0;                  // Pa, the same at every height
    double referenceWindSpeed_ = 5.0;             // m/s
    double referenceWindHeight_ = 10.0;           // m
    double referenceTemperature_ = 288.15;        // K
    double referenceWindBearing_ = 90.0;          // degrees from +y towards +x, where the wind blows to
    double eddyDiffusivity_ = 0.0;                // m2/s, at the current location
    double boundaryLayerHeight_ = 1000.0;         // m

    // The air last evaluated by setLocation, reused while the height and the inputs stay the same.
    bool localValid_ = false;           // false until evaluated and after any input changes
    double localHeight_ = 0.0;          // m
    vector3 localVelocity_;             // m/s
    double localTemperature_ = 0.0;     // K
    double localDensity_ = 0.0;         // kg/m3
    double localEddyDiffusivity_ = 0.0; // m2/s
};

} // namespace ostreljet
