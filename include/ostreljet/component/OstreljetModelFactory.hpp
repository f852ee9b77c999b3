#pragma once

#include "ostreljet/platform/ClassFactory.hpp"

#include <atomic>

// The class object of OstreljetModel: creates model objects, aggregated ones included.
namespace ostreljet {

// One factory serves every caller of the module (it is cached), so its reference count is atomic.
class OstreljetModelFactory final : public platform::IClassFactory {
public:
    OstreljetModelFactory() = default;
    ~OstreljetModelFactory() override = default;
    OstreljetModelFactory(const OstreljetModelFactory &) = delete;
    OstreljetModelFactory &operator=(const OstreljetModelFactory &) = delete;

    // Answers IID_IUnknown and IID_IClassFactory.
    platform::HRESULT QueryInterface(platform::REFIID riid, void **ppv) override;
    // The module's cache owns the factory: the last release destroys nothing.
    platform::ULONG AddRef() override;
    platform::ULONG Release() override;

    // A new model object (see OstreljetModel::create); the module's object count follows its life.
    platform::HRESULT CreateInstance(platform::IUnknown *pUnkOuter, platform::REFIID riid,
                                     void **ppvObject) override;
    // Takes or drops a server lock on the module.
    platform::HRESULT LockServer(platform::BOOL fLock) override;

private:
    std::atomic<platform::ULONG> references_{1}; // the cache's own reference included
};

} // namespace ostreljet
