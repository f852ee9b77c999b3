#pragma once

#include "ostreljet/platform/Dispatch.hpp"

// The type information of a class, interface or enumeration, as read from a type library.
namespace ostreljet::platform {

using HREFTYPE = DWORD;

enum TYPEKIND : std::int32_t {
    TKIND_ENUM = 0,
    TKIND_RECORD = 1,
    TKIND_MODULE = 2,
    TKIND_INTERFACE = 3,
    TKIND_DISPATCH = 4,
    TKIND_COCLASS = 5,
    TKIND_ALIAS = 6,
    TKIND_UNION = 7
};

enum INVOKEKIND : std::int32_t {
    INVOKE_FUNC = 1,
    INVOKE_PROPERTYGET = 2,
    INVOKE_PROPERTYPUT = 4,
    INVOKE_PROPERTYPUTREF = 8
};

// Parameter flags.
constexpr USHORT PARAMFLAG_FIN = 0x1;
constexpr USHORT PARAMFLAG_FOUT = 0x2;
constexpr USHORT PARAMFLAG_FRETVAL = 0x8;

// Implemented-type flags.
constexpr INT IMPLTYPEFLAG_FDEFAULT = 0x1;

// The type of one parameter or result: an automation type, or a reference to another type of the same
// library (an enumeration) when vt is VT_USERDEFINED.
constexpr VARTYPE VT_USERDEFINED = 29;
constexpr VARTYPE VT_HRESULT = 25;

struct ELEMDESC {
    VARTYPE vt;         // automation type, VT_USERDEFINED or VT_HRESULT
    HREFTYPE hreftype;  // the referenced type when vt is VT_USERDEFINED
    USHORT wParamFlags; // PARAMFLAG_ bits
};

struct TYPEATTR {
    GUID guid;         // identifier of the type
    LCID lcid;         // locale of its names and strings
    TYPEKIND typekind; // what the type is
    WORD cFuncs;       // number of functions (interfaces)
    WORD cVars;        // number of variables (enumeration members)
    WORD cImplTypes;   // number of implemented interfaces (classes)
    WORD wMajorVerNum; // library major version
    WORD wMinorVerNum; // library minor version
    WORD wTypeFlags;   // TYPEFLAG_ bits
};

struct FUNCDESC {
    MEMBERID memid;                    // dispatch identifier
    INVOKEKIND invkind;                // method or property access
    SHORT cParams;                     // number of parameters, the result parameter included
    SHORT oVft;                        // offset in the interface's function table
    const ELEMDESC *lprgelemdescParam; // cParams parameter descriptions
    ELEMDESC elemdescFunc;             // result type (VT_HRESULT for interface functions)
};

struct VARDESC {
    MEMBERID memid;   // identifier of the member
    VARIANT varValue; // its constant value (enumeration members)
};

class ITypeInfo : public IUnknown {
public:
    // Attributes of the type, released with ReleaseTypeAttr.
    virtual HRESULT GetTypeAttr(TYPEATTR **ppTypeAttr) = 0;
    virtual void ReleaseTypeAttr(TYPEATTR *pTypeAttr) = 0;
    // Description of function index (0-based), released with ReleaseFuncDesc; TYPE_E_ELEMENTNOTFOUND
    // beyond the last.
    virtual HRESULT GetFuncDesc(UINT index, FUNCDESC **ppFuncDesc) = 0;
    virtual void ReleaseFuncDesc(FUNCDESC *pFuncDesc) = 0;
    // Description of variable index (0-based), released with ReleaseVarDesc.
    virtual HRESULT GetVarDesc(UINT index, VARDESC **ppVarDesc) = 0;
    virtual void ReleaseVarDesc(VARDESC *pVarDesc) = 0;
    // The member's name followed by its parameters' names, at most cMaxNames of them.
    virtual HRESULT GetNames(MEMBERID memid, BSTR *rgBstrNames, UINT cMaxNames, UINT *pcNames) = 0;
    // Name, help string, help context and help file of a member, or of the type itself for
    // MEMBERID_NIL; any out pointer may be nullptr when not wanted.
    virtual HRESULT GetDocumentation(MEMBERID memid, BSTR *pBstrName, BSTR *pBstrDocString,
                                     DWORD *pdwHelpContext, BSTR *pBstrHelpFile) = 0;
    // Member names to identifiers, as IDispatch::GetIDsOfNames.
    virtual HRESULT GetIDsOfNames(LPOLESTR *rgszNames, UINT cNames, MEMBERID *pMemId) = 0;
    // For a class: its implemented interface index and that interface's IMPLTYPEFLAG_ bits.
    virtual HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE *pRefType) = 0;
    virtual HRESULT GetImplTypeFlags(UINT index, INT *pImplTypeFlags) = 0;
    // The type information behind a reference (an implemented interface or a user-defined type).
    virtual HRESULT GetRefTypeInfo(HREFTYPE hRefType, ITypeInfo **ppTInfo) = 0;
};

constexpr MEMBERID MEMBERID_NIL = DISPID_UNKNOWN;

} // namespace ostreljet::platform
