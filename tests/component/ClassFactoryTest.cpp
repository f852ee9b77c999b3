// The class object, aggregation and the module's unload answer.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/platform/ModuleLockCount.hpp"

using namespace ostreljet::component::test;

namespace {

// An outer object that keeps the inner unknown and hands out the model's dispatch interface as its own.
class Outer : public IUnknown {
public:
    HRESULT QueryInterface(REFIID riid, void **ppv) override {
        if (riid == IID_IUnknown) {
            *ppv = static_cast<IUnknown *>(this);
            AddRef();
            return S_OK;
        }
        if (riid == IID_IDispatch) {
            return inner->QueryInterface(riid, ppv);
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; } // owned by the test
    ULONG references = 1;
    IUnknown *inner = nullptr;
};

} // namespace

TEST(ClassObject, AggregationRequiresTheInnerUnknown) {
    IClassFactory *factory = classObject();
    ASSERT_NE(factory, nullptr);
    Outer outer;
    const LONG objects = ModuleLockCount::objectCount();
    void *refused = reinterpret_cast<void *>(1);
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IDispatch, &refused), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(refused, nullptr);
    EXPECT_EQ(ModuleLockCount::objectCount(), objects);
    ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void **>(&outer.inner)), S_OK);
    factory->Release();
    EXPECT_EQ(ModuleLockCount::objectCount(), objects + 1);
    EXPECT_EQ(outer.references, 1u); // creating does not hold the outer object
    // The model's interfaces delegate their identity and references to the outer object.
    IDispatch *dispatch = nullptr;
    ASSERT_EQ(outer.QueryInterface(IID_IDispatch, reinterpret_cast<void **>(&dispatch)), S_OK);
    EXPECT_EQ(outer.references, 2u);
    IUnknown *identity = nullptr;
    ASSERT_EQ(dispatch->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&identity)), S_OK);
    EXPECT_EQ(identity, static_cast<IUnknown *>(&outer));
    EXPECT_EQ(outer.references, 3u);
    identity->Release();
    const DispatchClient client(dispatch);
    EXPECT_EQ(client.put(u"stackHeight", Var(12.5)), S_OK);
    EXPECT_EQ(client.get(u"stackHeight").value.dblVal, 12.5);
    dispatch->Release();
    EXPECT_EQ(outer.references, 1u);
    // The inner unknown owns the object: its last release destroys it.
    EXPECT_EQ(outer.inner->Release(), 0u);
    EXPECT_EQ(ModuleLockCount::objectCount(), objects);
}

TEST(ClassObject, CanUnloadOnlyWithoutLiveObjectsOrLocks) {
    ASSERT_EQ(ModuleLockCount::total(), 0) << "an earlier test left an object alive";
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    IClassFactory *factory = classObject();
    ASSERT_NE(factory, nullptr);
    EXPECT_EQ(DllCanUnloadNow(), S_OK); // holding the class object alone does not lock the module
    IDispatch *object = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void **>(&object)), S_OK);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    object->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    EXPECT_EQ(factory->LockServer(1), S_OK);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    EXPECT_EQ(factory->LockServer(1), S_OK);
    EXPECT_EQ(factory->LockServer(0), S_OK);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    EXPECT_EQ(factory->LockServer(0), S_OK);
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    factory->Release();
}
