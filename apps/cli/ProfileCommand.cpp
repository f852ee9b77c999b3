#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/atmosphere/WeatherCheck.hpp"
#include "ostreljet/component/AtmosphereProfile.hpp"
#include "ostreljet/inputs/InputSchema.hpp"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::cli {

namespace {

std::optional<std::int32_t> parseStabilityClass(std::string_view text) {
    if (text.size() == 1) {
        const char letter = text.front();
        if (letter >= 'A' && letter <= 'F') {
            return PASQUILL_A + (letter - 'A');
        }
        if (letter >= 'a' && letter <= 'f') {
            return PASQUILL_A + (letter - 'a');
        }
    }
    return std::nullopt;
}

const CLI::Validator kStabilityClass(
    [](std::string &text) -> std::string {
        return parseStabilityClass(text) ? std::string()
                                         : fmt::format("'{}' is not a stability class (A to F)", text);
    },
    "", "CLASS");

// The command line as given; every text has passed its validator before the action runs.
struct ProfileOptions {
    std::string stability = "D";
    std::string roughness = "0.1";
    std::string windSpeed = "5.0";
    std::string windHeight = "10.0";
    std::string windBearing = "90.0";
    std::string temperature = "288.15";
    std::string pressure = "101325.0";
    std::string molecularWeight = "0.02896";
    std::vector<std::string> heights;
    bool json = false;
};

AtmosphereProfileInputs toInputs(const ProfileOptions &options) {
    AtmosphereProfileInputs inputs;
    inputs.pasquillStability = *parseStabilityClass(options.stability);
    inputs.surfaceRoughness = *parseNumber(options.roughness);
    inputs.referenceWindSpeed = *parseNumber(options.windSpeed);
    inputs.referenceWindHeight = *parseNumber(options.windHeight);
    inputs.referenceWindBearing = *parseNumber(options.windBearing);
    inputs.referenceTemperature = *parseNumber(options.temperature);
    inputs.pressure = *parseNumber(options.pressure);
    inputs.molecularWeight = *parseNumber(options.molecularWeight);
    for (const std::string &height : options.heights) {
        inputs.heights.push_back(*parseNumber(height));
    }
    return inputs;
}

void printJson(const AtmosphereProfile &profile) {
    std::string out = "{";
    out += fmt::format("\"inverseObukhovLength\":{},", jsonNumber(profile.inverseObukhovLength));
    out += fmt::format("\"frictionVelocity\":{},", jsonNumber(profile.frictionVelocity));
    out += fmt::format("\"temperatureScale\":{},", jsonNumber(profile.temperatureScale));
    out += fmt::format("\"surfaceTemperature\":{},", jsonNumber(profile.surfaceTemperature));
    out += fmt::format("\"boundaryLayerHeight\":{},", jsonNumber(profile.boundaryLayerHeight));
    out += "\"heights\":[";
    for (std::size_t i = 0; i < profile.rows.size(); ++i) {
        const AtmosphereProfileRow &row = profile.rows[i];
        out += i == 0 ? "{" : ",{";
        out += fmt::format("\"z\":{},", jsonNumber(row.z));
        out += fmt::format("\"windSpeed\":{},", jsonNumber(row.windSpeed));
        out += fmt::format("\"windX\":{},", jsonNumber(row.windX));
        out += fmt::format("\"windY\":{},", jsonNumber(row.windY));
        out += fmt::format("\"temperature\":{},", jsonNumber(row.temperature));
        out += fmt::format("\"density\":{},", jsonNumber(row.density));
        out += fmt::format("\"eddyDiffusivity\":{}", jsonNumber(row.eddyDiffusivity));
        out += "}";
    }
    out += "]}\n";
    fmt::print("{}", out);
}

// Prints the once-only values, then one right-aligned row per height under headings with units.
void printTable(const AtmosphereProfile &profile, const ProfileOptions &options) {
    fmt::print("{:<24}{:<8}{:>14.6g}  {}\n", "inverse Obukhov length", "1/L", profile.inverseObukhovLength,
               "1/m");
    fmt::print("{:<24}{:<8}{:>14.6g}  {}\n", "friction velocity", "u*", profile.frictionVelocity, "m/s");
    fmt::print("{:<24}{:<8}{:>14.6g}  {}\n", "temperature scale", "theta*", profile.temperatureScale, "K");
    fmt::print("{:<24}{:<8}{:>14.6g}  {}\n", "surface temperature", "Ts", profile.surfaceTemperature, "K");
    fmt::print("{:<24}{:<8}{:>14.6g}  {}\n", "boundary-layer height", "h", profile.boundaryLayerHeight, "m");
    fmt::print("(class {}, roughness {} m, {} m/s at {} m towards {} deg, {} K, {} Pa, {} kg/mol)\n\n",
               options.stability, options.roughness, options.windSpeed, options.windHeight,
               options.windBearing, options.temperature, options.pressure, options.molecularWeight);

    constexpr int kWidth = 18;     // every column but the last
    constexpr int kLastWidth = 25; // eddy diffusivity, the longest heading
    fmt::print("{:>{}}{:>{}}{:>{}}{:>{}}{:>{}}{:>{}}{:>{}}\n", "z [m]", kWidth, "wind speed [m/s]", kWidth,
               "wind x [m/s]", kWidth, "wind y [m/s]", kWidth, "temperature [K]", kWidth, "density [kg/m3]",
               kWidth, "eddy diffusivity [m2/s]", kLastWidth);
    for (const AtmosphereProfileRow &row : profile.rows) {
        fmt::print("{:>{}.6g}{:>{}.6g}{:>{}.6g}{:>{}.6g}{:>{}.6g}{:>{}.6g}{:>{}.6g}\n", row.z, kWidth,
                   row.windSpeed, kWidth, row.windX, kWidth, row.windY, kWidth, row.temperature, kWidth,
                   row.density, kWidth, row.eddyDiffusivity, kLastWidth);
    }
}

// The bounds of a range as the inputs listing writes them: "[0.0001, 0.3]", "(0, 20]".
std::string rangeText(const InputSchema::Range &range) {
    return fmt::format("{}{}, {}{}", range.lowerInclusive ? '[' : '(', range.lower, range.upper,
                       range.upperInclusive ? ']' : ')');
}

// Refuses, naming the option and the value, an atmospheric input outside the range that a model run
// accepts, so that no row is computed from a profile the model would never use.
void checkRanges(const ProfileOptions &options) {
    const std::pair<const char *, const std::string *> checks[] = {
        {"atmosphereSurfaceRoughness", &options.roughness},
        {"referenceWindSpeed", &options.windSpeed},
        {"referenceWindHeight", &options.windHeight},
        {"referenceWindBearing", &options.windBearing},
        {"atmosphereTemperature", &options.temperature},
        {"atmospherePressure", &options.pressure},
        {"atmosphereMolecularWeight", &options.molecularWeight}};
    const char *optionNames[] = {"--roughness",   "--wind-speed", "--wind-height",     "--wind-bearing",
                                 "--temperature", "--pressure",   "--molecular-weight"};
    for (std::size_t i = 0; i < std::size(checks); ++i) {
        const InputSchema::Input &input = *InputSchema::find(checks[i].first);
        const double value = *parseNumber(*checks[i].second);
        if (!std::isfinite(value) || !input.range.contains(value)) {
            throw CommandFailure(kUsageError, fmt::format("{}: {} {} is outside the model's range {} ({})",
                                                          optionNames[i], *checks[i].second, input.unit,
                                                          rangeText(input.range), input.meaning));
        }
    }
    for (const std::string &height : options.heights) {
        const double z = *parseNumber(height);
        if (!std::isfinite(z) || z < 0.0) {
            throw CommandFailure(
                kUsageError, fmt::format("--heights: {} m is not a height at or above the ground", height));
        }
    }
}

} // namespace

void registerProfileCommand(CLI::App &app) {
    auto options = std::make_shared<ProfileOptions>();
    CLI::App *command = app.add_subcommand(
        "profile",
        "Show the wind and temperature profile of the surface layer that a set of inputs implies.");

    command
        ->add_option("--stability", options->stability,
                     "Pasquill stability class, A (unstable) to F (stable)")
        ->type_name("A..F")
        ->check(kStabilityClass)
        ->capture_default_str();
    command->add_option("--roughness", options->roughness, "surface roughness length z0 [m]")
        ->type_name("Z0")
        ->check(numberValidator())
        ->capture_default_str();
    command->add_option("--wind-speed", options->windSpeed, "reference wind speed [m/s]")
        ->type_name("U")
        ->check(numberValidator())
        ->capture_default_str();
    command->add_option("--wind-height", options->windHeight, "height of the reference wind speed [m]")
        ->type_name("ZR")
        ->check(numberValidator())
        ->capture_default_str();
    command
        ->add_option("--wind-bearing", options->windBearing,
                     "direction the wind blows towards, degrees from north (+y) towards east (+x)")
        ->type_name("DEG")
        ->check(numberValidator())
        ->capture_default_str();
    command->add_option("--temperature", options->temperature, "air temperature at the reference height [K]")
        ->type_name("T")
        ->check(numberValidator())
        ->capture_default_str();
    command->add_option("--pressure", options->pressure, "air pressure, the same at every height [Pa]")
        ->type_name("P")
        ->check(numberValidator())
        ->capture_default_str();
    command
        ->add_option("--molecular-weight", options->molecularWeight, "molecular weight of the air [kg/mol]")
        ->type_name("M")
        ->check(numberValidator())
        ->capture_default_str();
    command->add_option("--heights", options->heights, "comma-separated heights at which to show the air [m]")
        ->type_name("Z1,Z2,...")
        ->delimiter(',')
        ->required()
        ->check(numberValidator());
    command->add_flag("--json", options->json,
                      "print one JSON object instead of the table; every number has 17 significant digits");

    command->callback([options]() {
        checkRanges(*options);
        const AtmosphereProfileInputs inputs = toInputs(*options);
        // The same weather check as every run: refused weather gives no rows.
        const WeatherCheck::Finding weather = WeatherCheck::of(atmosphereOf(inputs));
        if (weather.refusal) {
            throw CommandFailure(kInputsInvalid, "invalid: " + *weather.refusal);
        }
        if (weather.notice) {
            fmt::print(stderr, "warning: {}\n", *weather.notice);
        }
        const AtmosphereProfile profile = computeAtmosphereProfile(inputs);
        if (options->json) {
            printJson(profile);
        } else {
            printTable(profile, *options);
        }
    });
}

} // namespace ostreljet::cli
