#include "ostreljet/files/SafeFile.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <string_view>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ostreljet::files {

namespace {

// Temporary files of writes in progress, read by signal handlers: a slot holds a path while its state
// is kHeld.
constexpr int kSlots = 8;
constexpr int kFree = 0;
constexpr int kFilling = 1;
constexpr int kHeld = 2;
char pendingPaths[kSlots][4096];
std::atomic<int> pendingStates[kSlots];

int holdTemporary(const std::string &path) {
    if (path.size() >= sizeof pendingPaths[0]) {
        return -1;
    }
    for (int slot = 0; slot < kSlots; ++slot) {
        int expected = kFree;
        if (pendingStates[slot].compare_exchange_strong(expected, kFilling)) {
            path.copy(pendingPaths[slot], path.size());
            pendingPaths[slot][path.size()] = '\0';
            pendingStates[slot].store(kHeld);
            return slot;
        }
    }
    return -1;
}

void releaseTemporary(int slot) {
    if (slot >= 0) {
        pendingStates[slot].store(kFree);
    }
}

std::string systemText(int errorNumber) {
    return std::strerror(errorNumber == 0 ? EIO : errorNumber);
}

// Twelve letters and digits from the system's random source.
std::string randomName() {
    static constexpr std::string_view kAlphabet =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::array<unsigned char, 12> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        std::random_device device;
        for (unsigned char &b : bytes) {
            b = static_cast<unsigned char>(device());
        }
    }
    std::string name;
    for (const unsigned char b : bytes) {
        name.push_back(kAlphabet[b % kAlphabet.size()]);
    }
    return name;
}

// Where a write of `target` lands: the file at the end of its chain of symbolic links, and whether the
// chain passes through a process's descriptor links (/proc, /dev/fd), which must be written in place.
struct Resolution {
    std::filesystem::path file;
    bool throughDescriptor = false;
};

Resolution resolve(const std::filesystem::path &target) {
    Resolution result{target, false};
    for (int hop = 0; hop < 40; ++hop) {
        const std::string text = result.file.string();
        if (text.starts_with("/proc/") || text.starts_with("/dev/fd/")) {
            result.throughDescriptor = true;
            return result;
        }
        struct stat status {};
        if (::lstat(text.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
            return result;
        }
        std::array<char, 4096> link{};
        const ssize_t length = ::readlink(text.c_str(), link.data(), link.size() - 1);
        if (length < 0) {
            throw FileWriteError(target, errno);
        }
        const std::filesystem::path next(std::string(link.data(), static_cast<std::size_t>(length)));
        result.file = next.is_absolute() ? next : result.file.parent_path() / next;
    }
    throw FileWriteError(target, ELOOP);
}

// The name of a temporary file beside `file`: hidden, the file's name, a random part; the file's part is
// shortened so that the whole stays within the folder's limit on a name's length.
std::string temporaryName(const std::filesystem::path &file, const std::filesystem::path &folder) {
    long limit = ::pathconf(folder.c_str(), _PC_NAME_MAX);
    if (limit <= 0) {
        limit = 255;
    }
    constexpr std::size_t kAdded = 1 + 1 + 12 + 4; // ".", ".", the random part, ".tmp"
    std::string base = file.filename().string();
    const std::size_t room =
        static_cast<std::size_t>(limit) > kAdded ? static_cast<std::size_t>(limit) - kAdded : 0;
    if (base.size() > room) {
        base.resize(room);
    }
    return "." + base + "." + randomName() + ".tmp";
}

// Opens a FIFO for writing without waiting for ever for a reader: a reader has a second to appear.
int openFifo(const std::filesystem::path &target) {
    for (int attempt = 0;; ++attempt) {
        const int fd = ::open(target.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        if (fd >= 0) {
            // Writes then wait for a slow reader as they would on any pipe.
            const int flags = ::fcntl(fd, F_GETFL);
            if (flags >= 0) {
                static_cast<void>(::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK));
            }
            return fd;
        }
        if (errno != ENXIO) {
            throw FileWriteError(target, errno);
        }
        if (attempt == 100) {
            throw FileWriteError(target, ENXIO, "it is a FIFO that no process is reading");
        }
        ::usleep(10000);
    }
}

} // namespace

FileWriteError::FileWriteError(const std::filesystem::path &target, int errorNumber,
                               const std::string &reason)
    : std::runtime_error("cannot write '" + target.string() +
                         "': " + (reason.empty() ? systemText(errorNumber) : reason)),
      errorNumber_(errorNumber == 0 ? EIO : errorNumber) {}

SafeFile::SafeFile(const std::filesystem::path &target) : SafeFile(target, Options{}) {}

SafeFile::SafeFile(const std::filesystem::path &target, const Options &options) : target_(target) {
    // Phases: find the file the path names; refuse a read-only file unless asked to replace it; open a
    // device, stream, FIFO or hard-linked file in place; otherwise create a temporary file beside the
    // file, exclusively, with the file's mode, or write the file in place when its folder refuses one.
    const Resolution resolution = resolve(target);
    resolved_ = resolution.file;
    struct stat status {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) {
        throw FileWriteError(target, EISDIR);
    }
    const bool regular = exists && S_ISREG(status.st_mode) && !resolution.throughDescriptor;
    if (regular && !options.replaceReadOnly &&
        (::access(target.c_str(), W_OK) != 0 || (status.st_mode & 0222) == 0)) {
        throw FileWriteError(target, EACCES, "it is read-only");
    }
    int fd = -1;
    if (exists && !regular) {
        // A regular file behind a standard stream is appended to, after what the stream already holds.
        const int append = S_ISREG(status.st_mode) ? O_APPEND : 0;
        fd = S_ISFIFO(status.st_mode) ? openFifo(target)
                                      : ::open(target.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | append);
        if (fd < 0) {
            throw FileWriteError(target, errno);
        }
        direct_ = true;
    } else if (regular && status.st_nlink > 1) {
        // Every name of a hard-linked file must show what is written: the file itself is rewritten.
        fd = openInPlace();
    } else {
        const std::filesystem::path folder =
            resolved_.has_parent_path() ? resolved_.parent_path() : std::filesystem::path(".");
        for (int attempt = 0; attempt < 100 && fd < 0; ++attempt) {
            temporary_ = folder / temporaryName(resolved_, folder);
            pendingSlot_ = holdTemporary(temporary_.string());
            // A name not yet taken gets the umask's mode; an existing file's mode is copied below.
            fd = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                        exists ? 0600 : 0666);
            if (fd < 0) {
                const int cause = errno;
                releaseTemporary(pendingSlot_);
                pendingSlot_ = -1;
                temporary_.clear();
                if (regular && (cause == EACCES || cause == EPERM || cause == EROFS)) {
                    // A folder that takes no new file, holding a file that may be written: write it there.
                    fd = openInPlace();
                    break;
                }
                if (cause != EEXIST) {
                    throw FileWriteError(target, cause);
                }
            }
        }
        if (fd < 0) {
            throw FileWriteError(target, EEXIST, "no free temporary name beside it");
        }
    }
    if (!direct_ && temporary_.empty()) {
        // Written in place: nothing to copy.
    } else if (!direct_) {
        if (exists) {
            // The owner is kept where the system allows it; the mode always (a read-only file replaced
            // on request stays read-only).
            if (::fchown(fd, status.st_uid, status.st_gid) != 0) {
                errno = 0;
            }
            if (::fchmod(fd, status.st_mode & 07777) != 0) {
                const int cause = errno;
                ::close(fd);
                discard();
                throw FileWriteError(target, cause);
            }
        }
    }
    stream_ = ::fdopen(fd, "wb");
    if (stream_ == nullptr) {
        const int cause = errno;
        ::close(fd);
        discard();
        throw FileWriteError(target, cause);
    }
}

int SafeFile::openInPlace() {
    // Opened without truncating: a write that fails before its first byte leaves the file as it was.
    const int fd = ::open(resolved_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        throw FileWriteError(target_, errno);
    }
    direct_ = true;
    inPlace_ = true;
    return fd;
}

SafeFile::~SafeFile() {
    discard();
}

void SafeFile::commit() {
    if (stream_ == nullptr) {
        throw FileWriteError(target_, EBADF);
    }
    int cause = 0;
    if (std::ferror(stream_) != 0) {
        cause = errno == 0 ? EIO : errno;
    }
    errno = 0;
    if (std::fflush(stream_) != 0 && cause == 0) {
        cause = errno;
    }
    // A file written in place ends where the new text ends.
    if (cause == 0 && inPlace_) {
        const off_t length = ::lseek(::fileno(stream_), 0, SEEK_CUR);
        if (length < 0 || ::ftruncate(::fileno(stream_), length) != 0) {
            cause = errno;
        }
    }
    // Devices and pipes cannot be synced; a regular file must reach the disk before it replaces the old.
    if (cause == 0 && ::fsync(::fileno(stream_)) != 0 &&
        !(direct_ && !inPlace_ && (errno == EINVAL || errno == EROFS))) {
        cause = errno;
    }
    errno = 0;
    const int closed = std::fclose(stream_);
    stream_ = nullptr;
    if (closed != 0 && cause == 0) {
        cause = errno;
    }
    if (cause != 0) {
        discard();
        throw FileWriteError(target_, cause);
    }
    if (direct_) {
        return;
    }
    if (::rename(temporary_.c_str(), resolved_.c_str()) != 0) {
        cause = errno;
        discard();
        throw FileWriteError(target_, cause);
    }
    temporary_.clear();
    releaseTemporary(pendingSlot_);
    pendingSlot_ = -1;
    // The rename itself reaches the disk with its folder; a folder that cannot be synced is no error.
    const std::filesystem::path folder =
        resolved_.has_parent_path() ? resolved_.parent_path() : std::filesystem::path(".");
    const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd >= 0) {
        static_cast<void>(::fsync(folderFd));
        ::close(folderFd);
    }
}

void SafeFile::discard() noexcept {
    if (stream_ != nullptr) {
        std::fclose(stream_);
        stream_ = nullptr;
    }
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
        temporary_.clear();
    }
    releaseTemporary(pendingSlot_);
    pendingSlot_ = -1;
}

void SafeFile::write(const std::filesystem::path &target, const std::function<void(std::FILE *)> &writer) {
    write(target, writer, Options{});
}

void SafeFile::write(const std::filesystem::path &target, const std::function<void(std::FILE *)> &writer,
                     const Options &options) {
    SafeFile file(target, options);
    try {
        writer(file.stream());
    } catch (const std::system_error &e) {
        // A writer that formats into the stream reports a failed write as a system error.
        throw FileWriteError(target, e.code().category() == std::generic_category() ||
                                             e.code().category() == std::system_category()
                                         ? e.code().value()
                                         : EIO);
    }
    file.commit();
}

void SafeFile::removePendingTemporaries() noexcept {
    for (int slot = 0; slot < kSlots; ++slot) {
        if (pendingStates[slot].load() == kHeld) {
            ::unlink(pendingPaths[slot]);
        }
    }
}

} // namespace ostreljet::files
