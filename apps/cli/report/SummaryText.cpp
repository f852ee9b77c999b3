#include "report/SummaryText.hpp"

#include "ostreljet/atmosphere/Atmosphere.hpp"
#include "ostreljet/units/ConcentrationConverter.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace ostreljet::report {

namespace {

// A distance that is rounding noise beside another of the same place (below 1e-9 of it, or of 1 m) is 0.
double withoutNoise(double value, double beside) {
    return std::fabs(value) < 1e-9 * std::max(1.0, std::fabs(beside)) ? 0.0 : value;
}

} // namespace

std::string figure(double value) {
    if (!std::isfinite(value)) {
        return fmt::format("{}", value);
    }
    if (value == 0.0) {
        return "0";
    }
    const double magnitude = std::fabs(value);
    if (magnitude < 1e-3 || magnitude >= 999999.5) {
        return fmt::format("{:.3e}", value);
    }
    const int decimals = std::max(0, 3 - static_cast<int>(std::floor(std::log10(magnitude))));
    const double scale = std::pow(10.0, 3 - std::floor(std::log10(magnitude)));
    const double rounded = std::round(value * scale) / scale;
    std::string text = fmt::format("{:.{}f}", rounded, decimals);
    // Trailing zeros after the point say nothing about the figure's precision here.
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') {
            text.pop_back();
        }
    }
    return text == "-0" ? "0" : text;
}

double ambientTemperatureAt(const JetModel &model, double z) {
    Atmosphere atmosphere = model.atmosphere();
    return atmosphere.temperatureAt(z);
}

std::string_view runStatus(const RunSummary &summary) {
    return runStatusName(summary.status);
}

std::string levelName(const JetModel &model, const Level &level, double modelValue, ConcentrationUnit unit) {
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    return fmt::format("{} ({} {})", level.text(), figure(converter.thresholdFromModel(modelValue, unit)),
                       concentrationUnitLabel(unit));
}

namespace {

std::string downwind(double metres) {
    return fmt::format("{} m downwind", figure(metres));
}

} // namespace

namespace {

// An answer the summary's limits left unsearched.
constexpr std::string_view kNotComputed = "not computed (the summary reached its limit; see the messages)";

} // namespace

std::vector<SummaryLine> summaryLines(const JetModel &model, const RunSummary &summary,
                                      const SummaryRequest &request) {
    std::vector<SummaryLine> lines;
    const std::string ending(RunSummary::endingName(summary.ending));
    lines.push_back({"Run ended", summary.endMessage ? *summary.endMessage : ending});
    lines.push_back({"Run status", std::string(runStatusName(summary.status))});
    if (!summary.succeeded()) {
        return lines;
    }
    lines.push_back({"Output steps", fmt::format("{}", summary.outputSteps)});
    const ConcentrationConverter shown = ConcentrationConverter::forModel(model);
    // Past the jet's end the far field answers where one was built; nothing is computed beyond it.
    std::string beyond = summary.lastStep
                             ? fmt::format("not computed beyond {}", downwind(summary.lastStep->downwind))
                             : "not computed";
    if (summary.farField) {
        beyond = fmt::format("the far field answers from {}; not computed beyond {}",
                             downwind(summary.farField->from), downwind(summary.farField->to));
        lines.push_back({"Modelled region",
                         fmt::format("the jet to {}, the far field from there to {}; not "
                                     "computed beyond",
                                     downwind(summary.farField->from), downwind(summary.farField->to))});
    } else if (summary.lastStep) {
        lines.push_back({"Modelled region", fmt::format("to {}, where the run ends; not computed beyond",
                                                        downwind(summary.lastStep->downwind))});
    }
    if (summary.stoppingConcentrationLoweredFrom) {
        lines.push_back(
            {"Stopping concentration",
             fmt::format(
                 "{} {}, lowered from the scenario's {} {} to half the lowest level",
                 figure(shown.thresholdFromModel(model.stoppingConcentration(), request.unit)),
                 concentrationUnitLabel(request.unit),
                 figure(shown.thresholdFromModel(*summary.stoppingConcentrationLoweredFrom, request.unit)),
                 concentrationUnitLabel(request.unit))});
    }
    if (summary.greatestCentrelineHeight) {
        lines.push_back({"Greatest centreline height",
                         fmt::format("{} m, {}", figure(summary.greatestCentrelineHeight->z),
                                     downwind(summary.greatestCentrelineHeight->downwind))});
    }
    const auto ground = [](const std::optional<double> &distance) {
        return distance ? downwind(*distance) : std::string("not within the run");
    };
    lines.push_back({"Plume edge reaches the ground", ground(summary.edgeReachesGroundDownwind)});
    lines.push_back({"Centreline reaches the ground", ground(summary.centrelineReachesGroundDownwind)});
    const ConcentrationConverter converter = ConcentrationConverter::forModel(model);
    const std::string_view unit = concentrationUnitLabel(request.unit);
    if (!summary.groundMaximumComputed) {
        lines.push_back({"Greatest ground-level concentration", std::string(kNotComputed)});
    } else if (summary.groundMaximum) {
        const RunSummary::Location &at = summary.groundMaximum->location;
        const double value = converter.fromModel(summary.groundMaximum->concentration, request.unit,
                                                 ambientTemperatureAt(model, 0.0));
        lines.push_back({"Greatest ground-level concentration",
                         fmt::format("{} {} at {}{}, {} m across", figure(value), unit, downwind(at.downwind),
                                     summary.groundMaximum->inFarField ? " (in the far field)" : "",
                                     figure(withoutNoise(at.crosswind, at.downwind)))});
    } else {
        lines.push_back({"Greatest ground-level concentration",
                         fmt::format("the plume does not reach the ground within the run; {}", beyond)});
    }
    for (std::size_t i = 0; i < summary.levels.size() && i < request.levels.size(); ++i) {
        const RunSummary::LevelAnswer &answer = summary.levels[i];
        const std::string name =
            fmt::format("{}, {} {}", request.levels[i].text(),
                        figure(converter.thresholdFromModel(answer.level, request.unit)), unit);
        const std::string_view inFarField = " (in the far field)";
        std::string centreline;
        if (answer.centrelineDownwindDistance && answer.centrelineArcLength) {
            centreline = fmt::format("centreline below it from {} ({} m along it)",
                                     downwind(*answer.centrelineDownwindDistance),
                                     figure(*answer.centrelineArcLength));
        } else if (answer.centrelineDownwindDistance) {
            centreline =
                fmt::format("centreline below it from {}{}", downwind(*answer.centrelineDownwindDistance),
                            answer.centrelineInFarField ? inFarField : "");
        } else if (answer.exceededAtEndOfRun && answer.centrelineInFarField && summary.farField) {
            centreline = fmt::format("centreline above it to the far field's end, {}; not computed beyond",
                                     downwind(summary.farField->to));
        } else if (answer.exceededAtEndOfRun) {
            centreline = "centreline above it to the end of the run; " + beyond;
        } else {
            centreline = "centreline below it from the start";
        }
        std::string region = "region above it: none";
        if (!answer.regionComputed) {
            region = "region above it: " + std::string(kNotComputed);
        } else if (answer.farthestDownwindExtent && answer.greatestHalfWidth) {
            const std::string_view where = answer.regionInFarField ? "the far field" : "the run";
            region = fmt::format(
                "region above it to {}{}, {} m half-width{}", downwind(*answer.farthestDownwindExtent),
                answer.regionInFarField ? inFarField : "", figure(*answer.greatestHalfWidth),
                answer.regionOpen ? fmt::format(" (still exceeded where {} ends: open)", where)
                                  : std::string());
        }
        lines.push_back({name, centreline + "; " + region});
    }
    return lines;
}

} // namespace ostreljet::report
