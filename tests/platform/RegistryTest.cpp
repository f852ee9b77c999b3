#include "ostreljet/platform/Registry.hpp"

#include "platform/PlatformTestSupport.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;
using ostreljet::platform::test::TemporaryFolder;

TEST(Registry, SaveCreatesTheFolderAndReplacesTheFileAtomically) {
    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "config" / "ostreljet" / "registry";
    Registry registry;
    registry.setValue("HKCR\\Key", "", "first");
    registry.save(file);
    EXPECT_EQ(Registry::load(file).value("HKCR\\Key"), "first");

    // A second name for the old file keeps the old text: the file was replaced, not rewritten in place.
    const std::filesystem::path oldName = folder.path() / "old";
    std::filesystem::create_hard_link(file, oldName);
    registry.setValue("HKCR\\Key", "", "second");
    registry.save(file);
    EXPECT_EQ(Registry::load(file).value("HKCR\\Key"), "second");
    EXPECT_EQ(Registry::load(oldName).value("HKCR\\Key"), "first");
    // No temporary file is left beside it.
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(file.parent_path())) {
        names.push_back(entry.path().filename().string());
    }
    EXPECT_EQ(names, std::vector<std::string>{"registry"});
}

TEST(Registry, FailedSaveReportsAndLeavesNoTemporaryFile) {
    TemporaryFolder folder;
    // The final rename cannot replace a folder of the same name.
    const std::filesystem::path occupied = folder.path() / "registry";
    std::filesystem::create_directory(occupied);
    Registry registry;
    registry.setValue("HKCR\\Key", "", "new");
    EXPECT_THROW(registry.save(occupied), RegistryError);
    EXPECT_TRUE(std::filesystem::is_directory(occupied));
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder.path())) {
        ++entries;
    }
    EXPECT_EQ(entries, 1u);
}
