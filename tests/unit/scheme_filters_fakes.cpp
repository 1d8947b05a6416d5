// LoadSchemeFilters on fakes: which way makes a filter, in which order, what becomes of it.
#include "unit/media_fixture.h"

#include <dmodshow.h>

#include "fakes/FakeDevices.h"

namespace {

using namespace fakes;
using ymdshow::CCoderScheme;
using ymdshow::FilterInfo;
using ymdshow::LoadReport;

constexpr GUID kRegistered = {0x51c7a001, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kCategory = {0x51c7a003, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kDmoCategory = {0x51c7a004, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr DWORD kAll = 0xffffffff;
constexpr const wchar_t* kModule = L"filters\\testsource.ax";
constexpr const wchar_t* kMissing = L"filters\\none.ax";

/// A media item on a fake graph, with a cache or without one.
class Item : public media_tests::Media {
public:
    explicit Item(bool hasCache = false) : Media(nullptr) {
        const Silence silence;
        graph->config.present = hasCache;
        m_pGB = ComPtr<FakeGraph>(graph).Detach();
        graph->QueryInterface(IID_IGraphConfig, reinterpret_cast<void**>(&m_pGraphConfig));
    }

    const ComPtr<FakeGraph> graph = Adopt(new FakeGraph());
};

class FakeDmo final : public FakeOf<IDMOWrapperFilter> {
public:
    FakeDmo() : FakeOf("dmo") {}
    HRESULT STDMETHODCALLTYPE Init(REFCLSID clsid, REFCLSID category) override {
        return Call("Init", [&] {
            return clsid == kRegistered && category == kDmoCategory ? S_OK : E_INVALIDARG;
        });
    }
};

class SchemeFilters : public FakeTest {
protected:
    SchemeFilters() {
        const auto make = [] { return MakeFilter("Member", {In(), Out()}); };
        devices.Add(kCategory, {.friendlyName = L"Member", .clsid = kRegistered, .make = make});
    }
    FilterInfo& Entry(const wchar_t* name, int type = 2) {
        FilterInfo& info = m_infos.emplace_back();
        info.strName = name;
        info.nType = type;
        info.clsid = kRegistered;
        info.clsidCategory = kCategory;
        info.clsidDMOCategory = kDmoCategory;
        scheme.listFilter.push_back(&info);
        return info;
    }
    /// How many sources, transforms and renders there are.
    template <class What> std::string Load(Item* media, const What& what, DWORD mask = kAll) {
        std::vector<IBaseFilter*> lists[3];
        const bool done = set.LoadSchemeFilters(media, what, &lists[0], &lists[1], &lists[2], mask);
        std::string sizes;
        const Silence silence;
        for (const auto& list : lists) {
            sizes += std::to_string(list.size());
            for (IBaseFilter* const filter : list) {
                EXPECT_EQ(filter->Release(), media != nullptr ? 1U : 0U) << "the graph's";
            }
        }
        return done ? sizes : "no scheme";
    }
    void Forget() {
        scheme.listFilter.clear();
        log.Clear();
        journal.Clear();
    }

    FakeDevices devices;
    FakeFilterClass registered{"Registered", kRegistered, {In(), Out()}};
    FakeFilterClass wrapper{
        "Wrapper", CLSID_DMOWrapperFilter, {In(), Out()}, [this](FakeFilter& filter) {
            if (hasDmo) {
                const ComPtr<FakeDmo> dmo = Adopt(new FakeDmo());
                dmo->results = dmoResults;
                filter.Expose(IID_IDMOWrapperFilter, dmo.Get());
            }
        }};
    bool hasDmo = true;
    ResultTable dmoResults;
    LogCapture log;
    CCoderScheme set;
    CCoderScheme::Scheme scheme;

private:
    std::list<FilterInfo> m_infos;
};

TEST_F(SchemeFilters, EachEntryIsMadeInOneWay) {
    enum Fault { None, Class, Wrapper, Interface, Init };
    const HRESULT noModule = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const struct {
        const wchar_t* path;
        bool isDmo;
        bool hasCategory;
        const char* made; ///< the creations in order
        HRESULT result = S_OK;
        Fault fault = None;
    } cases[] = {
        {L"", false, false, "Registered"},
        {L"", false, true, "SystemDeviceEnum"},
        {L"", true, false, "Wrapper"},
        {L"", true, true, "Wrapper"},
        {kMissing, false, false, "Registered"},
        {kMissing, false, true, "SystemDeviceEnum"},
        {kMissing, true, true, "Wrapper"},
        {kModule, true, true, "", CLASS_E_CLASSNOTAVAILABLE},
        {L"ymlib.dll", true, true, "", E_FAIL}, // no module of filters
        {L"", false, false, "Registered", REGDB_E_CLASSNOTREG, Class},
        {kMissing, false, false, "Registered", noModule, Class},
        {L"", true, true, "Wrapper", VFW_E_TYPE_NOT_ACCEPTED, Init},
        {L"", true, true, "Wrapper", E_NOINTERFACE, Interface},
        {L"", true, true, "Wrapper", E_ACCESSDENIED, Wrapper},
        {kMissing, true, true, "Wrapper", noModule, Wrapper},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.path) + test.made + std::to_string(test.fault));
        const bool isMade = test.result == S_OK;
        registered.results["CreateInstance"] = test.fault == Class ? E_FAIL : S_OK;
        wrapper.results["CreateInstance"] = test.fault == Wrapper ? E_ACCESSDENIED : S_OK;
        hasDmo = test.fault != Interface;
        dmoResults["Init"] = test.fault == Init ? VFW_E_TYPE_NOT_ACCEPTED : S_OK;
        Item media;
        Forget();
        FilterInfo& info = Entry(L"Wanted");
        info.strPath = test.path;
        info.bHasDMOCategory = test.isDmo;
        info.bHasCategory = test.hasCategory;
        EXPECT_EQ(Load(&media, scheme), isMade ? "010" : "000");
        std::string made;
        for (const std::string& line : journal.Matching("*.CreateInstance*")) {
            made += line.substr(0, line.find('.'));
        }
        EXPECT_EQ(made, test.made);
        EXPECT_EQ(log.Take(), Lines({std::string(isMade ? "4" : "8") +
                                     " ymdshow::CCoderScheme::LoadSchemeFilters: Load Filter " +
                                     (isMade ? "OK" : "FAILED") + " : Wanted"}));
        ASSERT_EQ(media.GetLoadReport().filters.size(), 1U);
        const LoadReport::Filter& report = media.GetLoadReport().filters[0];
        EXPECT_EQ(report.name, L"Wanted");
        EXPECT_EQ(report.clsid, kRegistered);
        EXPECT_EQ(report.role, isMade ? 2 : 0);
        EXPECT_HR(test.result, report.result);
        EXPECT_TRUE(report.created == isMade && report.added == isMade);
        EXPECT_NE(report.module.empty(), *test.made == '\0');
    }
}

TEST_F(SchemeFilters, RolesMasksAndLists) {
    const struct {
        int type;
        DWORD mask;
        const char* sizes;
        bool isInGraph;
    } cases[] = {
        {1, kAll, "100", true}, {2, kAll, "010", true},   {4, kAll, "001", true},
        {0, kAll, "010", true}, {0, 1 | 4, "000", false}, // asked of the filter
        {2, 1, "000", false},   {2, 2 | 4, "010", true},  {1, 0, "000", false},
        {3, kAll, "000", true}, // a role of two bits has no list
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::Message() << test.type << " in " << test.mask);
        Item media;
        Forget();
        Entry(L"Filter", test.type);
        EXPECT_EQ(Load(&media, scheme, test.mask), test.sizes);
        EXPECT_EQ(media.graph->FilterCount(), test.isInGraph ? 1U : 0U);
        EXPECT_EQ(journal.Count("Registered.EnumPins*"), test.type == 0 ? 1U : 0U);
        EXPECT_EQ(log.Lines().size(), test.isInGraph ? 1U : 0U) << "a masked one is silent";
    }
}

TEST_F(SchemeFilters, NeedNeitherListsNorAMediaItem) {
    Item media;
    Entry(L"Source", 1);
    Entry(L"Transform");
    Entry(L"Render", 4);
    for (Item* const item : {&media, static_cast<Item*>(nullptr)}) {
        EXPECT_TRUE(set.LoadSchemeFilters(item, scheme, nullptr, nullptr, nullptr, kAll));
        EXPECT_EQ(media.graph->FilterCount(), 3U);
    }
    EXPECT_EQ(log.Count("4 *Load Filter OK : *"), 6U);
    EXPECT_EQ(media.GetLoadReport().filters.size(), 3U) << "no report without a media item";
    ASSERT_TRUE(set.LoadSchemeByScript(
        R"({"Schemes":[{"Type":"mp4","Filters":[{"Name":"lost"},
            {"Name":"A","CLSID":"{51C7A001-0000-0000-0102-030405060708}","Type":"render"}]}]})",
        0));
    EXPECT_TRUE(log.Has("8 ymdshow::CCoderScheme::LoadSchemeByScript: "
                        "Load Filter Info Failed, Has No Enougth Value : lost"));
    EXPECT_EQ(Load(nullptr, std::string("mp4")), "001");
    EXPECT_EQ(Load(nullptr, std::wstring(L"mp4"), 4), "001");
    EXPECT_EQ(Load(nullptr, std::string("avi")), "no scheme");
    EXPECT_EQ(Load(nullptr, std::wstring(L"avi")), "no scheme");
    EXPECT_EQ(Load(nullptr, CCoderScheme::Scheme()), "000");
}

TEST_F(SchemeFilters, GoToTheCacheOrTheGraphAndAreTakenOutWhenRefused) {
    Item media(true);
    media.graph->results["AddFilter"] = {VFW_E_NOT_STOPPED, S_OK};
    Entry(L"Cached");
    Entry(L"Refused").bCache = false;
    Entry(L"Taken").bCache = false;
    EXPECT_EQ(Load(&media, scheme), "020");
    EXPECT_EQ(media.graph->FilterCount(), 1U);
    EXPECT_TRUE(journal.InOrder({"config.AddFilterToCache*", "graph.AddFilter(*Refused*",
                                 "graph.RemoveFilter(*", "Registered.CreateInstance*",
                                 "graph.AddFilter(*Taken*"}));
    EXPECT_EQ(log.Count("4 ymdshow::CCoderScheme::LoadSchemeFilters: Load Filter OK : *"), 3U);
    const std::vector<LoadReport::Filter>& reports = media.GetLoadReport().filters;
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_TRUE(reports[0].added && reports[1].created && !reports[1].added && reports[2].added);
    EXPECT_HR(VFW_E_NOT_STOPPED, reports[1].result);
}

TEST_F(SchemeFilters, EveryFailingCallLeavesNothing) {
    Entry(L"Dmo", 0).bHasDMOCategory = true;
    Entry(L"Member", 4).bHasCategory = true;
    Entry(L"Registered", 0);
    const std::size_t calls = RunFaultPlan([&] {
        Item media;
        EXPECT_NE(Load(&media, scheme), "no scheme");
        EXPECT_EQ(media.GetLoadReport().filters.size(), 3U);
    });
    EXPECT_GT(calls, 15U);
}

} // namespace
