#pragma once

#include "ostreljet/platform/Variant.hpp"

#include <vector>

// Self-describing multi-dimensional arrays of automation values with per-dimension lower bounds.
//
// Storage is column-major: the first dimension (index 0 of a bound or index vector, dimension 1 of
// SafeArrayGetLBound) varies fastest. Elements are stored contiguously at pvData, cbElements bytes each,
// and start zeroed (empty variants, null strings, zero numbers).
namespace ostreljet::platform {

struct SAFEARRAYBOUND {
    ULONG cElements; // number of elements in the dimension
    LONG lLbound;    // index of its first element
};

constexpr USHORT FADF_HAVEVARTYPE = 0x0080;
constexpr USHORT FADF_BSTR = 0x0100;
constexpr USHORT FADF_VARIANT = 0x0800;

// Allocated only by SafeArrayCreate and SafeArrayCreateVector; released only by SafeArrayDestroy.
struct SAFEARRAY {
    USHORT cDims;                          // number of dimensions
    USHORT fFeatures;                      // FADF_ flags of the element type
    ULONG cbElements;                      // bytes per element
    ULONG cLocks;                          // outstanding locks; a locked array cannot be destroyed
    void *pvData;                          // the elements
    VARTYPE vt;                            // element type
    std::vector<SAFEARRAYBOUND> rgsabound; // bounds, first dimension first
};

// Creates an array of element type vt (VT_I2, VT_I4, VT_R8, VT_BOOL, VT_ERROR, VT_BSTR or VT_VARIANT)
// with cDims dimensions whose bounds are given first dimension first. Returns nullptr for another type,
// no dimension, or an array larger than the platform's 32-bit address space allows (2^31 - 1 bytes).
SAFEARRAY *SafeArrayCreate(VARTYPE vt, UINT cDims, const SAFEARRAYBOUND *rgsabound);
// Creates a one-dimensional array of cElements elements starting at index lLbound.
SAFEARRAY *SafeArrayCreateVector(VARTYPE vt, LONG lLbound, ULONG cElements);
// Releases the elements (clearing variants, freeing strings) and the array; S_OK for nullptr;
// DISP_E_ARRAYISLOCKED while locked.
HRESULT SafeArrayDestroy(SAFEARRAY *psa);
// Deep copy; a null psa gives a null copy. E_OUTOFMEMORY when memory runs out.
HRESULT SafeArrayCopy(SAFEARRAY *psa, SAFEARRAY **ppsaOut);

UINT SafeArrayGetDim(SAFEARRAY *psa);
UINT SafeArrayGetElemsize(SAFEARRAY *psa);
HRESULT SafeArrayGetVartype(SAFEARRAY *psa, VARTYPE *pvt);
// Bounds of dimension nDim, counted from 1: DISP_E_BADINDEX when nDim is 0 or above the dimension
// count, E_INVALIDARG for a null argument. The upper bound of an empty dimension is its lower bound - 1.
HRESULT SafeArrayGetLBound(SAFEARRAY *psa, UINT nDim, LONG *plLbound);
HRESULT SafeArrayGetUBound(SAFEARRAY *psa, UINT nDim, LONG *plUbound);

// Copies the element at rgIndices (one index per dimension, first dimension first) to *pv: for
// VT_VARIANT pv is an initialised VARIANT * that is cleared and receives a copy, for VT_BSTR a BSTR *
// that receives a new copy, otherwise a pointer to the element type. DISP_E_BADINDEX when an index is
// outside its bounds, E_INVALIDARG for a null argument.
HRESULT SafeArrayGetElement(SAFEARRAY *psa, const LONG *rgIndices, void *pv);
// Stores a copy of the value at pv, releasing the element's old value: for VT_VARIANT pv is a
// VARIANT *, for VT_BSTR pv is the BSTR itself, otherwise a pointer to the element type.
HRESULT SafeArrayPutElement(SAFEARRAY *psa, const LONG *rgIndices, void *pv);

// Lock counting and direct access to the element storage.
HRESULT SafeArrayLock(SAFEARRAY *psa);
HRESULT SafeArrayUnlock(SAFEARRAY *psa);
HRESULT SafeArrayAccessData(SAFEARRAY *psa, void **ppvData);
HRESULT SafeArrayUnaccessData(SAFEARRAY *psa);

} // namespace ostreljet::platform
