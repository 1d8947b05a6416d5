// The class factory of a table of classes, and the owners of media types.

#include <gtest/gtest.h>

#include <wrl/client.h>

#include <new>
#include <numeric>

#include "BaseClasses/ClassFactory.h"
#include "BaseClasses/ComObject.h"
#include "BaseClasses/MediaType.h"

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

class Plain final : public ComObject<IUnknown> {
public:
    ULONG References() { return AddRef(), Release(); }

private:
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

const ClassObject kClasses[] = {
    {&kPlain, L"Plain", &CreatePlain},
    {&kInner, L"Inner", &CreatePlain, true},
    {&kNoMemory, L"No memory",
     [](IUnknown*, REFIID, void**) -> HRESULT { throw std::bad_alloc(); }},
    {&kThrowing, L"Throwing", [](IUnknown*, REFIID, void**) -> HRESULT { throw 42; }}};

ComPtr<IClassFactory> FactoryOf(const CLSID& clsid) {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, GetClassObjectFromTable(kClasses, clsid, IID_PPV_ARGS(&factory)));
    return factory;
}

TEST(BaseClassesFactory, AnswersAndCreates) {
    void* out = &out;
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE,
              GetClassObjectFromTable(kClasses, Class(5), __uuidof(IClassFactory), &out));
    EXPECT_EQ(nullptr, out);
    out = &out;
    EXPECT_EQ(E_NOINTERFACE, GetClassObjectFromTable(kClasses, kPlain, __uuidof(IPersist), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, GetClassObjectFromTable(kClasses, kPlain, __uuidof(IUnknown), nullptr));
    EXPECT_EQ(E_POINTER, FactoryOf(kPlain)->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
    EXPECT_TRUE(server::CanUnload()) << "a refused factory must not stay counted";

    Plain& outer = *new Plain;
    const struct {
        const CLSID& clsid;
        IUnknown* outer;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {kPlain, nullptr, __uuidof(IUnknown), S_OK},
        {kPlain, nullptr, __uuidof(IPersist), E_NOINTERFACE},
        {kPlain, &outer, __uuidof(IUnknown), CLASS_E_NOAGGREGATION},
        {kInner, &outer, __uuidof(IUnknown), S_OK},
        {kInner, &outer, __uuidof(IPersist), E_NOINTERFACE},
        {kInner, nullptr, __uuidof(IUnknown), S_OK},
        {kNoMemory, nullptr, __uuidof(IUnknown), E_OUTOFMEMORY},
        {kThrowing, nullptr, __uuidof(IUnknown), E_UNEXPECTED},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        out = &out;
        ASSERT_EQ(test.expected, FactoryOf(test.clsid)->CreateInstance(test.outer, test.iid, &out));
        ASSERT_EQ(test.expected == S_OK, out != nullptr);
        if (out != nullptr) {
            EXPECT_EQ(test.outer, g_lastOuter);
            EXPECT_EQ(0u, static_cast<IUnknown*>(out)->Release());
        }
    }
    EXPECT_EQ(0u, outer.Release());
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
}

AM_MEDIA_TYPE MakeType(Plain& held) {
    AM_MEDIA_TYPE type{};
    type.lSampleSize = 77;
    type.cbFormat = 16;
    type.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(type.cbFormat));
    std::iota(type.pbFormat, type.pbFormat + type.cbFormat, BYTE{0});
    type.pUnk = &held;
    held.AddRef();
    return type;
}

TEST(BaseClassesMediaType, FreedOnceCopiedWholeAndOwned) {
    Plain& held = *new Plain;
    Plain& second = *new Plain;
    AM_MEDIA_TYPE source = MakeType(held);
    AM_MEDIA_TYPE copy{};
    ASSERT_EQ(S_OK, CopyMediaType(copy, source));
    EXPECT_EQ(3u, held.References());
    EXPECT_NE(source.pbFormat, copy.pbFormat);
    for (int round = 0; round < 2; ++round) {
        FreeMediaType(source);
        EXPECT_EQ(2u, held.References());
        EXPECT_EQ(0u, source.cbFormat);
        EXPECT_TRUE(source.pbFormat == nullptr && source.pUnk == nullptr);
        EXPECT_EQ(77u, source.lSampleSize);
    }
    ASSERT_EQ(S_OK, CopyMediaType(copy, copy));
    ASSERT_EQ(16u, copy.cbFormat);
    EXPECT_EQ(15, copy.pbFormat[15]);
    EXPECT_EQ(77u, copy.lSampleSize);
    FreeMediaType(copy);
    EXPECT_EQ(1u, held.References());
    DeleteMediaType(nullptr);

    ComPtr<IMalloc> allocator;
    ASSERT_EQ(S_OK, CoGetMalloc(1, &allocator));
    void* const block = CoTaskMemAlloc(4);
    copy.pbFormat = static_cast<BYTE*>(block);
    FreeMediaType(copy); // a zero size says that the pointer is stale
    EXPECT_EQ(nullptr, copy.pbFormat);
    EXPECT_EQ(1, allocator->DidAlloc(block));
    CoTaskMemFree(block);
    {
        MediaType holder;
        *holder.Put() = MakeType(held);
        MediaType moved(std::move(holder));
        EXPECT_EQ(2u, held.References());
        *moved.Put() = MakeType(second);
        EXPECT_EQ(1u, held.References());
        ASSERT_EQ(S_OK, moved.Assign(moved.Get()));
        EXPECT_EQ(2u, second.References());
        EXPECT_EQ(16u, moved->cbFormat);
        holder = std::move(moved);
        AM_MEDIA_TYPE detached = holder.Detach();
        EXPECT_EQ(2u, second.References());
        EXPECT_EQ(nullptr, holder->pUnk);
        FreeMediaType(detached);
        *holder.Put() = MakeType(held);
    }
    EXPECT_EQ(0u, held.Release() + second.Release());
}

} // namespace
} // namespace ymdshow
