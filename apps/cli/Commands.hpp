#pragma once

#include <CLI/CLI.hpp>

namespace ostreljet::cli {

// Each subcommand adds itself, its options and its action to the application.
void registerProfileCommand(CLI::App &app);
void registerRunCommand(CLI::App &app);
// "register" and "unregister": the component's entries in the registry file.
void registerRegisterCommands(CLI::App &app);
void registerReportCommand(CLI::App &app);
void registerConcentrationCommand(CLI::App &app);
void registerGridCommand(CLI::App &app);
void registerGasesCommand(CLI::App &app);
void registerBatchCommand(CLI::App &app);
// "validate": the model against published correlations, as an HTML report and JSON.
void registerValidateCommand(CLI::App &app);
// "inputs": the model's inputs with their units, defaults and ranges.
void registerInputsCommand(CLI::App &app);
// "init": a complete scenario to start from.
void registerInitCommand(CLI::App &app);
// "footprint": the regions above levels as GeoJSON or KML polygons.
void registerFootprintCommand(CLI::App &app);
// "weather": how often each level is exceeded around the site over a weather rose.
void registerWeatherCommand(CLI::App &app);

} // namespace ostreljet::cli
