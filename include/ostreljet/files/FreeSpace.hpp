#pragma once

// Room left for a file about to be written, so that a large output is refused before it is computed
// rather than failing half-way. Stateless; safe from any thread.

#include "ostreljet/Export.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace ostreljet::files {

class OSTRELJET_EXPORT FreeSpace {
public:
    // Bytes an unprivileged writer may still add on the file system that would hold `target` (a regular
    // file or a name not yet taken), counting what the file holds now as freed by its replacement; none
    // when the target is not a regular file (a device, a FIFO) or the system cannot tell.
    static std::optional<std::uint64_t> availableFor(const std::filesystem::path &target);
};

} // namespace ostreljet::files
