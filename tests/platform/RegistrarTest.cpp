#include "ostreljet/platform/Registrar.hpp"

#include <gtest/gtest.h>

using namespace ostreljet::platform;

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

TEST(Registrar, RegisterWritesKeysNamedValuesAndReplacementsAndForceRemoveClearsStaleEntries) {
    Registry registry;
    registry.setValue(classKey + "\\Stale", "", "left by an old version");
    registry.setValue("HKCR\\Ostreljet.Test.1\\Foreign", "", "someone else's");
    moduleRegistrar("unused").registerScript(classScript, registry);
    EXPECT_FALSE(registry.keyExists(classKey + "\\Stale"));
    EXPECT_TRUE(registry.keyExists("HKCR\\Ostreljet.Test.1\\Foreign")); // plain keys are only opened

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

TEST(Registrar, MalformedScriptsGiveClearErrors) {
    EXPECT_EQ(scriptError("HKCR { Key = s 'unterminated }"),
              "registrar script line 1, column 16: unterminated quoted string");
    EXPECT_EQ(scriptError("HKCR\n{\n  Key\n"),
              "registrar script line 4, column 1: expected '}' to close 'HKCR' of line 1 but found the end "
              "of the script");
    EXPECT_EQ(scriptError("HKCR { Key = s '%NOPE%' }"),
              "registrar script line 1, column 16: no replacement is registered for %NOPE%");
}
