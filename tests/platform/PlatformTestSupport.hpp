#pragma once

#include "ostreljet/platform/Dispatch.hpp"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace ostreljet::platform::test {

// A dispatch object that counts its references and answers its value property with a fixed variant.
class CountingObject : public IDispatch {
public:
    explicit CountingObject(double value) : value_(value) {}

    HRESULT QueryInterface(REFIID riid, void **ppv) override {
        if (riid == IID_IUnknown || riid == IID_IDispatch) {
            *ppv = static_cast<IDispatch *>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; } // owned by the test, never deleted here

    HRESULT GetTypeInfoCount(UINT *count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_FAIL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return DISP_E_UNKNOWNNAME; }
    HRESULT Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS *, VARIANT *result, EXCEPINFO *,
                   UINT *) override {
        if (member != DISPID_VALUE || flags != DISPATCH_PROPERTYGET || result == nullptr) {
            return DISP_E_MEMBERNOTFOUND;
        }
        result->vt = VT_R8;
        result->dblVal = value_;
        return S_OK;
    }

    ULONG references = 1; // the test's own reference

private:
    double value_; // answered for the value property
};

// A fresh folder under the system's temporary folder, removed with its contents at the end of the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostreljet-platform-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

// Sets an environment variable for the life of the object, then restores its previous state.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char *name, const std::optional<std::string> &value) : name_(name) {
        if (const char *old = std::getenv(name)) {
            old_ = old;
        }
        apply(value);
    }
    ~ScopedEnvironment() { apply(old_); }

private:
    void apply(const std::optional<std::string> &value) {
        if (value) {
            ::setenv(name_, value->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    const char *name_;               // the variable
    std::optional<std::string> old_; // its value before, if it was set
};

} // namespace ostreljet::platform::test
