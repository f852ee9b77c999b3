#include "cli/CommandRunner.hpp"
#include "cli/TemporaryFolder.hpp"

#include "ostreljet/platform/Registry.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

using ostreljet::platform::Registry;
using ostreljet::testsupport::CommandResult;
using ostreljet::testsupport::runCommand;
using ostreljet::testsupport::TemporaryFolder;

namespace {

const std::string kScriptClass = "HKCR\\CLSID\\{44937CCF-1EBA-4EAA-8498-E59234612930}";
const std::string kTypeLibrary = "HKCR\\TypeLib\\{D91452C7-B2C6-47ED-9CE0-2A9D32756CBD}";

// Points the registry variable at a file for the life of the object.
class RegistryVariable {
public:
    explicit RegistryVariable(const std::string &file) {
        if (const char *old = std::getenv(Registry::pathVariable)) {
            old_ = old;
        }
        ::setenv(Registry::pathVariable, file.c_str(), 1);
    }
    ~RegistryVariable() {
        if (old_) {
            ::setenv(Registry::pathVariable, old_->c_str(), 1);
        } else {
            ::unsetenv(Registry::pathVariable);
        }
    }

private:
    std::optional<std::string> old_; // the value before, if any
};

} // namespace

TEST(RegisterCommand, RegistersAndUnregistersInTheFileOfTheVariable) {
    const TemporaryFolder folder;
    const std::string file = folder.file("registry");
    const RegistryVariable variable(file);

    const CommandResult registered = runCommand(OSTRELJET_CLI_PATH, {"register"});
    EXPECT_EQ(registered.exitStatus, 0) << registered.err;
    EXPECT_NE(registered.out.find("Ostreljet.OstreljetModel.1"), std::string::npos) << registered.out;
    EXPECT_NE(registered.out.find(" in " + file + "\n"), std::string::npos) << registered.out;
    Registry registry = Registry::load(file);
    EXPECT_EQ(registry.value(kScriptClass + "\\ProgID"), "Ostreljet.OstreljetModel.1");
    EXPECT_TRUE(registry.keyExists(kTypeLibrary + "\\1.0"));

    const CommandResult removed = runCommand(OSTRELJET_CLI_PATH, {"unregister"});
    EXPECT_EQ(removed.exitStatus, 0) << removed.err;
    EXPECT_NE(removed.out.find(" from " + file + "\n"), std::string::npos) << removed.out;
    registry = Registry::load(file);
    EXPECT_FALSE(registry.keyExists(kScriptClass));
    EXPECT_FALSE(registry.keyExists(kTypeLibrary));
    EXPECT_FALSE(registry.keyExists("HKCR\\Ostreljet.OstreljetModel"));

    // Nothing left to remove is not a failure.
    EXPECT_EQ(runCommand(OSTRELJET_CLI_PATH, {"unregister"}).exitStatus, 0);
}

TEST(RegisterCommand, RegistryOptionChoosesTheFile) {
    const TemporaryFolder folder;
    const RegistryVariable variable(folder.file("unused"));
    const std::string file = folder.file("chosen");
    const CommandResult result = runCommand(OSTRELJET_CLI_PATH, {"register", "--registry", file});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_TRUE(Registry::load(file).keyExists(kScriptClass));
    EXPECT_FALSE(std::filesystem::exists(folder.file("unused")));
}

TEST(RegisterCommand, UnreadableRegistryExitsWithStatusTwo) {
    const TemporaryFolder folder;
    const std::string file = folder.write("registry", "[HKEY_NOWHERE\\Key]\n");
    for (const char *command : {"register", "unregister"}) {
        const CommandResult result = runCommand(OSTRELJET_CLI_PATH, {command, "--registry", file});
        EXPECT_EQ(result.exitStatus, 2) << command;
        EXPECT_NE(result.err.find(file), std::string::npos) << result.err;
        EXPECT_NE(result.err.find("failed"), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    }
}
