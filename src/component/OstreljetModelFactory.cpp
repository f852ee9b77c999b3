#include "ostreljet/component/OstreljetModelFactory.hpp"

#include "ostreljet/component/OstreljetModel.hpp"
#include "ostreljet/platform/ModuleLockCount.hpp"

namespace ostreljet {

using namespace platform;

HRESULT OstreljetModelFactory::QueryInterface(REFIID riid, void **ppv) {
    if (ppv == nullptr) {
        return E_POINTER;
    }
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
        *ppv = static_cast<IClassFactory *>(this);
        AddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG OstreljetModelFactory::AddRef() {
    return ++references_;
}

ULONG OstreljetModelFactory::Release() {
    ULONG current = references_.load();
    while (current > 1 && !references_.compare_exchange_weak(current, current - 1)) {
    }
    return current > 1 ? current - 1 : current;
}

HRESULT OstreljetModelFactory::CreateInstance(IUnknown *pUnkOuter, REFIID riid, void **ppvObject) {
    return OstreljetModel::create(pUnkOuter, riid, ppvObject);
}

HRESULT OstreljetModelFactory::LockServer(BOOL fLock) {
    if (fLock != 0) {
        ModuleLockCount::lock();
    } else {
        ModuleLockCount::unlock();
    }
    return S_OK;
}

} // namespace ostreljet
