#include "ostreljet/jet/EngineeringRun.hpp"

#include "ostreljet/atmosphere/WeatherCheck.hpp"
#include "ostreljet/jet/JetModel.hpp"

#include <algorithm>
#include <cmath>

namespace ostreljet {

double EngineeringRun::stoppingConcentrationFor(double stoppingConcentration,
                                                std::span<const double> levels) {
    double lowest = stoppingConcentration;
    for (const double level : levels) {
        if (std::isfinite(level) && level > 0.0) {
            lowest = std::min(lowest, 0.5 * level);
        }
    }
    return lowest;
}

EngineeringRun::Preparation EngineeringRun::prepare(JetModel &model, std::span<const double> levels) {
    Preparation preparation;
    const WeatherCheck::Finding weather = WeatherCheck::of(model.atmosphere());
    preparation.weatherRefusal = weather.refusal;
    preparation.weatherNotice = weather.notice;
    const double given = model.stoppingConcentration();
    const double needed = stoppingConcentrationFor(given, levels);
    if (needed < given) {
        preparation.loweredFrom = given;
        model.setStoppingConcentration(needed);
    }
    return preparation;
}

bool EngineeringRun::runPrepared(JetModel &model, const Preparation &preparation) {
    if (preparation.weatherRefusal) {
        model.resetModel();
        return false;
    }
    return model.runModel();
}

void EngineeringRun::complete(RunSummary &summary, const Preparation &preparation) {
    // 1. Refused weather: an invalid run whose only message says why.
    // 2. An unusual class: a warning, and an ok run becomes one to use with care.
    // 3. A lowered stopping concentration: an information message.
    if (preparation.weatherRefusal) {
        summary.ending = RunSummary::Ending::inputsInvalid;
        summary.status = RunStatus::invalid;
        summary.endMessage = *preparation.weatherRefusal;
        summary.messages.clear();
        summary.addMessage(*preparation.weatherRefusal, MessageSeverity::error,
                           RunSummary::weatherRefusedCode, 2);
        return;
    }
    if (preparation.weatherNotice) {
        summary.addMessage(*preparation.weatherNotice, MessageSeverity::warning,
                           RunSummary::weatherNoticeCode, 0);
        if (summary.status == RunStatus::ok) {
            summary.status = RunStatus::warning;
        }
    }
    if (preparation.loweredFrom) {
        summary.stoppingConcentrationLoweredFrom = preparation.loweredFrom;
    }
}

RunSummary EngineeringRun::run(JetModel &model, std::span<const double> levels) {
    const Preparation preparation = prepare(model, levels);
    const bool accepted = runPrepared(model, preparation);
    RunSummary summary = RunSummary::of(model, accepted, levels);
    complete(summary, preparation);
    return summary;
}

} // namespace ostreljet
