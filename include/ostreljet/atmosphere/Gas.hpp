#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/numerics/vector3.hpp"

namespace ostreljet {

// The local state of a body of gas: ambient air, the jet's gas or the gas as released.
// It computes nothing; its fields hold whatever was last written.
class OSTRELJET_EXPORT Gas {
public:
    Gas();

    // The accessors are defined here so that the jet's inner loops inline them.
    void setDensity(double density) { density_ = density; }
    double density() const { return density_; }
    void setTemperature(double temperature) { temperature_ = temperature; }
    double temperature() const { return temperature_; }
    void setSpecificHeat(double specificHeat) { specificHeat_ = specificHeat; }
    double specificHeat() const { return specificHeat_; }
    void setMassFraction(double massFraction) { massFraction_ = massFraction; }
    double massFraction() const { return massFraction_; }

    // Copies the elements of v; later changes to v do not reach this gas.
    void setVelocity(const vector3 &v) { velocity_ = v; }
    // The stored velocity itself, so that callers read and write its components in place.
    vector3 &velocity() { return velocity_; }
    const vector3 &velocity() const { return velocity_; }

private:
    double density_ = 0.0;      // kg/m3
    double temperature_ = 0.0;  // K
    double specificHeat_ = 0.0; // J/(kg K), at constant pressure
    double massFraction_ = 0.0; // -, 1.0 for pure source gas, 0.0 for ambient air
    vector3 velocity_;          // m/s, x and y horizontal, z up
};

} // namespace ostreljet
