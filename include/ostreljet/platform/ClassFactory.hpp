#pragma once

#include "ostreljet/platform/Unknown.hpp"

// The class object through which a host creates the objects of one class.
namespace ostreljet::platform {

class IClassFactory : public IUnknown {
public:
    // Creates an object and writes its interface riid to *ppvObject. With an outer object pUnkOuter the
    // new object is aggregated: riid must then be IID_IUnknown and the inner (non-delegating) unknown is
    // returned, or CLASS_E_NOAGGREGATION when the class cannot be aggregated.
    virtual HRESULT CreateInstance(IUnknown *pUnkOuter, REFIID riid, void **ppvObject) = 0;
    // Holds (fLock nonzero) or releases a server lock that keeps the module loaded.
    virtual HRESULT LockServer(BOOL fLock) = 0;
};

} // namespace ostreljet::platform
