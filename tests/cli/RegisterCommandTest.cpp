#include "cli/CliTestSupport.hpp"

#include "ostreljet/platform/Registry.hpp"

using ostreljet::platform::Registry;
using namespace ostreljet::testsupport;

const std::string kScriptClass = "HKCR\\CLSID\\{44937CCF-1EBA-4EAA-8498-E59234612930}";
const std::string kTypeLibrary = "HKCR\\TypeLib\\{D91452C7-B2C6-47ED-9CE0-2A9D32756CBD}";

TEST(RegisterCommand, RegistersAndUnregistersInTheFileOfTheVariableOrTheOption) {
    const TemporaryFolder folder;
    const std::string file = folder.file("registry");
    ::setenv(Registry::pathVariable, file.c_str(), 1);

    const CommandResult registered = cli({"register"});
    EXPECT_EQ(registered.exitStatus, 0) << registered.err;
    EXPECT_NE(registered.out.find("Ostreljet.OstreljetModel.1"), std::string::npos) << registered.out;
    EXPECT_NE(registered.out.find(" in " + file + "\n"), std::string::npos) << registered.out;
    EXPECT_EQ(Registry::load(file).value(kScriptClass + "\\ProgID"), "Ostreljet.OstreljetModel.1");

    const CommandResult removed = cli({"unregister"});
    EXPECT_EQ(removed.exitStatus, 0) << removed.err;
    EXPECT_NE(removed.out.find(" from " + file + "\n"), std::string::npos) << removed.out;
    EXPECT_FALSE(Registry::load(file).keyExists(kScriptClass)); // the rest: see the component's test
    EXPECT_EQ(cli({"unregister"}).exitStatus, 0) << "nothing left to remove is not a failure";
    // The option wins over the variable.
    const std::string chosen = folder.file("chosen");
    EXPECT_EQ(cli({"register", "--registry", chosen}).exitStatus, 0);
    EXPECT_TRUE(Registry::load(chosen).keyExists(kTypeLibrary + "\\1.0"));
    EXPECT_FALSE(Registry::load(file).keyExists(kScriptClass));
    ::unsetenv(Registry::pathVariable);
}

TEST(RegisterCommand, UnreadableRegistryExitsWithStatusTwo) {
    const TemporaryFolder folder;
    const std::string file = folder.write("registry", "[HKEY_NOWHERE\\Key]\n");
    for (const char *command : {"register", "unregister"}) {
        expectRefusal(cli({command, "--registry", file}), {file, "failed"});
    }
}
