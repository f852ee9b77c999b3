#pragma once

#include "ostreljet/mapping/Contours.hpp"

namespace ostreljet::report {

// A point of a plot in data units (for example downwind distance and height, m).
using Point = mapping::Point;

} // namespace ostreljet::report
