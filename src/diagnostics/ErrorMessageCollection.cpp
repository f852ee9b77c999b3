#include "ostreljet/diagnostics/ErrorMessageCollection.hpp"

#include <atomic>
#include <cstdio>
#include <utility>

namespace ostreljet {

namespace {

// Standard output unless a host chooses another stream, or none.
std::atomic<std::FILE *> echoStream{stdout};

} // namespace

void ErrorMessageCollection::setEchoStream(std::FILE *stream) {
    echoStream.store(stream);
}

void ErrorMessageCollection::setOwnEchoStream(std::FILE *stream) {
    ownEcho_ = true;
    ownEchoStream_ = stream;
}

void ErrorMessageCollection::followProcessEchoStream() {
    ownEcho_ = false;
    ownEchoStream_ = nullptr;
}

ErrorMessageCollection::ErrorMessage::ErrorMessage(std::string text, std::int32_t level, std::int32_t code)
    : text(std::move(text)), level(level), code(code) {}

ErrorMessageCollection::ErrorMessage::~ErrorMessage() = default;

ErrorMessageCollection::ErrorMessageCollection() = default;

ErrorMessageCollection::~ErrorMessageCollection() = default;

void ErrorMessageCollection::addMessage(const std::string &text, std::int32_t level, std::int32_t code) {
    switch (level) {
    case -1:
        for (const ErrorMessage &existing : messages_) {
            if (existing.code == code) {
                return;
            }
        }
        messages_.emplace_back(text, level, code);
        {
            // The echo must never fail the call: write errors are ignored.
            std::FILE *stream = ownEcho_ ? ownEchoStream_ : echoStream.load();
            if (stream != nullptr) {
                std::fwrite(text.data(), 1, text.size(), stream);
                std::fputc('\n', stream);
                std::fflush(stream);
            }
        }
        return;
    case 0:
    case 1:
        messages_.emplace_back(text, level, code);
        return;
    case 2:
        messages_.emplace_back(text, level, code);
        fatal_ = true;
        return;
    default:
        return;
    }
}

std::int32_t ErrorMessageCollection::messageCount() const {
    return static_cast<std::int32_t>(messages_.size());
}

const ErrorMessageCollection::ErrorMessage &ErrorMessageCollection::message(std::int32_t index) const {
    return messages_[static_cast<std::size_t>(index)];
}

const std::string &ErrorMessageCollection::messageText(std::int32_t index) const {
    return message(index).text;
}

std::int32_t ErrorMessageCollection::messageCode(std::int32_t index) const {
    return message(index).code;
}

const std::vector<ErrorMessageCollection::ErrorMessage> &ErrorMessageCollection::messages() const {
    return messages_;
}

void ErrorMessageCollection::clearMessages() {
    messages_.clear();
    fatal_ = false;
}

bool ErrorMessageCollection::isFatal() const {
    return fatal_;
}

void ErrorMessageCollection::appendMessage(const ErrorMessage &message) {
    messages_.push_back(message);
}

} // namespace ostreljet
