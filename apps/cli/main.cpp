#include "Commands.hpp"
#include "Support.hpp"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <cstdio>

int main(int argc, char **argv) {
    CLI::App app{"Integral model of a continuous gas release into a crosswind.", "ostreljet"};
    app.require_subcommand(1);
    ostreljet::cli::registerProfileCommand(app);
    ostreljet::cli::registerRunCommand(app);
#ifdef OSTRELJET_WITH_COMPONENT
    ostreljet::cli::registerRegisterCommands(app);
#endif
    ostreljet::cli::registerReportCommand(app);
    ostreljet::cli::registerConcentrationCommand(app);
    ostreljet::cli::registerGridCommand(app);
    ostreljet::cli::registerGasesCommand(app);
    ostreljet::cli::registerBatchCommand(app);
    ostreljet::cli::registerInputsCommand(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        fmt::print(stderr, "ostreljet: error: {}\n", e.what());
        return ostreljet::cli::kUsageError;
    } catch (const ostreljet::cli::CommandFailure &e) {
        if (e.what()[0] != '\0') {
            fmt::print(stderr, "ostreljet: {}{}\n",
                       e.status() == ostreljet::cli::kUsageError ? "error: " : "", e.what());
        }
        return e.status();
    } catch (const std::exception &e) {
        fmt::print(stderr, "ostreljet: error: {}\n", e.what());
        return 3;
    }
    return 0;
}
