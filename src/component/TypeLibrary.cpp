#include "ostreljet/component/TypeLibrary.hpp"

#include "ostreljet/component/IOstreljetModel.hpp"
#include "ostreljet/gases/PropertyTable.hpp"

#include <utility>

#include <atomic>
#include <new>

namespace ostreljet {

using namespace platform;

namespace {

// Type flags of the library's types.
constexpr WORD TYPEFLAG_FCANCREATE = 0x2;
constexpr WORD TYPEFLAG_FDUAL = 0x40;
constexpr WORD TYPEFLAG_FDISPATCHABLE = 0x1000;

// Functions of the interface's table that come before its own: those of IUnknown and IDispatch.
constexpr int inheritedFunctions = 7;

constexpr ELEMDESC in(VARTYPE vt, HREFTYPE reference = 0) {
    return ELEMDESC{vt, reference, PARAMFLAG_FIN};
}
constexpr ELEMDESC retval(VARTYPE vt, HREFTYPE reference = 0) {
    return ELEMDESC{vt, reference, static_cast<USHORT>(PARAMFLAG_FOUT | PARAMFLAG_FRETVAL)};
}

// The type of a property's value as the type library states it.
ELEMDESC propertyType(PropertyTable::Type type, bool out) {
    VARTYPE vt = VT_R8;
    HREFTYPE reference = 0;
    if (type == PropertyTable::Type::TimeAveraging) {
        vt = VT_USERDEFINED;
        reference = TypeLibrary::timeAveragingReference;
    } else if (type == PropertyTable::Type::Pasquill) {
        vt = VT_USERDEFINED;
        reference = TypeLibrary::pasquillReference;
    }
    return out ? retval(vt, reference) : in(vt, reference);
}

std::vector<TypeLibrary::Function> buildFunctions() {
    // The interface table: the input properties in their order, with runModel between the last
    // enumeration property and the stack bearing, followed by the queries and result accessors.
    std::vector<TypeLibrary::Function> list;
    list.reserve(59);
    const auto addProperty = [&list](const PropertyTable::Property &property) {
        std::string_view help;
        if (property.name == "massFlowrate") {
            help = "property initialMassFlowrate";
        } else {
            static std::vector<std::string> texts = [] {
                std::vector<std::string> all;
                all.reserve(PropertyTable::properties().size());
                for (const PropertyTable::Property &p : PropertyTable::properties()) {
                    all.push_back("property " + std::string(p.name));
                }
                return all;
            }();
            help = texts[static_cast<std::size_t>(&property - PropertyTable::properties().data())];
        }
        list.push_back({property.name,
                        property.dispid,
                        INVOKE_PROPERTYGET,
                        {"pVal"},
                        {propertyType(property.type, true)},
                        help});
        list.push_back({property.name,
                        property.dispid,
                        INVOKE_PROPERTYPUT,
                        {"newVal"},
                        {propertyType(property.type, false)},
                        help});
    };
    const TypeLibrary::Function runModel{"runModel",       24, INVOKE_FUNC, {"pVal"}, {retval(VT_BOOL)},
                                         "method runModel"};
    bool runModelAdded = false;
    for (const PropertyTable::Property &property : PropertyTable::properties()) {
        if (!runModelAdded && property.dispid > runModel.dispid) {
            list.push_back(runModel);
            runModelAdded = true;
        }
        addProperty(property);
    }
    if (!runModelAdded) {
        list.push_back(runModel);
    }

    const ELEMDESC r8 = in(VT_R8);
    const ELEMDESC i4 = in(VT_I4);
    list.push_back({"getConcentration",
                    27,
                    INVOKE_FUNC,
                    {"x", "y", "z", "concentration"},
                    {r8, r8, r8, retval(VT_R8)},
                    "method getLocationConcentration"});
    list.push_back(
        {"getErrorMessages", 29, INVOKE_FUNC, {"messages"}, {retval(VT_VARIANT)}, "method getErrorMessages"});
    list.push_back(
        {"versionInfo", 30, INVOKE_PROPERTYGET, {"pVal"}, {retval(VT_BSTR)}, "property versionInfo"});
    list.push_back({"getConcentrationArray",
                    38,
                    INVOKE_FUNC,
                    {"xStart", "yStart", "zStart", "xEnd", "yEnd", "zEnd", "NumberOfPointsX",
                     "NumberOfPointsY", "NumberOfPointsZ", "concentrations"},
                    {r8, r8, r8, r8, r8, r8, i4, i4, i4, retval(VT_VARIANT)},
                    "method getConcentrationArray"});
    list.push_back(
        {"messageCount", 28, INVOKE_PROPERTYGET, {"pVal"}, {retval(VT_I4)}, "property messageCount"});
    const auto addSeries = [&](std::string_view name, DISPID dispid, std::string_view help) {
        list.push_back({name, dispid, INVOKE_PROPERTYGET, {"outputstep", "pVal"}, {i4, retval(VT_R8)}, help});
    };
    addSeries("profileRadius", 31, "property profileRadius");
    addSeries("centrelineConcentration", 32, "property centrelineConcentration");
    addSeries("centrelineTemperature", 33, "property centrelineTemperature");
    addSeries("arclength", 34, "property arclength");
    list.push_back({"centrelineLocation",
                    35,
                    INVOKE_PROPERTYGET,
                    {"Index", "outputstep", "pVal"},
                    {i4, i4, retval(VT_R8)},
                    "property centrelineLocation"});
    list.push_back({"numberOfOutputSteps",
                    36,
                    INVOKE_FUNC,
                    {"numberOfSteps"},
                    {retval(VT_I4)},
                    "method numberOfOuputSteps"});
    addSeries("centrelineVelocity", 37, "property centrelineVelocity");
    return list;
}

// The enumerations of the inputs, in the order of their first use in the interface.
std::vector<TypeLibrary::Enumeration> buildEnumerations() {
    std::vector<TypeLibrary::Enumeration> list;
    for (const InputSchema::Enumeration &enumeration : InputSchema::enumerations()) {
        TypeLibrary::Enumeration entry{enumeration.name,
                                       enumeration.name == "TIME_AVERAGING"
                                           ? TypeLibrary::timeAveragingReference
                                           : TypeLibrary::pasquillReference,
                                       {}};
        for (const InputSchema::Label &label : enumeration.labels) {
            entry.members.push_back({label.member, label.value});
        }
        list.push_back(std::move(entry));
    }
    return list;
}

char16_t lowerAscii(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

// Compares a wide name with an ASCII name (prefix + name) without regard to ASCII case.
bool sameName(std::u16string_view wide, std::string_view prefix, std::string_view name) {
    if (wide.size() != prefix.size() + name.size()) {
        return false;
    }
    for (std::size_t i = 0; i < wide.size(); ++i) {
        const char c = i < prefix.size() ? prefix[i] : name[i - prefix.size()];
        if (lowerAscii(wide[i]) != lowerAscii(static_cast<char16_t>(static_cast<unsigned char>(c)))) {
            return false;
        }
    }
    return true;
}

HRESULT writeString(std::string_view text, BSTR *out) {
    if (out == nullptr) {
        return S_OK;
    }
    *out = A2BSTR(text);
    return *out == nullptr ? E_OUTOFMEMORY : S_OK;
}

// Type information of one type of the library. The objects are static: references are counted for the
// platform's rules, but the last release destroys nothing.
class StaticTypeInfo : public ITypeInfo {
public:
    enum class Kind { Class, Interface, Enumeration };

    StaticTypeInfo(Kind kind, const TypeLibrary::Enumeration *enumeration = nullptr)
        : kind_(kind), enumeration_(enumeration) {}

    HRESULT QueryInterface(REFIID riid, void **ppv) override {
        if (ppv == nullptr) {
            return E_POINTER;
        }
        if (riid == IID_IUnknown || riid == IID_ITypeInfo) {
            *ppv = static_cast<ITypeInfo *>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++references_; }
    ULONG Release() override { return references_ > 1 ? --references_ : references_.load(); }

    HRESULT GetTypeAttr(TYPEATTR **ppTypeAttr) override {
        if (ppTypeAttr == nullptr) {
            return E_POINTER;
        }
        auto *attributes = new (std::nothrow) TYPEATTR{};
        if (attributes == nullptr) {
            return E_OUTOFMEMORY;
        }
        attributes->lcid = 0;
        attributes->wMajorVerNum = TypeLibrary::majorVersion;
        attributes->wMinorVerNum = TypeLibrary::minorVersion;
        switch (kind_) {
        case Kind::Class:
            attributes->guid = CLSID_OstreljetModel;
            attributes->typekind = TKIND_COCLASS;
            attributes->cImplTypes = 1;
            attributes->wTypeFlags = TYPEFLAG_FCANCREATE;
            break;
        case Kind::Interface:
            attributes->guid = IID_IOstreljetModel;
            attributes->typekind = TKIND_DISPATCH;
            attributes->cFuncs = static_cast<WORD>(TypeLibrary::functions().size());
            attributes->wTypeFlags = TYPEFLAG_FDUAL | TYPEFLAG_FDISPATCHABLE;
            break;
        case Kind::Enumeration:
            attributes->guid = IID_NULL;
            attributes->typekind = TKIND_ENUM;
            attributes->cVars = static_cast<WORD>(enumeration_->members.size());
            break;
        }
        *ppTypeAttr = attributes;
        return S_OK;
    }
    void ReleaseTypeAttr(TYPEATTR *pTypeAttr) override { delete pTypeAttr; }

    HRESULT GetFuncDesc(UINT index, FUNCDESC **ppFuncDesc) override {
        if (ppFuncDesc == nullptr) {
            return E_POINTER;
        }
        const auto &functions = TypeLibrary::functions();
        if (kind_ != Kind::Interface || index >= functions.size()) {
            return TYPE_E_ELEMENTNOTFOUND;
        }
        const TypeLibrary::Function &function = functions[index];
        auto *description = new (std::nothrow) FUNCDESC{};
        if (description == nullptr) {
            return E_OUTOFMEMORY;
        }
        description->memid = function.dispid;
        description->invkind = function.invkind;
        description->cParams = static_cast<SHORT>(function.parameters.size());
        description->oVft =
            static_cast<SHORT>((inheritedFunctions + static_cast<int>(index)) * sizeof(void *));
        description->lprgelemdescParam = function.parameters.data();
        description->elemdescFunc = ELEMDESC{VT_HRESULT, 0, 0};
        *ppFuncDesc = description;
        return S_OK;
    }
    void ReleaseFuncDesc(FUNCDESC *pFuncDesc) override { delete pFuncDesc; }

    HRESULT GetVarDesc(UINT index, VARDESC **ppVarDesc) override {
        if (ppVarDesc == nullptr) {
            return E_POINTER;
        }
        if (kind_ != Kind::Enumeration || index >= enumeration_->members.size()) {
            return TYPE_E_ELEMENTNOTFOUND;
        }
        auto *description = new (std::nothrow) VARDESC{};
        if (description == nullptr) {
            return E_OUTOFMEMORY;
        }
        description->memid = TypeLibrary::enumerationMemberBase + static_cast<MEMBERID>(index);
        VariantInit(&description->varValue);
        description->varValue.vt = VT_I4;
        description->varValue.lVal = enumeration_->members[index].value;
        *ppVarDesc = description;
        return S_OK;
    }
    void ReleaseVarDesc(VARDESC *pVarDesc) override {
        if (pVarDesc != nullptr) {
            VariantClear(&pVarDesc->varValue);
            delete pVarDesc;
        }
    }

    HRESULT GetNames(MEMBERID memid, BSTR *rgBstrNames, UINT cMaxNames, UINT *pcNames) override {
        if (rgBstrNames == nullptr || pcNames == nullptr) {
            return E_POINTER;
        }
        *pcNames = 0;
        std::vector<std::string_view> names;
        if (kind_ == Kind::Interface) {
            const TypeLibrary::Function *function = TypeLibrary::findFunction(memid, INVOKE_PROPERTYGET);
            if (function == nullptr) {
                function = TypeLibrary::findFunction(memid, INVOKE_FUNC);
            }
            if (function == nullptr) {
                return TYPE_E_ELEMENTNOTFOUND;
            }
            names.push_back(function->name);
            names.insert(names.end(), function->parameterNames.begin(), function->parameterNames.end());
        } else if (kind_ == Kind::Enumeration) {
            const MEMBERID position = memid - TypeLibrary::enumerationMemberBase;
            if (position < 0 || static_cast<std::size_t>(position) >= enumeration_->members.size()) {
                return TYPE_E_ELEMENTNOTFOUND;
            }
            names.push_back(enumeration_->members[static_cast<std::size_t>(position)].name);
        } else {
            return TYPE_E_ELEMENTNOTFOUND;
        }
        for (std::size_t i = 0; i < names.size() && i < cMaxNames; ++i) {
            if (FAILED(writeString(names[i], &rgBstrNames[i]))) {
                return E_OUTOFMEMORY;
            }
            ++*pcNames;
        }
        return S_OK;
    }

    HRESULT GetDocumentation(MEMBERID memid, BSTR *pBstrName, BSTR *pBstrDocString, DWORD *pdwHelpContext,
                             BSTR *pBstrHelpFile) override {
        std::string_view name;
        std::string_view help;
        if (memid == MEMBERID_NIL) {
            switch (kind_) {
            case Kind::Class:
                name = TypeLibrary::className;
                help = TypeLibrary::classHelpString;
                break;
            case Kind::Interface:
                name = TypeLibrary::interfaceName;
                help = TypeLibrary::interfaceHelpString;
                break;
            case Kind::Enumeration:
                name = enumeration_->name;
                break;
            }
        } else if (kind_ == Kind::Interface) {
            const TypeLibrary::Function *function = TypeLibrary::findFunction(memid, INVOKE_PROPERTYGET);
            if (function == nullptr) {
                function = TypeLibrary::findFunction(memid, INVOKE_FUNC);
            }
            if (function == nullptr) {
                return TYPE_E_ELEMENTNOTFOUND;
            }
            name = function->name;
            help = function->helpString;
        } else if (kind_ == Kind::Enumeration) {
            const MEMBERID position = memid - TypeLibrary::enumerationMemberBase;
            if (position < 0 || static_cast<std::size_t>(position) >= enumeration_->members.size()) {
                return TYPE_E_ELEMENTNOTFOUND;
            }
            name = enumeration_->members[static_cast<std::size_t>(position)].name;
        } else {
            return TYPE_E_ELEMENTNOTFOUND;
        }
        if (pdwHelpContext != nullptr) {
            *pdwHelpContext = 0;
        }
        if (pBstrHelpFile != nullptr) {
            *pBstrHelpFile = nullptr;
        }
        if (pBstrDocString != nullptr) {
            *pBstrDocString = nullptr;
        }
        if (FAILED(writeString(name, pBstrName))) {
            return E_OUTOFMEMORY;
        }
        if (!help.empty() && FAILED(writeString(help, pBstrDocString))) {
            if (pBstrName != nullptr) {
                SysFreeString(*pBstrName);
                *pBstrName = nullptr;
            }
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }

    HRESULT GetIDsOfNames(LPOLESTR *rgszNames, UINT cNames, MEMBERID *pMemId) override {
        if (rgszNames == nullptr || pMemId == nullptr) {
            return E_POINTER;
        }
        if (kind_ != Kind::Interface) {
            return DISP_E_UNKNOWNNAME;
        }
        for (UINT i = 0; i < cNames; ++i) {
            if (!TypeLibrary::findMemberId(rgszNames[i] == nullptr ? u"" : rgszNames[i], &pMemId[i])) {
                pMemId[i] = DISPID_UNKNOWN;
                return DISP_E_UNKNOWNNAME;
            }
        }
        return S_OK;
    }

    HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE *pRefType) override {
        if (pRefType == nullptr) {
            return E_POINTER;
        }
        if (kind_ != Kind::Class || index != 0) {
            return TYPE_E_ELEMENTNOTFOUND;
        }
        *pRefType = TypeLibrary::interfaceReference;
        return S_OK;
    }

    HRESULT GetImplTypeFlags(UINT index, INT *pImplTypeFlags) override {
        if (pImplTypeFlags == nullptr) {
            return E_POINTER;
        }
        if (kind_ != Kind::Class || index != 0) {
            return TYPE_E_ELEMENTNOTFOUND;
        }
        *pImplTypeFlags = IMPLTYPEFLAG_FDEFAULT;
        return S_OK;
    }

    HRESULT GetRefTypeInfo(HREFTYPE hRefType, ITypeInfo **ppTInfo) override {
        return TypeLibrary::referencedTypeInfo(hRefType, ppTInfo);
    }

private:
    Kind kind_;
    const TypeLibrary::Enumeration *enumeration_; // the enumeration described, for Kind::Enumeration
    std::atomic<ULONG> references_{1};            // the static owner's reference included
};

StaticTypeInfo &classInfo() {
    static StaticTypeInfo info(StaticTypeInfo::Kind::Class);
    return info;
}

StaticTypeInfo &interfaceInfo() {
    static StaticTypeInfo info(StaticTypeInfo::Kind::Interface);
    return info;
}

StaticTypeInfo &enumerationInfo(std::size_t position) {
    static StaticTypeInfo timeAveraging(StaticTypeInfo::Kind::Enumeration, &TypeLibrary::enumerations()[0]);
    static StaticTypeInfo pasquill(StaticTypeInfo::Kind::Enumeration, &TypeLibrary::enumerations()[1]);
    return position == 0 ? timeAveraging : pasquill;
}

HRESULT hand(ITypeInfo &info, ITypeInfo **typeInfo) {
    if (typeInfo == nullptr) {
        return E_POINTER;
    }
    info.AddRef();
    *typeInfo = &info;
    return S_OK;
}

} // namespace

const std::vector<TypeLibrary::Function> &TypeLibrary::functions() {
    static const std::vector<Function> list = buildFunctions();
    return list;
}

const std::vector<TypeLibrary::Enumeration> &TypeLibrary::enumerations() {
    static const std::vector<Enumeration> list = buildEnumerations();
    return list;
}

const TypeLibrary::Function *TypeLibrary::findFunction(DISPID dispid, INVOKEKIND invkind) {
    for (const Function &function : functions()) {
        if (function.dispid == dispid && function.invkind == invkind) {
            return &function;
        }
    }
    return nullptr;
}

bool TypeLibrary::findMemberId(std::u16string_view name, DISPID *dispid) {
    for (const Function &function : functions()) {
        const bool matches =
            sameName(name, "", function.name) ||
            (function.invkind == INVOKE_PROPERTYGET && sameName(name, "get_", function.name)) ||
            (function.invkind == INVOKE_PROPERTYPUT && sameName(name, "put_", function.name));
        if (matches) {
            *dispid = function.dispid;
            return true;
        }
    }
    return false;
}

HRESULT TypeLibrary::classTypeInfo(ITypeInfo **typeInfo) {
    return hand(classInfo(), typeInfo);
}

HRESULT TypeLibrary::interfaceTypeInfo(ITypeInfo **typeInfo) {
    return hand(interfaceInfo(), typeInfo);
}

HRESULT TypeLibrary::referencedTypeInfo(HREFTYPE reference, ITypeInfo **typeInfo) {
    if (typeInfo == nullptr) {
        return E_POINTER;
    }
    *typeInfo = nullptr;
    switch (reference) {
    case interfaceReference:
        return hand(interfaceInfo(), typeInfo);
    case timeAveragingReference:
        return hand(enumerationInfo(0), typeInfo);
    case pasquillReference:
        return hand(enumerationInfo(1), typeInfo);
    default:
        return TYPE_E_ELEMENTNOTFOUND;
    }
}

HRESULT TypeLibrary::GetTypeInfoOfGuid(REFGUID guid, ITypeInfo **typeInfo) {
    if (typeInfo == nullptr) {
        return E_POINTER;
    }
    *typeInfo = nullptr;
    if (guid == CLSID_OstreljetModel) {
        return hand(classInfo(), typeInfo);
    }
    if (guid == IID_IOstreljetModel) {
        return hand(interfaceInfo(), typeInfo);
    }
    return TYPE_E_ELEMENTNOTFOUND;
}

std::string TypeLibrary::registrationScript() {
    // The keys the platform writes when it registers a type library: the library under its identifier
    // and version, and the dual interface, marshalled by the automation marshaller.
    const std::string libid = guidToString(LIBID_Ostreljet);
    const std::string iid = guidToString(IID_IOstreljetModel);
    const std::string automationMarshaller = "{00020424-0000-0000-C000-000000000046}";
    const std::string version = std::to_string(majorVersion) + "." + std::to_string(minorVersion);
    std::string script;
    script += "HKCR\n{\n";
    script += "    NoRemove TypeLib\n    {\n";
    script += "        " + libid + "\n        {\n";
    script += "            '" + version + "' = s '" + std::string(helpString) + "'\n            {\n";
    script += "                '0'\n                {\n";
    script += "                    win32 = s '%MODULE%'\n";
    script += "                }\n";
    script += "                FLAGS = s '0'\n";
    script += "                HELPDIR = s '%MODULEDIR%'\n";
    script += "            }\n        }\n    }\n";
    script += "    NoRemove Interface\n    {\n";
    script += "        ForceRemove " + iid + " = s '" + std::string(interfaceName) + "'\n        {\n";
    script += "            ProxyStubClsid = s '" + automationMarshaller + "'\n";
    script += "            ProxyStubClsid32 = s '" + automationMarshaller + "'\n";
    script += "            TypeLib = s '" + libid + "'\n            {\n";
    script += "                val Version = s '" + version + "'\n";
    script += "            }\n        }\n    }\n";
    script += "}\n";
    return script;
}

} // namespace ostreljet
