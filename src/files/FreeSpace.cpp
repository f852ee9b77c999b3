#include "ostreljet/files/FreeSpace.hpp"

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace ostreljet::files {

std::optional<std::uint64_t> FreeSpace::availableFor(const std::filesystem::path &target) {
    std::uint64_t replaced = 0;
    struct stat status {};
    if (::stat(target.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            return std::nullopt;
        }
        replaced = static_cast<std::uint64_t>(status.st_blocks) * 512;
    }
    const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
    struct statvfs space {};
    if (::statvfs(folder.c_str(), &space) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(space.f_bavail) * static_cast<std::uint64_t>(space.f_frsize) + replaced;
}

} // namespace ostreljet::files
