#include "ostreljet/farfield/AveragingTime.hpp"

#include <algorithm>
#include <cmath>

namespace ostreljet {

double AveragingTime::effective(double seconds) {
    return std::max(seconds, kFloor);
}

double AveragingTime::sigmaYFactor(double seconds) {
    return std::pow(effective(seconds) / kReference, kExponent);
}

} // namespace ostreljet
