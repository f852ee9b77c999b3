#pragma once

#include "ostreljet/Export.hpp"

#include <string>

namespace ostreljet::inputs {

// Checks that the fronts (scenario reader, C API, command-line tool) make on top of the model's own
// validation, refusing what the model would compute nonsense from. Each returns "" when the values are
// usable and otherwise a sentence naming the value at fault.
class OSTRELJET_EXPORT InputSanity {
public:
    // A release that starts at or below ground level (stack height <= 0 m) and points downward
    // (release angle < 0 degrees) would start underground.
    static std::string releaseProblem(double stackHeight, double releaseAngle);

    // A point (m) whose coordinates are not all finite numbers.
    static std::string pointProblem(double x, double y, double z);

    // A grid whose corners (m) are not finite, or whose extent on an axis (end - start) overflows.
    static std::string gridProblem(double x0, double y0, double z0, double x1, double y1, double z1);

    // The shortest decimal text that reads back as the same double ("nan", "inf" and "-inf" too).
    static std::string number(double value);
};

} // namespace ostreljet::inputs
