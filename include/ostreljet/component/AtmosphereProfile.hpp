#pragma once

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/atmosphere/CAtmosSurfaceLayerProf.hpp"

#include <cstdint>
#include <vector>

namespace ostreljet {

// The atmospheric inputs of a profile query. Defaults are those of a new model object, except the
// roughness, which a new model leaves at 0 m.
struct AtmosphereProfileInputs {
    std::int32_t pasquillStability = PASQUILL_D; // -
    double surfaceRoughness = 0.1;               // m
    double referenceWindSpeed = 5.0;             // m/s
    double referenceWindHeight = 10.0;           // m
    double referenceWindBearing = 90.0;          // degrees from +y towards +x, where the wind blows to
    double referenceTemperature = 288.15;        // K
    double pressure = 101325.0;                  // Pa
    double molecularWeight = 0.02896;            // kg/mol
    std::vector<double> heights;                 // m, where to evaluate the air
};

// The air at one height.
struct AtmosphereProfileRow {
    double z = 0.0;               // m
    double windSpeed = 0.0;       // m/s
    double windX = 0.0;           // m/s, towards +x (east)
    double windY = 0.0;           // m/s, towards +y (north)
    double temperature = 0.0;     // K
    double density = 0.0;         // kg/m3
    double eddyDiffusivity = 0.0; // m2/s
};

// The profile that a set of inputs implies: its once-only values and a row per requested height.
struct AtmosphereProfile {
    double inverseObukhovLength = 0.0; // 1/m
    double frictionVelocity = 0.0;     // m/s
    double temperatureScale = 0.0;     // K
    double surfaceTemperature = 0.0;   // K
    double boundaryLayerHeight = 0.0;  // m
    std::vector<AtmosphereProfileRow> rows;
};

// Builds an atmosphere from the inputs exactly as the model's putters would, with the class applied
// through its setter so that the boundary-layer height is the class's.
Atmosphere atmosphereOf(const AtmosphereProfileInputs &inputs);
// The same atmosphere evaluated at each height.
AtmosphereProfile computeAtmosphereProfile(const AtmosphereProfileInputs &inputs);

} // namespace ostreljet
