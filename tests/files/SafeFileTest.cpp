// Safe writes: what ends up at the path, its mode, links, devices and FIFOs, and every failure's text.
#include "ostreljet/files/SafeFile.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using ostreljet::files::FileWriteError;
using ostreljet::files::SafeFile;
namespace fs = std::filesystem;

namespace {

class Folder {
public:
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "ostreljet-io-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~Folder() {
        std::error_code ignored;
        fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(path_, ignored);
    }
    fs::path operator/(const std::string &name) const { return path_ / name; }
    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto &entry : fs::directory_iterator(path_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }
    const fs::path &path() const { return path_; }

private:
    fs::path path_;
};

std::string readText(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeText(const fs::path &path, const std::string &text) {
    SafeFile::write(path, [&](std::FILE *out) { std::fputs(text.c_str(), out); });
}

unsigned modeOf(const fs::path &path) {
    struct stat status {};
    ::stat(path.c_str(), &status);
    return status.st_mode & 07777;
}

} // namespace

TEST(SafeFile, NewFileTakesTheUmaskAndAnExistingFileKeepsItsModeAndOnlyItsName) {
    Folder folder;
    const mode_t previous = ::umask(027);
    writeText(folder / "new.csv", "a\n");
    ::umask(previous);
    EXPECT_EQ(readText(folder / "new.csv"), "a\n");
    EXPECT_EQ(modeOf(folder / "new.csv"), 0640u);

    ::chmod((folder / "new.csv").c_str(), 0600);
    writeText(folder / "new.csv", "b\n");
    EXPECT_EQ(readText(folder / "new.csv"), "b\n");
    EXPECT_EQ(modeOf(folder / "new.csv"), 0600u);
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"new.csv"}));
}

TEST(SafeFile, SymbolicLinksAreWrittenThroughAndStayLinks) {
    Folder folder;
    fs::create_directory(folder / "real");
    std::ofstream(folder / "real" / "out.csv") << "old\n";
    ::chmod((folder / "real" / "out.csv").c_str(), 0604);
    fs::create_symlink("real/out.csv", folder / "link.csv");                  // relative, to an existing file
    fs::create_symlink(folder / "real" / "new.csv", folder / "dangling.csv"); // to a name not yet taken
    writeText(folder / "link.csv", "through\n");
    writeText(folder / "dangling.csv", "created\n");
    EXPECT_TRUE(fs::is_symlink(folder / "link.csv"));
    EXPECT_TRUE(fs::is_symlink(folder / "dangling.csv"));
    EXPECT_EQ(readText(folder / "real" / "out.csv"), "through\n");
    EXPECT_EQ(readText(folder / "real" / "new.csv"), "created\n");
    EXPECT_EQ(modeOf(folder / "real" / "out.csv"), 0604u);
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"real", "link.csv", "dangling.csv"}));
}

TEST(SafeFile, AFifoAndDevicesAreWrittenInPlaceNeverReplaced) {
    Folder folder;
    const fs::path fifo = folder / "pipe";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = readText(fifo); });
    writeText(fifo, "streamed\n");
    reader.join();
    EXPECT_EQ(received, "streamed\n");
    EXPECT_TRUE(fs::is_fifo(fifo));
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"pipe"}));

    writeText("/dev/null", "discarded\n");
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    try {
        writeText("/dev/full", "no room\n");
        ADD_FAILURE() << "a write to /dev/full succeeded";
    } catch (const FileWriteError &e) {
        EXPECT_STREQ(e.what(), "cannot write '/dev/full': No space left on device");
        EXPECT_EQ(e.errorNumber(), ENOSPC);
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST(SafeFile, FailuresNameTheSystemsReasonAndLeaveTheOldFile) {
    Folder folder;
    std::ofstream(folder / "kept.csv") << "old\n";
    // The writer's exception discards the temporary file and leaves the old text.
    EXPECT_THROW(SafeFile::write(folder / "kept.csv",
                                 [](std::FILE *out) {
                                     std::fputs("half", out);
                                     throw std::runtime_error("writer gave up");
                                 }),
                 std::runtime_error);
    EXPECT_EQ(readText(folder / "kept.csv"), "old\n");
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"kept.csv"}));

    fs::create_directory(folder / "folder");
    EXPECT_THROW(
        {
            try {
                writeText(folder / "folder", "x");
            } catch (const FileWriteError &e) {
                EXPECT_EQ(std::string(e.what()),
                          "cannot write '" + (folder / "folder").string() + "': Is a directory");
                throw;
            }
        },
        FileWriteError);

    // A rename that fails (the folder went away under the write) reports errno, never "Success".
    fs::create_directory(folder / "gone");
    SafeFile file(folder / "gone" / "out.csv");
    std::fputs("text\n", file.stream());
    fs::remove_all(folder / "gone");
    try {
        file.commit();
        ADD_FAILURE() << "the rename into a removed folder succeeded";
    } catch (const FileWriteError &e) {
        EXPECT_EQ(std::string(e.what()),
                  "cannot write '" + (folder / "gone" / "out.csv").string() + "': No such file or directory");
    }
}

TEST(SafeFile, TemporaryNamesAreUnpredictableAndCleanedByTheSignalHook) {
    Folder folder;
    // Two writes of one file at once get different temporary files; the last commit wins.
    SafeFile first(folder / "out.csv");
    SafeFile second(folder / "out.csv");
    const std::set<std::string> temporaries = folder.entries();
    ASSERT_EQ(temporaries.size(), 2u);
    for (const std::string &name : temporaries) {
        EXPECT_EQ(name.rfind(".out.csv.", 0), 0u) << name;
        EXPECT_EQ(name.size(), std::string(".out.csv.").size() + 12 + 4) << name;
    }
    std::fputs("first\n", first.stream());
    std::fputs("second\n", second.stream());
    // What a signal handler calls: every temporary of a write in progress is removed.
    SafeFile::removePendingTemporaries();
    EXPECT_TRUE(folder.entries().empty());
    first.discard();
    second.discard();

    // A name planted at the target's place by a link to elsewhere is written through, not replaced.
    std::ofstream(folder / "victim") << "victim\n";
    fs::create_symlink(folder / "victim", folder / "planted.csv");
    writeText(folder / "planted.csv", "mine\n");
    EXPECT_EQ(readText(folder / "victim"), "mine\n");
    EXPECT_TRUE(fs::is_symlink(folder / "planted.csv"));
}

TEST(SafeFile, AReadOnlyFileIsRefusedUnlessReplacingItIsAskedFor) {
    Folder folder;
    const fs::path file = folder / "kept.csv";
    std::ofstream(file) << "old\n";
    fs::permissions(file, fs::perms::owner_read | fs::perms::group_read);
    try {
        writeText(file, "new\n");
        ADD_FAILURE() << "a read-only file was written";
    } catch (const FileWriteError &e) {
        EXPECT_EQ(std::string(e.what()), "cannot write '" + file.string() + "': it is read-only");
        EXPECT_EQ(e.errorNumber(), EACCES);
    }
    EXPECT_EQ(readText(file), "old\n");
    SafeFile::write(
        file, [](std::FILE *out) { std::fputs("new\n", out); }, SafeFile::Options{true});
    EXPECT_EQ(readText(file), "new\n");
    EXPECT_EQ(modeOf(file), 0440u); // still read-only
    EXPECT_EQ(folder.entries(), std::set<std::string>{"kept.csv"});
}

TEST(SafeFile, EveryHardLinkShowsTheNewTextAndALongNameGetsAShortTemporary) {
    Folder folder;
    const fs::path file = folder / "first.csv";
    std::ofstream(file) << "a much longer old text than the new one\n";
    fs::create_hard_link(file, folder / "second.csv");
    writeText(file, "new\n");
    EXPECT_EQ(readText(folder / "second.csv"), "new\n"); // the same file, cut to the new length
    EXPECT_EQ(fs::hard_link_count(file), 2u);
    EXPECT_EQ(folder.entries(), (std::set<std::string>{"first.csv", "second.csv"}));

    // 250 characters is a valid name; the temporary beside it must be one too.
    const fs::path longName = folder / (std::string(246, 'n') + ".csv");
    writeText(longName, "long\n");
    EXPECT_EQ(readText(longName), "long\n");
    EXPECT_EQ(folder.entries().size(), 3u);
}

TEST(SafeFile, AFifoThatNoProcessReadsIsRefusedAfterASecond) {
    Folder folder;
    const fs::path fifo = folder / "pipe";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    try {
        writeText(fifo, "nobody\n");
        ADD_FAILURE() << "a FIFO without reader was written";
    } catch (const FileWriteError &e) {
        EXPECT_EQ(std::string(e.what()),
                  "cannot write '" + fifo.string() + "': it is a FIFO that no process is reading");
        EXPECT_EQ(e.errorNumber(), ENXIO);
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GT(seconds, 0.9);
    EXPECT_LT(seconds, 5.0);
}
