#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/inputs/InputSchema.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/numerics/Constants.hpp"

#include <fmt/core.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

namespace ostreljet::cli {

namespace {

struct InitOptions {
    std::string gas = "methane";
    std::string output;
};

// A release and weather to start from where a new model's value is no usable one: 1 kg/s straight up
// from a 20 cm orifice (narrower for a dense gas, see startingOrifice) 10 m up, at the air's temperature,
// over grass, ending at 0.1 % by volume. The source's gas properties come from the gas table.
const std::map<std::string_view, double> kStartingValues = {
    {"stackHeight", 10.0},         {"orificeDiameter", 0.2},           {"releaseAngle", 90.0},
    {"massFlowrate", 1.0},         {"atmosphereSpecificHeat", 1005.0}, {"atmosphereSurfaceRoughness", 0.1},
    {"sourceTemperature", 288.15}, {"stoppingConcentration", 0.001},
};

// The starting orifice: 20 cm, or narrower for a denser gas, in whole centimetres rounded down, so that
// the gas leaves at least six times as fast as the wind at the stack (below six times the model warns,
// below three it refuses the release), at the starting temperature and the ambient pressure.
double startingOrifice(const GasTable::Entry &gas) {
    const double windSpeed =
        InputSchema::find("referenceWindSpeed")->defaultValue;                     // m/s, at the stack's 10 m
    const double pressure = InputSchema::find("atmospherePressure")->defaultValue; // Pa
    const double density = pressure * gas.molecularWeight /
                           (constants::gasConstant * kStartingValues.at("sourceTemperature")); // kg/m3
    const double diameter = std::sqrt(4.0 * kStartingValues.at("massFlowrate") /
                                      (constants::pi * density * 6.0 * windSpeed)); // m
    return std::min(kStartingValues.at("orificeDiameter"), std::floor(diameter * 100.0) / 100.0);
}

std::string scenarioText(const GasTable::Entry &gas) {
    std::string out = fmt::format("{{\n  \"gas\": {}", jsonString(gas.name));
    for (const InputSchema::Input &input : InputSchema::inputs()) {
        if (input.name == "sourceMolecularWeight" || input.name == "sourceSpecificHeat" ||
            input.name == "sourceSpecificHeatRatio") {
            continue;
        }
        const auto start = kStartingValues.find(input.name);
        const double value = input.name == "orificeDiameter"  ? startingOrifice(gas)
                             : start != kStartingValues.end() ? start->second
                                                              : input.defaultValue;
        const std::string text = input.enumeration != nullptr ? jsonString(InputSchema::labelOf(input, value))
                                                              : fmt::format("{}", value);
        if (input.name == "referenceWindBearing") {
            // Weather records give where the wind comes from: a wind blowing towards 90 degrees comes from
            // 270.
            out += fmt::format(",\n  \"windFromBearing\": {}", std::fmod(value + 180.0, 360.0));
            continue;
        }
        out += fmt::format(",\n  \"{}\": {}", input.name, text);
    }
    out += "\n}\n";
    return out;
}

} // namespace

void registerInitCommand(CLI::App &app) {
    auto options = std::make_shared<InitOptions>();
    CLI::App *command = app.add_subcommand(
        "init", "Write a complete scenario to start from: every input, the gas's properties from the gas "
                "table, and a 1 kg/s vertical release 10 m up into a 5 m/s class D wind.");
    command->add_option("--gas", options->gas, "a gas of 'ostreljet gases' (default methane)")
        ->type_name("NAME");
    command
        ->add_option("-o,--output", options->output,
                     "the scenario file to write (default: standard output); "
                     "an existing file is not replaced")
        ->type_name("FILE");

    command->callback([options]() {
        const GasTable::Entry *gas = GasTable::find(options->gas);
        if (gas == nullptr) {
            std::string known;
            for (const GasTable::Entry &entry : GasTable::entries()) {
                known += (known.empty() ? "" : ", ") + std::string(entry.name);
            }
            throw CommandFailure(kUsageError,
                                 fmt::format("--gas: unknown gas '{}' (known: {})", options->gas, known));
        }
        const std::string text = scenarioText(*gas);
        // The scenario reader accepts what init writes; a failure here is a fault of the tool.
        Scenario::fromText(text, "init");
        if (options->output.empty()) {
            fmt::print("{}", text);
            return;
        }
        std::error_code error;
        if (std::filesystem::exists(options->output, error)) {
            throw CommandFailure(kUsageError,
                                 fmt::format("-o: '{}' exists already; remove it or choose another "
                                             "name",
                                             options->output));
        }
        writeFileAtomically(options->output,
                            [&](std::FILE *out) { std::fwrite(text.data(), 1, text.size(), out); });
    });
}

} // namespace ostreljet::cli
