#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/numerics/vector3.hpp"

namespace ostreljet {

// The local state of a body of gas: ambient air, the jet's gas or the gas as released.
// It computes nothing; its fields hold whatever was last written.
class OSTRELJET_EXPORT Gas {
public:
    Gas();

    void setDensity(double density);
    double density() const;
    void setTemperature(double temperature);
    double temperature() const;
    void setSpecificHeat(double specificHeat);
    double specificHeat() const;
    void setMassFraction(double massFraction);
    double massFraction() const;

    // Copies the elements of v (resizing to its length); later changes to v do not reach this gas.
    void setVelocity(const vector3 &v);
    // The stored velocity itself, so that callers read and write its components in place.
    vector3 &velocity();
    const vector3 &velocity() const;

private:
    double density_ = 0.0;      // kg/m3
    double temperature_ = 0.0;  // K
    double specificHeat_ = 0.0; // J/(kg K), at constant pressure
    double massFraction_ = 0.0; // -, 1.0 for pure source gas, 0.0 for ambient air
    vector3 velocity_;          // m/s, x and y horizontal, z up
};

} // namespace ostreljet
