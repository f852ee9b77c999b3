#pragma once

#include "ostreljet/Export.hpp"

#include <memory>
#include <stdexcept>

namespace ostreljet::mapping {

// A bad origin or a transform the projection library refuses; the message names the value.
class OSTRELJET_EXPORT GeoTransformError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Site coordinates (m east and north of the site's origin) to WGS84 longitude and latitude (degrees) and
// back, through PROJ: a transverse Mercator projection of the WGS84 ellipsoid centred on the origin, with
// a scale factor of 1 on its central meridian. One object serves one thread at a time; give each thread
// its own.
class OSTRELJET_EXPORT GeoTransform {
public:
    struct LonLat {
        double longitude; // degrees east
        double latitude;  // degrees north
    };
    struct EastNorth {
        double x; // m east of the origin
        double y; // m north of the origin
    };

    // latitude in [-89, 89] and longitude in [-180, 180] degrees, else GeoTransformError naming the value.
    GeoTransform(double originLatitude, double originLongitude);
    ~GeoTransform();
    GeoTransform(const GeoTransform &) = delete;
    GeoTransform &operator=(const GeoTransform &) = delete;

    LonLat toLonLat(double x, double y) const;
    EastNorth toSite(double longitude, double latitude) const;

    double originLatitude() const { return latitude_; }
    double originLongitude() const { return longitude_; }

private:
    struct Projection;
    std::unique_ptr<Projection> projection_;
    double latitude_;  // degrees
    double longitude_; // degrees
};

} // namespace ostreljet::mapping
