#pragma once

// Validation's refusal of an input, completed with the scenario key and the value given, so that a
// scenario's author finds the line to change: "The initial mass flowrate must be greater than 0Kg/s.
// (massFlowrate = -1 kg/s)". Plain functions; thread-safe.

#include "ostreljet/Export.hpp"
#include "ostreljet/jet/RunSummary.hpp"

#include <optional>
#include <string>

namespace ostreljet {

class JetModel;

class OSTRELJET_EXPORT InputRefusal {
public:
    // " (key = value unit)" for a validation message whose number names an input; absent otherwise.
    static std::optional<std::string> keyAndValue(const JetModel &model, std::int32_t code);
    // Adds the key and value to the message that made a summary invalid (and to its end message).
    static void annotate(RunSummary &summary, const JetModel &model);
};

} // namespace ostreljet
