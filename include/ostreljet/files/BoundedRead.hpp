#pragma once

// Reads a whole input file with a limit on its size, so that no file, device or FIFO can make a reader
// take memory or time without end. Stateless; safe from any thread.

#include "ostreljet/Export.hpp"

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostreljet::files {

// A file that cannot be read within its limit: what() is "PATH: REASON".
class OSTRELJET_EXPORT BoundedReadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class OSTRELJET_EXPORT BoundedRead {
public:
    // The file's bytes, at most `limit` of them. Refuses a missing file, a directory, a file larger than
    // the limit, a device or stream that gives more (/dev/zero), and a FIFO that no process opens for
    // writing within `fifoWait` seconds; `what` names the kind of file in the messages ("a scenario
    // file").
    static std::string read(const std::filesystem::path &path, std::size_t limit, std::string_view what,
                            double fifoWait = 1.0);
};

} // namespace ostreljet::files
