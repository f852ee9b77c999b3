#pragma once

#include "ostreljet/platform/TypeInfo.hpp"

// Gives a client the type information of the class of an object it holds.
namespace ostreljet::platform {

class IProvideClassInfo : public IUnknown {
public:
    // Writes the class's type information (a TKIND_COCLASS type), with one reference.
    virtual HRESULT GetClassInfo(ITypeInfo **ppTI) = 0;
};

} // namespace ostreljet::platform
