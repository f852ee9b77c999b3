#pragma once

#include "ostreljet/platform/Guid.hpp"

// The root interface of every object: identity by interface identifier and reference counting.
namespace ostreljet::platform {

class IUnknown {
public:
    // Writes the object's interface for riid to *ppv (with one added reference) and returns S_OK;
    // writes nullptr and returns E_NOINTERFACE when the object has no such interface.
    virtual HRESULT QueryInterface(REFIID riid, void **ppv) = 0;
    // Adds a reference; returns the new count (for diagnostics only).
    virtual ULONG AddRef() = 0;
    // Drops a reference and destroys the object when none remain; returns the new count.
    virtual ULONG Release() = 0;

protected:
    // Objects are destroyed by their own Release, never through an interface pointer.
    virtual ~IUnknown() = default;
};

} // namespace ostreljet::platform
