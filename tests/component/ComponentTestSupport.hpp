#pragma once

#include "ostreljet/component/COstreljetModule.hpp"
#include "ostreljet/component/TypeLibrary.hpp"
#include "ostreljet/platform/Dispatch.hpp"
#include "ostreljet/platform/SafeArray.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace ostreljet::component::test {

using namespace ostreljet::platform;

// A variant that releases what it owns when it goes out of scope.
class Var {
public:
    Var() { VariantInit(&value); }
    explicit Var(double number) : Var() { set(VT_R8).dblVal = number; }
    explicit Var(int number) : Var() { set(VT_I4).lVal = number; }
    explicit Var(short number) : Var() { set(VT_I2).iVal = number; }
    explicit Var(bool flag) : Var() { set(VT_BOOL).boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE; }
    explicit Var(const char16_t *text) : Var() { set(VT_BSTR).bstrVal = SysAllocString(text); }
    Var(const Var &other) : Var() { VariantCopy(&value, &other.value); }
    Var &operator=(const Var &) = delete;
    ~Var() { VariantClear(&value); }
    VARIANT value;

private:
    VARIANT &set(VARTYPE vt) {
        value.vt = vt;
        return value;
    }
};

// A host's view of an object through its dispatch interface only: members by name, arguments in call order.
class DispatchClient {
public:
    explicit DispatchClient(IDispatch *object) : object_(object) {}
    DISPID id(const char16_t *name) const {
        LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
        DISPID dispid = DISPID_UNKNOWN;
        EXPECT_EQ(object_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &dispid), S_OK);
        return dispid;
    }
    // Invokes with the arguments in call order; rgvarg receives them last first.
    HRESULT invoke(DISPID dispid, WORD flags, const std::vector<Var> &arguments, VARIANT *result,
                   EXCEPINFO *exception = nullptr, UINT *argumentError = nullptr) const {
        std::vector<VARIANT> reversed;
        for (auto it = arguments.rbegin(); it != arguments.rend(); ++it) {
            reversed.push_back(it->value);
        }
        DISPID named[1] = {DISPID_PROPERTYPUT};
        const bool put = (flags & DISPATCH_PROPERTYPUT) != 0;
        DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), put ? named : nullptr,
                          static_cast<UINT>(reversed.size()), put ? 1u : 0u};
        return object_->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, exception,
                               argumentError);
    }
    HRESULT put(const char16_t *name, const Var &value) const {
        return invoke(id(name), DISPATCH_PROPERTYPUT, {value}, nullptr);
    }
    Var get(const char16_t *name, const std::vector<Var> &args = {}) const {
        return ask(name, DISPATCH_PROPERTYGET, args);
    }
    Var call(const char16_t *name, const std::vector<Var> &args = {}) const {
        return ask(name, DISPATCH_METHOD, args);
    }

private:
    Var ask(const char16_t *name, WORD flags, const std::vector<Var> &arguments) const {
        Var result;
        EXPECT_EQ(invoke(id(name), flags, arguments, &result.value), S_OK) << wideToUtf8(name);
        return result;
    }
    IDispatch *object_;
};

inline IClassFactory *classObject() {
    IClassFactory *factory = nullptr;
    EXPECT_EQ(DllGetClassObject(CLSID_OstreljetModel, IID_IClassFactory, reinterpret_cast<void **>(&factory)),
              S_OK);
    return factory;
}

// A model object created as a host creates it, released at the end of the test.
class ModelTest : public ::testing::Test {
protected:
    void SetUp() override {
        IClassFactory *factory = classObject();
        ASSERT_NE(factory, nullptr);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void **>(&object)), S_OK);
        factory->Release();
        ASSERT_NE(object, nullptr);
        client = DispatchClient(object);
    }
    void TearDown() override {
        if (object != nullptr) {
            object->Release();
        }
    }
    IDispatch *object = nullptr;
    DispatchClient client{nullptr};
};

// The valid release of the tests: a light gas from a 10 m stack, stopped at 1 % concentration.
inline void putValidRelease(const DispatchClient &client) {
    std::istringstream names("stackHeight orificeDiameter releaseAngle massFlowrate sourceMolecularWeight "
                             "sourceSpecificHeat sourceSpecificHeatRatio sourceTemperature "
                             "atmosphereSurfaceRoughness atmosphereSpecificHeat stoppingConcentration");
    std::string name;
    for (const double value : {10.0, 0.2, 90.0, 1.0, 0.016, 2200.0, 1.3, 300.0, 0.1, 1005.0, 0.01}) {
        names >> name;
        EXPECT_EQ(client.put(multiByteToWide(name).c_str(), Var(value)), S_OK) << name;
    }
}

// Element (indices first dimension first) of an array of variants, as a copy.
inline Var element(SAFEARRAY *array, std::vector<LONG> indices) {
    Var out;
    EXPECT_EQ(SafeArrayGetElement(array, indices.data(), &out.value), S_OK);
    return out;
}

inline LONG elementCount(SAFEARRAY *array, UINT dimension) {
    LONG lower = 0;
    LONG upper = 0;
    EXPECT_EQ(SafeArrayGetLBound(array, dimension, &lower), S_OK);
    EXPECT_EQ(SafeArrayGetUBound(array, dimension, &upper), S_OK);
    EXPECT_EQ(lower, 0);
    return upper - lower + 1;
}

inline std::string text(const Var &v) {
    EXPECT_EQ(v.value.vt, VT_BSTR);
    return v.value.vt == VT_BSTR ? bstrToUtf8(v.value.bstrVal) : std::string();
}

} // namespace ostreljet::component::test
