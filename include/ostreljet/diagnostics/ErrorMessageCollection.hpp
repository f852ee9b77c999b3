#pragma once

#include "ostreljet/Export.hpp"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace ostreljet {

// The ordered list of every error, warning and termination notice of a run.
// Levels: -1 warning added once per code, 0 warning, 1 recoverable error, 2 fatal error.
class OSTRELJET_EXPORT ErrorMessageCollection {
public:
    class ErrorMessage {
    public:
        ErrorMessage() = default;
        ErrorMessage(std::string text, std::int32_t level, std::int32_t code);
        virtual ~ErrorMessage();

        std::string text;       // the full text, already formatted by its producer
        std::int32_t level = 0; // -1, 0, 1 or 2
        std::int32_t code = 0;  // identifies the condition; codes are shared by model and integrator
    };

    ErrorMessageCollection();
    virtual ~ErrorMessageCollection();

    // Adds a message under the level rules: -1 once per code (and echoed to standard output),
    // 0 and 1 appended, 2 appended and the fatal flag raised, any other level discarded.
    void addMessage(const std::string &text, std::int32_t level, std::int32_t code);

    std::int32_t messageCount() const;
    const ErrorMessage &message(std::int32_t index) const;
    const std::string &messageText(std::int32_t index) const;
    std::int32_t messageCode(std::int32_t index) const;
    const std::vector<ErrorMessage> &messages() const;

    // Where once-only messages are echoed when they are added: standard output unless a host chooses
    // another stream, or none (null). Shared by every list in the process.
    static void setEchoStream(std::FILE *stream);
    // Where this list alone echoes its once-only messages, in place of the process's stream: a stream,
    // or none (null). Lets one front stay quiet while another in the same process echoes.
    void setOwnEchoStream(std::FILE *stream);
    // This list follows the process's stream again (as a new list does).
    void followProcessEchoStream();

    // Empties the list and clears the fatal flag.
    void clearMessages();
    bool isFatal() const;

protected:
    // Appends without the level rules (the solver's own status notices).
    void appendMessage(const ErrorMessage &message);

private:
    bool fatal_ = false;                 // set by a level-2 message; cleared only by clearMessages
    bool ownEcho_ = false;               // true when ownEchoStream_ replaces the process's stream
    std::FILE *ownEchoStream_ = nullptr; // this list's echo stream; null for none
    std::vector<ErrorMessage> messages_; // in order of addition
};

} // namespace ostreljet
