#include "ostreljet/platform/Registrar.hpp"

#include "platform/PlatformTestSupport.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;
using ostreljet::platform::test::ScopedEnvironment;
using ostreljet::platform::test::TemporaryFolder;

namespace {

const char *const classScript = R"(HKCR
{
    Ostreljet.Test.1 = s 'Test Class'
    {
        CLSID = s '{12345678-9ABC-DEF0-1122-334455667788}'
    }
    NoRemove CLSID
    {
        ForceRemove {12345678-9ABC-DEF0-1122-334455667788} = s 'Test Class'
        {
            ProgID = s 'Ostreljet.Test.1'
            ForceRemove 'Programmable'
            InprocServer32 = s '%MODULE%'
            {
                val ThreadingModel = s 'Both'
            }
            val AppID = s '%APPID%'
        }
    }
}
)";

const std::string classKey = "HKCR\\CLSID\\{12345678-9ABC-DEF0-1122-334455667788}";

Registrar moduleRegistrar(const std::filesystem::path &file) {
    Registrar registrar(file);
    registrar.AddReplacement("MODULE", "/opt/ostreljet/lib/libostreljet.so");
    registrar.AddReplacement("AppId", "{0F0E0D0C-0B0A-0908-0706-050403020100}");
    return registrar;
}

std::string scriptError(const std::string &script) {
    Registry registry;
    Registrar registrar("unused");
    registrar.AddReplacement("MODULE", "m");
    try {
        registrar.registerScript(script, registry);
    } catch (const RegistrarScriptError &e) {
        return e.what();
    }
    return "no error";
}

} // namespace

TEST(Registrar, RegisterWritesKeysDefaultsNamedValuesAndReplacements) {
    TemporaryFolder folder;
    Registry registry;
    moduleRegistrar(folder.path() / "registry").registerScript(classScript, registry);

    EXPECT_EQ(registry.value("HKCR\\Ostreljet.Test.1"), "Test Class");
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.Test.1\\CLSID"), "{12345678-9ABC-DEF0-1122-334455667788}");
    EXPECT_EQ(registry.value(classKey), "Test Class");
    EXPECT_EQ(registry.value(classKey + "\\ProgID"), "Ostreljet.Test.1");
    EXPECT_TRUE(registry.keyExists(classKey + "\\Programmable"));
    EXPECT_FALSE(registry.value(classKey + "\\Programmable").has_value());
    EXPECT_EQ(registry.value(classKey + "\\InprocServer32"), "/opt/ostreljet/lib/libostreljet.so");
    EXPECT_EQ(registry.value(classKey + "\\InprocServer32", "ThreadingModel"), "Both");
    EXPECT_EQ(registry.value(classKey, "AppID"), "{0F0E0D0C-0B0A-0908-0706-050403020100}");
    EXPECT_EQ(registry.valueNames(classKey + "\\InprocServer32"),
              (std::vector<std::string>{"", "ThreadingModel"}));
}

TEST(Registrar, ForceRemoveClearsStaleEntriesBeforeRegistering) {
    Registry registry;
    registry.setValue(classKey + "\\Stale", "", "left by an old version");
    registry.setValue("HKCR\\Ostreljet.Test.1\\Foreign", "", "someone else's");
    moduleRegistrar("unused").registerScript(classScript, registry);
    EXPECT_FALSE(registry.keyExists(classKey + "\\Stale"));
    EXPECT_TRUE(registry.keyExists(classKey + "\\InprocServer32"));
    EXPECT_TRUE(registry.keyExists("HKCR\\Ostreljet.Test.1\\Foreign")); // plain keys are only opened
}

TEST(Registrar, UnregisterKeepsNoRemoveKeysAndForeignSubkeys) {
    Registry registry;
    const Registrar registrar = moduleRegistrar("unused");
    registrar.registerScript(classScript, registry);
    registry.createKey("HKCR\\CLSID\\{99999999-0000-0000-0000-000000000000}");
    registry.setValue(classKey + "\\Extra", "", "added after registration"); // under a ForceRemove key
    registry.createKey("HKCR\\Ostreljet.Test.1\\Foreign");

    registrar.unregisterScript(classScript, registry);
    EXPECT_FALSE(registry.keyExists(classKey));     // ForceRemove takes the whole subtree
    EXPECT_TRUE(registry.keyExists("HKCR\\CLSID")); // NoRemove
    EXPECT_TRUE(registry.keyExists("HKCR\\CLSID\\{99999999-0000-0000-0000-000000000000}"));
    // A plain key that still has a subkey the script does not name stays, without the scripted ones.
    EXPECT_TRUE(registry.keyExists("HKCR\\Ostreljet.Test.1\\Foreign"));
    EXPECT_FALSE(registry.keyExists("HKCR\\Ostreljet.Test.1\\CLSID"));

    registry.deleteKey("HKCR\\Ostreljet.Test.1\\Foreign");
    registrar.unregisterScript(classScript, registry);
    EXPECT_FALSE(registry.keyExists("HKCR\\Ostreljet.Test.1"));
    EXPECT_EQ(registry.subkeyNames("HKCR"), std::vector<std::string>{"CLSID"});
}

TEST(Registrar, ValEntriesOfNoRemoveKeysAreRemovedOnUnregister) {
    const char *script =
        "HKLM { NoRemove Software { noremove Shared { val Marker = s 'x' } Delete Obsolete } }";
    Registry registry;
    registry.setValue("HKLM\\Software\\Shared", "Other", "kept");
    registry.setValue("HKLM\\Software\\Obsolete\\Sub", "", "old");
    Registrar registrar("unused");
    registrar.registerScript(script, registry);
    EXPECT_EQ(registry.value("HKLM\\Software\\Shared", "Marker"), "x");
    EXPECT_FALSE(registry.keyExists("HKLM\\Software\\Obsolete")); // Delete removes it on registering
    registrar.unregisterScript(script, registry);
    EXPECT_FALSE(registry.value("HKLM\\Software\\Shared", "Marker").has_value());
    EXPECT_EQ(registry.value("HKLM\\Software\\Shared", "Other"), "kept");
}

TEST(Registrar, QuotingAndPercentSigns) {
    Registry registry;
    Registrar registrar("unused");
    registrar.AddReplacement("MODULE", "/path with spaces/lib.so");
    registrar.registerScript("HKCU { 'Two Words' = s 'O''Brien 100%% %module%' }", registry);
    EXPECT_EQ(registry.value("HKCU\\Two Words"), "O'Brien 100% /path with spaces/lib.so");
    EXPECT_EQ(registrar.AddReplacement("", "x"), E_INVALIDARG);
}

TEST(Registrar, MalformedScriptsGiveClearErrors) {
    EXPECT_EQ(scriptError("HKCR { Key = s 'unterminated }"),
              "registrar script line 1, column 16: unterminated quoted string");
    EXPECT_EQ(scriptError("HKCR\n{\n  Key\n"),
              "registrar script line 4, column 1: expected '}' to close 'HKCR' of line 1 but found the end "
              "of the script");
    EXPECT_EQ(scriptError("HKXX { }"),
              "registrar script line 1, column 1: expected a hive such as HKCR but found 'HKXX'");
    EXPECT_EQ(scriptError("HKCR Key"),
              "registrar script line 1, column 6: expected '{' after the hive HKCR but found 'Key'");
    EXPECT_EQ(scriptError("HKCR { Key = d '1' }"),
              "registrar script line 1, column 14: the value type 'd' is not supported; only s (string) is");
    EXPECT_EQ(scriptError("HKCR { Key = s Bare }"),
              "registrar script line 1, column 16: expected a quoted string after s but found 'Bare'");
    EXPECT_EQ(scriptError("HKCR { Key { val Name s 'x' } }"),
              "registrar script line 1, column 23: expected '=' after the value name Name but found 's'");
    EXPECT_EQ(scriptError("HKCR { Key = s '%NOPE%' }"),
              "registrar script line 1, column 16: no replacement is registered for %NOPE%");
    EXPECT_EQ(scriptError("HKCR { Key = s '50%' }"),
              "registrar script line 1, column 16: a % in the string '50%' is not closed by another %");
    EXPECT_EQ(scriptError("HKCR { NoRemove val }"),
              "registrar script line 1, column 17: expected a key name but found the keyword 'val'");
    EXPECT_EQ(scriptError("HKCR { 'a\\b' }"),
              "registrar script line 1, column 8: the name 'a\\b' contains a backslash");
    EXPECT_EQ(scriptError("HKCR { = }"),
              "registrar script line 1, column 8: expected a key name but found '='");
}

TEST(Registrar, StringRegisterWritesTheFileNamedByTheEnvironment) {
    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "nested" / "registry";
    ScopedEnvironment registryVariable("OSTRELJET_REGISTRY", file.string());
    Registrar registrar = moduleRegistrar(Registry::defaultPath());

    // Unregistering what was never registered succeeds.
    EXPECT_EQ(registrar.StringUnregister(classScript), S_OK);
    EXPECT_EQ(registrar.StringRegister(classScript), S_OK);
    EXPECT_EQ(Registry::load(file).value(classKey + "\\InprocServer32"),
              "/opt/ostreljet/lib/libostreljet.so");
    EXPECT_EQ(registrar.StringUnregister(classScript), S_OK);
    EXPECT_EQ(registrar.StringUnregister(classScript), S_OK);
    const Registry after = Registry::load(file);
    EXPECT_FALSE(after.keyExists(classKey));
    EXPECT_FALSE(after.keyExists("HKCR\\Ostreljet.Test.1"));
    EXPECT_TRUE(after.keyExists("HKCR\\CLSID"));
}

TEST(Registrar, FailuresLeaveTheFileAloneAndExplain) {
    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "registry";
    Registrar registrar(file);
    EXPECT_EQ(registrar.StringRegister("HKCR { Key = s 'x' "), DISP_E_EXCEPTION);
    EXPECT_EQ(
        registrar.lastError(),
        "registrar script line 1, column 20: expected '}' to close 'HKCR' of line 1 but found the end of the "
        "script");
    EXPECT_FALSE(std::filesystem::exists(file));

    std::filesystem::create_directory(file); // the registry file cannot be read or replaced
    EXPECT_EQ(registrar.StringRegister("HKCR { Key = s 'x' }"), E_FAIL);
    EXPECT_FALSE(registrar.lastError().empty());
    EXPECT_EQ(registrar.StringRegister("HKCR { }"), E_FAIL);
}
