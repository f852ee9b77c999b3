#include "Commands.hpp"

#include "ostreljet/gases/GasTable.hpp"

#include <fmt/core.h>

#include <optional>
#include <string>

namespace ostreljet::cli {

void registerGasesCommand(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "gases",
        "List the gases a scenario may name with \"gas\": their molecular weight, specific heat and "
        "specific heat ratio (ideal gas at 298.15 K), and the levels LFL, UFL (% by volume) and IDLH (ppm) "
        "that --levels may name.");
    command->callback([]() {
        const auto shown = [](const std::optional<double> &value) {
            return value ? fmt::format("{}", *value) : std::string("none");
        };
        fmt::print("{:<20}{:<10}{:>27}{:>26}{:>11}{:>10}{:>10}{:>12}\n", "gas", "formula",
                   "molecular weight [kg/mol]", "specific heat [J/(kg K)]", "cp/cv [-]", "LFL [%]", "UFL [%]",
                   "IDLH [ppm]");
        for (const GasTable::Entry &gas : GasTable::entries()) {
            fmt::print("{:<20}{:<10}{:>27}{:>26}{:>11}{:>10}{:>10}{:>12}\n", gas.name, gas.formula,
                       gas.molecularWeight, gas.specificHeat, gas.specificHeatRatio,
                       shown(gas.hazards.lowerFlammabilityLimit), shown(gas.hazards.upperFlammabilityLimit),
                       shown(gas.hazards.idlh));
        }
    });
}

} // namespace ostreljet::cli
