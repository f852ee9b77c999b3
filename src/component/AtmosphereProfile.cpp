#include "ostreljet/component/AtmosphereProfile.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/numerics/vector3.hpp"

namespace ostreljet {

Atmosphere atmosphereOf(const AtmosphereProfileInputs &inputs) {
    Atmosphere air;
    air.setPasquillStability(inputs.pasquillStability);
    air.setSurfaceRoughness(inputs.surfaceRoughness);
    air.setReferenceWindHeight(inputs.referenceWindHeight);
    air.setReferenceWindSpeed(inputs.referenceWindSpeed);
    air.setReferenceTemperature(inputs.referenceTemperature);
    air.setReferenceWindBearing(inputs.referenceWindBearing);
    air.setPressure(inputs.pressure);
    air.setMolecularWeight(inputs.molecularWeight);
    return air;
}

// Evaluates the ambient air along a vertical.
// Phases: apply every input through the atmosphere's setters; read the profile's once-only values;
// move the atmosphere to each height in turn and read the local air.
AtmosphereProfile computeAtmosphereProfile(const AtmosphereProfileInputs &inputs) {
    Atmosphere air = atmosphereOf(inputs);

    AtmosphereProfile profile;
    profile.inverseObukhovLength = air.inverseObukhovLength();
    profile.frictionVelocity = air.frictionVelocity();
    profile.temperatureScale = air.temperatureScale();
    profile.surfaceTemperature = air.surfaceTemperature();
    profile.boundaryLayerHeight = air.boundaryLayerHeight();

    profile.rows.reserve(inputs.heights.size());
    for (const double z : inputs.heights) {
        air.setLocation(vector3(0.0, 0.0, z));
        AtmosphereProfileRow row;
        row.z = z;
        row.windSpeed = air.windSpeedAt(z);
        row.windX = air.velocity().x();
        row.windY = air.velocity().y();
        row.temperature = air.temperature();
        row.density = air.density();
        row.eddyDiffusivity = air.eddyDiffusivity();
        profile.rows.push_back(row);
    }
    return profile;
}

} // namespace ostreljet
