#pragma once

// Whether an output would overwrite an input: the one check every front makes before writing a file.
// Paths are compared by the file they reach (device and inode), so links and other spellings of one
// file count as the same. The list of inputs is per thread.

#include "ostreljet/Export.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace ostreljet::files {

class OSTRELJET_EXPORT SameFile {
public:
    // True when both paths reach the same existing regular file.
    static bool same(const std::filesystem::path &a, const std::filesystem::path &b);

    // Remembers a file that the command under way reads.
    static void noteInput(const std::filesystem::path &input);
    // The first noted input that `output` would overwrite, if any.
    static std::optional<std::string> inputAt(const std::filesystem::path &output);
    // Forgets the noted inputs (a host that runs several commands in turn).
    static void clearInputs();
};

} // namespace ostreljet::files
