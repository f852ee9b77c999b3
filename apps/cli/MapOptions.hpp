#pragma once

#include "ostreljet/mapping/GeoTransform.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace ostreljet::cli {

// --origin LAT,LON as a transform to longitude and latitude; none for an empty text. A text that is not
// two numbers, or an origin the transform refuses, ends the command with status 2 naming --origin.
std::unique_ptr<mapping::GeoTransform> parseOriginOption(const std::string &text);

// --height Z: a finite height of 0 m or more, else status 2 naming --height.
double parseHeightOption(const std::string &text);

// A line on stderr that counts finished weather cases, redrawn in place when the percentage changes.
class CaseProgress {
public:
    void operator()(std::int64_t done, std::int64_t total);

private:
    int shown_ = -1;
};

} // namespace ostreljet::cli
