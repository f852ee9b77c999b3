#include "ostreljet/farfield/FarFieldInputs.hpp"

#include "ostreljet/farfield/AveragingTime.hpp"

#include <array>
#include <cmath>
#include <sstream>

namespace ostreljet {

namespace {

constexpr std::array<std::string_view, 2> kDispersionLabels = {"rural", "urban"};

const std::array<FarFieldInputs::Input, 3> kInputs = {{
    {"farFieldDispersion", "-", "Briggs dispersion coefficients of the far field: open country or city", 0.0,
     -1.0, 1.0, kDispersionLabels},
    {"averagingTime",
     "s",
     "averaging time of far-field concentrations (sigma_y power law; 18.75 s at least)",
     AveragingTime::kDefault,
     0.0,
     86400.0,
     {}},
    {"farFieldDistance",
     "m",
     "downwind distance from the stack at which the far field ends",
     10000.0,
     0.0,
     100000.0,
     {}},
}};

std::string number(double value) {
    std::ostringstream text;
    text.precision(17);
    text << value;
    return text.str();
}

} // namespace

std::span<const FarFieldInputs::Input> FarFieldInputs::inputs() {
    return kInputs;
}

const FarFieldInputs::Input *FarFieldInputs::find(std::string_view name) {
    for (const Input &input : kInputs)
        if (input.name == name)
            return &input;
    return nullptr;
}

std::string FarFieldInputs::accepted(const Input &input) {
    std::ostringstream text;
    if (!input.labels.empty()) {
        for (std::size_t i = 0; i < input.labels.size(); ++i)
            text << (i == 0 ? "" : ", ") << input.labels[i];
        return text.str();
    }
    text << "(" << number(input.lower) << ", " << number(input.upper) << "]";
    return text.str();
}

std::optional<double> FarFieldInputs::labelValue(const Input &input, std::string_view text) {
    for (std::size_t i = 0; i < input.labels.size(); ++i)
        if (input.labels[i] == text)
            return static_cast<double>(i);
    return std::nullopt;
}

std::string FarFieldInputs::set(FarFieldOptions &options, const Input &input, double value) {
    std::ostringstream problem;
    if (!input.labels.empty()) {
        if (!(value == 0.0 || value == 1.0)) {
            problem << "\"" << input.name << "\" must be one of " << accepted(input) << ", not "
                    << number(value);
            return problem.str();
        }
        options.dispersion = value == 1.0 ? FarFieldDispersion::urban : FarFieldDispersion::rural;
        return {};
    }
    if (!std::isfinite(value) || !(value > input.lower) || !(value <= input.upper)) {
        problem << "\"" << input.name << "\" must be in " << accepted(input) << " " << input.unit << ", not "
                << number(value);
        return problem.str();
    }
    if (input.name == "averagingTime")
        options.averagingTime = value;
    else
        options.distance = value;
    return {};
}

double FarFieldInputs::get(const FarFieldOptions &options, const Input &input) {
    if (input.name == "farFieldDispersion")
        return options.dispersion == FarFieldDispersion::urban ? 1.0 : 0.0;
    if (input.name == "averagingTime")
        return options.averagingTime;
    return options.distance;
}

} // namespace ostreljet
