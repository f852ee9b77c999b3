#include "ostreljet/inputs/InputRefusal.hpp"

#include "ostreljet/inputs/InputSchema.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <cstdio>
#include <string_view>
#include <utility>

namespace ostreljet {

namespace {

// The number of each of validation's refusals and the input it checks.
constexpr std::pair<std::int32_t, std::string_view> checkedInputs[] = {
    {4, "stackHeight"},
    {5, "orificeDiameter"},
    {6, "dischargeCoefficient"},
    {7, "releaseAngle"},
    {8, "massFlowrate"},
    {9, "sourceMolecularWeight"},
    {10, "sourceSpecificHeat"},
    {11, "sourceSpecificHeatRatio"},
    {12, "sourceTemperature"},
    {13, "referenceWindSpeed"},
    {14, "referenceWindHeight"},
    {15, "atmosphereSurfaceRoughness"},
    {16, "atmosphereSpecificHeat"},
    {17, "atmosphereMolecularWeight"},
    {18, "stackLocationX"},
    {19, "stackLocationY"},
    {20, "atmosphereTemperature"},
    {21, "atmospherePressure"},
    {22, "stoppingConcentration"},
    {23, "stackBearing"},
    {24, "referenceWindBearing"},
};

} // namespace

std::optional<std::string> InputRefusal::keyAndValue(const JetModel &model, std::int32_t code) {
    const InputSchema::Input *input = nullptr;
    for (const auto &[number, name] : checkedInputs) {
        if (number == code) {
            input = InputSchema::find(name);
        }
    }
    if (input == nullptr) {
        return std::nullopt;
    }
    const double value = input->get(model);
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    std::string shown = text;
    if (input->enumeration != nullptr) {
        const std::string_view label = InputSchema::labelOf(*input, value);
        shown = label.empty() ? shown : std::string(label);
    } else if (input->unit != "-") {
        shown.append(" ").append(input->unit);
    }
    std::string out = " (";
    out.append(input->name).append(" = ").append(shown).append(")");
    return out;
}

void InputRefusal::annotate(RunSummary &summary, const JetModel &model) {
    if (summary.status != RunStatus::invalid || summary.messages.empty()) {
        return;
    }
    RunSummary::Message &first = summary.messages.front();
    if (first.level != 0 || first.code == RunSummary::weatherRefusedCode) {
        return;
    }
    if (const std::optional<std::string> suffix = keyAndValue(model, first.code)) {
        if (summary.endMessage && *summary.endMessage == first.text) {
            *summary.endMessage += *suffix;
        }
        first.text += *suffix;
    }
}

} // namespace ostreljet
