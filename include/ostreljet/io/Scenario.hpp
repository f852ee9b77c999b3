#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/jet/JetModel.hpp"

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostreljet {

// A bad scenario: the message names the file and the key, value, line or column at fault.
class OSTRELJET_EXPORT ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A release and its weather as a JSON object whose keys are the model's input property names.
// Omitted keys keep a new model's defaults. A key "gas" names a gas of the GasTable, whose molecular
// weight, specific heat and specific heat ratio fill the source properties unless given explicitly.
// `pasquillStability` also takes "A".."F" or "PASQUILL_A".."PASQUILL_F"; `timeAveraging` takes "short",
// "long" or the enumeration names.
class OSTRELJET_EXPORT Scenario {
public:
    // Reads and checks a scenario; throws ScenarioError naming what is wrong.
    static Scenario fromFile(const std::string &path);
    static Scenario fromText(std::string_view text, const std::string &sourceName = "scenario");

    // The inputs in the order they appear, as (property name, value).
    const std::vector<std::pair<std::string, double>> &inputs() const { return inputs_; }

    // The named gas, or "" when the scenario names none.
    const std::string &gas() const { return gas_; }

    // Writes every input into the model through its putter.
    void applyTo(JetModel &model) const;

private:
    std::vector<std::pair<std::string, double>> inputs_;
    std::string gas_;
};

} // namespace ostreljet
