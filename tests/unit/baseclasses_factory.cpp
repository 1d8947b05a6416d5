#include <gtest/gtest.h>

#include <wrl/client.h>

#include <new>
#include <span>

#include "BaseClasses/ClassFactory.h"

#include "baseclasses_handles.h"

namespace ymdshow {
namespace {

using Microsoft::WRL::ComPtr;

constexpr CLSID Class(unsigned char number) {
    return {0x6f1d7b01, 0x51a4, 0x4c52, {0x8e, 0x1f, 0x10, 0x22, 0x33, 0x44, 0x55, number}};
}
constexpr CLSID kPlain = Class(1);
constexpr CLSID kInner = Class(2);
constexpr CLSID kNoMemory = Class(3);
constexpr CLSID kThrowing = Class(4);

class Plain : public IUnknown {
public:
    virtual ~Plain() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        *out = iid == __uuidof(IUnknown) ? this : nullptr;
        return *out != nullptr ? static_cast<HRESULT>(AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

private:
    ULONG m_references = 1;
    ServerObject m_serverObject;
};

IUnknown* g_lastOuter = nullptr;

HRESULT CreatePlain(IUnknown* outer, REFIID iid, void** out) {
    g_lastOuter = outer;
    auto* const object = new Plain;
    const HRESULT hr = object->QueryInterface(iid, out);
    object->Release();
    return hr;
}

HRESULT CreateWithoutMemory(IUnknown*, REFIID, void**) {
    throw std::bad_alloc();
}
HRESULT CreateThrowing(IUnknown*, REFIID, void**) {
    throw 42;
}

const ClassObject kClasses[] = {{&kPlain, L"Plain", &CreatePlain},
                                {&kInner, L"Inner", &CreatePlain, true},
                                {&kNoMemory, L"No memory", &CreateWithoutMemory},
                                {&kThrowing, L"Throwing", &CreateThrowing}};

ComPtr<IClassFactory> FactoryOf(const CLSID& clsid) {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, GetClassObjectFromTable(kClasses, clsid, IID_PPV_ARGS(&factory)));
    return factory;
}

TEST(BaseClassesFactory, TableAnswersItsClassesOnly) {
    const struct {
        std::span<const ClassObject> classes;
        CLSID clsid;
        IID iid;
        HRESULT expected;
    } cases[] = {{kClasses, Class(5), __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
                 {{}, kPlain, __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
                 {kClasses, kPlain, __uuidof(IPersist), E_NOINTERFACE}};
    for (const auto& test : cases) {
        void* out = &out;
        EXPECT_EQ(test.expected, GetClassObjectFromTable(test.classes, test.clsid, test.iid, &out));
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(E_POINTER,
              GetClassObjectFromTable(kClasses, kPlain, __uuidof(IClassFactory), nullptr));
    EXPECT_TRUE(server::CanUnload()) << "a refused factory must not stay counted";
}

TEST(BaseClassesFactory, CreationAnswers) {
    Plain outer;
    const struct {
        const char* what;
        const CLSID& clsid;
        IUnknown* outer;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {"plain", kPlain, nullptr, __uuidof(IUnknown), S_OK},
        {"interface it lacks", kPlain, nullptr, __uuidof(IPersist), E_NOINTERFACE},
        {"outer of a class that stands alone", kPlain, &outer, __uuidof(IUnknown),
         CLASS_E_NOAGGREGATION},
        {"inner object", kInner, &outer, __uuidof(IUnknown), S_OK},
        {"inner object, not IUnknown", kInner, &outer, __uuidof(IPersist), E_NOINTERFACE},
        {"aggregatable alone", kInner, nullptr, __uuidof(IUnknown), S_OK},
        {"out of memory", kNoMemory, nullptr, __uuidof(IUnknown), E_OUTOFMEMORY},
        {"exception", kThrowing, nullptr, __uuidof(IUnknown), E_UNEXPECTED},
    };
    for (const auto& test : cases) {
        g_lastOuter = nullptr;
        void* out = &out;
        EXPECT_EQ(test.expected, FactoryOf(test.clsid)->CreateInstance(test.outer, test.iid, &out))
            << test.what;
        EXPECT_EQ(test.expected == S_OK, out != nullptr) << test.what;
        if (out != nullptr) {
            EXPECT_EQ(test.outer, g_lastOuter) << test.what;
            EXPECT_EQ(0u, static_cast<IUnknown*>(out)->Release()) << test.what;
        }
    }
    EXPECT_EQ(E_POINTER, FactoryOf(kPlain)->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
}

TEST(BaseClassesFactory, FactoriesObjectsAndLocksKeepTheServer) {
    ASSERT_TRUE(server::CanUnload());
    ComPtr<IClassFactory> factory = FactoryOf(kPlain);
    EXPECT_FALSE(server::CanUnload());
    ComPtr<IUnknown> object;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(&object)));
    EXPECT_EQ(S_OK, factory->LockServer(TRUE));
    factory.Reset();
    EXPECT_FALSE(server::CanUnload());
    object.Reset();
    EXPECT_FALSE(server::CanUnload()) << "locked";
    EXPECT_EQ(S_OK, FactoryOf(kInner)->LockServer(FALSE)) << "another factory of the same server";
    EXPECT_TRUE(server::CanUnload());

    tests::InThreads(4, [](unsigned) {
        for (int round = 0; round < 5000; ++round) {
            const ComPtr<IClassFactory> own = FactoryOf(kPlain);
            ComPtr<IUnknown> made;
            own->LockServer(TRUE);
            own->CreateInstance(nullptr, IID_PPV_ARGS(&made));
            own->LockServer(FALSE);
        }
    });
    EXPECT_TRUE(server::CanUnload());
}

} // namespace
} // namespace ymdshow
