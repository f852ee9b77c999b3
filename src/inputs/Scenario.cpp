#include "ostreljet/inputs/Scenario.hpp"

#include "ostreljet/farfield/FarFieldInputs.hpp"
#include "ostreljet/files/BoundedRead.hpp"
#include "ostreljet/gases/GasTable.hpp"
#include "ostreljet/inputs/InputSanity.hpp"
#include "ostreljet/inputs/InputSchema.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace ostreljet {

namespace {

using json = nlohmann::ordered_json;

// Line and column (both from 1) of a byte offset in the text.
std::pair<std::size_t, std::size_t> lineAndColumn(std::string_view text, std::size_t offset) {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return {line, column};
}

// True when arrays and objects nest no deeper than `limit` levels inside the value; walks the value
// with its own stack, so any depth is safe to ask about.
bool nestsAtMost(const json &value, std::size_t limit) {
    std::vector<std::pair<const json *, std::size_t>> pending{{&value, 0}};
    while (!pending.empty()) {
        const auto [item, depth] = pending.back();
        pending.pop_back();
        if (!item->is_structured()) {
            continue;
        }
        if (depth >= limit) {
            return false;
        }
        for (const json &element : *item) {
            pending.emplace_back(&element, depth + 1);
        }
    }
    return true;
}

// The value as JSON text, shortened for a message. Deeply nested values are named by their type, since
// writing them out recurses once per level.
std::string describe(const json &value) {
    constexpr std::size_t kDeepestShown = 16;
    if (!nestsAtMost(value, kDeepestShown)) {
        return std::string("a deeply nested ") + value.type_name();
    }
    std::string text = value.dump();
    if (text.size() > 40) {
        text = text.substr(0, 37) + "...";
    }
    return text;
}

// What an enumeration input accepts, for a message: its labels and member names, then its values.
std::string acceptedValues(const InputSchema::Enumeration &enumeration) {
    const auto labels = enumeration.labels;
    const std::string last = std::to_string(labels.size() - 1);
    const auto quoted = [](std::string_view text) { return "\"" + std::string(text) + "\""; };
    if (labels.size() > 2) {
        return "one of " + quoted(labels.front().label) + ".." + quoted(labels.back().label) + ", " +
               quoted(labels.front().member) + ".." + quoted(labels.back().member) + " or 0.." + last;
    }
    std::string out = "one of ";
    for (const InputSchema::Label &label : labels) {
        out += quoted(label.label) + ", ";
    }
    for (const InputSchema::Label &label : labels) {
        out += quoted(label.member) + ", ";
    }
    out.resize(out.size() - 2);
    for (std::size_t i = 0; i < labels.size(); ++i) {
        out += (i + 1 == labels.size() ? " or " : ", ") + std::to_string(i);
    }
    return out;
}

double enumerationValue(const std::string &source, const std::string &key, const InputSchema::Input &input,
                        const json &value) {
    const auto count = static_cast<long long>(input.enumeration->labels.size());
    if (value.is_string()) {
        if (const auto number = InputSchema::labelValue(input, value.get_ref<const std::string &>())) {
            return *number;
        }
    } else if (value.is_number_integer() || value.is_number_unsigned()) {
        const long long number = value.get<long long>();
        if (number >= 0 && number < count) {
            return static_cast<double>(number);
        }
    } else if (value.is_number_float()) {
        const double number = value.get<double>();
        if (number >= 0 && number < static_cast<double>(count) && std::floor(number) == number) {
            return number;
        }
    }
    throw ScenarioError(source + ": \"" + key + "\" must be " + acceptedValues(*input.enumeration) +
                        ", not " + describe(value));
}

double inputValue(const std::string &source, const std::string &key, const InputSchema::Input &input,
                  const json &value) {
    if (input.enumeration != nullptr) {
        return enumerationValue(source, key, input, value);
    }
    if (!value.is_number()) {
        throw ScenarioError(source + ": \"" + key + "\" must be a number, not " + describe(value));
    }
    const double number = value.get<double>();
    if (!std::isfinite(number)) {
        throw ScenarioError(source + ": \"" + key +
                            "\" is outside the range of a double: " + describe(value));
    }
    return number;
}

// The value of a far-field input: a label of its enumeration or a number.
double farFieldValue(const std::string &source, const FarFieldInputs::Input &input, const json &value) {
    if (value.is_string() && !input.labels.empty()) {
        if (const auto label = FarFieldInputs::labelValue(input, value.get_ref<const std::string &>())) {
            return *label;
        }
    } else if (value.is_number()) {
        return value.get<double>();
    }
    throw ScenarioError(source + ": \"" + std::string(input.name) + "\" must be " +
                        (input.labels.empty() ? "a number" : "one of " + FarFieldInputs::accepted(input)) +
                        ", not " + describe(value));
}

// A parser callback that refuses, while the text is read, nesting deeper than the limit (which would
// exhaust the stack of anything that walks the value recursively) and a key given twice in one object.
json::parser_callback_t nestingAndDuplicateCheck(const std::string &sourceName) {
    // One entry per open array or object: the keys seen so far in an object, none for an array.
    auto open = std::make_shared<std::vector<std::set<std::string>>>();
    return [open, sourceName](int, json::parse_event_t event, json &parsed) {
        switch (event) {
        case json::parse_event_t::object_start:
        case json::parse_event_t::array_start:
            if (open->size() >= Scenario::kMaximumNesting) {
                throw ScenarioError(sourceName + ": arrays and objects nest deeper than " +
                                    std::to_string(Scenario::kMaximumNesting) + " levels");
            }
            open->emplace_back();
            break;
        case json::parse_event_t::object_end:
        case json::parse_event_t::array_end:
            open->pop_back();
            break;
        case json::parse_event_t::key:
            if (!open->back().insert(parsed.get<std::string>()).second) {
                throw ScenarioError(sourceName + ": key \"" + parsed.get<std::string>() +
                                    "\" appears more than once in one object");
            }
            break;
        case json::parse_event_t::value:
            break;
        }
        return true;
    };
}

// The value of an input in the scenario, or the default of a new model when the scenario omits it.
double inputOrDefault(const std::vector<std::pair<std::string, double>> &inputs, const std::string &name,
                      double defaultValue) {
    for (auto it = inputs.rbegin(); it != inputs.rend(); ++it) {
        if (it->first == name) {
            return it->second;
        }
    }
    return defaultValue;
}

} // namespace

Scenario Scenario::fromFile(const std::string &path) {
    std::string text;
    try {
        text = files::BoundedRead::read(path, kMaximumFileBytes, "a scenario file");
    } catch (const files::BoundedReadError &e) {
        throw ScenarioError(e.what());
    }
    return fromText(text, path);
}

namespace {

// The text as JSON, read with the nesting and duplicate-key checks; ScenarioError worded with the line
// and column of a syntax error.
json parseDocument(std::string_view text, const std::string &sourceName) {
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
        throw ScenarioError(sourceName + ": empty file; expected a JSON object of input properties");
    }
    json document;
    try {
        document = json::parse(text.begin(), text.end(), nestingAndDuplicateCheck(sourceName));
    } catch (const json::parse_error &e) {
        const auto [line, column] = lineAndColumn(text, e.byte == 0 ? 0 : e.byte - 1);
        std::string what = e.what();
        const std::size_t detail = what.find("syntax error");
        throw ScenarioError(sourceName + ":" + std::to_string(line) + ":" + std::to_string(column) +
                            ": not valid JSON (" +
                            (detail == std::string::npos ? what : what.substr(detail)) + ")");
    } catch (const json::exception &e) {
        // A number beyond the range of a double, say; drop the library's bracketed prefix.
        std::string what = e.what();
        const std::size_t close = what.find("] ");
        if (close != std::string::npos) {
            what = what.substr(close + 2);
        }
        if (e.id == 406) {
            what += ": outside the range of a double";
        }
        throw ScenarioError(sourceName + ": not valid JSON (" + what + ")");
    }
    return document;
}

} // namespace

void Scenario::checkJson(std::string_view text, const std::string &sourceName) {
    parseDocument(text, sourceName);
}

Scenario Scenario::fromText(std::string_view text, const std::string &sourceName) {
    const json document = parseDocument(text, sourceName);
    if (!document.is_object()) {
        throw ScenarioError(sourceName + ": expected a JSON object of input properties, not " +
                            std::string(document.type_name()));
    }
    Scenario scenario;
    // A named gas fills the source properties first; keys given explicitly override it.
    if (const auto gas = document.find("gas"); gas != document.end()) {
        if (!gas->is_string()) {
            throw ScenarioError(sourceName + ": \"gas\" must be the name of a gas, not " + describe(*gas));
        }
        const GasTable::Entry *entry = GasTable::find(gas->get_ref<const std::string &>());
        if (entry == nullptr) {
            std::string known;
            for (const GasTable::Entry &candidate : GasTable::entries()) {
                known += (known.empty() ? "" : ", ") + std::string(candidate.name);
            }
            throw ScenarioError(sourceName + ": unknown gas " + describe(*gas) + " (known: " + known + ")");
        }
        scenario.gas_ = std::string(entry->name);
        scenario.inputs_.emplace_back("sourceMolecularWeight", entry->molecularWeight);
        scenario.inputs_.emplace_back("sourceSpecificHeat", entry->specificHeat);
        scenario.inputs_.emplace_back("sourceSpecificHeatRatio", entry->specificHeatRatio);
    }
    for (auto it = document.begin(); it != document.end(); ++it) {
        const std::string &key = it.key();
        if (key == "gas") {
            continue;
        }
        if (key == "windFromBearing") {
            // Where the wind comes from, as weather records give it: the model's bearing is where it blows.
            if (document.contains("referenceWindBearing")) {
                throw ScenarioError(sourceName +
                                    ": give either \"windFromBearing\" (where the wind comes from) or "
                                    "\"referenceWindBearing\" (where it blows towards), not both");
            }
            const double from =
                inputValue(sourceName, key, *InputSchema::find("referenceWindBearing"), it.value());
            if (!(from >= 0.0 && from <= 360.0)) {
                throw ScenarioError(sourceName +
                                    ": \"windFromBearing\" must lie between 0 and 360 degrees, not " +
                                    describe(it.value()));
            }
            scenario.inputs_.emplace_back("referenceWindBearing", std::fmod(from + 180.0, 360.0));
            continue;
        }
        if (const FarFieldInputs::Input *far = FarFieldInputs::find(key)) {
            const std::string problem =
                FarFieldInputs::set(scenario.farField_, *far, farFieldValue(sourceName, *far, it.value()));
            if (!problem.empty()) {
                throw ScenarioError(sourceName + ": " + problem);
            }
            scenario.farFieldGiven_.emplace_back(far->name);
            continue;
        }
        const InputSchema::Input *input = InputSchema::find(key);
        if (input == nullptr) {
            throw ScenarioError(sourceName + ": unknown key \"" + key + "\"");
        }
        scenario.inputs_.emplace_back(key, inputValue(sourceName, key, *input, it.value()));
    }
    // A new model starts at stack height 0 m and release angle 0 degrees.
    const std::string release =
        inputs::InputSanity::releaseProblem(inputOrDefault(scenario.inputs_, "stackHeight", 0.0),
                                            inputOrDefault(scenario.inputs_, "releaseAngle", 0.0));
    if (!release.empty()) {
        throw ScenarioError(sourceName + ": " + release);
    }
    std::string missing;
    for (const std::string_view name : requiredInputs()) {
        const bool given = std::any_of(scenario.inputs_.begin(), scenario.inputs_.end(),
                                       [&](const auto &input) { return input.first == name; });
        if (!given) {
            missing += (missing.empty() ? "" : ", ") + std::string(name);
        }
    }
    if (!missing.empty()) {
        throw ScenarioError(sourceName + ": missing input" +
                            (missing.find(',') == std::string::npos ? "" : "s") +
                            " without a usable default: " + missing +
                            " (\"gas\" fills the source's molecular weight, specific heat and specific heat "
                            "ratio; 'ostreljet init' writes a complete scenario)");
    }
    return scenario;
}

std::vector<std::string_view> Scenario::requiredInputs() {
    std::vector<std::string_view> names;
    for (const InputSchema::Input &input : InputSchema::inputs()) {
        if (!input.range.contains(input.defaultValue)) {
            names.push_back(input.name);
        }
    }
    return names;
}

void Scenario::applyTo(JetModel &model) const {
    for (const auto &[name, value] : inputs_) {
        InputSchema::find(name)->put(model, value);
    }
}

} // namespace ostreljet
