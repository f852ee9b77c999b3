#pragma once

namespace ostreljet::report {

// A point of a plot in data units (for example downwind distance and height, m).
struct Point {
    double x = 0.0;
    double y = 0.0;
};

} // namespace ostreljet::report
