#pragma once

#include "ostreljet/component/OstreljetModelFactory.hpp"
#include "ostreljet/platform/Registry.hpp"

#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

// The component library as a module: its identifiers, its class object, its lock count and its
// self-registration, and the four entry points through which a host reaches them.
namespace ostreljet {

// {5BDD56D6-2857-42DC-8F43-ADA9BE13D0D2}: the module's application identifier (%APPID% in the script).
constexpr platform::GUID APPID_Ostreljet{
    0x5BDD56D6, 0x2857, 0x42DC, {0x8F, 0x43, 0xAD, 0xA9, 0xBE, 0x13, 0xD0, 0xD2}};

class COstreljetModule {
public:
    // The one module of the library.
    static COstreljetModule &instance();

    COstreljetModule(const COstreljetModule &) = delete;
    COstreljetModule &operator=(const COstreljetModule &) = delete;

    // The identifier of the type library.
    const platform::GUID &libraryId() const;
    // Live objects plus server locks.
    platform::LONG lockCount() const;

    // The class object of OstreljetModel for the type library's class identifier (the cached factory),
    // asked for riid; CLASS_E_CLASSNOTAVAILABLE for any other class identifier.
    platform::HRESULT getClassObject(platform::REFCLSID rclsid, platform::REFIID riid, void **ppv);
    // S_OK when nothing holds the module, otherwise S_FALSE.
    platform::HRESULT canUnloadNow() const;

    // Runs the registration script (register or unregister mode) with %MODULE% the library's full path
    // and %APPID% the application identifier, and registers or unregisters the type library, in the
    // registry file given. Returns the registrar's status; lastError() then gives the reason.
    platform::HRESULT
    registerServer(const std::filesystem::path &registryFile = platform::Registry::defaultPath());
    platform::HRESULT
    unregisterServer(const std::filesystem::path &registryFile = platform::Registry::defaultPath());
    std::string lastError() const;

    // The full path of the library file that holds this module; empty when it cannot be found.
    static std::filesystem::path modulePath();

private:
    COstreljetModule() = default;
    platform::HRESULT updateRegistry(const std::filesystem::path &registryFile, bool registering);

    OstreljetModelFactory factory_; // the cached class object
    mutable std::mutex mutex_;      // guards lastError_
    std::string lastError_;         // reason of the last failed (un)registration
};

// Creates an object by programmatic identifier as a scripting host does: the identifier is resolved to
// a class identifier in the registry (Registry::defaultPath()), the class's InprocServer32 library is
// loaded and its DllGetClassObject asked for the class object, which creates the object for riid.
// CO_E_CLASSSTRING for an unknown identifier, REGDB_E_CLASSNOTREG when the class has no server,
// CO_E_DLLNOTFOUND when the server is not named by an absolute path or cannot be loaded, CO_E_ERRORINDLL
// when it has no DllGetClassObject, otherwise the class object's
// status (CLASS_E_CLASSNOTAVAILABLE when the server does not serve that class).
platform::HRESULT CoCreateInstanceByProgID(std::string_view progId, platform::REFIID riid, void **ppv);

constexpr platform::HRESULT CO_E_DLLNOTFOUND = platform::makeHResult(0x800401F8);
constexpr platform::HRESULT CO_E_ERRORINDLL = platform::makeHResult(0x800401F9);

} // namespace ostreljet

// The entry points of the in-process server, with C linkage.
extern "C" {
ostreljet::platform::HRESULT DllGetClassObject(ostreljet::platform::REFCLSID rclsid,
                                               ostreljet::platform::REFIID riid, void **ppv);
ostreljet::platform::HRESULT DllCanUnloadNow(void);
ostreljet::platform::HRESULT DllRegisterServer(void);
ostreljet::platform::HRESULT DllUnregisterServer(void);
}
