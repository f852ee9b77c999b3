#pragma once

#include "ostreljet/Export.hpp"

#include "ostreljet/farfield/FarFieldInputs.hpp"
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
// Omitted keys keep a new model's defaults, except the inputs whose value on a new model fails the run's
// validation (requiredInputs()): a scenario must give each of those, or name a gas for the source's
// molecular weight, specific heat and specific heat ratio. A key "gas" names a gas of the GasTable, whose
// molecular weight, specific heat and specific heat ratio fill the source properties unless given explicitly.
// `pasquillStability` also takes "A".."F" or "PASQUILL_A".."PASQUILL_F"; `timeAveraging` takes "short",
// "long" or the enumeration names.
class OSTRELJET_EXPORT Scenario {
public:
    // Bytes a scenario file may hold; arrays and objects nested in one another at most.
    static constexpr std::size_t kMaximumFileBytes = 1024 * 1024;
    static constexpr std::size_t kMaximumNesting = 32;

    // Reads and checks a scenario; throws ScenarioError naming what is wrong: a file larger than the
    // limit, nesting deeper than the limit, a key given twice, an unknown key or value, or a release
    // that starts at ground level pointing downward, or inputs without a usable default left out (one
    // message naming every one of them).
    static Scenario fromFile(const std::string &path);
    static Scenario fromText(std::string_view text, const std::string &sourceName = "scenario");
    // Checks only that the text is JSON within the nesting limit and without a key given twice in one
    // object, as fromText words it; any JSON reader of the fronts can rely on that afterwards.
    static void checkJson(std::string_view text, const std::string &sourceName);

    // The inputs in the order they appear, as (property name, value).
    const std::vector<std::pair<std::string, double>> &inputs() const { return inputs_; }

    // The inputs that a scenario must give: those whose value on a new model validation refuses.
    static std::vector<std::string_view> requiredInputs();

    // The named gas, or "" when the scenario names none.
    const std::string &gas() const { return gas_; }

    // Writes every input into the model through its putter.
    void applyTo(JetModel &model) const;

    // The far field's inputs (farFieldDispersion, averagingTime, farFieldDistance), defaults where the
    // scenario gives none, and the names of those it gives.
    const FarFieldOptions &farFieldOptions() const { return farField_; }
    const std::vector<std::string_view> &farFieldInputsGiven() const { return farFieldGiven_; }

private:
    FarFieldOptions farField_;
    std::vector<std::string_view> farFieldGiven_;
    std::vector<std::pair<std::string, double>> inputs_;
    std::string gas_;
};

} // namespace ostreljet
