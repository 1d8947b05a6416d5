#include <gtest/gtest.h>

#include <array>

#include "BaseClasses/ComTypes.h"
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

AM_MEDIA_TYPE MakeType(CountingUnknown& held, DWORD formatSize) {
    AM_MEDIA_TYPE type{};
    type.lSampleSize = 77;
    type.cbFormat = formatSize;
    type.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(formatSize));
    for (DWORD index = 0; index < formatSize; ++index) {
        type.pbFormat[index] = static_cast<BYTE>(index);
    }
    type.pUnk = &held;
    held.AddRef();
    return type;
}

TEST(BaseClassesMediaType, FreeReleasesOnceAndClears) {
    CountingUnknown held;
    AM_MEDIA_TYPE type = MakeType(held, 16);
    for (int round = 0; round < 2; ++round) {
        FreeMediaType(type);
        EXPECT_EQ(0u, held.m_references);
        EXPECT_EQ(0u, type.cbFormat);
        EXPECT_EQ(nullptr, type.pbFormat);
        EXPECT_EQ(nullptr, type.pUnk);
        EXPECT_EQ(77u, type.lSampleSize);
    }

    std::array<BYTE, 4> notAllocated{};
    type.pbFormat = notAllocated.data();
    FreeMediaType(type); // a zero size says that the pointer is stale
    EXPECT_EQ(nullptr, type.pbFormat);

    DeleteMediaType(nullptr);
}

TEST(BaseClassesMediaType, CopyIsIndependent) {
    CountingUnknown held;
    AM_MEDIA_TYPE source = MakeType(held, 16);
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
        *holder.Put() = MakeType(first, 8);
        MediaType moved(std::move(holder));
        EXPECT_EQ(1u, first.m_references);
        *moved.Put() = MakeType(second, 8);
        EXPECT_EQ(0u, first.m_references);
        ASSERT_EQ(S_OK, moved.Assign(moved.Get()));
        EXPECT_EQ(1u, second.m_references);
        EXPECT_EQ(8u, moved->cbFormat);
        holder = std::move(moved);
        EXPECT_EQ(1u, second.m_references);
        AM_MEDIA_TYPE detached = holder.Detach();
        EXPECT_EQ(nullptr, holder->pUnk);
        FreeMediaType(detached);
        *holder.Put() = MakeType(first, 8);
    }
    EXPECT_EQ(0u, first.m_references);
    EXPECT_EQ(0u, second.m_references);
}

TEST(BaseClassesMediaType, OwnedHolderDeletesWhatItHolds) {
    CountingUnknown held;
    const auto allocate = [&held] {
        auto* const type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
        *type = MakeType(held, 8);
        return type;
    };
    {
        OwnedMediaType holder(allocate());
        *holder.Put() = allocate();
        EXPECT_EQ(1u, held.m_references);
        OwnedMediaType moved(std::move(holder));
        EXPECT_FALSE(holder);
        moved = OwnedMediaType(allocate());
        EXPECT_EQ(1u, held.m_references);
        DeleteMediaType(moved.Detach());
        EXPECT_EQ(0u, held.m_references);
        holder.Reset(allocate());
    }
    EXPECT_EQ(0u, held.m_references);
}

TEST(BaseClassesComTypes, InfoHoldersReleaseTheirInterface) {
    CountingUnknown filter;
    const auto fill = [&filter](PIN_INFO* info) {
        // Only AddRef and Release are called, which every interface begins with.
        info->pFilter = reinterpret_cast<IBaseFilter*>(static_cast<IUnknown*>(&filter));
        filter.AddRef();
        info->dir = PINDIR_OUTPUT;
    };
    {
        PinInfo info;
        fill(info.Put());
        fill(info.Put());
        EXPECT_EQ(1u, filter.m_references);
        PinInfo moved(std::move(info));
        EXPECT_EQ(nullptr, info->pFilter);
        EXPECT_EQ(PINDIR_OUTPUT, moved->dir);
        fill(info.Put());
        info = std::move(moved);
        EXPECT_EQ(1u, filter.m_references);
        EXPECT_NE(nullptr, info.DetachInterface());
        EXPECT_EQ(nullptr, info->pFilter);
        filter.Release();
        fill(info.Put());
    }
    EXPECT_EQ(0u, filter.m_references);
}

} // namespace
} // namespace ymdshow
