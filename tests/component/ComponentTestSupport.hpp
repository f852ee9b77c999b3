#pragma once

#include "ostreljet/component/COstreljetModule.hpp"
#include "ostreljet/component/TypeLibrary.hpp"
#include "ostreljet/platform/Dispatch.hpp"
#include "ostreljet/platform/SafeArray.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace ostreljet::component::test {

using namespace ostreljet::platform;

// A variant that releases what it owns when it goes out of scope.
class Var {
public:
    Var() { VariantInit(&value); }
    explicit Var(double number) : Var() {
        value.vt = VT_R8;
        value.dblVal = number;
    }
    explicit Var(int number) : Var() {
        value.vt = VT_I4;
        value.lVal = number;
    }
    explicit Var(short number) : Var() {
        value.vt = VT_I2;
        value.iVal = number;
    }
    explicit Var(bool flag) : Var() {
        value.vt = VT_BOOL;
        value.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
    }
    explicit Var(const char16_t *text) : Var() {
        value.vt = VT_BSTR;
        value.bstrVal = SysAllocString(text);
    }
    Var(const Var &other) : Var() { VariantCopy(&value, &other.value); }
    Var &operator=(const Var &other) {
        if (this != &other) {
            VariantCopy(&value, &other.value);
        }
        return *this;
    }
    ~Var() { VariantClear(&value); }

    VARIANT value;
};

// A host's view of an object through its dispatch interface only: members by name, arguments in call order.
class DispatchClient {
public:
    explicit DispatchClient(IDispatch *object) : object_(object) {}

    DISPID id(const char16_t *name) const {
        LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
        DISPID dispid = DISPID_UNKNOWN;
        const HRESULT hr = object_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &dispid);
        EXPECT_EQ(hr, S_OK) << "resolving a member name";
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
    Var get(const char16_t *name, const std::vector<Var> &arguments = {}) const {
        Var result;
        EXPECT_EQ(invoke(id(name), DISPATCH_PROPERTYGET, arguments, &result.value), S_OK)
            << "reading a property";
        return result;
    }
    Var call(const char16_t *name, const std::vector<Var> &arguments = {}) const {
        Var result;
        EXPECT_EQ(invoke(id(name), DISPATCH_METHOD, arguments, &result.value), S_OK) << "calling a method";
        return result;
    }

private:
    IDispatch *object_;
};

// Creates a model object through the module's entry point and class object, as a host does.
inline IDispatch *createModel() {
    IClassFactory *factory = nullptr;
    EXPECT_EQ(DllGetClassObject(CLSID_OstreljetModel, IID_IClassFactory, reinterpret_cast<void **>(&factory)),
              S_OK);
    if (factory == nullptr) {
        return nullptr;
    }
    IDispatch *object = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void **>(&object)), S_OK);
    factory->Release();
    return object;
}

// The valid release of the tests: a light gas from a 10 m stack, stopped at 1 % concentration.
inline void putValidRelease(const DispatchClient &client) {
    const std::pair<const char16_t *, double> inputs[] = {
        {u"stackHeight", 10.0},
        {u"orificeDiameter", 0.2},
        {u"releaseAngle", 90.0},
        {u"massFlowrate", 1.0},
        {u"sourceMolecularWeight", 0.016},
        {u"sourceSpecificHeat", 2200.0},
        {u"sourceSpecificHeatRatio", 1.3},
        {u"sourceTemperature", 300.0},
        {u"atmosphereSurfaceRoughness", 0.1},
        {u"atmosphereSpecificHeat", 1005.0},
        {u"stoppingConcentration", 0.01},
    };
    for (const auto &[name, value] : inputs) {
        EXPECT_EQ(client.put(name, Var(value)), S_OK);
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

} // namespace ostreljet::component::test
