#include <gtest/gtest.h>

#include <wrl/client.h>

#include <numeric>

#include "BaseClasses/MediaType.h"

namespace ymdshow {
namespace {

class CountingUnknown : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }

    ULONG m_references = 0;
};

AM_MEDIA_TYPE MakeType(CountingUnknown& held) {
    AM_MEDIA_TYPE type{};
    type.lSampleSize = 77;
    type.cbFormat = 16;
    type.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(type.cbFormat));
    std::iota(type.pbFormat, type.pbFormat + type.cbFormat, BYTE{0});
    type.pUnk = &held;
    held.AddRef();
    return type;
}

TEST(BaseClassesMediaType, FreeReleasesOnceAndClears) {
    CountingUnknown held;
    AM_MEDIA_TYPE type = MakeType(held);
    for (int round = 0; round < 2; ++round) {
        FreeMediaType(type);
        EXPECT_EQ(0u, held.m_references);
        EXPECT_EQ(0u, type.cbFormat);
        EXPECT_EQ(nullptr, type.pbFormat);
        EXPECT_EQ(nullptr, type.pUnk);
        EXPECT_EQ(77u, type.lSampleSize);
    }

    Microsoft::WRL::ComPtr<IMalloc> allocator;
    ASSERT_EQ(S_OK, CoGetMalloc(1, &allocator));
    void* const block = CoTaskMemAlloc(4);
    type.pbFormat = static_cast<BYTE*>(block);
    FreeMediaType(type); // a zero size says that the pointer is stale
    EXPECT_EQ(nullptr, type.pbFormat);
    EXPECT_EQ(1, allocator->DidAlloc(block));
    CoTaskMemFree(block);
    DeleteMediaType(nullptr);
}

TEST(BaseClassesMediaType, CopyIsIndependent) {
    CountingUnknown held;
    AM_MEDIA_TYPE source = MakeType(held);
    AM_MEDIA_TYPE target{};
    ASSERT_EQ(S_OK, CopyMediaType(target, source));
    EXPECT_EQ(2u, held.m_references);
    ASSERT_EQ(16u, target.cbFormat);
    EXPECT_NE(source.pbFormat, target.pbFormat);
    FreeMediaType(source);
    EXPECT_EQ(15, target.pbFormat[15]);
    EXPECT_EQ(77u, target.lSampleSize);
    ASSERT_EQ(S_OK, CopyMediaType(target, target));
    EXPECT_EQ(15, target.pbFormat[15]);
    FreeMediaType(target);
    EXPECT_EQ(0u, held.m_references);
}

TEST(BaseClassesMediaType, HolderOwnsThroughPutMoveAndAssign) {
    CountingUnknown first;
    CountingUnknown second;
    {
        MediaType holder;
        *holder.Put() = MakeType(first);
        MediaType moved(std::move(holder));
        EXPECT_EQ(1u, first.m_references);
        *moved.Put() = MakeType(second);
        EXPECT_EQ(0u, first.m_references);
        ASSERT_EQ(S_OK, moved.Assign(moved.Get()));
        EXPECT_EQ(1u, second.m_references);
        EXPECT_EQ(16u, moved->cbFormat);
        holder = std::move(moved);
        EXPECT_EQ(1u, second.m_references);
        AM_MEDIA_TYPE detached = holder.Detach();
        EXPECT_EQ(nullptr, holder->pUnk);
        FreeMediaType(detached);
        *holder.Put() = MakeType(first);
    }
    EXPECT_EQ(0u, first.m_references);
    EXPECT_EQ(0u, second.m_references);
}

} // namespace
} // namespace ymdshow
