#pragma once

#include "ostreljet/platform/Guid.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

// The resources that the component library carries: its project name, its registration script and its
// version record.
namespace ostreljet {

// {44937CCF-1EBA-4EAA-8498-E59234612930}: the class identifier written by the registration script. It
// differs from the one that the class object serves.
constexpr platform::CLSID CLSID_OstreljetModelScript{
    0x44937CCF, 0x1EBA, 0x4EAA, {0x84, 0x98, 0xE5, 0x92, 0x34, 0x61, 0x29, 0x30}};
// {7E1238B7-9CE7-4E78-B272-ABC450F4B6C0}: the type-library identifier written by the registration
// script. It differs from the identifier of the type library itself.
constexpr platform::GUID LIBID_OstreljetScript{
    0x7E1238B7, 0x9CE7, 0x4E78, {0xB2, 0x72, 0xAB, 0xC4, 0x50, 0xF4, 0xB6, 0xC0}};

class ModuleResources {
public:
    // String resource holding the project name.
    static constexpr int projectNameId = 100;
    // Resource of type REGISTRY holding the registration script.
    static constexpr int registrationScriptId = 101;

    static constexpr std::string_view programmaticId = "Ostreljet.OstreljetModel.1";
    static constexpr std::string_view versionIndependentProgrammaticId = "Ostreljet.OstreljetModel";

    // The version record of the library file.
    struct VersionInfo {
        std::array<std::uint16_t, 4> fileVersion;    // the project version
        std::array<std::uint16_t, 4> productVersion; // the project version
        std::uint32_t fileOS;                        // VOS__WINDOWS32
        std::uint32_t fileType;                      // VFT_DLL
        // The string table, in this order: FileVersion, ProductVersion, ProductName, InternalName,
        // OriginalFilename.
        std::array<std::pair<std::string_view, std::string_view>, 5> strings;
    };

    ModuleResources() = delete;

    // The string resource with this identifier; nothing when the module has none.
    static std::optional<std::string_view> string(int id);
    // The REGISTRY resource with this identifier; nothing when the module has none.
    static std::optional<std::string_view> registryScript(int id);
    static const VersionInfo &versionInfo();
};

} // namespace ostreljet
