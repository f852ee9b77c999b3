#include "Commands.hpp"

#include "ostreljet/farfield/FarFieldInputs.hpp"
#include "ostreljet/inputs/InputSchema.hpp"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <memory>
#include <string>

namespace ostreljet::cli {

namespace {

// The accepted values of an input as text: its labels for an enumeration, an interval otherwise
// ("[0, 1000]", "(0, 100]", "(0, inf)"), or "any".
std::string rangeText(const InputSchema::Input &input) {
    if (input.enumeration != nullptr) {
        std::string out;
        for (const InputSchema::Label &label : input.enumeration->labels) {
            out += (out.empty() ? "" : " | ") + std::string(label.label);
        }
        return out;
    }
    const InputSchema::Range &range = input.range;
    if (!range.bounded()) {
        return "any";
    }
    const auto bound = [](double value) {
        return std::isinf(value) ? std::string(value < 0 ? "-inf" : "inf") : fmt::format("{}", value);
    };
    return fmt::format("{}{}, {}{}", range.lowerInclusive ? '[' : '(', bound(range.lower), bound(range.upper),
                       range.upperInclusive ? ']' : ')');
}

std::string defaultText(const InputSchema::Input &input) {
    const std::string_view label = InputSchema::labelOf(input, input.defaultValue);
    return label.empty() ? fmt::format("{}", input.defaultValue) : std::string(label);
}

nlohmann::ordered_json inputJson(const InputSchema::Input &input) {
    nlohmann::ordered_json entry;
    entry["name"] = input.name;
    entry["type"] = input.enumeration == nullptr ? std::string_view("double") : input.enumeration->name;
    entry["unit"] = input.unit;
    entry["meaning"] = input.meaning;
    entry["default"] = input.defaultValue;
    if (input.range.bounded()) {
        const auto bound = [](double value) {
            return std::isinf(value) ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(value);
        };
        entry["range"] = {{"lower", bound(input.range.lower)},
                          {"lowerInclusive", input.range.lowerInclusive},
                          {"upper", bound(input.range.upper)},
                          {"upperInclusive", input.range.upperInclusive}};
    } else {
        entry["range"] = nullptr;
    }
    if (input.enumeration != nullptr) {
        nlohmann::ordered_json labels = nlohmann::ordered_json::array();
        for (const InputSchema::Label &label : input.enumeration->labels) {
            labels.push_back({{"label", label.label}, {"member", label.member}, {"value", label.value}});
        }
        entry["labels"] = labels;
    }
    return entry;
}

// A far-field input: an input of the engineering fronts, not of the component, marked "scenario".
nlohmann::ordered_json farFieldJson(const FarFieldInputs::Input &input) {
    nlohmann::ordered_json entry;
    entry["name"] = input.name;
    entry["type"] = input.labels.empty() ? "double" : "label";
    entry["unit"] = input.unit;
    entry["meaning"] = input.meaning;
    if (input.labels.empty()) {
        entry["default"] = input.defaultValue;
        entry["range"] = {{"lower", input.lower},
                          {"lowerInclusive", false},
                          {"upper", input.upper},
                          {"upperInclusive", true}};
    } else {
        entry["default"] = input.labels[static_cast<std::size_t>(input.defaultValue)];
        entry["range"] = nullptr;
        entry["labels"] = input.labels;
    }
    entry["scope"] = "scenario";
    return entry;
}

std::string farFieldDefault(const FarFieldInputs::Input &input) {
    return input.labels.empty() ? fmt::format("{}", input.defaultValue)
                                : std::string(input.labels[static_cast<std::size_t>(input.defaultValue)]);
}

} // namespace

void registerInputsCommand(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "inputs", "List the input keys of a scenario with their units, defaults, the values a run accepts "
                  "and what they mean.");
    auto json = std::make_shared<bool>(false);
    command->add_flag(
        "--json", *json,
        "print a JSON array of {name, type, unit, meaning, default, range, labels}; an unbounded "
        "side of a range is null");
    command->callback([json]() {
        if (*json) {
            nlohmann::ordered_json list = nlohmann::ordered_json::array();
            for (const InputSchema::Input &input : InputSchema::inputs()) {
                list.push_back(inputJson(input));
            }
            for (const FarFieldInputs::Input &input : FarFieldInputs::inputs()) {
                list.push_back(farFieldJson(input));
            }
            fmt::print("{}\n", list.dump(2));
            return;
        }
        fmt::print("{:<28}{:<10}{:>10}  {:<22}{}\n", "input", "unit", "default", "accepted", "meaning");
        for (const InputSchema::Input &input : InputSchema::inputs()) {
            fmt::print("{:<28}{:<10}{:>10}  {:<22}{}\n", input.name, input.unit, defaultText(input),
                       rangeText(input), input.meaning);
        }
        for (const FarFieldInputs::Input &input : FarFieldInputs::inputs()) {
            fmt::print("{:<28}{:<10}{:>10}  {:<22}{}\n", input.name, input.unit, farFieldDefault(input),
                       FarFieldInputs::accepted(input), input.meaning);
        }
    });
}

} // namespace ostreljet::cli
