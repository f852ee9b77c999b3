#pragma once
// What the command-line tests share: running the built tool, a scratch folder and the refusal check.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ostreljet::testsupport {

struct CommandResult {
    int exitStatus = -1; // the exit code, or 128 + the signal number if a signal ended it
    std::string out;
    std::string err;
};

// Forks and executes the tool (no shell) with its standard output and error on these descriptors, after
// `prepare` has run in the child (limits, another user; a false return ends the child with status 126).
template <typename Prepare>
pid_t spawnPrepared(const std::vector<std::string> &arguments, int outFd, int errFd, Prepare prepare) {
    std::vector<std::string> strings{OSTRELJET_CLI_PATH};
    strings.insert(strings.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &s : strings) {
        argv.push_back(s.data());
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(outFd, STDOUT_FILENO);
        dup2(errFd, STDERR_FILENO);
        if (!prepare()) {
            _exit(126);
        }
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// The same with its address space limited to `addressSpace` bytes when that is not 0.
inline pid_t spawn(const std::vector<std::string> &arguments, int outFd, int errFd, rlim_t addressSpace = 0) {
    return spawnPrepared(arguments, outFd, errFd, [addressSpace] {
        if (addressSpace != 0) {
            const rlimit limit{addressSpace, addressSpace};
            setrlimit(RLIMIT_AS, &limit);
        }
        return true;
    });
}

// Starts the tool with both output streams on /dev/null; returns its process id at once.
inline pid_t startCli(const std::vector<std::string> &arguments) {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t pid = spawn(arguments, null, null);
    close(null);
    return pid;
}

// The whole content of a file; empty when it cannot be read.
inline std::string readText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs the tool to its end. The streams go to unnamed temporary files, which never fill up like pipes.
inline CommandResult cli(const std::vector<std::string> &arguments, rlim_t addressSpace = 0) {
    std::FILE *out = std::tmpfile();
    std::FILE *err = std::tmpfile();
    int status = 0;
    EXPECT_GT(waitpid(spawn(arguments, fileno(out), fileno(err), addressSpace), &status, 0), 0);
    const CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                               readText("/dev/fd/" + std::to_string(fileno(out))),
                               readText("/dev/fd/" + std::to_string(fileno(err)))};
    std::fclose(out);
    std::fclose(err);
    return result;
}

inline std::string example(const std::string &name) {
    return std::string(OSTRELJET_EXAMPLES_DIR "/") + name;
}

// The vent example with some keys replaced, as JSON text: a complete scenario that differs where a test
// needs it to (an invalid stack height, say).
inline std::string ventWith(const std::string &overrides) {
    std::string text = readText(example("vertical_buoyant_vent.json"));
    // Both are flat objects: the overrides' members go after the example's, and the later key wins.
    const std::size_t close = text.rfind('}');
    const std::size_t open = overrides.find('{');
    text = text.substr(0, close) + ", " + overrides.substr(open + 1);
    nlohmann::json merged = nlohmann::json::parse(text, nullptr, true, false);
    return merged.dump() + "\n";
}

// The blank-separated words of a line.
inline std::vector<std::string> words(const std::string &line) {
    std::vector<std::string> pieces;
    std::istringstream in(line);
    for (std::string word; in >> word;) {
        pieces.push_back(word);
    }
    return pieces;
}

inline std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline std::vector<std::string> keysOf(const nlohmann::ordered_json &object) {
    std::vector<std::string> keys;
    for (const auto &item : object.items()) {
        keys.push_back(item.key());
    }
    return keys;
}

// Status 2, nothing on stdout and exactly this one line on stderr.
inline void expectUsageError(const CommandResult &result, const std::string &message) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ostreljet: error: " + message + "\n");
}

// Status 2, nothing on stdout, one line "ostreljet: error: ..." on stderr holding every part.
inline void expectRefusal(const CommandResult &result, const std::vector<std::string> &parts) {
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("ostreljet: error: ", 0), 0u) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << "not one line: " << result.err;
    for (const std::string &part : parts) {
        EXPECT_NE(result.err.find(part), std::string::npos) << "'" << part << "' not in: " << result.err;
    }
}

// A fresh folder under the temporary directory, removed with its content at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostreljet-cli-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string file(const std::string &name) const { return (path_ / name).string(); }
    // Writes a file with exactly this text and returns its full path.
    std::string write(const std::string &name, const std::string &text) const {
        std::ofstream(path_ / name, std::ios::binary) << text;
        return file(name);
    }
    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

private:
    std::filesystem::path path_;
};

} // namespace ostreljet::testsupport
