#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/diagnostics/ErrorMessageCollection.hpp"
#include "ostreljet/jet/RunStatus.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet {

class JetModel;

// How serious a message of a run is: information (a normal end), warning (results to use with care, such
// as the centreline reaching the ground) or error (the run ended early, failed, was refused, or its
// inputs were invalid).
enum class MessageSeverity { information, warning, error };

// The answers of a finished run that a consequence engineer reports: how it ended, how high the plume
// went, where it reached the ground and how far each requested level reaches. Distances downwind are
// measured from the stack along the wind at the reference height, crosswind distances horizontally
// across it; an answer that does not exist (a level never reached, a plume that never touches down) is
// absent, never 0. Concentrations are in the model's own unit (volume fraction).
struct OSTRELJET_EXPORT RunSummary {
    enum class Ending {
        stoppingConcentration, // the centreline fell to the stopping concentration: a normal end
        centrelineOnGround,    // the centreline reached the ground
        topOfBoundaryLayer,    // the centreline reached the top of the boundary layer
        refusedBySourceChecks, // the orifice conditions are outside the model's range: no output steps
        inputsInvalid,         // validation refused an input: no output steps
        other,                 // none of the above (the end of the range, or the integrator gave up)
    };

    struct Message {
        std::string text;
        MessageSeverity severity;
        std::int32_t code;  // the model's or the integrator's code
        std::int32_t level; // the message list's level: -1, 0, 1 or 2
    };

    // A place on the plume's path.
    struct Location {
        double x;         // m, east
        double y;         // m, north
        double z;         // m, above ground
        double downwind;  // m, from the stack along the wind
        double crosswind; // m, from the stack across the wind, positive to the left of the wind
        double arcLength; // m, along the centreline; for a field point, that of the nearest output step
    };

    struct LevelAnswer {
        double level; // volume fraction
        // Where the centreline concentration first falls below the level, interpolated between output
        // steps; absent when it starts below the level or never falls below it within the run.
        std::optional<double> centrelineDownwindDistance; // m
        std::optional<double> centrelineArcLength;        // m
        // The region where the field is at or above the level: its farthest point downwind and its
        // greatest distance across the wind from the downwind line through the stack; absent when the
        // field nowhere reaches the level.
        std::optional<double> farthestDownwindExtent; // m
        std::optional<double> greatestHalfWidth;      // m
        // True when the centreline is still at or above the level where the run ends, so the region is
        // cut off by the end of the run.
        bool exceededAtEndOfRun = false;
        // False when the region was not searched (a run without results, or the summary's limits stopped
        // it first): the two region answers are then not computed (absent), not "nowhere above the level".
        bool regionComputed = true;
        // Where a far field carries the plume on past the jet (the whole plume's summary): the centreline
        // answer and the region's farthest point came from the far field, and the region is still above
        // the level where the far field ends (cut off there, not closed). For the jet alone, regionOpen is
        // exceededAtEndOfRun.
        bool centrelineInFarField = false;
        bool regionInFarField = false;
        bool regionOpen = false;
    };

    struct GroundMaximum {
        double concentration; // volume fraction, at z = 0
        Location location;    // in the far field its arcLength is NaN: no output step is there
        bool inFarField = false;
    };

    // Concentration (volume fraction) at a point (x, y, z in m) from the run's field.
    using ConcentrationAt = std::function<double(double x, double y, double z)>;

    // Bounds on the searches of the field, which can cost far more than the run itself.
    struct Limits {
        std::uint64_t work = 0; // budget, in the run's units (JetModel::workDone); 0: no bound
        std::optional<std::chrono::steady_clock::time_point> deadline; // none: no time limit
        std::function<bool()> cancelled;                               // polled; empty: never
        // The segments the field's queries have searched so far (ConcentrationField's count), charged
        // at workPerSegmentSearched each; empty when the field does not count them.
        std::function<std::uint64_t()> segmentsSearched;
    };
    // Work charged for one query of the field and for each segment it searches, in the run's budget
    // units, so that a unit costs about the same time in both: measured on the examples, a unit of a
    // run's work takes about 0.05 us, a query about 0.4 us and a searched segment about 2 us.
    static constexpr std::uint64_t workPerFieldQuery = 8;
    static constexpr std::uint64_t workPerSegmentSearched = 40;
    // The limits of the summary of `model`'s last run: a budget of evaluations as large as the run's, the
    // run's time limit (counted from the run's start) and its cancel request.
    static Limits limitsAfterRun(const JetModel &model);
    // Most levels one summary answers; a longer list is refused before any work.
    static constexpr std::size_t maximumLevels = 64;

    // Summarises `model` after its run; `inputsAccepted` is what runModel returned. `levels` are volume
    // fractions; `concentrationAt` is the run's field, queried only after a run with output steps (empty:
    // no field is searched, and the regions and the ground-level maximum are marked not computed with no
    // message, for a caller that wants the run's ending and status alone). When a limit is reached the
    // searches stop: the answers not found yet are marked not computed and a message (the run's budget,
    // time-limit or cancel code) says so. Throws std::invalid_argument for more than maximumLevels levels.
    static RunSummary of(const JetModel &model, bool inputsAccepted, std::span<const double> levels,
                         const ConcentrationAt &concentrationAt, const Limits &limits);
    // The same with no limits.
    static RunSummary of(const JetModel &model, bool inputsAccepted, std::span<const double> levels,
                         const ConcentrationAt &concentrationAt);
    // The same with the run's exact field (no downwind-line assumption) and its actual values, as every
    // engineering front answers them, under limitsAfterRun(model).
    static RunSummary of(const JetModel &model, bool inputsAccepted, std::span<const double> levels);

    // Codes of the messages the summary adds to the model's own.
    static constexpr std::int32_t weatherRefusedCode = 93;
    static constexpr std::int32_t weatherNoticeCode = 94;
    static constexpr std::int32_t nonPhysicalCode = 95;
    static constexpr std::int32_t rangeEndCode = 96;
    static constexpr std::int32_t integratorEndCode = 97;
    static constexpr std::int32_t stoppingLoweredCode = 98;

    // The severity of a message of the model's list; every front shows this one.
    static MessageSeverity severityOf(const ErrorMessageCollection::ErrorMessage &message);
    static std::string_view severityName(MessageSeverity severity); // "information", "warning", "error"
    // "stopping concentration", "centreline on the ground", "top of the boundary layer",
    // "refused by the source checks", "inputs invalid", "other".
    static std::string_view endingName(Ending ending);
    // False when the run gave no usable results (failed, refused or invalid inputs).
    bool succeeded() const { return runStatusHasResults(status); }

    // Adds a message of the summary's own (severity from its level as for the model's messages).
    void addMessage(std::string text, MessageSeverity severity, std::int32_t code, std::int32_t level);

    Ending ending = Ending::other;
    RunStatus status = RunStatus::invalid;
    std::optional<std::string> endMessage; // the message that ended the run, when one did
    std::vector<Message> messages;         // every message of the run, in order
    std::int32_t outputSteps = 0;

    std::optional<Location> lastStep; // the run's last output step: the jet computes nothing beyond it
    // Where a run ended by the end of its range or the integrator's call limit, before the stopping
    // concentration (then endMessage says so, in limitEndText's words).
    struct LimitEnd {
        bool atRange;     // the end of the range; else the integrator's call limit
        double arcLength; // m, along the centreline
        double downwind;  // m
    };
    std::optional<LimitEnd> limitEnd;
    // The sentence that says where and why the run ended by a limit; with `carriedOnFrom` (m downwind,
    // ahead of the end), that a far field carries the answers on from there instead of "nothing is
    // computed beyond".
    static std::string limitEndText(const LimitEnd &end, std::optional<double> carriedOnFrom);
    // The far field that carries the answers on past the jet, when one was built (the whole plume's
    // summary): from its hand-off plane to its end, m downwind; nothing is computed beyond its end.
    struct FarFieldSpan {
        double from; // m downwind
        double to;   // m downwind
    };
    std::optional<FarFieldSpan> farField;
    // Where the modelled region ends, m downwind: the far field's end, else the jet's last step.
    std::optional<double> notComputedBeyondDownwind() const;
    std::optional<double> stoppingConcentrationLoweredFrom; // volume fraction, when a front lowered it
    std::optional<Location> greatestCentrelineHeight;       // the output step with the highest centreline
    std::optional<double> edgeReachesGroundDownwind; // m, where centreline height minus profile radius is 0
    std::optional<double> centrelineReachesGroundDownwind; // m, where the centreline height is 0
    std::vector<LevelAnswer> levels;                       // in the order requested
    std::optional<GroundMaximum> groundMaximum;            // absent when the field is 0 everywhere at z = 0
    bool groundMaximumComputed = true; // false when the summary's limits stopped it before that search
    // Why the searches stopped early, when they did (then a message says so too).
    enum class Cut { none, budgetSpent, timeLimit, cancelled };
    Cut cut = Cut::none;
};

} // namespace ostreljet
