#pragma once

// What a run's outcome means to the engineer who reads it, the same word on every front (the command
// line, its report and batch results, the C API, Python and the page). Plain functions; thread-safe.

#include "ostreljet/Export.hpp"

#include <optional>
#include <string_view>

namespace ostreljet {

enum class RunStatus {
    ok,         // results to use as they are
    warning,    // results to use with care (for instance the centreline reached the ground)
    incomplete, // a limit (range, steps, calls, time, budget) ended the run: results up to there only
    failed,     // the model produced non-physical values: no results
    refused,    // the source checks refused the release: no results
    invalid,    // an input (or the weather it implies) was refused: no run
};

// "ok", "warning", "incomplete", "failed", "refused" or "invalid".
OSTRELJET_EXPORT std::string_view runStatusName(RunStatus status);
// The status of a name above; absent for any other text.
OSTRELJET_EXPORT std::optional<RunStatus> runStatusNamed(std::string_view name);
// True when the run's results may be used (ok, warning and, up to where it ended, incomplete).
OSTRELJET_EXPORT bool runStatusHasResults(RunStatus status);
// The exit status of a command that ran: 0 for ok and warning, 1 for the others.
OSTRELJET_EXPORT int runStatusExitCode(RunStatus status);

} // namespace ostreljet
