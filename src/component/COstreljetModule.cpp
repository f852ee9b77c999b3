#include "ostreljet/component/COstreljetModule.hpp"

#include "ostreljet/component/ModuleResources.hpp"
#include "ostreljet/component/TypeLibrary.hpp"
#include "ostreljet/platform/ModuleLockCount.hpp"
#include "ostreljet/platform/Registrar.hpp"

#include <dlfcn.h>

namespace ostreljet {

using namespace platform;

COstreljetModule &COstreljetModule::instance() {
    static COstreljetModule module;
    return module;
}

const GUID &COstreljetModule::libraryId() const {
    return LIBID_Ostreljet;
}

LONG COstreljetModule::lockCount() const {
    return ModuleLockCount::total();
}

HRESULT COstreljetModule::getClassObject(REFCLSID rclsid, REFIID riid, void **ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    if (rclsid != CLSID_OstreljetModel) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return factory_.QueryInterface(riid, ppv);
}

HRESULT COstreljetModule::canUnloadNow() const {
    return ModuleLockCount::canUnloadNow();
}

HRESULT COstreljetModule::registerServer(const std::filesystem::path &registryFile) {
    return updateRegistry(registryFile, true);
}

HRESULT COstreljetModule::unregisterServer(const std::filesystem::path &registryFile) {
    return updateRegistry(registryFile, false);
}

std::string COstreljetModule::lastError() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lastError_;
}

HRESULT COstreljetModule::updateRegistry(const std::filesystem::path &registryFile, bool registering) {
    // Applies both scripts through the registrar.
    // 1. Set the replacements: the library's path and folder, and the application identifier.
    // 2. Run the class's registration script.
    // 3. Run the type library's script.
    const std::filesystem::path module = modulePath();
    Registrar registrar(registryFile);
    registrar.AddReplacement("MODULE", module.string());
    registrar.AddReplacement("MODULEDIR", module.parent_path().string());
    registrar.AddReplacement("APPID", guidToString(APPID_Ostreljet));
    const std::string_view classScript =
        *ModuleResources::registryScript(ModuleResources::registrationScriptId);
    const std::string libraryScript = TypeLibrary::registrationScript();
    HRESULT hr =
        registering ? registrar.StringRegister(classScript) : registrar.StringUnregister(classScript);
    if (SUCCEEDED(hr)) {
        hr =
            registering ? registrar.StringRegister(libraryScript) : registrar.StringUnregister(libraryScript);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    lastError_ = registrar.lastError();
    return hr;
}

std::filesystem::path COstreljetModule::modulePath() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void *>(&COstreljetModule::modulePath), &info) == 0 ||
        info.dli_fname == nullptr) {
        return {};
    }
    std::error_code error;
    std::filesystem::path path = std::filesystem::weakly_canonical(info.dli_fname, error);
    return error ? std::filesystem::absolute(info.dli_fname, error) : path;
}

HRESULT CoCreateInstanceByProgID(std::string_view progId, REFIID riid, void **ppv) {
    // Creates an object by name as a scripting host does.
    // 1. Resolve the programmatic identifier to a class identifier.
    // 2. Find the class's in-process server in the registry and load it.
    // 3. Ask the server for the class object and let it create the object.
    if (ppv == nullptr) {
        return E_POINTER;
    }
    *ppv = nullptr;
    CLSID clsid{};
    HRESULT hr = CLSIDFromProgID(progId, &clsid);
    if (FAILED(hr)) {
        return hr;
    }
    std::optional<std::string> server;
    try {
        const Registry registry = Registry::load(Registry::defaultPath());
        server = registry.value("HKEY_CLASSES_ROOT\\CLSID\\" + guidToString(clsid) + "\\InprocServer32");
    } catch (const RegistryError &) {
        return REGDB_E_READREGDB;
    }
    if (!server || server->empty()) {
        return REGDB_E_CLASSNOTREG;
    }
    // Only a library named by an absolute path is loaded: a bare or relative name would let the search
    // path or the current folder decide which code runs.
    if (server->front() != '/') {
        return CO_E_DLLNOTFOUND;
    }
    // The library stays loaded for the objects it serves; as on the platform, unloading is left to a
    // later sweep that asks DllCanUnloadNow.
    void *library = ::dlopen(server->c_str(), RTLD_NOW);
    if (library == nullptr) {
        return CO_E_DLLNOTFOUND;
    }
    using GetClassObject = HRESULT (*)(REFCLSID, REFIID, void **);
    const auto getClassObject = reinterpret_cast<GetClassObject>(::dlsym(library, "DllGetClassObject"));
    if (getClassObject == nullptr) {
        ::dlclose(library);
        return CO_E_ERRORINDLL;
    }
    IClassFactory *factory = nullptr;
    hr = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void **>(&factory));
    if (FAILED(hr)) {
        return hr;
    }
    hr = factory->CreateInstance(nullptr, riid, ppv);
    factory->Release();
    return hr;
}

} // namespace ostreljet

extern "C" {

ostreljet::platform::HRESULT DllGetClassObject(ostreljet::platform::REFCLSID rclsid,
                                               ostreljet::platform::REFIID riid, void **ppv) {
    return ostreljet::COstreljetModule::instance().getClassObject(rclsid, riid, ppv);
}

ostreljet::platform::HRESULT DllCanUnloadNow(void) {
    return ostreljet::COstreljetModule::instance().canUnloadNow();
}

ostreljet::platform::HRESULT DllRegisterServer(void) {
    return ostreljet::COstreljetModule::instance().registerServer();
}

ostreljet::platform::HRESULT DllUnregisterServer(void) {
    return ostreljet::COstreljetModule::instance().unregisterServer();
}
}
