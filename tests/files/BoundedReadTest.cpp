// Bounded reads and the inputs a command writes over: sizes at and over the limit, devices, FIFOs
// without writer, and one file reached by two paths.
#include "ostreljet/files/BoundedRead.hpp"
#include "ostreljet/files/FreeSpace.hpp"
#include "ostreljet/files/SameFile.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using ostreljet::files::BoundedRead;
using ostreljet::files::BoundedReadError;
using ostreljet::files::FreeSpace;
using ostreljet::files::SameFile;
namespace fs = std::filesystem;

namespace {

struct Folder {
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "ostreljet-read-XXXXXX").string();
        path = ::mkdtemp(pattern.data());
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    fs::path path;
};

std::string errorOf(const fs::path &path, std::size_t limit, double fifoWait = 1.0) {
    try {
        return "read " + std::to_string(BoundedRead::read(path, limit, "a test file", fifoWait).size());
    } catch (const BoundedReadError &e) {
        return e.what();
    }
}

} // namespace

TEST(BoundedRead, AFileIsReadToItsLimitAndRefusedOneByteBeyond) {
    Folder folder;
    const fs::path file = folder.path / "ten";
    std::ofstream(file) << "0123456789";
    EXPECT_EQ(BoundedRead::read(file, 10, "a test file"), "0123456789");
    EXPECT_EQ(errorOf(file, 9), file.string() + ": larger than 9 bytes, the limit for a test file");
    EXPECT_EQ(errorOf(folder.path / "none", 9), (folder.path / "none").string() + ": no such file");
    EXPECT_EQ(errorOf(folder.path, 9), folder.path.string() + ": is a directory, not a test file");
}

TEST(BoundedRead, EndlessDevicesAndFifosWithoutWriterEndPromptly) {
    // /dev/full and /dev/zero read as endless zeros; the limit stops them.
    EXPECT_EQ(errorOf("/dev/full", 4096), "/dev/full: larger than 4096 bytes, the limit for a test file");
    EXPECT_EQ(errorOf("/dev/zero", 4096), "/dev/zero: larger than 4096 bytes, the limit for a test file");
    EXPECT_EQ(errorOf("/dev/null", 4096), "read 0");
    Folder folder;
    const fs::path fifo = folder.path / "pipe";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(errorOf(fifo, 4096, 0.2), fifo.string() + ": is a FIFO that no process writes to");
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.0);
}

TEST(SameFile, LinksAndOtherSpellingsReachTheSameFile) {
    Folder folder;
    const fs::path file = folder.path / "cases.json";
    std::ofstream(file) << "{}";
    fs::create_symlink(file, folder.path / "link.json");
    fs::create_hard_link(file, folder.path / "hard.json");
    EXPECT_TRUE(SameFile::same(file, folder.path / "link.json"));
    EXPECT_TRUE(SameFile::same(file, folder.path / "hard.json"));
    EXPECT_TRUE(SameFile::same(file, folder.path / "." / "cases.json"));
    EXPECT_FALSE(SameFile::same(file, folder.path / "other.json")); // not yet there
    EXPECT_FALSE(SameFile::same("/dev/null", "/dev/null"));         // devices are written in place

    SameFile::clearInputs();
    SameFile::noteInput(folder.path / "link.json");
    EXPECT_EQ(SameFile::inputAt(folder.path / "hard.json"), (folder.path / "link.json").string());
    EXPECT_FALSE(SameFile::inputAt(folder.path / "new.json").has_value());
    SameFile::clearInputs();
    EXPECT_FALSE(SameFile::inputAt(file).has_value());
}

TEST(FreeSpace, ARegularTargetHasRoomAndADeviceHasNone) {
    Folder folder;
    const std::optional<std::uint64_t> room = FreeSpace::availableFor(folder.path / "new.csv");
    ASSERT_TRUE(room.has_value());
    EXPECT_GT(*room, 0u);
    EXPECT_FALSE(FreeSpace::availableFor("/dev/null").has_value());
}
