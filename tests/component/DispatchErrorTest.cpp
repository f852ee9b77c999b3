// Name resolution and the failures of late-bound calls, each once.
#include "component/ComponentTestSupport.hpp"

using namespace ostreljet::component::test;

namespace {

class DispatchErrors : public ModelTest {
protected:
    HRESULT invokeRaw(DISPID dispid, WORD flags, std::vector<VARIANT> reversed, std::vector<DISPID> named,
                      VARIANT *result = nullptr) {
        DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(),
                          named.empty() ? nullptr : named.data(), static_cast<UINT>(reversed.size()),
                          static_cast<UINT>(named.size())};
        return object->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, nullptr,
                              nullptr);
    }
};

VARIANT real(double value) {
    return Var(value).value;
} // a number owns nothing to release

} // namespace

TEST_F(DispatchErrors, UnknownNameFillsTheNamesBeforeIt) {
    const char16_t *names[] = {u"Put_StackHeight", u"GET_ARCLENGTH", u"put_messageCount", u"runModel"};
    DISPID out[4] = {999, 999, 999, 999};
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, const_cast<LPOLESTR *>(names), 4, 0x0407, out),
              DISP_E_UNKNOWNNAME);
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[1], 34);
    EXPECT_EQ(out[2], DISPID_UNKNOWN); // read-only properties have no put_ form
    EXPECT_EQ(out[3], 999);            // not looked at
}

TEST_F(DispatchErrors, WrongArgumentCountForTheMember) {
    Var result;
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYGET, {real(0.0)}, {}, &result.value), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(35, DISPATCH_PROPERTYGET, {real(0.0)}, {}, &result.value), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(invokeRaw(38, DISPATCH_METHOD, std::vector<VARIANT>(11, real(1.0)), {}), DISP_E_BADPARAMCOUNT);
}

TEST_F(DispatchErrors, NamedArgumentsOnlyForThePutValue) {
    Var result;
    EXPECT_EQ(invokeRaw(27, DISPATCH_METHOD, {real(1.0), real(2.0), real(3.0)}, {0}, &result.value),
              DISP_E_NONAMEDARGS);
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {real(5.0), real(6.0)}, {DISPID_PROPERTYPUT, 0}),
              DISP_E_NONAMEDARGS);
    // The put value may come named or by position.
    EXPECT_EQ(invokeRaw(1, DISPATCH_PROPERTYPUT, {real(5.0)}, {DISPID_PROPERTYPUT}), S_OK);
    EXPECT_EQ(invokeRaw(3, DISPATCH_PROPERTYPUT, {real(0.5)}, {}), S_OK);
    EXPECT_EQ(client.get(u"stackHeight").value.dblVal, 5.0);
    EXPECT_EQ(client.get(u"orificeDiameter").value.dblVal, 0.5);
}

TEST_F(DispatchErrors, TypeMismatchNamesTheArgument) {
    UINT argumentError = 77;
    EXPECT_EQ(client.invoke(1, DISPATCH_PROPERTYPUT, {Var(u"ten")}, nullptr, nullptr, &argumentError),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(argumentError, 0u);
    EXPECT_EQ(client.get(u"stackHeight").value.dblVal, 0.0); // unchanged
    // getConcentration(x, y, z): rgvarg holds z, y, x, so a bad y is index 1.
    Var result;
    EXPECT_EQ(client.invoke(27, DISPATCH_METHOD, {Var(1.0), Var(u"north"), Var(3.0)}, &result.value, nullptr,
                            &argumentError),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(argumentError, 1u);
    EXPECT_EQ(result.value.vt, VT_EMPTY);
}

TEST_F(DispatchErrors, MissingParameterBlock) {
    Var result;
    EXPECT_EQ(object->Invoke(1, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, &result.value, nullptr, nullptr),
              DISP_E_BADVARTYPE);
}

TEST_F(DispatchErrors, MemberNotFoundForUnknownIdentifiersAndAccessKinds) {
    Var result;
    for (const DISPID dispid : {2, 26, 39}) { // not assigned
        EXPECT_EQ(invokeRaw(dispid, DISPATCH_PROPERTYGET | DISPATCH_METHOD, {}, {}, &result.value),
                  DISP_E_MEMBERNOTFOUND)
            << dispid;
    }
    EXPECT_EQ(invokeRaw(30, DISPATCH_PROPERTYPUT, {real(1.0)}, {DISPID_PROPERTYPUT}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(invokeRaw(1, DISPATCH_METHOD, {}, {}, &result.value), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(result.value.vt, VT_EMPTY);
}

TEST_F(DispatchErrors, FailingMemberReportsItsStatusInTheExceptionRecord) {
    // An odd number of negative counts makes the point count negative: out of memory.
    const std::vector<Var> arguments = {Var(0.0), Var(0.0), Var(0.0), Var(1.0), Var(1.0),
                                        Var(1.0), Var(-1),  Var(2),   Var(2)};
    EXCEPINFO exception{};
    Var result;
    EXPECT_EQ(client.invoke(38, DISPATCH_METHOD, arguments, &result.value, &exception), DISP_E_EXCEPTION);
    EXPECT_EQ(exception.scode, E_OUTOFMEMORY);
    EXPECT_EQ(client.invoke(38, DISPATCH_METHOD, arguments, &result.value), E_OUTOFMEMORY);
}
