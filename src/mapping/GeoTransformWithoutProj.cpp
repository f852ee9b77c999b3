// The browser build has no PROJ: maps there are in the site frame only, and a transform to longitude and
// latitude is refused with a message that says why.

#include "ostreljet/mapping/GeoTransform.hpp"

namespace ostreljet::mapping {

struct GeoTransform::Projection {};

GeoTransform::GeoTransform(double originLatitude, double originLongitude)
    : latitude_(originLatitude), longitude_(originLongitude) {
    throw GeoTransformError(
        "longitude and latitude need PROJ, which this build lacks: coordinates are in the "
        "site frame only");
}

GeoTransform::~GeoTransform() = default;

GeoTransform::LonLat GeoTransform::toLonLat(double, double) const {
    throw GeoTransformError("longitude and latitude need PROJ, which this build lacks");
}

GeoTransform::EastNorth GeoTransform::toSite(double, double) const {
    throw GeoTransformError("longitude and latitude need PROJ, which this build lacks");
}

} // namespace ostreljet::mapping
