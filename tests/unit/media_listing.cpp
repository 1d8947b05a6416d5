// The filters of a loaded item as a host reaches them: listing, visitor, interfaces, pages.

#include "media_play.h"

using namespace media_tests;

namespace {

class MediaListing : public MediaTest {};

std::wstring ClsidText(const GUID& clsid) {
    wchar_t text[39] = {};
    StringFromGUID2(clsid, text, 39);
    return text;
}

TEST_F(MediaListing, NamesClsidsAndFilesOfTheUsedFilters) {
    std::wstring wide = L"something";
    std::string narrow = "something";
    Media media(nullptr);
    media.GetFilterInfo(wide);
    media.GetFilterInfo(narrow);
    EXPECT_EQ(wide, L"");
    EXPECT_EQ(narrow, "");
    Loaded(media);
    const ComPtr<FakeFilter> extra[3] = {MakeFilter("E", {}), MakeFilter("F", {}),
                                         MakeFilter("G", {})};
    std::vector<IBaseFilter*> used{extra[0].Get(), extra[1].Get(), extra[2].Get()};
    extra[0]->JoinFilterGraph(&Graph(), L"影片 source");
    extra[0]->clsid = CLSID_FilterGraph; // a class with a server file
    extra[1]->results["QueryFilterInfo"] = E_FAIL;
    extra[2]->JoinFilterGraph(&Graph(), L"third");
    extra[2]->results["GetClassID"] = E_FAIL;
    std::string server;
    ASSERT_TRUE(FindFileNameFromCLSID(CLSID_FilterGraph, server));
    const std::wstring expected = L"0 : 影片 source\n\t" + ClsidText(CLSID_FilterGraph) + L"\n\t" +
                                  std::wstring(server.begin(), server.end()) + L"\n\n1 : \n\t" +
                                  ClsidText(extra[1]->clsid) + L"\n\n2 : third\n\t\n\n";
    media.m_usedFilters.swap(used);
    media.GetFilterInfo(wide);
    media.GetFilterInfo(narrow);
    journal.Clear();
    for (const int index : {-1, 3, 4}) {
        media.ShowFilterPropertyPage(index, nullptr);
    }
    EXPECT_JOURNAL({});
    media.m_usedFilters.swap(used);
    EXPECT_EQ(wide, expected);
    EXPECT_EQ(narrow, Gbk(expected));
    for (const auto& filter : extra) {
        filter->JoinFilterGraph(nullptr, nullptr);
    }
}

void Visit(IBaseFilter* filter, void* user) {
    static_cast<Lines*>(user)->push_back(AsFake(filter)->Name());
}

TEST_F(MediaListing, VisitorSeesLinkedFiltersOrAll) {
    Lines seen;
    Media media(nullptr);
    media.EnumMediaFilter(Visit, &seen, 1);
    Loaded(media);
    Graph().Add("Lonely", {In(fakes::Video())});
    Graph().Add("Pinless", {});
    media.EnumMediaFilter(nullptr, &seen, 1);
    EXPECT_EQ(seen, Lines());
    media.EnumMediaFilter(Visit, &seen, 1);
    EXPECT_EQ(seen, Graph().FilterNames());
    seen.clear();
    media.EnumMediaFilter(Visit, &seen, 0);
    EXPECT_EQ(seen, Lines({"AudioRenderer2", "VideoRenderer1", "Source"}));
    Graph().results["EnumFilters"] = E_FAIL;
    seen.clear();
    media.EnumMediaFilter(Visit, &seen, 1);
    EXPECT_EQ(seen, Lines());
}

TEST_F(MediaListing, FindsTheFirstInterfaceAndKeepsNoOther) {
    Media media(nullptr);
    EXPECT_EQ(media.FindInterfaceInGraphFilters(IID_IAMStreamSelect, 1), nullptr);
    Loaded(media);
    EXPECT_EQ(media.FindInterfaceInGraphFilters(IID_IAMStreamSelect, 1), nullptr);
    FakeFilter& last = Graph().Add("Last", {In(fakes::Video())}).Select({});
    FakeFilter& first = Graph().Add("First", {In(fakes::Video())}).Select({});
    void* const found = media.FindInterfaceInGraphFilters(IID_IAMStreamSelect, 0);
    EXPECT_EQ(found, static_cast<IAMStreamSelect*>(&first.streamSelect));
    EXPECT_EQ(first.streamSelect.Refs(), 1U);
    EXPECT_EQ(last.streamSelect.Refs(), 0U);
    if (found != nullptr) {
        static_cast<IUnknown*>(found)->Release();
    }
    // On pins only when asked to.
    first.InPin().Expose(IID_IAMVideoCompression);
    EXPECT_EQ(media.FindInterfaceInGraphFilters(IID_IAMVideoCompression, 0), nullptr);
    void* const onPin = media.FindInterfaceInGraphFilters(IID_IAMVideoCompression, 1);
    ASSERT_NE(onPin, nullptr);
    static_cast<IUnknown*>(onPin)->Release();
}

} // namespace
