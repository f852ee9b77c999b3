#include "ostreljet/component/ModuleResources.hpp"

#include "ostreljet/Version.hpp"

namespace ostreljet {

namespace {

constexpr std::uint32_t VOS__WINDOWS32 = 0x00000004;
constexpr std::uint32_t VFT_DLL = 0x00000002;

// The registration script. Its class and type-library identifiers are its own literals.
constexpr std::string_view registrationScript = R"(HKCR
{
	Ostreljet.OstreljetModel.1 = s 'OstreljetModel Class'
	{
		CLSID = s '{44937CCF-1EBA-4EAA-8498-E59234612930}'
	}
	Ostreljet.OstreljetModel = s 'OstreljetModel Class'
	{
		CLSID = s '{44937CCF-1EBA-4EAA-8498-E59234612930}'
		CurVer = s 'Ostreljet.OstreljetModel.1'
	}
	NoRemove CLSID
	{
		ForceRemove {44937CCF-1EBA-4EAA-8498-E59234612930} = s 'OstreljetModel Class'
		{
			ProgID = s 'Ostreljet.OstreljetModel.1'
			VersionIndependentProgID = s 'Ostreljet.OstreljetModel'
			ForceRemove 'Programmable'
			InprocServer32 = s '%MODULE%'
			{
				val ThreadingModel = s 'Both'
			}
			val AppID = s '%APPID%'
			'TypeLib' = s '{7E1238B7-9CE7-4E78-B272-ABC450F4B6C0}'
		}
	}
}
)";

const ModuleResources::VersionInfo version{
    {OSTRELJET_VERSION_MAJOR, OSTRELJET_VERSION_MINOR, OSTRELJET_VERSION_PATCH, OSTRELJET_VERSION_TWEAK},
    {OSTRELJET_VERSION_MAJOR, OSTRELJET_VERSION_MINOR, OSTRELJET_VERSION_PATCH, OSTRELJET_VERSION_TWEAK},
    VOS__WINDOWS32,
    VFT_DLL,
    {{{"FileVersion", OSTRELJET_VERSION_STRING},
      {"ProductVersion", OSTRELJET_VERSION_STRING},
      {"ProductName", "Ostreljet"},
      {"InternalName", "Ostreljet.dll"},
      {"OriginalFilename", "Ostreljet.dll"}}},
};

} // namespace

std::optional<std::string_view> ModuleResources::string(int id) {
    if (id == projectNameId) {
        return std::string_view("Ostreljet");
    }
    return std::nullopt;
}

std::optional<std::string_view> ModuleResources::registryScript(int id) {
    if (id == registrationScriptId) {
        return registrationScript;
    }
    return std::nullopt;
}

const ModuleResources::VersionInfo &ModuleResources::versionInfo() {
    return version;
}

} // namespace ostreljet
