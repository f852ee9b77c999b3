#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/files/FreeSpace.hpp"
#include "ostreljet/inputs/InputSanity.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"
#include "report/SummaryText.hpp"

#include <fmt/core.h>
#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace ostreljet::cli {

namespace {

// The CSV is formatted into a buffer that is handed to the file whenever it passes this size (bytes).
constexpr std::size_t kCsvFlushBytes = std::size_t{1} << 20;
// What writing the CSV needs besides the values: the buffer, one row beyond it and the axis texts of z,
// counted generously (bytes).
constexpr std::uint64_t kCsvWorkingBytes = std::uint64_t{4} << 20;
// Bytes of text kept per z coordinate.
constexpr std::uint64_t kBytesPerZText = 64;
// Grids with more points than this show a progress bar when stderr is a terminal.
constexpr std::int64_t kProgressBarPoints = 200000;

struct GridOptions {
    std::string scenario;
    std::string from;
    std::string to;
    std::string points;
    std::string csv;
    std::string unit = "vol";
};

// The box and the counts of a grid, as checked numbers.
struct GridSpec {
    std::vector<double> from;          // x0, y0, z0, m
    std::vector<double> to;            // x1, y1, z1, m
    std::array<std::int32_t, 3> count; // points on x, y, z
    std::int64_t points = 0;           // nx * ny * nz
};

// Refuses, before anything is allocated, a grid whose point count overflows or whose values and CSV
// writing would not fit in the memory the system has free.
void checkGridFitsInMemory(const GridSpec &grid) {
    const auto [nx, ny, nz] = grid.count;
    const std::string size = fmt::format("{} x {} x {}", nx, ny, nz);
    std::int64_t points = 0;
    std::int64_t valueBytes = 0;
    if (__builtin_mul_overflow(static_cast<std::int64_t>(nx), static_cast<std::int64_t>(ny), &points) ||
        __builtin_mul_overflow(points, static_cast<std::int64_t>(nz), &points) ||
        __builtin_mul_overflow(points, static_cast<std::int64_t>(sizeof(double)), &valueBytes)) {
        throw CommandFailure(kUsageError, fmt::format("the grid of {} points has more points than can be "
                                                      "counted",
                                                      size));
    }
    const std::uint64_t needed = static_cast<std::uint64_t>(valueBytes) + kCsvWorkingBytes +
                                 static_cast<std::uint64_t>(nz) * kBytesPerZText;
    const std::uint64_t available = availableMemory();
    if (needed > available) {
        throw CommandFailure(kUsageError,
                             fmt::format("the grid of {} points would take {} of memory; {} are available",
                                         size, formatBytes(static_cast<double>(needed)),
                                         formatBytes(static_cast<double>(available))));
    }
}

// A bar on stderr that redraws itself in place whenever the whole percentage changes.
class ProgressBar {
public:
    void operator()(std::int64_t done, std::int64_t total) {
        const int percent = total > 0 ? static_cast<int>(done * 100 / total) : 100;
        if (percent == shown_) {
            return;
        }
        shown_ = percent;
        constexpr int kWidth = 40;
        const int filled = percent * kWidth / 100;
        fmt::print(stderr, "\r[{}{}] {:3}% of {} points", std::string(static_cast<std::size_t>(filled), '#'),
                   std::string(static_cast<std::size_t>(kWidth - filled), ' '), percent, total);
        if (percent == 100) {
            fmt::print(stderr, "\n");
        }
        std::fflush(stderr);
    }

private:
    int shown_ = -1;
};

// Writes the header and one row per point in point order, each number with 17 significant digits.
// Phases: format every z coordinate once; for each row of constant (x, y), format its x and y once and
// append one line per z; hand the buffer to the file whenever it is full.
void writeGridCsv(std::FILE *out, const GridSpec &grid, const std::vector<double> &values,
                  ConcentrationUnit unit) {
    const auto [nx, ny, nz] = grid.count;
    fmt::memory_buffer buffer;
    const auto flush = [&]() {
        std::fwrite(buffer.data(), 1, buffer.size(), out);
        buffer.clear();
    };
    const std::string header = fmt::format("x,y,z,concentration [{}]\n", concentrationUnitLabel(unit));
    buffer.append(header.data(), header.data() + header.size());
    if (nx > 0 && ny > 0 && nz > 0) {
        std::vector<std::string> zTexts(static_cast<std::size_t>(nz));
        for (std::int32_t k = 0; k < nz; ++k) {
            zTexts[static_cast<std::size_t>(k)] = fmt::format(
                "{:.17g},", ConcentrationField::gridCoordinate(grid.from[2], grid.to[2], k, nz, false));
        }
        std::size_t p = 0;
        fmt::memory_buffer prefix;
        for (std::int32_t i = 0; i < nx; ++i) {
            const double x = ConcentrationField::gridCoordinate(grid.from[0], grid.to[0], i, nx, true);
            for (std::int32_t j = 0; j < ny; ++j) {
                const double y = ConcentrationField::gridCoordinate(grid.from[1], grid.to[1], j, ny, false);
                prefix.clear();
                fmt::format_to(std::back_inserter(prefix), "{:.17g},{:.17g},", x, y);
                for (const std::string &zText : zTexts) {
                    buffer.append(prefix.data(), prefix.data() + prefix.size());
                    buffer.append(zText.data(), zText.data() + zText.size());
                    // std::to_chars with 17 digits writes what "%.17g" writes, without a format string.
                    // A point that is not computed leaves its cell empty.
                    char text[32];
                    const double value = values[p++];
                    char *end = std::isnan(value) ? text
                                                  : std::to_chars(text, text + sizeof text - 1, value,
                                                                  std::chars_format::general, 17)
                                                        .ptr;
                    *end++ = '\n';
                    buffer.append(text, end);
                }
                if (buffer.size() >= kCsvFlushBytes) {
                    flush();
                }
            }
        }
    }
    flush();
}

// Refuses, before the grid is computed, a CSV that cannot fit in the free space of the target's file
// system: the least it can take is every coordinate as written and one digit per value.
void checkGridFitsOnDisk(const GridSpec &grid, const std::string &path, ConcentrationUnit unit) {
    const std::optional<std::uint64_t> available = files::FreeSpace::availableFor(path);
    if (!available) {
        return;
    }
    const auto [nx, ny, nz] = grid.count;
    auto textBytes = [](double from, double to, std::int32_t n, bool inclusive) {
        constexpr std::int32_t kFormatted = 100000; // longer axes count the least: a digit and a comma
        if (n > kFormatted) {
            return 2.0 * n;
        }
        std::uint64_t bytes = 0;
        for (std::int32_t i = 0; i < n; ++i) {
            bytes += fmt::formatted_size("{:.17g},",
                                         ConcentrationField::gridCoordinate(from, to, i, n, inclusive));
        }
        return static_cast<double>(bytes);
    };
    const double points = static_cast<double>(nx) * ny * nz;
    const double least =
        static_cast<double>(fmt::formatted_size("x,y,z,concentration [{}]\n", concentrationUnitLabel(unit))) +
        textBytes(grid.from[0], grid.to[0], nx, true) * ny * nz +
        textBytes(grid.from[1], grid.to[1], ny, false) * nx * nz +
        textBytes(grid.from[2], grid.to[2], nz, false) * nx * ny + 2.0 * points;
    if (least > static_cast<double>(*available)) {
        throw CommandFailure(
            kUsageError,
            fmt::format("--csv: the grid's {} x {} x {} points take at least {} and '{}' has "
                        "{} free on its file system",
                        nx, ny, nz, formatBytes(least), path, formatBytes(static_cast<double>(*available))));
    }
}

} // namespace

void registerGridCommand(CLI::App &app) {
    auto options = std::make_shared<GridOptions>();
    CLI::App *command = app.add_subcommand(
        "grid", "Run a scenario and write the concentration on a regular 3-D grid of points to a CSV file. " +
                    std::string(kCutoffSentence));
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    command->add_option("--from", options->from, "start corner of the grid X0,Y0,Z0 [m]")
        ->type_name("X0,Y0,Z0")
        ->required();
    command
        ->add_option("--to", options->to,
                     "end corner X1,Y1,Z1 [m]: x reaches X1, while y and z stop one step short of Y1 and Z1")
        ->type_name("X1,Y1,Z1")
        ->required();
    command->add_option("--points", options->points, "number of points on each axis, 0 or more")
        ->type_name("NX,NY,NZ")
        ->required();
    command
        ->add_option("--csv", options->csv,
                     "write x,y,z,concentration to FILE, one row per point with x outermost and z innermost")
        ->type_name("FILE")
        ->required();
    command->add_option("--unit", options->unit, unitOptionHelp())->type_name("UNIT");

    command->callback([options]() {
        // Phases: check the options and the memory the grid needs; run the scenario; evaluate the grid
        // on every core; write the CSV through a temporary file.
        const ConcentrationUnit unit = parseUnitOption(options->unit);
        GridSpec grid;
        grid.from = parseTriple("--from", options->from);
        grid.to = parseTriple("--to", options->to);
        const std::string bounds = inputs::InputSanity::gridProblem(grid.from[0], grid.from[1], grid.from[2],
                                                                    grid.to[0], grid.to[1], grid.to[2]);
        if (!bounds.empty()) {
            throw CommandFailure(kUsageError, "--from/--to: " + bounds);
        }
        grid.count = parseCountTriple("--points", options->points);
        checkGridFitsInMemory(grid);
        grid.points = ConcentrationField::gridPointCount(grid.count[0], grid.count[1], grid.count[2]);
        checkOutputPath(options->csv);
        checkNotInput("--csv", options->csv, options->scenario);
        checkGridFitsOnDisk(grid, options->csv, unit);
        const Scenario scenario = loadScenario(options->scenario);

        JetModel model;
        const WholePlumeSummary::Result run = runScenario(model, scenario);
        const RunSummary &summary = run.summary;
        if (!summary.succeeded()) {
            throw noResults(summary);
        }
        std::vector<double> values(static_cast<std::size_t>(grid.points));
        ConcentrationField::GridProgress progress;
        if (grid.points > kProgressBarPoints && ::isatty(STDERR_FILENO) == 1) {
            progress = ProgressBar();
        }
        const WholePlume &field = *run.field;
        field.grid(values.data(), grid.from[0], grid.from[1], grid.from[2], grid.to[0], grid.to[1],
                   grid.to[2], grid.count[0], grid.count[1], grid.count[2], 0, progress);
        if (unit != ConcentrationConverter::modelUnit && grid.points > 0) {
            // mg/m³ depends on the air's temperature, which depends on the height only: once per z.
            const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
            const std::int32_t nz = grid.count[2];
            std::vector<double> temperature(static_cast<std::size_t>(nz));
            for (std::int32_t k = 0; k < nz; ++k) {
                temperature[static_cast<std::size_t>(k)] = report::ambientTemperatureAt(
                    model, ConcentrationField::gridCoordinate(grid.from[2], grid.to[2], k, nz, false));
            }
            for (std::size_t p = 0; p < values.size(); ++p) {
                values[p] =
                    converter.fromModel(values[p], unit, temperature[p % static_cast<std::size_t>(nz)]);
            }
        }
        writeFileAtomically(options->csv, [&](std::FILE *out) { writeGridCsv(out, grid, values, unit); });
        fmt::print("{} points ({} x {} x {}) written to {}, concentrations in {}\n", grid.points,
                   grid.count[0], grid.count[1], grid.count[2], options->csv, concentrationUnitLabel(unit));
        if (summary.lastStep) {
            fmt::print(
                "Points beyond the end of the run ({} m downwind) are not computed: their cells are empty.\n",
                report::figure(summary.lastStep->downwind));
        }
        printMessages(summary);
        endUnlessOk(summary);
    });
}

} // namespace ostreljet::cli
