#include "ostreljet/files/BoundedRead.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ostreljet::files {

namespace {

// Closes a descriptor on leaving.
struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

std::string limitText(std::size_t limit) {
    return std::to_string(limit) + " bytes";
}

} // namespace

std::string BoundedRead::read(const std::filesystem::path &path, std::size_t limit, std::string_view what,
                              double fifoWait) {
    // Phases: open without waiting for a writer; refuse a folder; wait a while for a FIFO's writer;
    // read at most one byte beyond the limit, which tells a file at the limit from a larger one.
    const std::string name = path.string();
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    if (file.fd < 0) {
        const int cause = errno;
        throw BoundedReadError(name + ": " +
                               (cause == ENOENT
                                    ? std::string("no such file")
                                    : "cannot be opened for reading: " + std::string(std::strerror(cause))));
    }
    struct stat status {};
    if (::fstat(file.fd, &status) != 0) {
        throw BoundedReadError(name + ": " + std::strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        throw BoundedReadError(name + ": is a directory, not " + std::string(what));
    }
    if (S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) > limit) {
        throw BoundedReadError(name + ": larger than " + limitText(limit) + ", the limit for " +
                               std::string(what));
    }
    if (S_ISFIFO(status.st_mode)) {
        pollfd wait{file.fd, POLLIN, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(fifoWait * 1000.0));
        if (ready <= 0) {
            throw BoundedReadError(name + ": is a FIFO that no process writes to");
        }
    }
    // Reads wait for data as on any file from here on.
    const int flags = ::fcntl(file.fd, F_GETFL);
    if (flags >= 0) {
        static_cast<void>(::fcntl(file.fd, F_SETFL, flags & ~O_NONBLOCK));
    }
    std::string text;
    char buffer[65536];
    while (true) {
        const ssize_t got = ::read(file.fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw BoundedReadError(name + ": read error: " + std::strerror(errno));
        }
        if (got == 0) {
            return text;
        }
        if (text.size() + static_cast<std::size_t>(got) > limit) {
            throw BoundedReadError(name + ": larger than " + limitText(limit) + ", the limit for " +
                                   std::string(what));
        }
        text.append(buffer, static_cast<std::size_t>(got));
    }
}

} // namespace ostreljet::files
