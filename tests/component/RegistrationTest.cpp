// Self-registration in the registry file, creation by name, the type library's help strings and the version.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/component/ModuleResources.hpp"
#include "ostreljet/platform/Registry.hpp"
#include "platform/PlatformTestSupport.hpp"

#include <dlfcn.h>

#include <array>
#include <map>
#include <sstream>

using namespace ostreljet::component::test;
using ostreljet::TypeLibrary;
using namespace std::string_literals;
using ostreljet::platform::test::ScopedEnvironment;
using ostreljet::platform::test::TemporaryFolder;

namespace {

// The identifiers literal in the registration script, and those of the type library.
const std::string scriptClass = "{44937CCF-1EBA-4EAA-8498-E59234612930}";
const std::string scriptLibrary = "{7E1238B7-9CE7-4E78-B272-ABC450F4B6C0}";
const std::string libraryClass = "{412DC50A-8124-419E-9912-40ECD383B456}";
const std::string libraryId = "{D91452C7-B2C6-47ED-9CE0-2A9D32756CBD}";
const std::string interfaceId = "{9B9C34C3-5C2E-4D87-B9BB-F3D770271793}";

// The library file that holds the entry points, found independently of the module's own lookup.
std::filesystem::path libraryFile() {
    Dl_info info{};
    EXPECT_NE(::dladdr(reinterpret_cast<const void *>(&DllRegisterServer), &info), 0);
    return std::filesystem::canonical(info.dli_fname);
}

class Registration : public ::testing::Test {
protected:
    std::filesystem::path file() const { return folder.path() / "registry"; }
    Registry load() const { return Registry::load(file()); }
    TemporaryFolder folder;
    ScopedEnvironment environment{Registry::pathVariable, (folder.path() / "registry").string()};
};

std::string string(BSTR text) {
    std::string out = bstrToUtf8(text);
    SysFreeString(text);
    return out;
}

} // namespace

TEST_F(Registration, RegisterWritesTheScriptUnregisterRemovesOnlyOurEntriesAndTheProgIDIsNotServed) {
    EXPECT_EQ(DllUnregisterServer(), S_OK); // no file and absent entries are no error
    const std::string otherClass = "HKCR\\CLSID\\{00000000-1111-2222-3333-444444444444}";
    Registry before;
    before.setValue(otherClass, "", "Other Class");
    before.save(file());
    ASSERT_EQ(DllRegisterServer(), S_OK);
    ASSERT_EQ(DllRegisterServer(), S_OK); // registering twice is harmless
    const Registry registry = load();
    const std::string module = libraryFile().string();
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel.1\\CLSID"), scriptClass);
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel\\CurVer"), "Ostreljet.OstreljetModel.1");
    const std::string key = "HKCR\\CLSID\\" + scriptClass;
    EXPECT_EQ(registry.value(key), "OstreljetModel Class");
    EXPECT_EQ(registry.value(key + "\\VersionIndependentProgID"), "Ostreljet.OstreljetModel");
    EXPECT_TRUE(registry.keyExists(key + "\\Programmable"));
    EXPECT_EQ(registry.value(key + "\\InprocServer32"), module);
    EXPECT_EQ(registry.value(key + "\\InprocServer32", "ThreadingModel"), "Both");
    EXPECT_EQ(registry.value(key, "AppID"), "{5BDD56D6-2857-42DC-8F43-ADA9BE13D0D2}");
    EXPECT_EQ(registry.value(key + "\\TypeLib"), scriptLibrary);
    EXPECT_FALSE(registry.keyExists("HKCR\\CLSID\\" + libraryClass)); // the served class is not in the script
    const std::string library = "HKCR\\TypeLib\\" + libraryId + "\\1.0";
    EXPECT_EQ(registry.value(library), "Ostreljet 1.0 Type Library");
    EXPECT_EQ(registry.value(library + "\\0\\win32"), module);
    EXPECT_EQ(registry.value(library + "\\HELPDIR"), libraryFile().parent_path().string());
    EXPECT_EQ(registry.value("HKCR\\Interface\\" + interfaceId + "\\TypeLib"), libraryId);
    // Creation by name meets the script's class, which the module does not serve.
    void *object = nullptr;
    for (const char *name : {"Ostreljet.OstreljetModel", "Ostreljet.OstreljetModel.1"}) {
        object = reinterpret_cast<void *>(1);
        EXPECT_EQ(ostreljet::CoCreateInstanceByProgID(name, IID_IDispatch, &object),
                  CLASS_E_CLASSNOTAVAILABLE)
            << name;
        EXPECT_EQ(object, nullptr);
    }
    ASSERT_EQ(DllUnregisterServer(), S_OK);
    const Registry after = load();
    for (const std::string &gone : {"HKCR\\Ostreljet.OstreljetModel.1"s, "HKCR\\Ostreljet.OstreljetModel"s,
                                    key, "HKCR\\TypeLib\\" + libraryId, "HKCR\\Interface\\" + interfaceId}) {
        EXPECT_FALSE(after.keyExists(gone)) << gone;
    }
    EXPECT_EQ(after.value(otherClass), "Other Class");
    EXPECT_EQ(ostreljet::CoCreateInstanceByProgID("Ostreljet.OstreljetModel", IID_IDispatch, &object),
              CO_E_CLASSSTRING);
    EXPECT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_EQ(load().toText(), after.toText());
}

TEST(TypeLibraryDescription, EveryOperationInTableOrderWithItsHelpString) {
    // Name, dispid and kinds (g get, p put, f method) of each operation, in table order.
    std::istringstream table(
        "stackHeight 1 gp orificeDiameter 3 gp stackLocationX 4 gp stackLocationY 5 gp releaseAngle 6 gp "
        "dischargeCoefficient 7 gp massFlowrate 8 gp atmosphereMolecularWeight 9 gp atmospherePressure 10 gp "
        "atmosphereSpecificHeat 11 gp atmosphereTemperature 12 gp atmosphereSurfaceRoughness 13 gp "
        "referenceWindHeight 14 gp referenceWindSpeed 15 gp referenceWindBearing 16 gp "
        "sourceMolecularWeight 17 gp sourceSpecificHeat 18 gp sourceSpecificHeatRatio 19 gp "
        "sourceTemperature 20 gp timeAveraging 21 gp stoppingConcentration 22 gp pasquillStability 23 gp "
        "runModel 24 f stackBearing 25 gp getConcentration 27 f getErrorMessages 29 f versionInfo 30 g "
        "getConcentrationArray 38 f messageCount 28 g profileRadius 31 g centrelineConcentration 32 g "
        "centrelineTemperature 33 g arclength 34 g centrelineLocation 35 g numberOfOutputSteps 36 f "
        "centrelineVelocity 37 g");
    const std::map<std::string, std::string> unusualHelp = {
        {"massFlowrate", "property initialMassFlowrate"},
        {"getConcentration", "method getLocationConcentration"},
        {"numberOfOutputSteps", "method numberOfOuputSteps"}};
    ITypeInfo *info = nullptr;
    ASSERT_EQ(TypeLibrary::interfaceTypeInfo(&info), S_OK);
    std::string name;
    std::string kinds;
    DISPID dispid = 0;
    UINT i = 0;
    while (table >> name >> dispid >> kinds) {
        for (const char kind : kinds) {
            FUNCDESC *function = nullptr;
            ASSERT_EQ(info->GetFuncDesc(i, &function), S_OK);
            EXPECT_EQ(function->memid, dispid) << name;
            EXPECT_EQ(function->invkind, kind == 'f'   ? INVOKE_FUNC
                                         : kind == 'g' ? INVOKE_PROPERTYGET
                                                       : INVOKE_PROPERTYPUT)
                << name;
            EXPECT_EQ(function->oVft, static_cast<SHORT>((7 + i) * sizeof(void *))) << name;
            BSTR documented = nullptr;
            BSTR help = nullptr;
            ASSERT_EQ(info->GetDocumentation(function->memid, &documented, &help, nullptr, nullptr), S_OK);
            EXPECT_EQ(string(documented), name);
            const auto unusual = unusualHelp.find(name);
            EXPECT_EQ(string(help), unusual != unusualHelp.end()
                                        ? unusual->second
                                        : (kind == 'f' ? "method " : "property ") + name);
            info->ReleaseFuncDesc(function);
            ++i;
        }
    }
    EXPECT_EQ(i, 59u);
    FUNCDESC *beyond = nullptr;
    EXPECT_EQ(info->GetFuncDesc(59, &beyond), TYPE_E_ELEMENTNOTFOUND);
    info->Release();
}

TEST(ModuleResourcesRecord, VersionRecord) {
    const auto &version = ostreljet::ModuleResources::versionInfo();
    EXPECT_EQ(version.fileVersion, (std::array<std::uint16_t, 4>{1, 1, 0, 0}));
    EXPECT_EQ(version.productVersion, (std::array<std::uint16_t, 4>{1, 1, 0, 0}));
    EXPECT_EQ(version.fileType, 2u); // a dynamic-link library
    EXPECT_EQ(version.fileOS, 4u);   // for 32-bit Windows
    std::map<std::string, std::string> strings;
    for (const auto &[key, value] : version.strings) {
        strings.emplace(key, value);
    }
    const std::map<std::string, std::string> expected = {{"FileVersion", "1.1.0.0"},
                                                         {"ProductVersion", "1.1.0.0"},
                                                         {"ProductName", "Ostreljet"},
                                                         {"InternalName", "Ostreljet.dll"},
                                                         {"OriginalFilename", "Ostreljet.dll"}};
    EXPECT_EQ(strings, expected);
}

TEST_F(Registration, CreationByNameLoadsOnlyALibraryAtAnAbsolutePath) {
    // A registry that names a bare or relative library: the search path or the current folder would
    // decide which code runs, so nothing is loaded.
    for (const std::string server : {"libostreljet.so.1", "./libplanted.so", "planted/lib.so"}) {
        Registry planted;
        planted.setValue("HKCR\\Planted.Model\\CLSID", "", libraryClass);
        planted.setValue("HKCR\\CLSID\\" + libraryClass + "\\InprocServer32", "", server);
        planted.save(file());
        void *object = reinterpret_cast<void *>(1);
        EXPECT_EQ(ostreljet::CoCreateInstanceByProgID("Planted.Model", IID_IDispatch, &object),
                  ostreljet::CO_E_DLLNOTFOUND)
            << server;
        EXPECT_EQ(object, nullptr);
    }
    // The same entry with the library's absolute path creates the object.
    Registry real;
    real.setValue("HKCR\\Planted.Model\\CLSID", "", libraryClass);
    real.setValue("HKCR\\CLSID\\" + libraryClass + "\\InprocServer32", "", libraryFile().string());
    real.save(file());
    IDispatch *object = nullptr;
    ASSERT_EQ(ostreljet::CoCreateInstanceByProgID("Planted.Model", IID_IDispatch,
                                                  reinterpret_cast<void **>(&object)),
              S_OK);
    object->Release();
}
