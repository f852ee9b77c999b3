#include "ostreljet/platform/SafeArray.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace ostreljet::platform {

namespace {

// The largest element block that the platform's 32-bit address space could hold.
constexpr std::uint64_t maximumDataBytes = 0x7FFFFFFF;

ULONG elementSize(VARTYPE vt) {
    switch (vt) {
    case VT_I2:
        return sizeof(SHORT);
    case VT_BOOL:
        return sizeof(VARIANT_BOOL);
    case VT_I4:
        return sizeof(LONG);
    case VT_ERROR:
        return sizeof(SCODE);
    case VT_R8:
        return sizeof(DOUBLE);
    case VT_BSTR:
        return sizeof(BSTR);
    case VT_VARIANT:
        return sizeof(VARIANT);
    default:
        return 0;
    }
}

USHORT featuresOf(VARTYPE vt) {
    if (vt == VT_VARIANT) {
        return FADF_HAVEVARTYPE | FADF_VARIANT;
    }
    if (vt == VT_BSTR) {
        return FADF_HAVEVARTYPE | FADF_BSTR;
    }
    return FADF_HAVEVARTYPE;
}

std::uint64_t elementCount(const SAFEARRAY &sa) {
    std::uint64_t count = 1;
    for (const SAFEARRAYBOUND &b : sa.rgsabound) {
        count *= b.cElements;
    }
    return count;
}

void *elementAt(const SAFEARRAY &sa, std::uint64_t offset) {
    return static_cast<unsigned char *>(sa.pvData) + offset * sa.cbElements;
}

// Column-major offset of an index vector; false when an index lies outside its dimension.
bool offsetOf(const SAFEARRAY &sa, const LONG *rgIndices, std::uint64_t &offset) {
    offset = 0;
    std::uint64_t stride = 1;
    for (std::size_t d = 0; d < sa.rgsabound.size(); ++d) {
        const std::int64_t relative =
            static_cast<std::int64_t>(rgIndices[d]) - static_cast<std::int64_t>(sa.rgsabound[d].lLbound);
        if (relative < 0 || relative >= static_cast<std::int64_t>(sa.rgsabound[d].cElements)) {
            return false;
        }
        offset += static_cast<std::uint64_t>(relative) * stride;
        stride *= sa.rgsabound[d].cElements;
    }
    return true;
}

void releaseElements(SAFEARRAY &sa) {
    const std::uint64_t count = elementCount(sa);
    for (std::uint64_t i = 0; i < count; ++i) {
        if (sa.vt == VT_VARIANT) {
            VariantClear(static_cast<VARIANT *>(elementAt(sa, i)));
        } else if (sa.vt == VT_BSTR) {
            BSTR *text = static_cast<BSTR *>(elementAt(sa, i));
            SysFreeString(*text);
            *text = nullptr;
        }
    }
}

} // namespace

SAFEARRAY *SafeArrayCreate(VARTYPE vt, UINT cDims, const SAFEARRAYBOUND *rgsabound) {
    const ULONG size = elementSize(vt);
    if (size == 0 || cDims == 0 || rgsabound == nullptr) {
        return nullptr;
    }
    std::uint64_t bytes = size;
    for (UINT d = 0; d < cDims; ++d) {
        bytes *= rgsabound[d].cElements;
        if (bytes > maximumDataBytes) {
            return nullptr;
        }
    }
    auto *sa = new (std::nothrow) SAFEARRAY{};
    if (sa == nullptr) {
        return nullptr;
    }
    try {
        sa->rgsabound.assign(rgsabound, rgsabound + cDims);
    } catch (const std::bad_alloc &) {
        delete sa;
        return nullptr;
    }
    // Zero-filled storage is a run of empty variants, null strings or zero numbers.
    sa->pvData = std::calloc(bytes == 0 ? 1 : static_cast<std::size_t>(bytes), 1);
    if (sa->pvData == nullptr) {
        delete sa;
        return nullptr;
    }
    sa->cDims = static_cast<USHORT>(cDims);
    sa->fFeatures = featuresOf(vt);
    sa->cbElements = size;
    sa->cLocks = 0;
    sa->vt = vt;
    return sa;
}

SAFEARRAY *SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements) {
    const SAFEARRAYBOUND bound{cElements, lLbound};
    return SafeArrayCreate(vt, 1, &bound);
}

HRESULT SafeArrayDestroy(SAFEARRAY *psa) {
    if (psa == nullptr) {
        return S_OK;
    }
    if (psa->cLocks > 0) {
        return DISP_E_ARRAYISLOCKED;
    }
    releaseElements(*psa);
    std::free(psa->pvData);
    delete psa;
    return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY *psa, SAFEARRAY **ppsaOut) {
    if (ppsaOut == nullptr) {
        return E_INVALIDARG;
    }
    *ppsaOut = nullptr;
    if (psa == nullptr) {
        return S_OK;
    }
    SAFEARRAY *copy = SafeArrayCreate(psa->vt, psa->cDims, psa->rgsabound.data());
    if (copy == nullptr) {
        return E_OUTOFMEMORY;
    }
    const std::uint64_t count = elementCount(*psa);
    for (std::uint64_t i = 0; i < count; ++i) {
        void *from = elementAt(*psa, i);
        void *to = elementAt(*copy, i);
        HRESULT hr = S_OK;
        if (psa->vt == VT_VARIANT) {
            hr = VariantCopy(static_cast<VARIANT *>(to), static_cast<VARIANT *>(from));
        } else if (psa->vt == VT_BSTR) {
            const BSTR text = *static_cast<BSTR *>(from);
            if (text != nullptr) {
                *static_cast<BSTR *>(to) = SysAllocStringLen(text, SysStringLen(text));
                hr = *static_cast<BSTR *>(to) == nullptr ? E_OUTOFMEMORY : S_OK;
            }
        } else {
            std::memcpy(to, from, psa->cbElements);
        }
        if (FAILED(hr)) {
            SafeArrayDestroy(copy);
            return hr;
        }
    }
    *ppsaOut = copy;
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY *psa) {
    return psa == nullptr ? 0 : psa->cDims;
}

UINT SafeArrayGetElemsize(SAFEARRAY *psa) {
    return psa == nullptr ? 0 : psa->cbElements;
}

HRESULT SafeArrayGetVartype(SAFEARRAY *psa, VARTYPE *pvt) {
    if (psa == nullptr || pvt == nullptr) {
        return E_INVALIDARG;
    }
    *pvt = psa->vt;
    return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY *psa, UINT nDim, LONG *plLbound) {
    if (psa == nullptr || plLbound == nullptr) {
        return E_INVALIDARG;
    }
    if (nDim == 0 || nDim > psa->cDims) {
        return DISP_E_BADINDEX;
    }
    *plLbound = psa->rgsabound[nDim - 1].lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY *psa, UINT nDim, LONG *plUbound) {
    if (psa == nullptr || plUbound == nullptr) {
        return E_INVALIDARG;
    }
    if (nDim == 0 || nDim > psa->cDims) {
        return DISP_E_BADINDEX;
    }
    const SAFEARRAYBOUND &b = psa->rgsabound[nDim - 1];
    *plUbound = static_cast<LONG>(static_cast<std::int64_t>(b.lLbound) + b.cElements - 1);
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY *psa, const LONG *rgIndices, void *pv) {
    if (psa == nullptr || rgIndices == nullptr || pv == nullptr) {
        return E_INVALIDARG;
    }
    std::uint64_t offset = 0;
    if (!offsetOf(*psa, rgIndices, offset)) {
        return DISP_E_BADINDEX;
    }
    void *element = elementAt(*psa, offset);
    if (psa->vt == VT_VARIANT) {
        return VariantCopy(static_cast<VARIANT *>(pv), static_cast<VARIANT *>(element));
    }
    if (psa->vt == VT_BSTR) {
        const BSTR text = *static_cast<BSTR *>(element);
        BSTR copy = nullptr;
        if (text != nullptr) {
            copy = SysAllocStringLen(text, SysStringLen(text));
            if (copy == nullptr) {
                return E_OUTOFMEMORY;
            }
        }
        *static_cast<BSTR *>(pv) = copy;
        return S_OK;
    }
    std::memcpy(pv, element, psa->cbElements);
    return S_OK;
}

HRESULT SafeArrayPutElement(SAFEARRAY *psa, const LONG *rgIndices, void *pv) {
    if (psa == nullptr || rgIndices == nullptr || (pv == nullptr && psa->vt != VT_BSTR)) {
        return E_INVALIDARG;
    }
    std::uint64_t offset = 0;
    if (!offsetOf(*psa, rgIndices, offset)) {
        return DISP_E_BADINDEX;
    }
    void *element = elementAt(*psa, offset);
    if (psa->vt == VT_VARIANT) {
        return VariantCopy(static_cast<VARIANT *>(element), static_cast<VARIANT *>(pv));
    }
    if (psa->vt == VT_BSTR) {
        const auto text = static_cast<BSTR>(pv);
        BSTR copy = nullptr;
        if (text != nullptr) {
            copy = SysAllocStringLen(text, SysStringLen(text));
            if (copy == nullptr) {
                return E_OUTOFMEMORY;
            }
        }
        BSTR *slot = static_cast<BSTR *>(element);
        SysFreeString(*slot);
        *slot = copy;
        return S_OK;
    }
    std::memcpy(element, pv, psa->cbElements);
    return S_OK;
}

HRESULT SafeArrayLock(SAFEARRAY *psa) {
    if (psa == nullptr) {
        return E_INVALIDARG;
    }
    ++psa->cLocks;
    return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY *psa) {
    if (psa == nullptr) {
        return E_INVALIDARG;
    }
    if (psa->cLocks == 0) {
        return E_UNEXPECTED;
    }
    --psa->cLocks;
    return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY *psa, void **ppvData) {
    if (psa == nullptr || ppvData == nullptr) {
        return E_INVALIDARG;
    }
    ++psa->cLocks;
    *ppvData = psa->pvData;
    return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY *psa) {
    return SafeArrayUnlock(psa);
}

} // namespace ostreljet::platform
