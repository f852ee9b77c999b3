// Self-registration in the registry file, creation by name, the type library and the version record.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/component/IOstreljetModel.hpp"
#include "ostreljet/component/ModuleResources.hpp"
#include "ostreljet/platform/ProvideClassInfo.hpp"
#include "ostreljet/platform/Registry.hpp"
#include "platform/PlatformTestSupport.hpp"

#include <dlfcn.h>

#include <array>
#include <fstream>
#include <map>

using namespace ostreljet::component::test;
using ostreljet::COstreljetModule;
using ostreljet::TypeLibrary;
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

TEST_F(Registration, RegisterWritesTheScriptAndTheTypeLibrary) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    const Registry registry = load();
    const std::string module = libraryFile().string();

    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel.1"), "OstreljetModel Class");
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel.1\\CLSID"), scriptClass);
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel"), "OstreljetModel Class");
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel\\CLSID"), scriptClass);
    EXPECT_EQ(registry.value("HKCR\\Ostreljet.OstreljetModel\\CurVer"), "Ostreljet.OstreljetModel.1");

    const std::string key = "HKCR\\CLSID\\" + scriptClass;
    EXPECT_EQ(registry.value(key), "OstreljetModel Class");
    EXPECT_EQ(registry.value(key + "\\ProgID"), "Ostreljet.OstreljetModel.1");
    EXPECT_EQ(registry.value(key + "\\VersionIndependentProgID"), "Ostreljet.OstreljetModel");
    EXPECT_TRUE(registry.keyExists(key + "\\Programmable"));
    EXPECT_EQ(registry.value(key + "\\Programmable"), std::nullopt);
    EXPECT_EQ(registry.value(key + "\\InprocServer32"), module);
    EXPECT_EQ(registry.value(key + "\\InprocServer32", "ThreadingModel"), "Both");
    EXPECT_EQ(registry.value(key, "AppID"), "{5BDD56D6-2857-42DC-8F43-ADA9BE13D0D2}");
    EXPECT_EQ(registry.value(key + "\\TypeLib"), scriptLibrary);
    // The served class is not in the script.
    EXPECT_FALSE(registry.keyExists("HKCR\\CLSID\\" + libraryClass));

    const std::string library = "HKCR\\TypeLib\\" + libraryId + "\\1.0";
    EXPECT_EQ(registry.value(library), "Ostreljet 1.0 Type Library");
    EXPECT_EQ(registry.value(library + "\\0\\win32"), module);
    EXPECT_EQ(registry.value(library + "\\FLAGS"), "0");
    EXPECT_EQ(registry.value(library + "\\HELPDIR"), libraryFile().parent_path().string());
    EXPECT_EQ(registry.value("HKCR\\Interface\\" + interfaceId), "IOstreljetModel");
    EXPECT_EQ(registry.value("HKCR\\Interface\\" + interfaceId + "\\TypeLib"), libraryId);
    EXPECT_EQ(registry.value("HKCR\\Interface\\" + interfaceId + "\\TypeLib", "Version"), "1.0");
}

TEST_F(Registration, UnregisterRemovesOnlyOurEntriesAndAbsentEntriesAreNoError) {
    // Another component's entries share the class and library roots.
    Registry before;
    before.setValue("HKCR\\CLSID\\{00000000-1111-2222-3333-444444444444}", "", "Other Class");
    before.setValue("HKCR\\TypeLib\\{00000000-1111-2222-3333-555555555555}\\2.0", "", "Other Library");
    before.save(file());

    ASSERT_EQ(DllRegisterServer(), S_OK);
    ASSERT_EQ(DllRegisterServer(), S_OK); // registering twice is harmless
    ASSERT_EQ(DllUnregisterServer(), S_OK);
    const Registry registry = load();
    EXPECT_FALSE(registry.keyExists("HKCR\\Ostreljet.OstreljetModel.1"));
    EXPECT_FALSE(registry.keyExists("HKCR\\Ostreljet.OstreljetModel"));
    EXPECT_FALSE(registry.keyExists("HKCR\\CLSID\\" + scriptClass));
    EXPECT_FALSE(registry.keyExists("HKCR\\TypeLib\\" + libraryId));
    EXPECT_FALSE(registry.keyExists("HKCR\\Interface\\" + interfaceId));
    EXPECT_EQ(registry.value("HKCR\\CLSID\\{00000000-1111-2222-3333-444444444444}"), "Other Class");
    EXPECT_EQ(registry.value("HKCR\\TypeLib\\{00000000-1111-2222-3333-555555555555}\\2.0"), "Other Library");

    EXPECT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_EQ(load().toText(), registry.toText());
}

TEST_F(Registration, UnregisterOnAMissingFileSucceeds) {
    EXPECT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_FALSE(load().keyExists("HKCR\\CLSID\\" + scriptClass));
}

TEST_F(Registration, UnreadableRegistryReportsTheRegistrarFailure) {
    {
        std::ofstream out(file());
        out << "[HKEY_NOWHERE\\Broken]\n";
    }
    EXPECT_EQ(DllRegisterServer(), E_FAIL);
    EXPECT_FALSE(COstreljetModule::instance().lastError().empty());
    EXPECT_EQ(DllUnregisterServer(), E_FAIL);
}

TEST_F(Registration, ScriptIdentifiersDifferFromTheTypeLibrary) {
    const std::string_view script =
        *ostreljet::ModuleResources::registryScript(ostreljet::ModuleResources::registrationScriptId);
    EXPECT_NE(script.find(scriptClass), std::string_view::npos);
    EXPECT_NE(script.find(scriptLibrary), std::string_view::npos);
    EXPECT_EQ(script.find(libraryClass), std::string_view::npos);
    EXPECT_EQ(script.find(libraryId), std::string_view::npos);
    EXPECT_EQ(guidToString(ostreljet::CLSID_OstreljetModel), libraryClass);
    EXPECT_EQ(guidToString(ostreljet::LIBID_Ostreljet), libraryId);
    EXPECT_EQ(guidToString(ostreljet::IID_IOstreljetModel), interfaceId);
    EXPECT_EQ(guidToString(COstreljetModule::instance().libraryId()), libraryId);
}

TEST_F(Registration, CreationByNameMeetsTheScriptsClassWhichIsNotServed) {
    void *object = reinterpret_cast<void *>(1);
    EXPECT_EQ(ostreljet::CoCreateInstanceByProgID("Ostreljet.OstreljetModel", IID_IDispatch, &object),
              CO_E_CLASSSTRING); // not registered yet
    EXPECT_EQ(object, nullptr);

    ASSERT_EQ(DllRegisterServer(), S_OK);
    for (const char *name : {"Ostreljet.OstreljetModel", "Ostreljet.OstreljetModel.1"}) {
        object = reinterpret_cast<void *>(1);
        EXPECT_EQ(ostreljet::CoCreateInstanceByProgID(name, IID_IDispatch, &object),
                  CLASS_E_CLASSNOTAVAILABLE)
            << name;
        EXPECT_EQ(object, nullptr);
    }

    // A registry that names the served class reaches the same server and creates the object.
    Registry registry = load();
    registry.setValue("HKCR\\Ostreljet.Served\\CLSID", "", libraryClass);
    registry.setValue("HKCR\\CLSID\\" + libraryClass + "\\InprocServer32", "", libraryFile().string());
    registry.setValue("HKCR\\Ostreljet.Elsewhere\\CLSID", "", libraryClass + "x");
    registry.setValue("HKCR\\Ostreljet.Serverless\\CLSID", "", scriptLibrary);
    registry.save(file());
    IDispatch *dispatch = nullptr;
    ASSERT_EQ(ostreljet::CoCreateInstanceByProgID("Ostreljet.Served", IID_IDispatch,
                                                  reinterpret_cast<void **>(&dispatch)),
              S_OK);
    EXPECT_EQ(DispatchClient(dispatch).get(u"versionInfo").value.vt, VT_BSTR);
    dispatch->Release();
    EXPECT_EQ(ostreljet::CoCreateInstanceByProgID("Ostreljet.Serverless", IID_IDispatch, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(ostreljet::CoCreateInstanceByProgID("Ostreljet.Elsewhere", IID_IDispatch, &object),
              CO_E_CLASSSTRING);
}

TEST(TypeLibraryDescription, LibraryClassAndInterfaceDocumentation) {
    EXPECT_EQ(TypeLibrary::name, "Ostreljet");
    EXPECT_EQ(TypeLibrary::majorVersion, 1);
    EXPECT_EQ(TypeLibrary::minorVersion, 0);
    EXPECT_EQ(TypeLibrary::helpString, "Ostreljet 1.0 Type Library");
    EXPECT_EQ(TypeLibrary::resourceId, 1);

    ITypeInfo *classInfo = nullptr;
    ASSERT_EQ(TypeLibrary::GetTypeInfoOfGuid(ostreljet::CLSID_OstreljetModel, &classInfo), S_OK);
    BSTR name = nullptr;
    BSTR help = nullptr;
    ASSERT_EQ(classInfo->GetDocumentation(MEMBERID_NIL, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(string(name), "OstreljetModel");
    EXPECT_EQ(string(help), "OstreljetModel Class");
    INT flags = 0;
    EXPECT_EQ(classInfo->GetImplTypeFlags(0, &flags), S_OK);
    EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT);
    HREFTYPE reference = 0;
    ASSERT_EQ(classInfo->GetRefTypeOfImplType(0, &reference), S_OK);
    EXPECT_EQ(classInfo->GetRefTypeOfImplType(1, &reference), TYPE_E_ELEMENTNOTFOUND);
    ASSERT_EQ(classInfo->GetRefTypeOfImplType(0, &reference), S_OK);
    ITypeInfo *interfaceInfo = nullptr;
    ASSERT_EQ(classInfo->GetRefTypeInfo(reference, &interfaceInfo), S_OK);
    classInfo->Release();

    ASSERT_EQ(interfaceInfo->GetDocumentation(MEMBERID_NIL, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(string(name), "IOstreljetModel");
    EXPECT_EQ(string(help), "IOstreljetModel Interface");
    TYPEATTR *attributes = nullptr;
    ASSERT_EQ(interfaceInfo->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
    EXPECT_EQ(attributes->guid, ostreljet::IID_IOstreljetModel);
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    interfaceInfo->ReleaseTypeAttr(attributes);
    interfaceInfo->Release();
}

TEST(TypeLibraryDescription, EveryOperationInTableOrderWithItsHelpString) {
    struct Expected {
        const char *name;
        DISPID dispid;
        INVOKEKIND kind;
        const char *help;
    };
    std::vector<Expected> expected;
    const char *properties[] = {"stackHeight",           "orificeDiameter",
                                "stackLocationX",        "stackLocationY",
                                "releaseAngle",          "dischargeCoefficient",
                                "massFlowrate",          "atmosphereMolecularWeight",
                                "atmospherePressure",    "atmosphereSpecificHeat",
                                "atmosphereTemperature", "atmosphereSurfaceRoughness",
                                "referenceWindHeight",   "referenceWindSpeed",
                                "referenceWindBearing",  "sourceMolecularWeight",
                                "sourceSpecificHeat",    "sourceSpecificHeatRatio",
                                "sourceTemperature",     "timeAveraging",
                                "stoppingConcentration", "pasquillStability"};
    const DISPID propertyIds[] = {1,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                  13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23};
    std::vector<std::string> helps;
    helps.reserve(23);
    for (int i = 0; i < 22; ++i) {
        helps.push_back(std::string("property ") + (i == 6 ? "initialMassFlowrate" : properties[i]));
        expected.push_back({properties[i], propertyIds[i], INVOKE_PROPERTYGET, helps.back().c_str()});
        expected.push_back({properties[i], propertyIds[i], INVOKE_PROPERTYPUT, helps.back().c_str()});
    }
    expected.push_back({"runModel", 24, INVOKE_FUNC, "method runModel"});
    expected.push_back({"stackBearing", 25, INVOKE_PROPERTYGET, "property stackBearing"});
    expected.push_back({"stackBearing", 25, INVOKE_PROPERTYPUT, "property stackBearing"});
    expected.push_back({"getConcentration", 27, INVOKE_FUNC, "method getLocationConcentration"});
    expected.push_back({"getErrorMessages", 29, INVOKE_FUNC, "method getErrorMessages"});
    expected.push_back({"versionInfo", 30, INVOKE_PROPERTYGET, "property versionInfo"});
    expected.push_back({"getConcentrationArray", 38, INVOKE_FUNC, "method getConcentrationArray"});
    expected.push_back({"messageCount", 28, INVOKE_PROPERTYGET, "property messageCount"});
    expected.push_back({"profileRadius", 31, INVOKE_PROPERTYGET, "property profileRadius"});
    expected.push_back(
        {"centrelineConcentration", 32, INVOKE_PROPERTYGET, "property centrelineConcentration"});
    expected.push_back({"centrelineTemperature", 33, INVOKE_PROPERTYGET, "property centrelineTemperature"});
    expected.push_back({"arclength", 34, INVOKE_PROPERTYGET, "property arclength"});
    expected.push_back({"centrelineLocation", 35, INVOKE_PROPERTYGET, "property centrelineLocation"});
    expected.push_back({"numberOfOutputSteps", 36, INVOKE_FUNC, "method numberOfOuputSteps"});
    expected.push_back({"centrelineVelocity", 37, INVOKE_PROPERTYGET, "property centrelineVelocity"});
    ASSERT_EQ(expected.size(), 59u);

    ITypeInfo *info = nullptr;
    ASSERT_EQ(TypeLibrary::interfaceTypeInfo(&info), S_OK);
    for (UINT i = 0; i < expected.size(); ++i) {
        FUNCDESC *function = nullptr;
        ASSERT_EQ(info->GetFuncDesc(i, &function), S_OK);
        EXPECT_EQ(function->memid, expected[i].dispid) << i;
        EXPECT_EQ(function->invkind, expected[i].kind) << i;
        EXPECT_EQ(function->oVft, static_cast<SHORT>((7 + i) * sizeof(void *))) << i;
        EXPECT_EQ(function->elemdescFunc.vt, VT_HRESULT);
        BSTR name = nullptr;
        BSTR help = nullptr;
        ASSERT_EQ(info->GetDocumentation(function->memid, &name, &help, nullptr, nullptr), S_OK);
        EXPECT_EQ(string(name), expected[i].name) << i;
        EXPECT_EQ(string(help), expected[i].help) << i;
        info->ReleaseFuncDesc(function);
    }
    FUNCDESC *beyond = nullptr;
    EXPECT_EQ(info->GetFuncDesc(59, &beyond), TYPE_E_ELEMENTNOTFOUND);
    info->Release();
}

TEST(TypeLibraryDescription, ParameterTypesAndEnumerations) {
    ITypeInfo *info = nullptr;
    ASSERT_EQ(TypeLibrary::interfaceTypeInfo(&info), S_OK);

    // get_pasquillStability (function 42) returns the PASQUILL enumeration.
    FUNCDESC *function = nullptr;
    ASSERT_EQ(info->GetFuncDesc(42, &function), S_OK);
    ASSERT_EQ(function->cParams, 1);
    EXPECT_EQ(function->lprgelemdescParam[0].vt, VT_USERDEFINED);
    EXPECT_EQ(function->lprgelemdescParam[0].wParamFlags, PARAMFLAG_FOUT | PARAMFLAG_FRETVAL);
    ITypeInfo *enumeration = nullptr;
    ASSERT_EQ(info->GetRefTypeInfo(function->lprgelemdescParam[0].hreftype, &enumeration), S_OK);
    info->ReleaseFuncDesc(function);
    BSTR name = nullptr;
    ASSERT_EQ(enumeration->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(string(name), "PASQUILL");
    TYPEATTR *attributes = nullptr;
    ASSERT_EQ(enumeration->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_ENUM);
    ASSERT_EQ(attributes->cVars, 6);
    enumeration->ReleaseTypeAttr(attributes);
    const char *classes[] = {"PASQUILL_A", "PASQUILL_B", "PASQUILL_C",
                             "PASQUILL_D", "PASQUILL_E", "PASQUILL_F"};
    for (UINT i = 0; i < 6; ++i) {
        VARDESC *member = nullptr;
        ASSERT_EQ(enumeration->GetVarDesc(i, &member), S_OK);
        EXPECT_EQ(member->varValue.vt, VT_I4);
        EXPECT_EQ(member->varValue.lVal, static_cast<LONG>(i));
        ASSERT_EQ(enumeration->GetDocumentation(member->memid, &name, nullptr, nullptr, nullptr), S_OK);
        EXPECT_EQ(string(name), classes[i]);
        enumeration->ReleaseVarDesc(member);
    }
    enumeration->Release();

    // put_timeAveraging (function 39) takes TIME_AVERAGING.
    ASSERT_EQ(info->GetFuncDesc(39, &function), S_OK);
    EXPECT_EQ(function->invkind, INVOKE_PROPERTYPUT);
    EXPECT_EQ(function->lprgelemdescParam[0].wParamFlags, PARAMFLAG_FIN);
    ASSERT_EQ(info->GetRefTypeInfo(function->lprgelemdescParam[0].hreftype, &enumeration), S_OK);
    info->ReleaseFuncDesc(function);
    ASSERT_EQ(enumeration->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(string(name), "TIME_AVERAGING");
    VARDESC *member = nullptr;
    ASSERT_EQ(enumeration->GetVarDesc(1, &member), S_OK);
    EXPECT_EQ(member->varValue.lVal, 1);
    ASSERT_EQ(enumeration->GetDocumentation(member->memid, &name, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(string(name), "LONG_TIME_AVERAGING");
    enumeration->ReleaseVarDesc(member);
    enumeration->Release();

    // getConcentrationArray: six doubles, three 32-bit counts, the variant out; names as in the table.
    ASSERT_EQ(info->GetFuncDesc(50, &function), S_OK);
    ASSERT_EQ(function->cParams, 10);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(function->lprgelemdescParam[i].vt, VT_R8);
    }
    for (int i = 6; i < 9; ++i) {
        EXPECT_EQ(function->lprgelemdescParam[i].vt, VT_I4);
    }
    EXPECT_EQ(function->lprgelemdescParam[9].vt, VT_VARIANT);
    info->ReleaseFuncDesc(function);
    BSTR names[11] = {};
    UINT count = 0;
    ASSERT_EQ(info->GetNames(38, names, 11, &count), S_OK);
    ASSERT_EQ(count, 11u);
    EXPECT_EQ(string(names[0]), "getConcentrationArray");
    EXPECT_EQ(string(names[7]), "NumberOfPointsX");
    for (UINT i = 1; i < count; ++i) {
        if (i != 7) {
            SysFreeString(names[i]);
        }
    }
    // runModel answers a 16-bit boolean.
    ASSERT_EQ(info->GetFuncDesc(44, &function), S_OK);
    EXPECT_EQ(function->memid, 24);
    EXPECT_EQ(function->lprgelemdescParam[0].vt, VT_BOOL);
    info->ReleaseFuncDesc(function);
    info->Release();
}

TEST(ModuleResourcesRecord, VersionRecordProjectNameAndScript) {
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
    EXPECT_EQ(ostreljet::ModuleResources::string(100), "Ostreljet");
    EXPECT_EQ(ostreljet::ModuleResources::string(101), std::nullopt);
    EXPECT_TRUE(ostreljet::ModuleResources::registryScript(101).has_value());
    EXPECT_FALSE(ostreljet::ModuleResources::registryScript(100).has_value());
}
