#include "Commands.hpp"
#include "MapOptions.hpp"
#include "Support.hpp"

#include "ostreljet/mapping/Footprint.hpp"
#include "ostreljet/mapping/FootprintWriter.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "ostreljet/weather/ExceedanceStudy.hpp"
#include "ostreljet/weather/WeatherRose.hpp"
#include "report/Ticks.hpp"
#include "report/WeatherPage.hpp"

#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ostreljet::cli {

namespace {

struct WeatherOptions {
    std::string scenario;
    std::string rose;
    std::string levels;
    std::string unit = "vol";
    std::string grid;
    std::string height;
    std::string probabilities = "0.1,0.01,0.001";
    std::string origin;
    unsigned jobs = 0;
    std::string output;
};

// The grid's half-width when no case reaches the lowest level on the plane, m.
constexpr double kFallbackHalfWidth = 1000.0;
// Nodes along each side of a grid that --grid does not size.
constexpr std::int32_t kDefaultGridPoints = 201;
// The largest grid side, in nodes.
constexpr std::int32_t kMaximumGridPoints = 5001;

// --grid R,N or X0,Y0,X1,Y1,NX,NY.
mapping::PlaneGrid parseGridOption(const std::string &text, double sourceX, double sourceY, double z) {
    const std::vector<std::string> pieces = splitAtCommas(text);
    std::vector<double> values;
    for (const std::string &piece : pieces) {
        const std::optional<double> value = parseNumber(piece);
        if (!value || !std::isfinite(*value)) {
            values.clear();
            break;
        }
        values.push_back(*value);
    }
    const auto count = [&](double n) {
        if (n != std::floor(n) || n < 2 || n > kMaximumGridPoints) {
            throw CommandFailure(kUsageError, fmt::format("--grid: {} is not a number of points from 2 to {}",
                                                          report::plainValue(n), kMaximumGridPoints));
        }
        return static_cast<std::int32_t>(n);
    };
    if (values.size() == 2 && pieces.size() == 2) {
        if (!(values[0] > 0.0)) {
            throw CommandFailure(kUsageError,
                                 fmt::format("--grid: the half-width {} m is not above 0", pieces[0]));
        }
        const std::int32_t n = count(values[1]);
        return mapping::PlaneGrid{
            sourceX - values[0], sourceY - values[0], sourceX + values[0], sourceY + values[0], n, n, z};
    }
    if (values.size() == 6 && pieces.size() == 6) {
        if (!(values[2] > values[0]) || !(values[3] > values[1])) {
            throw CommandFailure(kUsageError, "--grid: X1 must be above X0 and Y1 above Y0");
        }
        return mapping::PlaneGrid{values[0],        values[1],        values[2], values[3],
                                  count(values[4]), count(values[5]), z};
    }
    throw CommandFailure(kUsageError,
                         fmt::format("--grid: \"{}\" is neither R,N nor X0,Y0,X1,Y1,NX,NY", text));
}

std::vector<double> parseProbabilities(const std::string &text) {
    std::vector<double> out;
    for (const std::string &piece : splitAtCommas(text)) {
        const std::optional<double> p = parseNumber(piece);
        if (!p || !(*p > 0.0) || !(*p <= 1.0)) {
            throw CommandFailure(
                kUsageError, fmt::format("--probabilities: \"{}\" is not a probability in (0, 1]", piece));
        }
        out.push_back(*p);
    }
    return out;
}

void appendNumber(fmt::memory_buffer &buffer, double value) {
    char text[32];
    const char *end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 17).ptr;
    buffer.append(text, end);
}

void writeProbabilityCsv(std::FILE *out, const weather::ExceedanceResult &result,
                         const std::vector<std::string> &columns) {
    fmt::memory_buffer buffer;
    fmt::format_to(std::back_inserter(buffer), "x [m],y [m],z [m]");
    for (const std::string &column : columns) {
        fmt::format_to(std::back_inserter(buffer), ",{}", column);
    }
    buffer.push_back('\n');
    const std::vector<double> xs = result.grid.xs();
    const std::vector<double> ys = result.grid.ys();
    std::size_t k = 0;
    for (const double x : xs) {
        for (const double y : ys) {
            appendNumber(buffer, x);
            buffer.push_back(',');
            appendNumber(buffer, y);
            buffer.push_back(',');
            appendNumber(buffer, result.grid.z);
            for (const mapping::PlaneValues &p : result.probability) {
                buffer.push_back(',');
                appendNumber(buffer, p[k]);
            }
            buffer.push_back('\n');
            ++k;
        }
        if (buffer.size() > (1u << 20)) {
            std::fwrite(buffer.data(), 1, buffer.size(), out);
            buffer.clear();
        }
    }
    std::fwrite(buffer.data(), 1, buffer.size(), out);
}

void writeCasesCsv(std::FILE *out, const weather::WeatherRose &rose,
                   const weather::ExceedanceResult &result) {
    std::string text = "row,windFrom [degree],windSpeed [m/s],pasquillStability,frequency,computed,message\n";
    for (std::size_t c = 0; c < rose.cases().size(); ++c) {
        const weather::WeatherCase &w = rose.cases()[c];
        std::string message = result.outcomes[c].message;
        std::replace(message.begin(), message.end(), '"', '\'');
        text += fmt::format("{},{},{},{},{},{},\"{}\"\n", w.row, w.windFrom, w.windSpeed,
                            static_cast<char>('A' + w.pasquillStability), w.frequency,
                            result.outcomes[c].computed ? "yes" : "no", message);
    }
    std::fputs(text.c_str(), out);
}

} // namespace

void registerWeatherCommand(CLI::App &app) {
    auto options = std::make_shared<WeatherOptions>();
    CLI::App *command = app.add_subcommand(
        "weather", "Run a scenario in every weather of a weather rose and map, for each level, the "
                   "probability that it is exceeded around the release.");
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    command
        ->add_option("--weather", options->rose,
                     "weather rose: CSV with windFrom, windSpeed, pasquillStability, frequency "
                     "[, atmosphereTemperature]")
        ->type_name("ROSE.csv")
        ->required();
    command
        ->add_option("--levels", options->levels,
                     "levels: numbers with an optional unit (0.01, 2%, 5000ppm, 100mg/m3) or LFL, UFL, "
                     "LFL/2, IDLH; the defaults of run when not given")
        ->type_name("L1,L2,...");
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");
    command
        ->add_option("--grid", options->grid,
                     "the grid: a square of half-width R [m] around the release with N points a side, or "
                     "a box; sized to the farthest reach of the lowest level when not given")
        ->type_name("R,N|X0,Y0,X1,Y1,NX,NY");
    command->add_option("--height", options->height, "height of the grid [m], 0 (the ground) unless given")
        ->type_name("Z");
    command
        ->add_option("--probabilities", options->probabilities,
                     "probabilities to contour and table, 0.1,0.01,0.001 unless given")
        ->type_name("P1,P2,...");
    command
        ->add_option("--origin", options->origin,
                     "WGS84 latitude and longitude of the site's origin [degrees]: contours in longitude "
                     "and latitude")
        ->type_name("LAT,LON");
    command->add_option("--jobs", options->jobs, "threads, one per core unless given")
        ->type_name("N")
        ->check(CLI::Range(1u, 1024u));
    command
        ->add_option("-o,--output", options->output,
                     "folder for probability.csv, contours.geojson, cases.csv and weather.html (made "
                     "when missing)")
        ->type_name("DIR")
        ->required();

    command->callback([options]() {
        // Phases: check the options and read the rose; run the scenario once for its levels and release
        // point; size the grid; run every case and sum the probabilities; write the CSVs, the contours and
        // the page, each through a temporary file.
        const auto started = std::chrono::steady_clock::now();
        const ConcentrationUnit unit = parseUnitOption(options->unit);
        const double z = options->height.empty() ? 0.0 : parseHeightOption(options->height);
        const std::vector<double> probabilities = parseProbabilities(options->probabilities);
        const std::unique_ptr<mapping::GeoTransform> origin = parseOriginOption(options->origin);
        std::vector<Level> levels;
        if (!options->levels.empty()) {
            levels = parseLevelsOption("--levels", options->levels, unit);
        }
        const std::filesystem::path folder(options->output);
        std::error_code error;
        if (std::filesystem::exists(folder, error) && !std::filesystem::is_directory(folder, error)) {
            throw CommandFailure(kUsageError, fmt::format("-o: {} is not a folder", options->output));
        }
        const Scenario scenario = loadScenario(options->scenario);
        weather::WeatherRose rose;
        try {
            rose = weather::WeatherRose::fromFile(options->rose);
        } catch (const weather::WeatherRoseError &e) {
            throw CommandFailure(kUsageError, fmt::format("--weather: {}", e.what()));
        }
        for (const std::string &warning : rose.warnings()) {
            fmt::print(stderr, "ostreljet: warning: {}\n", warning);
        }

        JetModel model;
        const WholePlumeSummary::Result run = runScenario(model, scenario);
        const RunSummary &checked = run.summary;
        if (checked.status == RunStatus::invalid) {
            throw noResults(checked);
        }
        if (levels.empty()) {
            levels = Level::defaults(scenario.gas(), model.stoppingConcentration());
        }
        const std::vector<double> modelLevels = levelsInModelUnit("--levels", levels, model, scenario.gas());
        for (std::size_t l = 0; l < levels.size(); ++l) {
            if (!scenario.farFieldOptions().enabled && modelLevels[l] < model.stoppingConcentration()) {
                throw CommandFailure(
                    kUsageError, fmt::format("--levels: {} ({} volume fraction) is below the scenario's "
                                             "stopping concentration ({} volume fraction), where every run "
                                             "ends and the field stops",
                                             levels[l].text(), report::plainValue(modelLevels[l]),
                                             report::plainValue(model.stoppingConcentration())));
            }
        }
        const double sourceX = model.stackLocationX();
        const double sourceY = model.stackLocationY();
        const unsigned threads = options->jobs;

        mapping::PlaneGrid grid;
        if (!options->grid.empty()) {
            grid = parseGridOption(options->grid, sourceX, sourceY, z);
        } else {
            const double lowest = *std::min_element(modelLevels.begin(), modelLevels.end());
            const std::optional<double> reach = weather::greatestReach(scenario, rose, lowest, z, threads);
            const double half =
                report::roundedRange(0.0, reach ? 1.1 * *reach : kFallbackHalfWidth, 10).second;
            grid = mapping::PlaneGrid{sourceX - half,
                                      sourceY - half,
                                      sourceX + half,
                                      sourceY + half,
                                      kDefaultGridPoints,
                                      kDefaultGridPoints,
                                      z};
        }
        const std::uint64_t needed = static_cast<std::uint64_t>(grid.size()) * sizeof(double) *
                                     (modelLevels.size() + 2 + (threads == 0 ? 2 : threads));
        if (needed > availableMemory()) {
            throw CommandFailure(kUsageError,
                                 fmt::format("--grid: the study would take {} of memory; {} are "
                                             "available",
                                             formatBytes(static_cast<double>(needed)),
                                             formatBytes(static_cast<double>(availableMemory()))));
        }
        weather::StudyProgress progress;
        if (::isatty(STDERR_FILENO) == 1) {
            progress = CaseProgress();
        }
        weather::ExceedanceResult result;
        try {
            result = weather::computeExceedance(scenario, rose, modelLevels, grid, threads, progress);
        } catch (const std::invalid_argument &e) {
            throw CommandFailure(kUsageError, fmt::format("--levels: {}", e.what()));
        }
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

        // Names of each level as every output shows them.
        const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
        const std::string unitLabel(concentrationUnitLabel(unit));
        const std::string scenarioName = std::filesystem::path(options->scenario).filename().string();
        std::vector<std::string> columns;
        report::WeatherPageRequest page;
        for (std::size_t l = 0; l < levels.size(); ++l) {
            const double value = converter.fromModel(modelLevels[l], unit, model.atmosphereTemperature());
            columns.push_back(
                fmt::format("P(>= {} {} {})", levels[l].text(), report::plainValue(value), unitLabel));
            page.levelLabels.push_back(
                fmt::format("{} ({} {})", levels[l].text(), report::plainValue(value), unitLabel));
            page.levelShort.push_back(levels[l].text());
        }
        page.scenarioName = scenarioName;
        page.roseName = std::filesystem::path(options->rose).filename().string();
        page.gas = scenario.gas();
        page.probabilities = probabilities;
        page.sourceX = sourceX;
        page.sourceY = sourceY;
        page.warnings = rose.warnings();
        page.seconds = seconds;
        page.threads = threads == 0 ? std::max(1u, std::thread::hardware_concurrency()) : threads;

        std::vector<mapping::LabelledFootprint> contours;
        for (std::size_t l = 0; l < levels.size(); ++l) {
            const auto add = [&](const mapping::PlaneValues &values, double threshold,
                                 std::optional<double> p) {
                mapping::LabelledFootprint f;
                f.footprint.level = modelLevels[l];
                f.footprint.height = z;
                f.footprint.grid = grid;
                f.footprint.polygons = mapping::polygonsAtOrAbove(grid, values, threshold);
                f.name = levels[l].text();
                f.value = converter.fromModel(modelLevels[l], unit, model.atmosphereTemperature());
                f.unit = unitLabel;
                f.gas = scenario.gas();
                f.scenario = scenarioName;
                f.probability = p;
                f.worstCase = !p;
                contours.push_back(std::move(f));
            };
            for (const double p : probabilities) {
                add(result.probability[l], p, p);
            }
            add(result.worst, modelLevels[l], std::nullopt);
        }

        std::filesystem::create_directories(folder, error);
        if (error) {
            throw CommandFailure(kUsageError, fmt::format("-o: cannot make the folder {}: {}",
                                                          options->output, error.message()));
        }
        const auto path = [&](const char *name) { return (folder / name).string(); };
        writeFileAtomically(path("probability.csv"),
                            [&](std::FILE *out) { writeProbabilityCsv(out, result, columns); });
        writeFileAtomically(path("cases.csv"), [&](std::FILE *out) { writeCasesCsv(out, rose, result); });
        const std::string geojson = mapping::footprintGeoJson(contours, origin.get());
        writeFileAtomically(path("contours.geojson"),
                            [&](std::FILE *out) { std::fputs(geojson.c_str(), out); });
        const std::string html = report::renderWeatherPage(result, rose, page);
        writeFileAtomically(path("weather.html"), [&](std::FILE *out) { std::fputs(html.c_str(), out); });

        fmt::print("Weather study of {} over {} ({} cases) in {} s on {} thread(s)\n", scenarioName,
                   page.roseName, rose.cases().size(), report::plainValue(seconds, 3), page.threads);
        fmt::print("Grid: {} x {} points from ({}, {}) m to ({}, {}) m at {} m above ground\n", grid.nx,
                   grid.ny, report::plainValue(grid.x0), report::plainValue(grid.y0),
                   report::plainValue(grid.x1), report::plainValue(grid.y1), report::plainValue(z));
        fmt::print("Cases refused by the model: {} (summed frequency {})\n", result.refusedCases,
                   report::plainValue(result.refusedFrequency));
        for (std::size_t l = 0; l < levels.size(); ++l) {
            fmt::print("{}:\n", page.levelLabels[l]);
            if (result.cutCases[l] > 0) {
                fmt::print("  cut off by the end of the {} in {} weathers (summed frequency {}): the "
                           "probabilities beyond where those {} are lower bounds\n",
                           result.farField ? "far field" : "run", result.cutCases[l],
                           report::plainValue(result.cutFrequency[l]),
                           result.farField ? "far fields end" : "runs end");
            }
            const std::vector<weather::ProbabilityReach> reaches =
                weather::probabilityReach(grid, result.probability[l], probabilities, sourceX, sourceY);
            for (const weather::ProbabilityReach &reach : reaches) {
                const std::string distance =
                    !reach.distance ? std::string("not reached on the grid")
                                    : fmt::format("{} m{}", report::plainValue(*reach.distance),
                                                  reach.atEdge ? " or more (reaches the grid's edge)" : "");
                fmt::print("  probability {} or more: {}\n", report::plainValue(reach.probability), distance);
            }
        }
        fmt::print("Written to {}: probability.csv, contours.geojson, cases.csv, weather.html\n",
                   options->output);
    });
}

} // namespace ostreljet::cli
