#include "cli/CommandRunner.hpp"

#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace ostreljet::testsupport {

namespace {

void closeBoth(int fds[2]) {
    close(fds[0]);
    close(fds[1]);
}

} // namespace

// Starts the program with both output streams on pipes and collects them until it exits.
// Phases: make the pipes; fork and exec the child; drain both pipes together so that neither can
// fill up and stall the child; reap the child and decode its status.
CommandResult runCommand(const std::string &program, const std::vector<std::string> &arguments) {
    int outPipe[2];
    int errPipe[2];
    if (pipe(outPipe) != 0) {
        throw std::runtime_error("cannot create a pipe");
    }
    if (pipe(errPipe) != 0) {
        closeBoth(outPipe);
        throw std::runtime_error("cannot create a pipe");
    }

    std::vector<std::string> argvStrings;
    argvStrings.push_back(program);
    argvStrings.insert(argvStrings.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &arg : argvStrings) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid < 0) {
        closeBoth(outPipe);
        closeBoth(errPipe);
        throw std::runtime_error("cannot fork");
    }
    if (pid == 0) {
        dup2(outPipe[1], STDOUT_FILENO);
        dup2(errPipe[1], STDERR_FILENO);
        closeBoth(outPipe);
        closeBoth(errPipe);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(outPipe[1]);
    close(errPipe[1]);

    CommandResult result;
    pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
    std::string *sinks[2] = {&result.out, &result.err};
    int open = 2;
    char buffer[4096];
    while (open > 0) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) {
                continue;
            }
            const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                sinks[i]->append(buffer, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            }
        }
    }
    for (const pollfd &fd : fds) {
        if (fd.fd >= 0) {
            close(fd.fd);
        }
    }

    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error("cannot wait for the child");
        }
    }
    if (WIFEXITED(status)) {
        result.exitStatus = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.exitStatus = 128 + WTERMSIG(status);
    }
    return result;
}

} // namespace ostreljet::testsupport
