#pragma once

// A run as every engineering front makes it (the command line, its report and batch, the C API, Python
// and the page), so that all of them say the same: the weather checked first, the stopping
// concentration lowered below the levels asked for, then the run and its summary. The component
// interface runs the model as it always has and never comes here. Functions of one model at a time: a
// model must not be shared between threads while it runs. Concentrations are volume fractions.

#include "ostreljet/Export.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <optional>
#include <span>
#include <string>

namespace ostreljet {

class JetModel;

class OSTRELJET_EXPORT EngineeringRun {
public:
    // What was decided before the run.
    struct Preparation {
        std::optional<std::string> weatherRefusal; // the weather cannot be used: no run
        std::optional<std::string> weatherNotice;  // an unusual class for the wind speed
        std::optional<double> loweredFrom;         // the model's stopping concentration before it was lowered
    };

    // The stopping concentration a run needs to answer every level: half the lowest level, or
    // `stoppingConcentration` when that is lower already (or when there are no levels).
    static double stoppingConcentrationFor(double stoppingConcentration, std::span<const double> levels);

    // Checks the model's weather and lowers its stopping concentration for the levels (the model keeps the
    // lowered value, so that its results and every field built from them agree).
    static Preparation prepare(JetModel &model, std::span<const double> levels);
    // Runs a prepared model unless its weather was refused (then its old results are cleared): what
    // runModel returned, false for refused weather.
    static bool runPrepared(JetModel &model, const Preparation &preparation);
    // The summary with what the preparation decided: a weather refusal as the end of an invalid run, an
    // unusual class as a warning, and a lowered stopping concentration as a note.
    static void complete(RunSummary &summary, const Preparation &preparation);

    // All of it: prepare, run, summarise with the run's exact field, complete.
    static RunSummary run(JetModel &model, std::span<const double> levels);
};

} // namespace ostreljet
