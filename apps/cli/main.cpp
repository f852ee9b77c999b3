#include "Commands.hpp"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <cstdio>

// Exit status for a command line that cannot be used as given.
constexpr int kUsageError = 2;

int main(int argc, char **argv) {
    CLI::App app{"Integral model of a continuous gas release into a crosswind.", "ostreljet"};
    app.require_subcommand(1);
    ostreljet::cli::registerProfileCommand(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        fmt::print(stderr, "ostreljet: error: {}\n", e.what());
        return kUsageError;
    }
    return 0;
}
