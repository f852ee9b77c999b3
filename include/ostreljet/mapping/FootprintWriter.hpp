#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/mapping/Footprint.hpp"
#include "ostreljet/mapping/GeoTransform.hpp"

#include <optional>
#include <string>
#include <vector>

namespace ostreljet::mapping {

// Footprints as a map takes them: GeoJSON (RFC 7946) and KML 2.2 texts. Pure functions: any number of
// threads may call them at once, each with its own GeoTransform.

// One footprint and what its properties say about it.
struct OSTRELJET_EXPORT LabelledFootprint {
    Footprint footprint;
    std::string name;     // the level as the engineer gave it, e.g. "LFL" or "1%"
    double value = 0.0;   // the level in `unit`
    std::string unit;     // e.g. "%", "ppm", "volume fraction"
    std::string gas;      // the released gas, "" when the scenario names none
    std::string scenario; // the scenario's name
    // For a weather study's contour: the probability (fraction of the time) that the level is exceeded
    // within it; absent for a single weather's footprint.
    std::optional<double> probability;
    bool worstCase = false; // the region the level reaches in some weather of a study
};

// A FeatureCollection with one Feature per footprint (a MultiPolygon, or a null geometry where the field
// nowhere reaches the level or where it was not computed), properties "name", "level", "unit",
// "volumeFraction", "height_m", "area_m2", "computed" (with "notComputed", the reason, when false),
// "reached", "cutAtEndOfRun", "cutAtSearchLimit", "gridCell_m", "gas" and "scenario" (and "probability" or
// "worstCase" for a weather study's contours). With an origin the
// coordinates are WGS84 longitude and latitude (degrees); without one they are the site frame (m east and
// north) and the collection's "coordinates" member says so.
OSTRELJET_EXPORT std::string footprintGeoJson(const std::vector<LabelledFootprint> &footprints,
                                              const GeoTransform *origin);

// A KML document with one Placemark per footprint (a MultiGeometry of polygons, none where the level is
// not reached) and the same properties as ExtendedData; KML holds longitude and latitude only.
OSTRELJET_EXPORT std::string footprintKml(const std::vector<LabelledFootprint> &footprints,
                                          const GeoTransform &origin);

// The text of the coordinates member of a GeoJSON in the site frame.
inline constexpr const char *kSiteFrameCoordinates =
    "site frame: metres east (x) and north (y) of the scenario's origin, not longitude and latitude";

} // namespace ostreljet::mapping
