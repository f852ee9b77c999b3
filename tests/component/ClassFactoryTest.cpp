// The class object, object identity, aggregation and the module's unload answer.
#include "component/ComponentTestSupport.hpp"

#include "ostreljet/component/IOstreljetModel.hpp"
#include "ostreljet/platform/ModuleLockCount.hpp"
#include "ostreljet/platform/ProvideClassInfo.hpp"

using namespace ostreljet::component::test;
using ostreljet::CLSID_OstreljetModel;
using ostreljet::IID_IOstreljetModel;
using ostreljet::IOstreljetModel;

namespace {

IClassFactory *classObject() {
    IClassFactory *factory = nullptr;
    EXPECT_EQ(DllGetClassObject(CLSID_OstreljetModel, IID_IClassFactory, reinterpret_cast<void **>(&factory)),
              S_OK);
    return factory;
}

// An outer object that aggregates a model: it keeps the inner unknown and hands out the model's
// dispatch interface as its own.
class Outer : public IUnknown {
public:
    HRESULT QueryInterface(REFIID riid, void **ppv) override {
        if (riid == IID_IUnknown) {
            *ppv = static_cast<IUnknown *>(this);
            AddRef();
            return S_OK;
        }
        if (riid == IID_IDispatch || riid == IID_IOstreljetModel) {
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

TEST(ClassObject, OnlyTheTypeLibraryClassIsServedByOneCachedFactory) {
    IClassFactory *first = classObject();
    IUnknown *second = nullptr;
    ASSERT_EQ(DllGetClassObject(CLSID_OstreljetModel, IID_IUnknown, reinterpret_cast<void **>(&second)),
              S_OK);
    EXPECT_EQ(static_cast<IUnknown *>(first), second);
    first->Release();
    second->Release();

    void *none = reinterpret_cast<void *>(1);
    EXPECT_EQ(DllGetClassObject(IID_IDispatch, IID_IClassFactory, &none), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(none, nullptr);
    none = reinterpret_cast<void *>(1);
    EXPECT_EQ(DllGetClassObject(CLSID_OstreljetModel, IID_IDispatch, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
}

TEST(ClassObject, ObjectAnswersItsInterfacesInOneIdentity) {
    IClassFactory *factory = classObject();
    IOstreljetModel *model = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IOstreljetModel, reinterpret_cast<void **>(&model)), S_OK);
    factory->Release();

    IDispatch *dispatch = nullptr;
    ASSERT_EQ(model->QueryInterface(IID_IDispatch, reinterpret_cast<void **>(&dispatch)), S_OK);
    EXPECT_EQ(static_cast<IDispatch *>(model), dispatch); // the dual interface is the dispatch interface
    IUnknown *unknown1 = nullptr;
    IUnknown *unknown2 = nullptr;
    ASSERT_EQ(model->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&unknown1)), S_OK);
    IProvideClassInfo *classInfo = nullptr;
    ASSERT_EQ(model->QueryInterface(IID_IProvideClassInfo, reinterpret_cast<void **>(&classInfo)), S_OK);
    ASSERT_EQ(classInfo->QueryInterface(IID_IUnknown, reinterpret_cast<void **>(&unknown2)), S_OK);
    EXPECT_EQ(unknown1, unknown2);

    void *refused = reinterpret_cast<void *>(1);
    EXPECT_EQ(model->QueryInterface(IID_IClassFactory, &refused), E_NOINTERFACE);
    EXPECT_EQ(refused, nullptr);

    // The class information is the class of the type library.
    ITypeInfo *info = nullptr;
    ASSERT_EQ(classInfo->GetClassInfo(&info), S_OK);
    TYPEATTR *attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, CLSID_OstreljetModel);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    info->ReleaseTypeAttr(attributes);
    info->Release();

    // Five references now; releasing them all destroys the object.
    const LONG objects = ModuleLockCount::objectCount();
    EXPECT_EQ(model->AddRef(), 6u);
    EXPECT_EQ(model->Release(), 5u);
    dispatch->Release();
    unknown1->Release();
    unknown2->Release();
    classInfo->Release();
    EXPECT_EQ(ModuleLockCount::objectCount(), objects);
    EXPECT_EQ(model->Release(), 0u);
    EXPECT_EQ(ModuleLockCount::objectCount(), objects - 1);
}

TEST(ClassObject, UnsupportedInterfaceDestroysTheNewObject) {
    IClassFactory *factory = classObject();
    const LONG objects = ModuleLockCount::objectCount();
    void *object = reinterpret_cast<void *>(1);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(ModuleLockCount::objectCount(), objects);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, nullptr), E_POINTER);
    factory->Release();
}

TEST(ClassObject, AggregationRequiresTheInnerUnknown) {
    IClassFactory *factory = classObject();
    Outer outer;
    const LONG objects = ModuleLockCount::objectCount();

    void *refused = reinterpret_cast<void *>(1);
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IDispatch, &refused), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(refused, nullptr);
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IOstreljetModel, &refused), CLASS_E_NOAGGREGATION);
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

    // The aggregated model works as a model.
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
