#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ostreljet::report {

// Axis ticks at whole multiples of a step that is 1, 2 or 5 times a power of ten.
struct Ticks {
    double step = 0.0;          // distance between neighbouring ticks, in axis units
    std::vector<double> values; // the ticks inside the range, ascending
};

// The finest 1-2-5 step that puts at most maxCount ticks into [low, high], and those ticks.
// An empty or non-finite range gives no ticks.
Ticks linearTicks(double low, double high, int maxCount);

// [low, high] widened outward to whole steps of the ticks that linearTicks would choose for it;
// a range of zero width is first opened to a width that suits its value.
std::pair<double, double> roundedRange(double low, double high, int maxCount);

// Ticks for a logarithmic axis over [low, high] (both positive): 1, 2 and 5 times each power of ten
// when that gives at most maxCount ticks, otherwise the powers of ten alone, thinned to every second,
// fifth or tenth decade as needed. When fewer than two such ticks fall inside, linear ticks instead.
std::vector<double> logTicks(double low, double high, int maxCount);

// [low, high] widened outward to whole powers of ten.
std::pair<double, double> roundedLogRange(double low, double high);

// A tick value with as many decimals as the step needs, a true minus sign and never "-0".
std::string formatTick(double value, double step);

// A tick of a logarithmic axis: plain decimals from 0.0001 to 999999, otherwise a mantissa times a
// power of ten with a superscript exponent (e.g. "2×10⁻⁵").
std::string formatLogTick(double value);

// A value with a few significant digits for labels and tables (e.g. "0.002", "1.5e+06").
std::string formatValue(double value, int significantDigits = 4);
// The same with a plain hyphen-minus, for terminal text and files (e.g. "1e-05").
std::string plainValue(double value, int significantDigits = 4);

} // namespace ostreljet::report
