#include "Commands.hpp"

#include "ostreljet/io/GasTable.hpp"

#include <fmt/core.h>

namespace ostreljet::cli {

void registerGasesCommand(CLI::App &app) {
    CLI::App *command = app.add_subcommand(
        "gases", "List the gases a scenario may name with \"gas\": their molecular weight, specific heat and "
                 "specific heat ratio (ideal gas at 298.15 K).");
    command->callback([]() {
        fmt::print("{:<20}{:<10}{:>22}{:>26}{:>14}\n", "gas", "formula", "molecular weight [kg/mol]",
                   "specific heat [J/(kg K)]", "cp/cv [-]");
        for (const GasTable::Entry &gas : GasTable::entries()) {
            fmt::print("{:<20}{:<10}{:>22}{:>26}{:>14}\n", gas.name, gas.formula, gas.molecularWeight,
                       gas.specificHeat, gas.specificHeatRatio);
        }
    });
}

} // namespace ostreljet::cli
