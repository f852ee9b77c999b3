#pragma once

#include "ostreljet/component/Scenario.hpp"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ostreljet::cli {

// Exit statuses of the command.
constexpr int kSuccess = 0;
constexpr int kInputsInvalid = 1;
constexpr int kUsageError = 2;

// Ends a command with an exit status; main prints the message (when there is one) on stderr.
class CommandFailure : public std::runtime_error {
public:
    CommandFailure(int status, const std::string &message) : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

// The whole text must be a decimal number; a leading '+' is allowed, "inf" and "nan" are numbers too.
std::optional<double> parseNumber(std::string_view text);
// "X,Y,Z" as three numbers; the option's name goes into the error.
std::vector<double> parseTriple(const std::string &option, const std::string &text);

// A validator that accepts only numbers, naming the value it refuses.
const CLI::Validator &numberValidator();

// A number with 17 significant digits; JSON has no literal for infinities or NaN, so they become null.
std::string jsonNumber(double value);
// A JSON string literal.
std::string jsonString(std::string_view text);

// Reads a scenario file; a bad file ends the command with status 2 and the reader's message.
Scenario loadScenario(const std::string &path);

// Applies a scenario to a model and runs it: true when the inputs passed validation.
bool runScenario(JetModel &model, const Scenario &scenario);

// Writes a file through a temporary file in the same folder and a rename, so that an interrupted or
// failed write never leaves half a file under the final name. The writer fills the open stream.
void writeFileAtomically(const std::string &path, const std::function<void(std::FILE *)> &writer);

// Where once-only model messages are echoed while a command prints machine-readable output.
void echoModelMessagesTo(std::FILE *stream);

} // namespace ostreljet::cli
