#pragma once

#include "ostreljet/farfield/WholePlumeSummary.hpp"
#include "ostreljet/inputs/Scenario.hpp"
#include "ostreljet/jet/ConcentrationField.hpp"
#include "ostreljet/jet/RunSummary.hpp"
#include "ostreljet/units/ConcentrationUnit.hpp"
#include "ostreljet/units/Level.hpp"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::cli {

// Exit statuses of the command: 0 done (run status ok or warning); 1 a run that was not ok or warning
// (incomplete, failed, refused or invalid: see RunStatus); 2 a usage, input
// or file error, or a resource that ran out (memory, threads, disk); 3 an error inside the tool.
constexpr int kSuccess = 0;
constexpr int kInputsInvalid = 1;
constexpr int kUsageError = 2;
constexpr int kInternalError = 3;

// What a point outside the modelled region answers, as every front says it.
constexpr std::string_view kCutoffSentence = "Points beyond the end of the run are not computed.";

// Ends a command with an exit status; main prints the message (when there is one) on stderr.
class CommandFailure : public std::runtime_error {
public:
    CommandFailure(int status, const std::string &message) : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

// The whole text must be a finite decimal number (inputs::NumberText); nothing otherwise.
std::optional<double> parseNumber(std::string_view text);
// The same, ending the command with status 2 naming the option when the text is not one.
double readNumber(const std::string &option, std::string_view text);
// The pieces of a comma-separated list; an empty text is one empty piece.
std::vector<std::string> splitAtCommas(const std::string &text);
// "X,Y,Z" as three finite numbers; the option's name goes into the error.
std::vector<double> parseTriple(const std::string &option, const std::string &text);

// "NX,NY,NZ" as three whole numbers from 0 to 2147483647; the option's name goes into the error.
std::array<std::int32_t, 3> parseCountTriple(const std::string &option, const std::string &text);

// A validator that accepts only finite decimal numbers, naming the value it refuses.
const CLI::Validator &numberValidator();
// The same for numbers greater than 0.
const CLI::Validator &positiveNumberValidator();
// A validator for whole numbers from 1 to 10^18, in decimal digits only.
const CLI::Validator &positiveCountValidator();

// A number with 17 significant digits; JSON has no literal for infinities or NaN, so they become null.
std::string jsonNumber(double value);
// A JSON string literal.
std::string jsonString(std::string_view text);

// Reads a scenario file; a bad file ends the command with status 2 and the reader's message.
Scenario loadScenario(const std::string &path);

// Applies a scenario to a model and runs it as every engineering front does (weather check, stopping
// concentration lowered below `levels`, volume fractions), with a bound on its work: the whole plume
// (the jet, then the far field the scenario asks for) and its summary.
WholePlumeSummary::Result runScenario(JetModel &model, const Scenario &scenario,
                                      std::span<const double> levels = {});
// The end of a command whose scenario failed validation: status 1 with the model's first message.
CommandFailure invalidInputs(const JetModel &model);
// The model's messages as a JSON array of strings.
std::string jsonMessages(const JetModel &model);
// The number of output steps, then the run's messages one to a line, after a blank line.
void printRunSummary(const JetModel &model);

// The --unit option: "mass", "vol", "%", "ppm" or "mg/m3"; anything else ends the command with status 2.
ConcentrationUnit parseUnitOption(const std::string &text);
// The help text of --unit.
std::string unitOptionHelp();
// A list of levels ("LFL,2%,5000ppm"); bare numbers are in `unit`. A piece that cannot be read, is not
// finite or not above 0 ends the command with status 2 naming the option.
std::vector<Level> parseLevelsOption(const std::string &option, const std::string &text,
                                     ConcentrationUnit unit);
// The levels in the model's unit for the scenario's gas; status 2 naming the option when a named level
// has no value for the gas.
std::vector<double> levelsInModelUnit(const std::string &option, const std::vector<Level> &levels,
                                      const JetModel &model, const std::string &gas);

// The levels a summary of the scenario answers, in the model's unit: `levels` as given, else the gas's
// defaults (written back into `levels`); a default that the gas cannot give (a stopping concentration that
// validation refuses) leaves no levels rather than ending the command.
std::vector<double> summaryLevels(const std::string &option, std::vector<Level> &levels,
                                  const JetModel &model, const Scenario &scenario);

// Prints "Messages:" and each message with its severity.
void printMessages(const RunSummary &summary);
// The end of a command whose run was not ok or warning: status 1 with the message that ended it.
CommandFailure noResults(const RunSummary &summary);
// Throws noResults unless the run's status is ok or warning.
void endUnlessOk(const RunSummary &summary);
// A concentration as text: its figure, or "not computed" for NaN.
std::string concentrationText(double value);

// Refuses, with status 2, an output path that is the scenario file (or `what`) being read (the same
// file, by any path or link); every file written is checked against every input noted so.
void checkNotInput(const std::string &option, const std::string &output, const std::string &input,
                   std::string_view what = "scenario file");

// Refuses, with status 2, a path whose folder does not exist or that names a directory.
void checkOutputPath(const std::string &path);

// Writes a file with files::SafeFile (a temporary file beside it and a rename; devices and streams in
// place), so that an interrupted or failed write never leaves half a file or a temporary file. The
// writer fills the open stream; a failure ends the command with status 2 and the system's reason.
void writeFileAtomically(const std::string &path, const std::function<void(std::FILE *)> &writer);
// Whether writeFileAtomically replaces a read-only file (--force) rather than refusing it.
void setReplaceReadOnly(bool replace);

// Memory the system can still hand out (bytes): MemAvailable from /proc/meminfo, or else the physical
// memory.
std::uint64_t availableMemory();
// A byte count in decimal units with one decimal, e.g. "8.0 GB".
std::string formatBytes(double bytes);

// Where once-only model messages are echoed while a command prints machine-readable output.
void echoModelMessagesTo(std::FILE *stream);

} // namespace ostreljet::cli
