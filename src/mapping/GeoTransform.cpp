#include "ostreljet/mapping/GeoTransform.hpp"

#include <proj.h>

#include <cmath>
#include <cstdio>
#include <string>

namespace ostreljet::mapping {

struct GeoTransform::Projection {
    PJ_CONTEXT *context = nullptr;
    PJ *pipeline = nullptr;
    ~Projection() {
        if (pipeline != nullptr) {
            proj_destroy(pipeline);
        }
        if (context != nullptr) {
            proj_context_destroy(context);
        }
    }
};

namespace {

std::string degrees(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

} // namespace

GeoTransform::GeoTransform(double originLatitude, double originLongitude)
    : projection_(std::make_unique<Projection>()), latitude_(originLatitude), longitude_(originLongitude) {
    // The pipeline needs no database: the projection is given by its parameters alone.
    if (!(std::isfinite(originLatitude) && originLatitude >= -89.0 && originLatitude <= 89.0)) {
        throw GeoTransformError("the origin's latitude " + degrees(originLatitude) +
                                " is not within [-89, 89] degrees");
    }
    if (!(std::isfinite(originLongitude) && originLongitude >= -180.0 && originLongitude <= 180.0)) {
        throw GeoTransformError("the origin's longitude " + degrees(originLongitude) +
                                " is not within [-180, 180] degrees");
    }
    projection_->context = proj_context_create();
    if (projection_->context == nullptr) {
        throw GeoTransformError("PROJ could not create a context");
    }
    proj_log_level(projection_->context, PJ_LOG_NONE);
    const std::string definition = "+proj=pipeline +step +inv +proj=tmerc +lat_0=" + degrees(originLatitude) +
                                   " +lon_0=" + degrees(originLongitude) +
                                   " +k_0=1 +x_0=0 +y_0=0 +ellps=WGS84 +step +proj=unitconvert +xy_in=rad "
                                   "+xy_out=deg";
    projection_->pipeline = proj_create(projection_->context, definition.c_str());
    if (projection_->pipeline == nullptr) {
        throw GeoTransformError("PROJ refused the projection centred on latitude " + degrees(originLatitude) +
                                ", longitude " + degrees(originLongitude));
    }
}

GeoTransform::~GeoTransform() = default;

GeoTransform::LonLat GeoTransform::toLonLat(double x, double y) const {
    const PJ_COORD result = proj_trans(projection_->pipeline, PJ_FWD, proj_coord(x, y, 0.0, 0.0));
    return LonLat{result.xy.x, result.xy.y};
}

GeoTransform::EastNorth GeoTransform::toSite(double longitude, double latitude) const {
    const PJ_COORD result =
        proj_trans(projection_->pipeline, PJ_INV, proj_coord(longitude, latitude, 0.0, 0.0));
    return EastNorth{result.xy.x, result.xy.y};
}

} // namespace ostreljet::mapping
