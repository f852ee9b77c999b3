#pragma once

#include "ostreljet/platform/Variant.hpp"

// Late-bound access to an object's members by name and dispatch identifier.
namespace ostreljet::platform {

class ITypeInfo;

using DISPID = LONG;
using MEMBERID = DISPID;

constexpr DISPID DISPID_VALUE = 0;
constexpr DISPID DISPID_UNKNOWN = -1;
constexpr DISPID DISPID_PROPERTYPUT = -3;

constexpr WORD DISPATCH_METHOD = 1;
constexpr WORD DISPATCH_PROPERTYGET = 2;
constexpr WORD DISPATCH_PROPERTYPUT = 4;
constexpr WORD DISPATCH_PROPERTYPUTREF = 8;

// The arguments of one call. rgvarg holds the arguments in reverse order: the last argument first, the
// named arguments (dispatch identifiers in rgdispidNamedArgs) at the start.
struct DISPPARAMS {
    VARIANTARG *rgvarg;        // cArgs arguments, last first
    DISPID *rgdispidNamedArgs; // identifiers of the first cNamedArgs entries of rgvarg
    UINT cArgs;                // number of arguments, named ones included
    UINT cNamedArgs;           // number of named arguments
};

// Describes a failure that a member raised; the caller frees the strings.
struct EXCEPINFO {
    WORD wCode;                                // an error code, or 0 when scode is used
    WORD wReserved;                            // zero
    BSTR bstrSource;                           // who raised it
    BSTR bstrDescription;                      // what happened
    BSTR bstrHelpFile;                         // help file, or nullptr
    DWORD dwHelpContext;                       // help context in that file
    void *pvReserved;                          // nullptr
    HRESULT (*pfnDeferredFillIn)(EXCEPINFO *); // fills in the record on demand, or nullptr
    SCODE scode;                               // the failure status
};

class IDispatch : public IUnknown {
public:
    // Writes 1 when the object provides type information, else 0.
    virtual HRESULT GetTypeInfoCount(UINT *pctinfo) = 0;
    // Writes the type information of the object's dispatch interface (index 0).
    virtual HRESULT GetTypeInfo(UINT iTInfo, LCID lcid, ITypeInfo **ppTInfo) = 0;
    // Maps cNames member names to dispatch identifiers; DISP_E_UNKNOWNNAME when a name is unknown (its
    // identifier is then DISPID_UNKNOWN). riid must be IID_NULL.
    virtual HRESULT GetIDsOfNames(REFIID riid, LPOLESTR *rgszNames, UINT cNames, LCID lcid,
                                  DISPID *rgDispId) = 0;
    // Calls member dispIdMember as a method or property access (wFlags). On a failure raised by the
    // member it may fill *pExcepInfo and return DISP_E_EXCEPTION; on a bad argument it writes the
    // argument's index in rgvarg to *puArgErr.
    virtual HRESULT Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS *pDispParams,
                           VARIANT *pVarResult, EXCEPINFO *pExcepInfo, UINT *puArgErr) = 0;
};

// Fetches argument `position` (0 for the first argument, whether passed by position or named with its
// position as identifier), converted to vtTarg into *pvarResult, which is treated as uninitialised.
// DISP_E_PARAMNOTFOUND when absent; on a failed conversion its error, with the argument's index in
// rgvarg in *puArgErr.
HRESULT DispGetParam(const DISPPARAMS *pdispparams, UINT position, VARTYPE vtTarg, VARIANT *pvarResult,
                     UINT *puArgErr);

} // namespace ostreljet::platform
