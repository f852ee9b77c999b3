#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/atmosphere/Gas.hpp"

namespace ostreljet {

// The jet's gas at its present point, its radius, and the gas as released at the source.
class OSTRELJET_EXPORT JetGas {
public:
    // Starts as pure source gas at zero radius.
    JetGas();

    // Returns the jet to its starting state; the source gas, which carries user inputs, is kept.
    void reset();

    void setSource(const Gas &gas) { source_ = gas; }
    Gas &source() { return source_; }
    const Gas &source() const { return source_; }

    void setRadius(double radius) { radius_ = radius; }
    double radius() const { return radius_; }

    Gas current; // the jet's gas at its present point

private:
    double radius_ = 0.0; // m, the jet's present radius
    Gas source_;          // the gas as released at the source
};

} // namespace ostreljet
