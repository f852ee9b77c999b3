#pragma once

#include "ostreljet/Export.hpp"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

namespace ostreljet::files {

// A write that failed: what() is "cannot write 'PATH': REASON" with the system's text for the error.
class OSTRELJET_EXPORT FileWriteError : public std::runtime_error {
public:
    FileWriteError(const std::filesystem::path &target, int errorNumber, const std::string &reason = {});
    int errorNumber() const { return errorNumber_; }

private:
    int errorNumber_; // errno of the failure; EIO when the system gave none
};

// Writes one file so that a failed or interrupted write never leaves half a file under its name.
//
// A symbolic link is followed to the file it names, which is then written. A regular file (or a name
// not yet taken) is written through a temporary file created exclusively, under an unpredictable name
// short enough for the folder, in the same folder; it takes the old file's mode (or the umask's) and
// replaces the file by a rename at commit. A read-only file is refused unless replacing it is asked
// for. A file with more than one hard link, or in a folder that takes no new file, is rewritten in
// place (its old text stays until the first byte is written; a failure after that leaves it
// incomplete). Anything else (a device, a FIFO, a standard stream such as /dev/stdout) is written
// directly and never replaced; a FIFO that no process reads is refused after a second's wait. Every
// write, flush, fsync, close and rename is checked. Not thread-safe; separate objects are independent.
class OSTRELJET_EXPORT SafeFile {
public:
    struct Options {
        bool replaceReadOnly = false; // replace a file that its owner may not write
    };
    // Opens the target for writing; FileWriteError when it cannot be.
    explicit SafeFile(const std::filesystem::path &target);
    SafeFile(const std::filesystem::path &target, const Options &options);
    // Discards the write unless it was committed.
    ~SafeFile();
    SafeFile(const SafeFile &) = delete;
    SafeFile &operator=(const SafeFile &) = delete;

    // The stream to write; owned by this object.
    std::FILE *stream() const { return stream_; }
    // True when the target is written in place (not a regular file).
    bool direct() const { return direct_; }

    // Flushes, syncs, closes and renames into place; FileWriteError on any failure, the old file intact.
    void commit();
    // Closes and removes the temporary file; the target is left as it was.
    void discard() noexcept;

    // Opens, lets the writer fill the stream, commits. The writer's exceptions discard the write and
    // propagate; a std::system_error (a failed write while formatting) becomes a FileWriteError.
    static void write(const std::filesystem::path &target, const std::function<void(std::FILE *)> &writer);
    static void write(const std::filesystem::path &target, const std::function<void(std::FILE *)> &writer,
                      const Options &options);

    // Removes every temporary file of a write in progress; safe to call from a signal handler.
    static void removePendingTemporaries() noexcept;

private:
    int openInPlace();                // opens resolved_ for rewriting; FileWriteError when it cannot be
    std::filesystem::path target_;    // the path as given, for messages
    std::filesystem::path resolved_;  // the file written, symbolic links followed
    std::filesystem::path temporary_; // empty for a direct write
    std::FILE *stream_ = nullptr;
    bool direct_ = false;
    bool inPlace_ = false; // a regular file rewritten in place
    int pendingSlot_ = -1; // slot of the temporary in the table that signal handlers clean
};

} // namespace ostreljet::files
