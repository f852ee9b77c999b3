#include "Commands.hpp"
#include "Support.hpp"

#include "ostreljet/Version.hpp"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <system_error>

namespace {

// Prints "ostreljet: [error: ]MESSAGE" on stderr. Never throws: when stderr itself cannot be written,
// the exit status is all that is left to tell.
void report(bool isError, const char *message, const char *prefix = "ostreljet: ") noexcept {
    std::fputs(prefix, stderr);
    std::fputs(isError ? "error: " : "", stderr);
    std::fputs(message, stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

// Output that stays in the stdout buffer is written only at exit, where a failure would go unseen:
// flush it here and make a failed write (a full disk, /dev/full, a closed pipe) an error.
int finishStandardOutput(int status) noexcept {
    errno = 0;
    const bool flushed = std::fflush(stdout) == 0;
    const bool failed = !flushed || std::ferror(stdout) != 0;
    // A command that already ended with an error has said so; a lost table is not worth a second line.
    if (failed && (status == ostreljet::cli::kSuccess || status == ostreljet::cli::kInputsInvalid)) {
        const int cause = errno == 0 ? EIO : errno;
        report(false, std::strerror(cause), "ostreljet: error: cannot write to standard output: ");
        return ostreljet::cli::kUsageError;
    }
    return status;
}

int runTool(int argc, char **argv) {
    CLI::App app{"Integral model of a continuous gas release into a crosswind.", "ostreljet"};
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("ostreljet ") + OSTRELJET_VERSION_STRING,
                         "print the version and exit");
    app.add_flag_callback(
        "--force", [] { ostreljet::cli::setReplaceReadOnly(true); },
        "replace a read-only output file rather than refuse it (given anywhere on the line)");
    app.fallthrough();
    // A file-size limit (ulimit -f) makes the write fail with EFBIG, an ordinary write error, rather
    // than end the tool with a half-written temporary file.
    std::signal(SIGXFSZ, SIG_IGN);
    // The model's once-only notices stay in its message list, which every command shows once; the echo
    // on standard output belongs to the component.
    ostreljet::cli::echoModelMessagesTo(nullptr);
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
    ostreljet::cli::registerValidateCommand(app);
    ostreljet::cli::registerInputsCommand(app);
    ostreljet::cli::registerInitCommand(app);
    ostreljet::cli::registerFootprintCommand(app);
    ostreljet::cli::registerWeatherCommand(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        report(true, e.what());
        return ostreljet::cli::kUsageError;
    } catch (const ostreljet::cli::CommandFailure &e) {
        if (e.what()[0] != '\0') {
            report(e.status() == ostreljet::cli::kUsageError, e.what());
        }
        return e.status();
    } catch (const std::bad_alloc &) {
        report(true, "out of memory");
        return ostreljet::cli::kUsageError;
    } catch (const std::system_error &e) {
        // A stream that cannot be written, a thread that cannot be started.
        report(true, e.what());
        return ostreljet::cli::kUsageError;
    } catch (const std::exception &e) {
        report(true, e.what());
        return ostreljet::cli::kInternalError;
    }
    return ostreljet::cli::kSuccess;
}

} // namespace

int main(int argc, char **argv) {
    int status = ostreljet::cli::kInternalError;
    try {
        status = runTool(argc, argv);
    } catch (...) {
        // Only the help text's own printing can get here (stdout failing while CLI11 writes it).
        report(true, "cannot write the help text");
        status = ostreljet::cli::kUsageError;
    }
    return finishStandardOutput(status);
}
