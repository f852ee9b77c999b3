// What the parts of the C API share: the model handle, the thread's last error and the one translator
// of exceptions into statuses.
#pragma once

#include "ostreljet/ostreljet.h"

#include "ostreljet/farfield/WholePlume.hpp"
#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/EngineeringRun.hpp"
#include "ostreljet/jet/JetModel.hpp"
#include "ostreljet/jet/RunField.hpp"
#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <vector>

// A summary kept on the handle with the unit and the level texts it was asked for.
struct KeptSummary {
    ostreljet::RunSummary summary;
    ostreljet::ConcentrationUnit unit;
    std::vector<std::string> levelTexts; // as written, or as the defaults name them
    std::vector<double> levelValues;     // in `unit`
    double groundMaximum;                // in `unit`, at the ground maximum's location; NaN when absent
    double stoppingConcentration = 0.0;  // in `unit`, of the run summarised
    double loweredFrom = 0.0;            // in `unit`, the stopping concentration before it was lowered; NaN
};

struct ostreljet_model {
    ostreljet::JetModel model;
    std::string gas; // the gas of the table that the source properties came from; "" when none named
    bool hasRun = false;
    bool inputsAccepted = false;
    ostreljet::RunSummary::Ending ending = ostreljet::RunSummary::Ending::other;
    std::optional<std::string> endMessage;
    ostreljet::RunStatus status = ostreljet::RunStatus::invalid; // of the last run
    ostreljet::EngineeringRun::Preparation preparation;          // of the last run
    std::vector<ostreljet::MessageSeverity> severities;          // of the last run's messages, in order
    std::vector<std::string> messages; // the last run's messages, with their figures
    std::optional<KeptSummary> summary;
    // A cancel asked for since the summary under way started (a run's own request lasts until the next run).
    std::atomic<bool> summaryCancelled{false};
    // The far field's inputs, set by name or read from a scenario.
    ostreljet::FarFieldOptions farFieldOptions;
    // The whole plume of the last run as the engineering fronts answer it (the jet's field, then the far
    // field; NaN where not computed), built on the first query after a change; queries from several
    // threads share it.
    mutable std::mutex fieldMutex;
    mutable std::shared_ptr<const ostreljet::WholePlume> field;
    mutable bool fieldHasResults = false; // whether `field` was built for a run with results

    std::shared_ptr<const ostreljet::WholePlume> currentField() const {
        const std::lock_guard<std::mutex> lock(fieldMutex);
        const ostreljet::RunStatus now = hasRun ? status : ostreljet::RunStatus::invalid;
        if (!field || fieldHasResults != ostreljet::runStatusHasResults(now) ||
            !field->jet().isCurrentFor(model, 0.0)) {
            field = std::make_shared<const ostreljet::WholePlume>(model, farFieldOptions, now);
            fieldHasResults = ostreljet::runStatusHasResults(now);
        }
        return field;
    }
    // Sets the far field's options; the whole plume is built again on the next query.
    void setFarFieldOptions(const ostreljet::FarFieldOptions &options) {
        const std::lock_guard<std::mutex> lock(fieldMutex);
        farFieldOptions = options;
        field.reset();
    }

    // Records what a finished run says once its whole plume is built: a jet end past the far field's
    // hand-off plane cuts no answer, as every engineering front reports it.
    void recordRun(ostreljet::RunSummary ending) {
        status = ending.status; // the field holds results only after a run that has them
        if (ostreljet::runStatusHasResults(ending.status)) {
            ostreljet::WholePlumeSummary::carryOn(ending, *currentField());
        }
        record(ending);
    }

    // Records what a finished run's summary says: ending, status and messages.
    void record(const ostreljet::RunSummary &summary) {
        ending = summary.ending;
        endMessage = summary.endMessage;
        status = summary.status;
        severities.clear();
        messages.clear();
        for (const ostreljet::RunSummary::Message &message : summary.messages) {
            severities.push_back(message.severity);
            messages.push_back(message.text);
        }
    }
};

namespace ostreljet::capi {

// Whether models of the C API echo their once-only notices to standard output; off until a host turns
// it on. Each model applies it to its own message list, so a component in the same process keeps
// echoing as it always does.
inline std::atomic<bool> echoOn{false};

inline thread_local std::string lastError;

inline constexpr int unknownName = OSTRELJET_UNKNOWN_NAME;
inline constexpr int invalidArgument = OSTRELJET_INVALID_ARGUMENT;
inline constexpr int internalFailure = OSTRELJET_INTERNAL_ERROR;

// Runs one API body; every exception becomes the status `failure` and the thread's last error.
template <typename Result, typename Body> Result guarded(Result failure, Body &&body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        lastError = "out of memory";
    } catch (const std::exception &e) {
        lastError = e.what();
    } catch (...) {
        lastError = "unknown internal error";
    }
    return failure;
}

// "nx x ny x nz", for messages about a grid.
inline std::string gridSize(int nx, int ny, int nz) {
    return std::to_string(nx) + " x " + std::to_string(ny) + " x " + std::to_string(nz);
}

template <typename Result> Result fail(Result status, std::string message) {
    lastError = std::move(message);
    return status;
}

} // namespace ostreljet::capi
