#include "ostreljet/platform/Registry.hpp"

#include "ostreljet/platform/Registrar.hpp"
#include "platform/PlatformTestSupport.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <thread>

using namespace ostreljet::platform;
using ostreljet::platform::test::TemporaryFolder;

TEST(Registry, SaveCreatesTheFolderAndReplacesTheFileAtomically) {
    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "config" / "ostreljet" / "registry";
    Registry registry;
    registry.setValue("HKCR\\Key", "", "first");
    registry.save(file);
    EXPECT_EQ(Registry::load(file).value("HKCR\\Key"), "first");

    // An open descriptor of the old file keeps the old text: the file was replaced, not rewritten in place.
    std::ifstream old(file);
    registry.setValue("HKCR\\Key", "", "second");
    registry.save(file);
    EXPECT_EQ(Registry::load(file).value("HKCR\\Key"), "second");
    EXPECT_NE(
        std::string(std::istreambuf_iterator<char>(old), std::istreambuf_iterator<char>()).find("first"),
        std::string::npos);
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

TEST(Registry, ADeviceOrAnOversizedFileIsRefusedAfterItsLimit) {
    // /dev/full reads as endless zeros: the reader stops at its limit instead of filling the memory.
    try {
        Registry::load("/dev/full");
        ADD_FAILURE() << "/dev/full was read as a registry";
    } catch (const RegistryError &e) {
        EXPECT_STREQ(e.what(),
                     "cannot read the registry file: /dev/full: larger than 4194304 bytes, the limit "
                     "for a registry file");
    }
}

TEST(Registry, DefaultPathIsAbsoluteOrEmptyWithTheVariableToSet) {
    using ostreljet::platform::test::ScopedEnvironment;
    ScopedEnvironment config("XDG_CONFIG_HOME", std::nullopt);
    {
        ScopedEnvironment explicitPath(Registry::pathVariable, "/srv/ostreljet/registry");
        EXPECT_EQ(Registry::defaultPath(), "/srv/ostreljet/registry");
    }
    ScopedEnvironment explicitPath(Registry::pathVariable, std::nullopt);
    {
        ScopedEnvironment home("HOME", "/home/user");
        EXPECT_EQ(Registry::defaultPath(), "/home/user/.config/ostreljet/registry");
        ScopedEnvironment xdg("XDG_CONFIG_HOME", "/cfg");
        EXPECT_EQ(Registry::defaultPath(), "/cfg/ostreljet/registry");
    }
    {
        // A relative HOME or configuration folder names no file; neither does an unset HOME.
        ScopedEnvironment home("HOME", "relative/home");
        ScopedEnvironment xdg("XDG_CONFIG_HOME", "relative/config");
        EXPECT_EQ(Registry::defaultPath(), "");
        EXPECT_EQ(Registry::noDefaultPathReason(),
                  "no registry file: neither $XDG_CONFIG_HOME nor $HOME is an absolute folder; set "
                  "$OSTRELJET_REGISTRY to the registry file's absolute path");
        try {
            Registry::load(Registry::defaultPath());
            ADD_FAILURE() << "a registry without a path was read";
        } catch (const RegistryError &e) {
            EXPECT_EQ(std::string(e.what()), Registry::noDefaultPathReason());
        }
        ScopedEnvironment relative(Registry::pathVariable, "registry");
        EXPECT_EQ(Registry::defaultPath(), "");
        EXPECT_EQ(Registry::noDefaultPathReason(),
                  "$OSTRELJET_REGISTRY is 'registry', not an absolute path; set it to the registry file's "
                  "absolute path");
    }
    ScopedEnvironment home("HOME", std::nullopt);
    EXPECT_EQ(Registry::defaultPath(), "");
    EXPECT_THROW(Registry().save("relative/registry"), RegistryError);
}

TEST(Registry, ParallelRegistrarsUnderTheLockNeverTearOrLoseTheFile) {
    // Each of 8 threads registers and unregisters its own key 25 times through its own registrar while
    // the others do the same; the lock makes every load-change-save whole, so the file always parses
    // and at the end holds exactly the keys whose last operation was a registration.
    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "registry";
    constexpr int kThreads = 8;
    constexpr int kRounds = 25;
    std::atomic<int> failures{0};
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop.load()) {
            try {
                Registry::load(file);
            } catch (const RegistryError &) {
                ++failures;
            }
        }
    });
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([&, t] {
            Registrar registrar(file);
            const std::string script = "HKCR { NoRemove CLSID { Key" + std::to_string(t) + " = s 'value' } }";
            for (int round = 0; round < kRounds; ++round) {
                if (registrar.StringRegister(script) != S_OK ||
                    (round + 1 < kRounds && registrar.StringUnregister(script) != S_OK)) {
                    ++failures;
                }
            }
        });
    }
    for (std::thread &writer : writers) {
        writer.join();
    }
    stop = true;
    reader.join();
    EXPECT_EQ(failures.load(), 0);
    const Registry registry = Registry::load(file);
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(registry.value("HKCR\\CLSID\\Key" + std::to_string(t)), "value") << t;
    }
}
