#include "ostreljet/mapping/FootprintWriter.hpp"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>

namespace ostreljet::mapping {

namespace {

using Json = nlohmann::ordered_json;

// A ring as GeoJSON positions, closed by repeating its first point.
Json ringJson(const Ring &ring, const GeoTransform *origin) {
    Json positions = Json::array();
    for (std::size_t k = 0; k <= ring.size(); ++k) {
        const Point &p = ring[k % ring.size()];
        if (origin != nullptr) {
            const GeoTransform::LonLat at = origin->toLonLat(p.x, p.y);
            positions.push_back(Json::array({at.longitude, at.latitude}));
        } else {
            positions.push_back(Json::array({p.x, p.y}));
        }
    }
    return positions;
}

Json propertiesOf(const LabelledFootprint &labelled) {
    const Footprint &f = labelled.footprint;
    Json properties = Json::object();
    properties["name"] = labelled.name;
    properties["level"] = labelled.value;
    properties["unit"] = labelled.unit;
    properties["volumeFraction"] = f.level;
    properties["height_m"] = f.height;
    properties["computed"] = f.notComputed.empty();
    properties["reached"] = f.notComputed.empty() ? Json(!f.polygons.empty()) : Json(nullptr);
    properties["cutAtEndOfRun"] = f.cutAtEndOfRun;
    if (!f.notComputed.empty()) {
        properties["notComputed"] = f.notComputed;
    }
    properties["area_m2"] = f.polygons.empty() ? Json(nullptr) : Json(f.area());
    properties["cutAtSearchLimit"] = f.cutAtLimit;
    properties["gridCell_m"] = f.grid.dx();
    properties["gas"] = labelled.gas.empty() ? Json(nullptr) : Json(labelled.gas);
    properties["scenario"] = labelled.scenario;
    if (labelled.probability) {
        properties["probability"] = *labelled.probability;
    }
    if (labelled.worstCase) {
        properties["worstCase"] = true;
    }
    return properties;
}

std::string escapeXml(const std::string &text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&apos;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string kmlRing(const Ring &ring, const GeoTransform &origin) {
    std::string text;
    char buffer[64];
    for (std::size_t k = 0; k <= ring.size(); ++k) {
        const Point &p = ring[k % ring.size()];
        const GeoTransform::LonLat at = origin.toLonLat(p.x, p.y);
        std::snprintf(buffer, sizeof buffer, "%.10f,%.10f,0 ", at.longitude, at.latitude);
        text += buffer;
    }
    return "<LinearRing><coordinates>" + text + "</coordinates></LinearRing>";
}

std::string kmlValue(const Json &value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

} // namespace

std::string footprintGeoJson(const std::vector<LabelledFootprint> &footprints, const GeoTransform *origin) {
    Json collection = Json::object();
    collection["type"] = "FeatureCollection";
    collection["name"] = footprints.empty() ? std::string("footprints") : footprints.front().scenario;
    if (origin == nullptr) {
        collection["coordinates"] = kSiteFrameCoordinates;
    } else {
        collection["coordinates"] = "WGS84 longitude and latitude, degrees";
        collection["origin"] = {{"latitude", origin->originLatitude()},
                                {"longitude", origin->originLongitude()}};
    }
    Json features = Json::array();
    for (const LabelledFootprint &labelled : footprints) {
        Json feature = Json::object();
        feature["type"] = "Feature";
        feature["properties"] = propertiesOf(labelled);
        if (labelled.footprint.polygons.empty()) {
            feature["geometry"] = nullptr;
        } else {
            Json polygons = Json::array();
            for (const Polygon &polygon : labelled.footprint.polygons) {
                Json rings = Json::array({ringJson(polygon.outer, origin)});
                for (const Ring &hole : polygon.holes) {
                    rings.push_back(ringJson(hole, origin));
                }
                polygons.push_back(rings);
            }
            feature["geometry"] = {{"type", "MultiPolygon"}, {"coordinates", polygons}};
        }
        features.push_back(feature);
    }
    collection["features"] = features;
    return collection.dump(1) + "\n";
}

std::string footprintKml(const std::vector<LabelledFootprint> &footprints, const GeoTransform &origin) {
    // Colours aabbggrr, from the highest level (red) down to the lowest (yellow).
    static constexpr std::array<const char *, 4> kColours{"7f0000ff", "7f0080ff", "7f00c0ff", "7f00ffff"};
    std::string kml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<kml xmlns=\"http://www.opengis.net/kml/2.2\">\n<Document>\n";
    kml += "<name>" +
           escapeXml(footprints.empty() ? std::string("footprints") : footprints.front().scenario) +
           "</name>\n";
    for (std::size_t k = 0; k < footprints.size(); ++k) {
        const LabelledFootprint &labelled = footprints[k];
        kml += "<Placemark>\n<name>" + escapeXml(labelled.name) + "</name>\n";
        kml += "<Style><LineStyle><color>ff000000</color></LineStyle><PolyStyle><color>" +
               std::string(kColours[k % kColours.size()]) + "</color></PolyStyle></Style>\n<ExtendedData>";
        const Json properties = propertiesOf(labelled);
        for (const auto &[key, value] : properties.items()) {
            kml += "<Data name=\"" + escapeXml(key) + "\"><value>" + escapeXml(kmlValue(value)) +
                   "</value></Data>";
        }
        kml += "</ExtendedData>\n<MultiGeometry>";
        for (const Polygon &polygon : labelled.footprint.polygons) {
            kml += "<Polygon><outerBoundaryIs>" + kmlRing(polygon.outer, origin) + "</outerBoundaryIs>";
            for (const Ring &hole : polygon.holes) {
                kml += "<innerBoundaryIs>" + kmlRing(hole, origin) + "</innerBoundaryIs>";
            }
            kml += "</Polygon>";
        }
        kml += "</MultiGeometry>\n</Placemark>\n";
    }
    kml += "</Document>\n</kml>\n";
    return kml;
}

} // namespace ostreljet::mapping
