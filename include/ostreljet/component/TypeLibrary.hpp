#pragma once

#include "ostreljet/platform/TypeInfo.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The type library of the component, as a static description: the class, its dual interface with every
// operation's dispatch identifier, parameters and help string, and the two enumerations. Its type
// information is served through the platform's ITypeInfo.
namespace ostreljet {

// {D91452C7-B2C6-47ED-9CE0-2A9D32756CBD}
constexpr platform::GUID LIBID_Ostreljet{
    0xD91452C7, 0xB2C6, 0x47ED, {0x9C, 0xE0, 0x2A, 0x9D, 0x32, 0x75, 0x6C, 0xBD}};
// {412DC50A-8124-419E-9912-40ECD383B456}: the class identifier that the class object serves.
constexpr platform::CLSID CLSID_OstreljetModel{
    0x412DC50A, 0x8124, 0x419E, {0x99, 0x12, 0x40, 0xEC, 0xD3, 0x83, 0xB4, 0x56}};

class TypeLibrary {
public:
    // One function of the interface. Parameters are listed in call order, the out (retval) one last.
    struct Function {
        std::string_view name;                        // the member's name, without get_ or put_
        platform::DISPID dispid;                      // dispatch identifier
        platform::INVOKEKIND invkind;                 // method, property get or property put
        std::vector<std::string_view> parameterNames; // one per parameter
        std::vector<platform::ELEMDESC> parameters;   // their types and PARAMFLAG_ bits
        std::string_view helpString;                  // e.g. "property stackHeight"
    };

    struct EnumerationMember {
        std::string_view name;
        std::int32_t value;
    };

    struct Enumeration {
        std::string_view name;
        platform::HREFTYPE reference; // how the interface's parameters refer to it
        std::vector<EnumerationMember> members;
    };

    static constexpr std::string_view name = "Ostreljet";
    static constexpr platform::WORD majorVersion = 1;
    static constexpr platform::WORD minorVersion = 0;
    static constexpr std::string_view helpString = "Ostreljet 1.0 Type Library";
    // Identifier of the type-library resource of the module.
    static constexpr int resourceId = 1;
    // The platform's standard automation library, which the library imports.
    static constexpr std::string_view importedLibrary = "stdole2.tlb";

    static constexpr std::string_view className = "OstreljetModel";
    static constexpr std::string_view classHelpString = "OstreljetModel Class";
    static constexpr std::string_view interfaceName = "IOstreljetModel";
    static constexpr std::string_view interfaceHelpString = "IOstreljetModel Interface";

    // References between the library's types (GetRefTypeOfImplType, VT_USERDEFINED parameters).
    static constexpr platform::HREFTYPE interfaceReference = 1;
    static constexpr platform::HREFTYPE timeAveragingReference = 2;
    static constexpr platform::HREFTYPE pasquillReference = 3;
    // Member identifiers of enumeration members: this base plus the member's position.
    static constexpr platform::MEMBERID enumerationMemberBase = 0x40000000;

    TypeLibrary() = delete;

    // The interface's functions in table order (get before put), 59 of them.
    static const std::vector<Function> &functions();
    static const std::vector<Enumeration> &enumerations();

    // The function with this dispatch identifier and access kind; null when there is none.
    static const Function *findFunction(platform::DISPID dispid, platform::INVOKEKIND invkind);
    // Resolves a member name without regard to case: every function's name, and for properties also
    // the accessor forms "get_name" and, when the property can be written, "put_name".
    static bool findMemberId(std::u16string_view name, platform::DISPID *dispid);

    // Type information of the class, the interface (the dispatch view of the dual interface) and the
    // enumerations; each is returned with one added reference.
    static platform::HRESULT classTypeInfo(platform::ITypeInfo **typeInfo);
    static platform::HRESULT interfaceTypeInfo(platform::ITypeInfo **typeInfo);
    static platform::HRESULT referencedTypeInfo(platform::HREFTYPE reference, platform::ITypeInfo **typeInfo);
    // By identifier: the class or the interface; TYPE_E_ELEMENTNOTFOUND otherwise.
    static platform::HRESULT GetTypeInfoOfGuid(platform::REFGUID guid, platform::ITypeInfo **typeInfo);

    // The registrar script that registers the library as the platform does: TypeLib\{libid}\1.0 with
    // the module path for win32 (%MODULE%) and its folder (%MODULEDIR%), and the interface's key.
    static std::string registrationScript();
};

} // namespace ostreljet
