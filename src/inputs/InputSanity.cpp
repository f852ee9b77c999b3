#include "ostreljet/inputs/InputSanity.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace ostreljet::inputs {

std::string InputSanity::number(double value) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), result.ptr);
}

std::string InputSanity::releaseProblem(double stackHeight, double releaseAngle) {
    if (stackHeight <= 0.0 && releaseAngle < 0.0) {
        return "the release starts at ground level (stackHeight " + number(stackHeight) +
               " m) and points downward (releaseAngle " + number(releaseAngle) +
               " degrees), so the jet would start underground; raise the stack above 0 m or point the "
               "release at or above the horizontal";
    }
    return {};
}

std::string InputSanity::pointProblem(double x, double y, double z) {
    const std::array<double, 3> point{x, y, z};
    static constexpr std::array<const char *, 3> names{"x", "y", "z"};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(point[axis])) {
            return std::string("the point's ") + names[axis] + " is " + number(point[axis]) +
                   ", not a finite number of metres";
        }
    }
    return {};
}

std::string InputSanity::gridProblem(double x0, double y0, double z0, double x1, double y1, double z1) {
    const std::array<double, 3> start{x0, y0, z0};
    const std::array<double, 3> end{x1, y1, z1};
    static constexpr std::array<const char *, 3> names{"x", "y", "z"};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(start[axis])) {
            return std::string("the grid's start ") + names[axis] + "0 is " + number(start[axis]) +
                   ", not a finite number of metres";
        }
        if (!std::isfinite(end[axis])) {
            return std::string("the grid's end ") + names[axis] + "1 is " + number(end[axis]) +
                   ", not a finite number of metres";
        }
        if (!std::isfinite(end[axis] - start[axis])) {
            return std::string("the grid's ") + names[axis] + " extent from " + number(start[axis]) +
                   " m to " + number(end[axis]) + " m overflows: " + names[axis] + "1 - " + names[axis] +
                   "0 is not a finite number";
        }
    }
    return {};
}

} // namespace ostreljet::inputs
