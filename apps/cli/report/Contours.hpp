#pragma once

#include "ostreljet/mapping/Contours.hpp"
#include "report/Point.hpp"

namespace ostreljet::report {

// The report draws the library's contour lines.
using mapping::contourLength;
using mapping::ContourLine;
using mapping::traceContours;

} // namespace ostreljet::report
