#pragma once

#include <optional>

namespace ostreljet {

// Published hazard levels of a gas in air; an absent value means none is published (a gas that does not
// burn has no flammability limits; a gas without a NIOSH IDLH value has none).
struct HazardLimits {
    std::optional<double> lowerFlammabilityLimit; // % by volume in air
    std::optional<double> upperFlammabilityLimit; // % by volume in air
    std::optional<double> idlh; // ppm by volume, NIOSH "immediately dangerous to life or health"
};

} // namespace ostreljet
