#include "ostreljet/platform/Registry.hpp"

#include "platform/PlatformTestSupport.hpp"

#include <gtest/gtest.h>

#include <fstream>

using namespace ostreljet::platform;
using ostreljet::platform::test::ScopedEnvironment;
using ostreljet::platform::test::TemporaryFolder;

namespace {

void writeFile(const std::filesystem::path &file, const std::string &text) {
    std::ofstream out(file, std::ios::binary);
    out << text;
}

} // namespace

TEST(Registry, KeysAndValuesIgnoreCaseButKeepIt) {
    Registry registry;
    registry.setValue("HKCR\\Ostreljet.OstreljetModel\\CLSID", "", "{1}");
    registry.setValue("HKEY_CLASSES_ROOT\\ostreljet.ostreljetmodel", "Flag", "a");
    registry.setValue("hkcr\\OSTRELJET.OSTRELJETMODEL", "flag", "b"); // same value, replaced
    EXPECT_TRUE(registry.keyExists("HKEY_CLASSES_ROOT\\Ostreljet.OstreljetModel"));
    EXPECT_EQ(registry.subkeyNames("HKCR"), std::vector<std::string>{"Ostreljet.OstreljetModel"});
    EXPECT_EQ(registry.valueNames("HKCR\\Ostreljet.OstreljetModel"), std::vector<std::string>{"Flag"});
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel", "FLAG"), "b");
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel\\clsid"), "{1}");
    EXPECT_FALSE(registry.value("HKCR\\Ostreljet.OstreljetModel").has_value()); // no default value set
    EXPECT_FALSE(registry.value("HKCR\\Missing").has_value());
    EXPECT_THROW(registry.createKey("HKEY_NOWHERE\\x"), std::invalid_argument);
    EXPECT_THROW(registry.createKey("HKCR\\a\\\\b"), std::invalid_argument);
}

TEST(Registry, DeletingAKeyTakesItsSubtree) {
    Registry registry;
    registry.setValue("HKCR\\CLSID\\{A}\\InprocServer32", "ThreadingModel", "Both");
    registry.createKey("HKCR\\CLSID\\{B}");
    EXPECT_TRUE(registry.deleteKey("HKCR\\CLSID\\{A}"));
    EXPECT_FALSE(registry.keyExists("HKCR\\CLSID\\{A}\\InprocServer32"));
    EXPECT_TRUE(registry.keyExists("HKCR\\CLSID\\{B}"));
    EXPECT_FALSE(registry.deleteKey("HKCR\\CLSID\\{A}"));
    EXPECT_FALSE(registry.deleteKey("HKCR\\Nothing\\Here"));
    EXPECT_TRUE(registry.deleteKey("HKCR")); // a hive is emptied and stays
    EXPECT_TRUE(registry.keyExists("HKCR"));
    EXPECT_TRUE(registry.subkeyNames("HKCR").empty());
}

TEST(Registry, TextFormatEscapesAndReadsBack) {
    Registry registry;
    registry.setValue("HKCR\\A", "", "x");
    registry.setValue("HKCR\\A", "Name", "a\"b\\c");
    registry.createKey("HKCR\\A\\B");
    registry.setValue("HKLM\\Software", "Lines", "one\ntwo\r");
    const std::string expected = "; Ostreljet registry\n"
                                 "\n[HKEY_CLASSES_ROOT\\A]\n"
                                 "@=\"x\"\n"
                                 "\"Name\"=\"a\\\"b\\\\c\"\n"
                                 "\n[HKEY_CLASSES_ROOT\\A\\B]\n"
                                 "\n[HKEY_LOCAL_MACHINE\\Software]\n"
                                 "\"Lines\"=\"one\\ntwo\\r\"\n";
    EXPECT_EQ(registry.toText(), expected);
    const Registry back = Registry::fromText(expected);
    EXPECT_EQ(back.value("HKCR\\A", "Name"), "a\"b\\c");
    EXPECT_EQ(back.value("HKLM\\Software", "Lines"), "one\ntwo\r");
    EXPECT_TRUE(back.keyExists("HKCR\\A\\B"));
    EXPECT_EQ(back.toText(), expected);
}

TEST(Registry, MalformedTextNamesTheLine) {
    const auto message = [](const std::string &text) {
        try {
            Registry::fromText(text);
        } catch (const RegistryError &e) {
            return std::string(e.what());
        }
        return std::string("no error");
    };
    EXPECT_EQ(message("; comment\n@=\"x\"\n"), "line 2: a value comes before any [key] line");
    EXPECT_EQ(message("[HKCR\\A]\n\"Name\"\"x\"\n"), "line 2: expected = after the value name");
    EXPECT_EQ(message("[HKCR\\A]\n@=\"x\n"), "line 2: a value must be one quoted string");
    EXPECT_EQ(message("[HKEY_NOWHERE\\A]\n"),
              "line 1: registry key path \"HKEY_NOWHERE\\A\" does not start with a hive");
}

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
    // A folder that cannot be created (a plain file stands in its way).
    const std::filesystem::path blocked = folder.path() / "blocked";
    writeFile(blocked, "");
    EXPECT_THROW(registry.save(blocked / "registry"), RegistryError);
    // Reading a missing file gives an empty registry.
    EXPECT_TRUE(Registry::load(folder.path() / "absent").subkeyNames("HKCR").empty());
}

TEST(Registry, DefaultPathFollowsTheEnvironment) {
    {
        ScopedEnvironment registryVariable("OSTRELJET_REGISTRY", "/tmp/somewhere/reg.txt");
        EXPECT_EQ(Registry::defaultPath(), "/tmp/somewhere/reg.txt");
    }
    ScopedEnvironment registryVariable("OSTRELJET_REGISTRY", std::nullopt);
    {
        ScopedEnvironment config("XDG_CONFIG_HOME", "/xdg");
        EXPECT_EQ(Registry::defaultPath(), "/xdg/ostreljet/registry");
    }
    ScopedEnvironment config("XDG_CONFIG_HOME", std::nullopt);
    ScopedEnvironment home("HOME", "/home/user");
    EXPECT_EQ(Registry::defaultPath(), "/home/user/.config/ostreljet/registry");
}

TEST(Registry, ProgrammaticIdentifiersResolveToClassIdentifiers) {
    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "registry";
    ScopedEnvironment registryVariable("OSTRELJET_REGISTRY", file.string());
    Registry registry;
    registry.setValue("HKCR\\Ostreljet.Test.1\\CLSID", "", "{12345678-9ABC-DEF0-1122-334455667788}");
    registry.setValue("HKCR\\Ostreljet.Broken\\CLSID", "", "not an identifier");
    registry.save(file);

    CLSID clsid{};
    ASSERT_EQ(CLSIDFromProgID("ostreljet.test.1", &clsid), S_OK);
    EXPECT_EQ(guidToString(clsid), "{12345678-9ABC-DEF0-1122-334455667788}");
    clsid = IID_NULL;
    ASSERT_EQ(CLSIDFromProgID(u"Ostreljet.Test.1", &clsid), S_OK);
    EXPECT_EQ(guidToString(clsid), "{12345678-9ABC-DEF0-1122-334455667788}");
    EXPECT_EQ(CLSIDFromProgID("Ostreljet.Unknown", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromProgID("Ostreljet.Broken", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromProgID("", &clsid), CO_E_CLASSSTRING);
    writeFile(file, "garbage\n");
    EXPECT_EQ(CLSIDFromProgID("Ostreljet.Test.1", &clsid), REGDB_E_READREGDB);
}
