// Feeds the fuzz input to the scenario reader as a file's text: it is refused with a ScenarioError naming
// the source, or applied to a model whose inputs read back; any other exception counts as a crash.
#include "Require.hpp"
#include "ostreljet/gases/PropertyTable.hpp"
#include "ostreljet/inputs/Scenario.hpp"

#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(bytes), size);
    ostreljet::Scenario scenario;
    try {
        scenario = ostreljet::Scenario::fromText(text, "fuzz.json");
    } catch (const ostreljet::ScenarioError &e) {
        require(std::string_view(e.what()).substr(0, 9) == "fuzz.json", "a refusal names its source");
        return 0;
    }
    std::map<std::string, double> last;
    for (const auto &[name, value] : scenario.inputs()) {
        require(ostreljet::PropertyTable::find(name) != nullptr, "every input is a known property");
        require(std::isfinite(value), "every accepted value is a finite double");
        last[name] = value;
    }
    ostreljet::JetModel model;
    scenario.applyTo(model);
    for (const auto &[name, value] : last) {
        require(ostreljet::PropertyTable::find(name)->get(model) == value, "an applied input reads back");
    }
    require(!(model.stackHeight() <= 0.0 && model.releaseAngle() < 0.0),
            "no accepted scenario starts at ground level pointing downward");
    model.resetModel();
    model.validateInputs();
    require(model.messageCount() <= 1, "validation adds at most one message");
    return 0;
}
