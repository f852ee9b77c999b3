#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/io/Scenario.hpp"

#include <fmt/core.h>

#include <memory>
#include <string>
#include <vector>

namespace ostreljet::cli {

namespace {

struct ConcentrationOptions {
    std::string scenario;
    std::vector<std::string> points; // "X,Y,Z", one per --at
    bool json = false;
};

struct PointValue {
    double x; // m
    double y; // m
    double z; // m
    double concentration;
};

void printJson(const JetModel &model, bool ok, const std::vector<PointValue> &values) {
    std::string out = fmt::format("{{\"ok\": {}, \"points\": [", ok ? "true" : "false");
    for (std::size_t i = 0; i < values.size(); ++i) {
        const PointValue &point = values[i];
        out += fmt::format("{}{{\"x\": {}, \"y\": {}, \"z\": {}, \"concentration\": {}}}", i == 0 ? "" : ", ",
                           jsonNumber(point.x), jsonNumber(point.y), jsonNumber(point.z),
                           jsonNumber(point.concentration));
    }
    out += fmt::format("], \"messages\": {}}}\n", jsonMessages(model));
    fmt::print("{}", out);
}

void printTable(const JetModel &model, const std::vector<PointValue> &values) {
    constexpr int kWidth = 18;
    fmt::print("{:>{}}{:>{}}{:>{}}{:>{}}\n", "x [m]", kWidth, "y [m]", kWidth, "z [m]", kWidth,
               "concentration [-]", kWidth);
    for (const PointValue &point : values) {
        fmt::print("{:>{}.6g}{:>{}.6g}{:>{}.6g}{:>{}.6g}\n", point.x, kWidth, point.y, kWidth, point.z,
                   kWidth, point.concentration, kWidth);
    }
    printRunSummary(model);
}

} // namespace

void registerConcentrationCommand(CLI::App &app) {
    auto options = std::make_shared<ConcentrationOptions>();
    CLI::App *command = app.add_subcommand(
        "concentration", "Run a scenario and show the concentration (mass fraction) at the given points. " +
                             std::string(kCutoffSentence));
    command->add_option("scenario", options->scenario, "scenario file: a JSON object of input properties")
        ->required();
    command
        ->add_option("--at", options->points,
                     "a point X,Y,Z in metres (x east, y north, z up); repeat the option for more points")
        ->type_name("X,Y,Z")
        ->required()
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command->add_flag("--json", options->json,
                      "print one JSON object {ok, points, messages} with 17 significant digits (null for "
                      "non-finite)");

    command->callback([options]() {
        std::vector<PointValue> values;
        for (const std::string &text : options->points) {
            const std::vector<double> point = parseTriple("--at", text);
            values.push_back({point[0], point[1], point[2], 0.0});
        }
        const Scenario scenario = loadScenario(options->scenario);
        if (options->json) {
            echoModelMessagesTo(stderr);
        }
        JetModel model;
        const bool ok = runScenario(model, scenario);
        if (!ok) {
            values.clear();
        }
        const ConcentrationField field(model, ConcentrationField::Rules::exact);
        for (PointValue &point : values) {
            point.concentration = field.concentration(point.x, point.y, point.z);
        }
        if (options->json) {
            printJson(model, ok, values);
        } else if (ok) {
            printTable(model, values);
        }
        if (!ok) {
            throw invalidInputs(model);
        }
    });
}

} // namespace ostreljet::cli
