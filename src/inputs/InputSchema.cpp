#include "ostreljet/inputs/InputSchema.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace ostreljet {

namespace {

using Type = InputSchema::Type;
using Range = InputSchema::Range;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Ranges by the comparison that validation fails on: closed [a, b], half-open (a, b], open (a, b),
// bounded below only (a, inf), and none.
constexpr Range closed(double lower, double upper) {
    return {lower, true, upper, true};
}
constexpr Range aboveUpTo(double lower, double upper) {
    return {lower, false, upper, true};
}
constexpr Range between(double lower, double upper) {
    return {lower, false, upper, false};
}
constexpr Range above(double lower) {
    return {lower, false, kInfinity, false};
}
constexpr Range unbounded() {
    return {-kInfinity, false, kInfinity, false};
}

const std::array<InputSchema::Label, 2> timeAveragingLabels = {{
    {"short", "SHORT_TIME_AVERAGING", SHORT_TIME_AVERAGING},
    {"long", "LONG_TIME_AVERAGING", LONG_TIME_AVERAGING},
}};

const std::array<InputSchema::Label, 6> pasquillLabels = {{
    {"A", "PASQUILL_A", PASQUILL_A},
    {"B", "PASQUILL_B", PASQUILL_B},
    {"C", "PASQUILL_C", PASQUILL_C},
    {"D", "PASQUILL_D", PASQUILL_D},
    {"E", "PASQUILL_E", PASQUILL_E},
    {"F", "PASQUILL_F", PASQUILL_F},
}};

const std::array<InputSchema::Enumeration, 2> enumerationList = {{
    {"TIME_AVERAGING", timeAveragingLabels},
    {"PASQUILL", pasquillLabels},
}};

// A double input read and written through the model's accessor pair.
#define OSTRELJET_DOUBLE_INPUT(NAME, DISPID, UNIT, MEANING, DEFAULT, RANGE, SETTER)                          \
    InputSchema::Input {                                                                                     \
#NAME, DISPID, Type::Double, UNIT, MEANING, DEFAULT, RANGE, nullptr,                                 \
            [](const JetModel &m) { return m.NAME(); }, [](JetModel & m, double v) { m.SETTER(v); }          \
    }

// The ranges are those of the run's validation checks; the temperature check applies to the air at the
// ground, which the atmosphere works out from the temperature at the reference height.
const std::array<InputSchema::Input, 23> inputList = {{
    OSTRELJET_DOUBLE_INPUT(stackHeight, 1, "m", "height of the orifice above ground", 0.0,
                           closed(0.0, 1000.0), setStackHeight),
    OSTRELJET_DOUBLE_INPUT(orificeDiameter, 3, "m", "diameter of the orifice", 0.0, aboveUpTo(0.0, 100.0),
                           setOrificeDiameter),
    OSTRELJET_DOUBLE_INPUT(stackLocationX, 4, "m", "east coordinate of the stack", 0.0,
                           closed(-1000000.0, 1000000.0), setStackLocationX),
    OSTRELJET_DOUBLE_INPUT(stackLocationY, 5, "m", "north coordinate of the stack", 0.0,
                           closed(-1000000.0, 1000000.0), setStackLocationY),
    OSTRELJET_DOUBLE_INPUT(releaseAngle, 6, "degree", "angle of the release above the horizontal", 0.0,
                           closed(-180.0, 180.0), setReleaseAngle),
    OSTRELJET_DOUBLE_INPUT(dischargeCoefficient, 7, "-", "discharge coefficient of the orifice", 1.0,
                           aboveUpTo(0.0, 1.0), setDischargeCoefficient),
    OSTRELJET_DOUBLE_INPUT(massFlowrate, 8, "kg/s", "mass flow rate of the release", 0.0, above(0.0),
                           setMassFlowrate),
    OSTRELJET_DOUBLE_INPUT(atmosphereMolecularWeight, 9, "kg/mol", "molecular weight of the air", 0.02896,
                           closed(0.002, 0.15), setAtmosphereMolecularWeight),
    OSTRELJET_DOUBLE_INPUT(atmospherePressure, 10, "Pa", "ambient pressure", 101325.0,
                           closed(80000.0, 120000.0), setAtmospherePressure),
    OSTRELJET_DOUBLE_INPUT(atmosphereSpecificHeat, 11, "J/(kg K)", "specific heat of the air", 0.0,
                           closed(100.0, 100000.0), setAtmosphereSpecificHeat),
    OSTRELJET_DOUBLE_INPUT(atmosphereTemperature, 12, "K", "air temperature at the reference height", 288.15,
                           closed(80.0, 2500.0), setAtmosphereTemperature),
    OSTRELJET_DOUBLE_INPUT(atmosphereSurfaceRoughness, 13, "m", "surface roughness length", 0.0,
                           closed(0.0001, 0.3), setAtmosphereSurfaceRoughness),
    OSTRELJET_DOUBLE_INPUT(referenceWindHeight, 14, "m", "height of the reference wind speed", 10.0,
                           aboveUpTo(0.0, 200.0), setReferenceWindHeight),
    OSTRELJET_DOUBLE_INPUT(referenceWindSpeed, 15, "m/s", "wind speed at the reference height", 5.0,
                           aboveUpTo(0.0, 20.0), setReferenceWindSpeed),
    OSTRELJET_DOUBLE_INPUT(referenceWindBearing, 16, "degree",
                           "bearing the wind blows towards, from north (+y) to east (+x)", 90.0,
                           closed(0.0, 360.0), setReferenceWindBearing),
    OSTRELJET_DOUBLE_INPUT(sourceMolecularWeight, 17, "kg/mol", "molecular weight of the released gas", 0.0,
                           closed(0.002, 0.15), setSourceMolecularWeight),
    OSTRELJET_DOUBLE_INPUT(sourceSpecificHeat, 18, "J/(kg K)", "specific heat of the released gas", 0.0,
                           closed(100.0, 100000.0), setSourceSpecificHeat),
    OSTRELJET_DOUBLE_INPUT(sourceSpecificHeatRatio, 19, "-", "ratio of specific heats of the released gas",
                           0.0, aboveUpTo(1.0, 1.7), setSourceSpecificHeatRatio),
    OSTRELJET_DOUBLE_INPUT(sourceTemperature, 20, "K", "temperature of the released gas", 0.0,
                           closed(80.0, 2500.0), setSourceTemperature),
    InputSchema::Input{"timeAveraging", 21, Type::TimeAveraging, "-", "averaging time of the concentrations",
                       SHORT_TIME_AVERAGING, unbounded(), &enumerationList[0],
                       [](const JetModel &m) { return static_cast<double>(m.timeAveraging()); },
                       [](JetModel &m, double v) { m.setTimeAveraging(static_cast<std::int32_t>(v)); }},
    OSTRELJET_DOUBLE_INPUT(stoppingConcentration, 22, "-",
                           "centreline concentration (volume fraction) that ends the run", 0.0,
                           between(0.0, 1.0), setStoppingConcentration),
    InputSchema::Input{"pasquillStability", 23, Type::Pasquill, "-", "Pasquill stability class", PASQUILL_D,
                       unbounded(), &enumerationList[1],
                       [](const JetModel &m) { return static_cast<double>(m.pasquillStability()); },
                       [](JetModel &m, double v) { m.setPasquillStability(static_cast<std::int32_t>(v)); }},
    OSTRELJET_DOUBLE_INPUT(stackBearing, 25, "degree", "bearing of the release, from north (+y) to east (+x)",
                           0.0, closed(0.0, 360.0), setStackBearing),
}};

#undef OSTRELJET_DOUBLE_INPUT

} // namespace

bool InputSchema::Range::bounded() const {
    return std::isfinite(lower) || std::isfinite(upper);
}

bool InputSchema::Range::contains(double value) const {
    const bool belowLower = lowerInclusive ? value < lower : value <= lower;
    const bool aboveUpper = upperInclusive ? value > upper : value >= upper;
    return !((std::isfinite(lower) && belowLower) || (std::isfinite(upper) && aboveUpper));
}

std::span<const InputSchema::Input> InputSchema::inputs() {
    return inputList;
}

std::span<const InputSchema::Enumeration> InputSchema::enumerations() {
    return enumerationList;
}

const InputSchema::Input *InputSchema::find(std::string_view name) {
    const auto found = std::find_if(inputList.begin(), inputList.end(),
                                    [name](const Input &input) { return input.name == name; });
    return found == inputList.end() ? nullptr : &*found;
}

const InputSchema::Input *InputSchema::findByDispid(std::int32_t dispid) {
    const auto found = std::find_if(inputList.begin(), inputList.end(),
                                    [dispid](const Input &input) { return input.dispid == dispid; });
    return found == inputList.end() ? nullptr : &*found;
}

std::optional<std::int32_t> InputSchema::labelValue(const Input &input, std::string_view text) {
    if (input.enumeration != nullptr) {
        for (const Label &label : input.enumeration->labels) {
            if (text == label.label || text == label.member) {
                return label.value;
            }
        }
    }
    return std::nullopt;
}

std::string_view InputSchema::labelOf(const Input &input, double value) {
    if (input.enumeration != nullptr) {
        for (const Label &label : input.enumeration->labels) {
            if (value == static_cast<double>(label.value)) {
                return label.label;
            }
        }
    }
    return {};
}

} // namespace ostreljet
