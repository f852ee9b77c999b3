#include "Commands.hpp"
#include "MapOptions.hpp"
#include "Support.hpp"

#include "ostreljet/mapping/Footprint.hpp"
#include "ostreljet/mapping/FootprintWriter.hpp"
#include "ostreljet/mapping/GeoTransform.hpp"
#include "ostreljet/mapping/LevelFootprints.hpp"
#include "ostreljet/mapping/PlumeField.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "report/SummaryText.hpp"
#include "report/Ticks.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ostreljet::cli {

namespace {

struct FootprintOptions {
    std::string scenario;
    std::string levels;
    std::string unit = "vol";
    std::string height;
    bool plumeHeight = false;
    std::string origin;
    std::int32_t points = 401;
    std::string output;
};

enum class MapFormat { geoJson, kml };

MapFormat formatOf(const std::string &path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".geojson" || extension == ".json") {
        return MapFormat::geoJson;
    }
    if (extension == ".kml") {
        return MapFormat::kml;
    }
    throw CommandFailure(kUsageError,
                         fmt::format("-o: \"{}\" ends in neither .geojson, .json nor .kml", path));
}

} // namespace

void registerFootprintCommand(CLI::App &app) {
    auto options = std::make_shared<FootprintOptions>();
    CLI::App *command = app.add_subcommand(
        "footprint", "Run a scenario and write, for each level, the region at or above it on a horizontal "
                     "plane as polygons in a GeoJSON or KML file.");
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    command
        ->add_option("--levels", options->levels,
                     "levels: numbers with an optional unit (0.01, 2%, 5000ppm, 100mg/m3) or LFL, UFL, "
                     "LFL/2, IDLH; the defaults of run when not given")
        ->type_name("L1,L2,...");
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");
    auto *height =
        command
            ->add_option("--height", options->height, "height of the plane [m], 0 (the ground) unless given")
            ->type_name("Z");
    command->add_flag("--plume-height", options->plumeHeight, "the plane at the centreline's greatest height")
        ->excludes(height);
    command
        ->add_option("--origin", options->origin,
                     "WGS84 latitude and longitude of the site's origin (x = 0, y = 0) [degrees]: "
                     "coordinates in longitude and latitude; without it, metres east and north")
        ->type_name("LAT,LON");
    command
        ->add_option("--points", options->points, "grid nodes along the longer side of each footprint's grid")
        ->type_name("N")
        ->check(CLI::Range(11, 10001));
    command->add_option("-o,--output", options->output, "the map file: .geojson (or .json) or .kml")
        ->type_name("FILE")
        ->required();

    command->callback([options]() {
        // Phases: check the options; run the scenario; find each level's footprint wherever the field
        // reaches it; write the map file through a temporary file; print each footprint's area.
        const ConcentrationUnit unit = parseUnitOption(options->unit);
        const MapFormat format = formatOf(options->output);
        const std::unique_ptr<mapping::GeoTransform> origin = parseOriginOption(options->origin);
        if (format == MapFormat::kml && !origin) {
            throw CommandFailure(kUsageError,
                                 "-o: a KML file holds longitude and latitude: give --origin LAT,LON");
        }
        double z = options->height.empty() ? 0.0 : parseHeightOption(options->height);
        std::vector<Level> levels;
        if (!options->levels.empty()) {
            levels = parseLevelsOption("--levels", options->levels, unit);
        }
        checkOutputPath(options->output);
        checkNotInput("-o", options->output, options->scenario);
        const Scenario scenario = loadScenario(options->scenario);

        JetModel model;
        const WholePlumeSummary::Result run = runScenario(model, scenario);
        const RunSummary &summary = run.summary;
        if (!summary.succeeded()) {
            throw noResults(summary);
        }
        if (levels.empty()) {
            levels = Level::defaults(scenario.gas(), model.stoppingConcentration());
        }
        levelsInModelUnit("--levels", levels, model, scenario.gas()); // refuses a level the gas lacks
        if (options->plumeHeight) {
            z = std::max(0.0, summary.greatestCentrelineHeight ? summary.greatestCentrelineHeight->z : 0.0);
        }
        mapping::FootprintSearch search;
        search.points = options->points;
        const std::string scenarioName = std::filesystem::path(options->scenario).filename().string();
        const std::vector<mapping::LabelledFootprint> footprints = mapping::levelFootprints(
            model, levels, scenario.gas(), unit, z, scenario.farFieldOptions(), search, scenarioName);
        const mapping::PlumeField field(model, scenario.farFieldOptions());
        const std::string text = format == MapFormat::kml
                                     ? mapping::footprintKml(footprints, *origin)
                                     : mapping::footprintGeoJson(footprints, origin.get());
        writeFileAtomically(options->output, [&](std::FILE *out) { std::fputs(text.c_str(), out); });

        fmt::print("Footprints of {} at {} m above ground, concentrations in {}:\n", scenarioName,
                   report::plainValue(z), concentrationUnitLabel(unit));
        for (const mapping::LabelledFootprint &f : footprints) {
            const std::string label =
                fmt::format("  {}, {} {}:", f.name, report::plainValue(f.value), f.unit);
            if (!f.footprint.notComputed.empty()) {
                fmt::print("{} not computed: {}\n", label, f.footprint.notComputed);
                continue;
            }
            const std::string cut =
                !f.footprint.cutAtEndOfRun ? ""
                : f.footprint.cutWhereFarFieldEnds
                    ? fmt::format("; cut off where the far field ends ({:.0f} m downwind), the region "
                                  "reaches farther",
                                  field.farFieldEnd())
                    : std::string("; cut off by the end of the run, the region reaches farther");
            if (f.footprint.polygons.empty()) {
                fmt::print("{} not reached at this height{}\n", label, cut);
                continue;
            }
            double farthest = 0.0;
            for (const mapping::Polygon &polygon : f.footprint.polygons) {
                for (const mapping::Point &p : polygon.outer) {
                    farthest = std::max(farthest, std::hypot(p.x - field.sourceX(), p.y - field.sourceY()));
                }
            }
            fmt::print("{} {} m², {} polygon(s), reaching {} m from the release (grid cell {} m){}{}\n",
                       label, report::plainValue(f.footprint.area()), f.footprint.polygons.size(),
                       report::plainValue(farthest), report::plainValue(f.footprint.grid.dx(), 3),
                       f.footprint.cutAtLimit ? "; cut at the search limit, the region reaches farther" : "",
                       cut);
        }
        fmt::print("Written to {} ({})\n", options->output,
                   origin ? fmt::format("WGS84 longitude and latitude, origin {}, {}",
                                        origin->originLatitude(), origin->originLongitude())
                          : std::string(mapping::kSiteFrameCoordinates));
        printMessages(summary);
        endUnlessOk(summary);
    });
}

} // namespace ostreljet::cli
