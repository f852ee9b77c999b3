#include "ostreljet/files/SameFile.hpp"

#include <sys/stat.h>
#include <vector>

namespace ostreljet::files {

namespace {

thread_local std::vector<std::string> inputs;

} // namespace

bool SameFile::same(const std::filesystem::path &a, const std::filesystem::path &b) {
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && S_ISREG(first.st_mode) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

void SameFile::noteInput(const std::filesystem::path &input) {
    inputs.push_back(input.string());
}

std::optional<std::string> SameFile::inputAt(const std::filesystem::path &output) {
    for (const std::string &input : inputs) {
        if (same(output, input)) {
            return input;
        }
    }
    return std::nullopt;
}

void SameFile::clearInputs() {
    inputs.clear();
}

} // namespace ostreljet::files
