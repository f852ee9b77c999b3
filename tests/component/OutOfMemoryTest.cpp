// Creation when the object cannot be allocated.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/platform/ModuleLockCount.hpp"

#include <atomic>
#include <new>

namespace {

std::atomic<bool> refuseNothrowAllocations{false}; // set while a test simulates exhausted memory

} // namespace

// The non-throwing allocation of the whole program, which can be made to fail on demand.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    if (refuseNothrowAllocations.load()) {
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

using namespace ostreljet::component::test;

TEST(OutOfMemory, FailedAllocationOfTheObjectIsReported) {
    IClassFactory *factory = nullptr;
    ASSERT_EQ(DllGetClassObject(ostreljet::CLSID_OstreljetModel, IID_IClassFactory,
                                reinterpret_cast<void **>(&factory)),
              S_OK);
    const LONG objects = ModuleLockCount::objectCount();
    void *object = reinterpret_cast<void *>(1);
    refuseNothrowAllocations = true;
    const HRESULT hr = factory->CreateInstance(nullptr, IID_IDispatch, &object);
    refuseNothrowAllocations = false;
    EXPECT_EQ(hr, E_OUTOFMEMORY);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(ModuleLockCount::objectCount(), objects);

    // Memory back: creation works again.
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, &object), S_OK);
    static_cast<IDispatch *>(object)->Release();
    factory->Release();
}
