// Name resolution and the failures of late-bound calls.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/component/IOstreljetModel.hpp"

using namespace ostreljet::component::test;

namespace {

class DispatchErrors : public ::testing::Test {
protected:
    void SetUp() override {
        object = createModel();
        ASSERT_NE(object, nullptr);
    }
    void TearDown() override {
        if (object != nullptr) {
            object->Release();
        }
    }

    HRESULT ids(std::vector<const char16_t *> names, std::vector<DISPID> &out,
                LCID lcid = LOCALE_USER_DEFAULT) {
        std::vector<LPOLESTR> pointers;
        for (const char16_t *name : names) {
            pointers.push_back(const_cast<LPOLESTR>(name));
        }
        out.assign(names.size(), 999);
        return object->GetIDsOfNames(IID_NULL, pointers.data(), static_cast<UINT>(names.size()), lcid,
                                     out.data());
    }

    DISPID id(const char16_t *name) {
        std::vector<DISPID> out;
        EXPECT_EQ(ids({name}, out), S_OK) << "name " << wideToUtf8(name);
        return out[0];
    }

    HRESULT invokeRaw(DISPID dispid, WORD flags, std::vector<VARIANT> reversed, std::vector<DISPID> named,
                      VARIANT *result = nullptr, UINT *argumentError = nullptr) {
        DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(),
                          named.empty() ? nullptr : named.data(), static_cast<UINT>(reversed.size()),
                          static_cast<UINT>(named.size())};
        return object->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, nullptr,
                              argumentError);
    }

    IDispatch *object = nullptr;
};

VARIANT real(double value) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_R8;
    v.dblVal = value;
    return v;
}

} // namespace

TEST_F(DispatchErrors, NamesResolveWithoutRegardToCaseInEveryAccessorForm) {
    EXPECT_EQ(id(u"stackHeight"), 1);
    EXPECT_EQ(id(u"STACKHEIGHT"), 1);
    EXPECT_EQ(id(u"get_stackHeight"), 1);
    EXPECT_EQ(id(u"Put_StackHeight"), 1);
    EXPECT_EQ(id(u"massFlowrate"), 8);
    EXPECT_EQ(id(u"pasquillStability"), 23);
    EXPECT_EQ(id(u"runModel"), 24);
    EXPECT_EQ(id(u"stackBearing"), 25);
    EXPECT_EQ(id(u"getconcentration"), 27);
    EXPECT_EQ(id(u"messageCount"), 28);
    EXPECT_EQ(id(u"get_messageCount"), 28);
    EXPECT_EQ(id(u"getErrorMessages"), 29);
    EXPECT_EQ(id(u"GET_VERSIONINFO"), 30);
    EXPECT_EQ(id(u"profileRadius"), 31);
    EXPECT_EQ(id(u"centrelineConcentration"), 32);
    EXPECT_EQ(id(u"centrelineTemperature"), 33);
    EXPECT_EQ(id(u"arclength"), 34);
    EXPECT_EQ(id(u"get_centrelineLocation"), 35);
    EXPECT_EQ(id(u"numberOfOutputSteps"), 36);
    EXPECT_EQ(id(u"centrelineVelocity"), 37);
    EXPECT_EQ(id(u"getConcentrationArray"), 38);
}

TEST_F(DispatchErrors, LocaleIsIgnored) {
    std::vector<DISPID> out;
    EXPECT_EQ(ids({u"referenceWindSpeed"}, out, 0x0407), S_OK);
    EXPECT_EQ(out[0], 15);
    EXPECT_EQ(ids({u"referenceWindSpeed"}, out, 0), S_OK);
    EXPECT_EQ(out[0], 15);
}

TEST_F(DispatchErrors, UnknownNameFillsTheNamesBeforeIt) {
    std::vector<DISPID> out;
    EXPECT_EQ(ids({u"stackHeight", u"GET_ARCLENGTH", u"put_messageCount", u"runModel"}, out),
              DISP_E_UNKNOWNNAME);
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[1], 34);
    EXPECT_EQ(out[2], DISPID_UNKNOWN);
    EXPECT_EQ(out[3], 999); // not looked at

    // Read-only properties have no put_ form; methods have no accessor forms.
    for (const char16_t *name :
         {u"put_versionInfo", u"put_profileRadius", u"get_runModel", u"put_runModel", u"get_getErrorMessages",
          u"stackHeigh", u"stackHeight ", u"get_", u"", u"x"}) {
        EXPECT_EQ(ids({name}, out), DISP_E_UNKNOWNNAME) << wideToUtf8(name);
        EXPECT_EQ(out[0], DISPID_UNKNOWN);
    }
}

TEST_F(DispatchErrors, MissingParameterBlock) {
    Var result;
    EXPECT_EQ(object->Invoke(1, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, &result.value, nullptr, nullptr),
              DISP_E_BADVARTYPE);
    EXPECT_EQ(object->Invoke(24, IID_NULL, 0, DISPATCH_METHOD, nullptr, &result.value, nullptr, nullptr),
              DISP_E_BADVARTYPE);
}

TEST_F(DispatchErrors, MoreThanTenArguments) {
    std::vector<VARIANT> eleven(11, real(1.0));
    EXPECT_EQ(invokeRaw(38, DISPATCH_METHOD, eleven, {}), DISP_E_BADPARAMCOUNT);
    std::vector<VARIANT> ten(10, real(1.0));
    EXPECT_EQ(invokeRaw(38, DISPATCH_METHOD, ten, {}), DISP_E_BADPARAMCOUNT); // the member takes nine
}

TEST_F(DispatchErrors, WrongArgumentCountForTheMember) {
    Var result;
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYGET, {real(0.0)}, {}, &result.value), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(31, DISPATCH_PROPERTYGET, {}, {}, &result.value), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(35, DISPATCH_PROPERTYGET, {real(0.0)}, {}, &result.value), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(24, DISPATCH_METHOD, {real(0.0)}, {}, &result.value), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(27, DISPATCH_METHOD, {real(0.0), real(0.0)}, {}, &result.value),
              DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {}, {}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {real(1.0), real(2.0)}, {DISPID_PROPERTYPUT}),
              DISP_E_BADPARAMCOUNT);
}

TEST_F(DispatchErrors, NamedArgumentsOnlyForThePutValue) {
    Var result;
    EXPECT_EQ(invokeRaw(27, DISPATCH_METHOD, {real(1.0), real(2.0), real(3.0)}, {0}, &result.value),
              DISP_E_NONAMEDARGS);
    EXPECT_EQ(invokeRaw(31, DISPATCH_PROPERTYGET, {real(0.0)}, {DISPID_PROPERTYPUT}, &result.value),
              DISP_E_NONAMEDARGS);
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {real(5.0)}, {0}), DISP_E_NONAMEDARGS);
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {real(5.0), real(6.0)}, {DISPID_PROPERTYPUT, 0}),
              DISP_E_NONAMEDARGS);

    // The put value may come named or by position.
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {real(5.0)}, {DISPID_PROPERTYPUT}), S_OK);
    EXPECT_EQ(invokeRaw(3, DISPATCH_PROPERTYPUT, {real(0.5)}, {}), S_OK);
    const DispatchClient client(object);
    EXPECT_EQ(client.get(u"stackHeight").value.dblVal, 5.0);
    EXPECT_EQ(client.get(u"orificeDiameter").value.dblVal, 0.5);
}

TEST_F(DispatchErrors, TypeMismatchNamesTheArgument) {
    const DispatchClient client(object);
    UINT argumentError = 77;
    EXPECT_EQ(client.invoke(1, DISPATCH_PROPERTYPUT, {Var(u"ten")}, nullptr, nullptr, &argumentError),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(argumentError, 0u);
    EXPECT_EQ(client.get(u"stackHeight").value.dblVal, 0.0); // unchanged

    // getConcentration(x, y, z): rgvarg holds z, y, x, so a bad y is index 1 and a bad x index 2.
    Var result;
    EXPECT_EQ(client.invoke(27, DISPATCH_METHOD, {Var(1.0), Var(u"north"), Var(3.0)}, &result.value, nullptr,
                            &argumentError),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(argumentError, 1u);
    EXPECT_EQ(client.invoke(27, DISPATCH_METHOD, {Var(u""), Var(2.0), Var(3.0)}, &result.value, nullptr,
                            &argumentError),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(argumentError, 2u);
    EXPECT_EQ(result.value.vt, VT_EMPTY);

    // Every failed coercion is a mismatch, an overflow into a 32-bit enumeration included.
    EXPECT_EQ(client.invoke(21, DISPATCH_PROPERTYPUT, {Var(1e20)}, nullptr, nullptr, &argumentError),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(
        client.invoke(31, DISPATCH_PROPERTYGET, {Var(u"first")}, &result.value, nullptr, &argumentError),
        DISP_E_TYPEMISMATCH);
    Var nothing;
    nothing.value.vt = VT_NULL;
    EXPECT_EQ(client.invoke(1, DISPATCH_PROPERTYPUT, {nothing}, nullptr), DISP_E_TYPEMISMATCH);
}

TEST_F(DispatchErrors, MemberNotFoundForUnknownIdentifiersAndAccessKinds) {
    Var result;
    // DISPIDs 2 and 26 are not assigned.
    for (const DISPID dispid : {0, 2, 26, 39, -1, 1000}) {
        EXPECT_EQ(invokeRaw(dispid, DISPATCH_PROPERTYGET | DISPATCH_METHOD, {}, {}, &result.value),
                  DISP_E_MEMBERNOTFOUND)
            << dispid;
    }
    EXPECT_EQ(invokeRaw(28, DISPATCH_PROPERTYPUT, {real(1.0)}, {DISPID_PROPERTYPUT}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invokeRaw(30, DISPATCH_PROPERTYPUT, {real(1.0)}, {DISPID_PROPERTYPUT}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invokeRaw(24, DISPATCH_PROPERTYGET, {}, {}, &result.value), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invokeRaw(24, DISPATCH_PROPERTYPUT, {real(1.0)}, {DISPID_PROPERTYPUT}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invokeRaw(1, DISPATCH_METHOD, {}, {}, &result.value), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUTREF, {real(1.0)}, {DISPID_PROPERTYPUT}),
              DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(result.value.vt, VT_EMPTY);

    // A host that asks for "method or property" reaches properties with arguments too.
    EXPECT_EQ(invokeRaw(28, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {}, {}, &result.value), S_OK);
    EXPECT_EQ(result.value.vt, VT_I4);
}

TEST_F(DispatchErrors, ResultMayBeOmitted) {
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYGET, {}, {}, nullptr), S_OK);
    EXPECT_EQ(invokeRaw(29, DISPATCH_METHOD, {}, {}, nullptr), S_OK);
    EXPECT_EQ(invokeRaw(30, DISPATCH_PROPERTYGET, {}, {}, nullptr), S_OK);
}

TEST_F(DispatchErrors, FailingMemberReportsItsStatusInTheExceptionRecord) {
    // An odd number of negative counts makes the point count negative: out of memory.
    const DispatchClient client(object);
    const std::vector<Var> arguments = {Var(0.0), Var(0.0), Var(0.0), Var(1.0), Var(1.0),
                                        Var(1.0), Var(-1),  Var(2),   Var(2)};
    EXCEPINFO exception{};
    exception.scode = 12345;
    Var result;
    EXPECT_EQ(client.invoke(38, DISPATCH_METHOD, arguments, &result.value, &exception), DISP_E_EXCEPTION);
    EXPECT_EQ(exception.scode, E_OUTOFMEMORY);
    EXPECT_EQ(exception.wCode, 0);
    EXPECT_EQ(result.value.vt, VT_EMPTY);
    // Without a record the status itself is returned.
    EXPECT_EQ(client.invoke(38, DISPATCH_METHOD, arguments, &result.value), E_OUTOFMEMORY);
}

TEST_F(DispatchErrors, TypeInformationOfTheDispatchInterface) {
    ITypeInfo *info = nullptr;
    EXPECT_EQ(object->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
    EXPECT_EQ(info, nullptr);
    ASSERT_EQ(object->GetTypeInfo(0, 0, &info), S_OK);
    TYPEATTR *attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, ostreljet::IID_IOstreljetModel);
    EXPECT_EQ(attributes->cFuncs, 59);
    info->ReleaseTypeAttr(attributes);
    // The type information resolves names as the object does.
    LPOLESTR names[1] = {const_cast<LPOLESTR>(u"PUT_stackBearing")};
    MEMBERID memid = 0;
    EXPECT_EQ(info->GetIDsOfNames(names, 1, &memid), S_OK);
    EXPECT_EQ(memid, 25);
    info->Release();
}
