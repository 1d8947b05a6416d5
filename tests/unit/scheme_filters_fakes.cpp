// LoadSchemeFilters on fakes: which way makes a filter, in which order, what becomes of it.
#include "unit/media_fixture.h"

#include <dmodshow.h>

#include "fakes/FakeDevices.h"

namespace {

using namespace fakes;
using namespace ymdshow;

constexpr GUID kRegistered = {0x51c7a001, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kCategory = {0x51c7a003, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kDmoCategory = {0x51c7a004, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr DWORD kAll = 0xffffffff;
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
    explicit FakeDmo(HRESULT result) : FakeOf("dmo"), m_result(result) {}
    HRESULT STDMETHODCALLTYPE Init(REFCLSID clsid, REFCLSID category) override {
        return Call("Init", [&] {
            return clsid == kRegistered && category == kDmoCategory ? m_result : E_INVALIDARG;
        });
    }

private:
    HRESULT m_result;
};

class SchemeFilters : public FakeTest {
protected:
    SchemeFilters() {
        const auto make = [] { return MakeFilter("Member", {In(), Out()}); };
        devices.Add(kCategory, {.friendlyName = L"Member", .clsid = kRegistered, .make = make});
    }
    FilterInfo& Entry(const wchar_t* name, int type = 2) {
        FilterInfo& info = infos.emplace_back();
        info.strName = name;
        info.nType = type;
        info.clsid = kRegistered;
        info.clsidCategory = kCategory;
        info.clsidDMOCategory = kDmoCategory;
        scheme.listFilter.push_back(&info);
        return info;
    }
    /// How many sources, transforms and renders there are.
    std::string Load(Item* media, const auto& what, DWORD mask = kAll, auto*... reported) {
        std::vector<IBaseFilter*> lists[3];
        reports.clear();
        const bool done =
            set.LoadSchemeFilters(media, what, &lists[0], &lists[1], &lists[2], mask, reported...);
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
            if (dmoResult != E_NOINTERFACE) {
                filter.Expose(IID_IDMOWrapperFilter, Adopt(new FakeDmo(dmoResult)).Get());
            }
        }};
    HRESULT dmoResult = S_OK;
    LogCapture log;
    CCoderScheme set;
    std::list<FilterInfo> infos;
    CCoderScheme::Scheme scheme;
    std::vector<LoadReport::Filter> reports; ///< of the last load
};

TEST_F(SchemeFilters, EachEntryIsMadeInOneWay) {
    const HRESULT noModule = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const struct {
        const wchar_t* path;
        bool isDmo;
        bool hasCategory;
        const char* made; ///< the creations in order
        HRESULT result = S_OK;
        HRESULT fault = S_OK; ///< on the way there
    } cases[] = {{L"", false, false, "Registered"},
                 {L"", false, true, "SystemDeviceEnum"},
                 {L"", true, false, "Wrapper"},
                 {L"", true, true, "Wrapper"},
                 {kMissing, false, false, "Registered"},
                 {L"filters\\ymdpattern.ax", true, true, "", CLASS_E_CLASSNOTAVAILABLE},
                 {L"ymlib.dll", true, true, "", E_FAIL}, // no module of filters
                 {L"", false, false, "Registered", REGDB_E_CLASSNOTREG, E_FAIL},
                 {kMissing, false, false, "Registered", noModule, E_FAIL},
                 {L"", true, true, "Wrapper", VFW_E_TYPE_NOT_ACCEPTED, VFW_E_TYPE_NOT_ACCEPTED},
                 {L"", true, true, "Wrapper", E_NOINTERFACE, E_NOINTERFACE},
                 {L"", true, true, "Wrapper", E_ACCESSDENIED, E_ACCESSDENIED},
                 {kMissing, true, true, "Wrapper", noModule, E_NOINTERFACE}};
    for (const auto& test : cases) {
        SCOPED_TRACE(testing::PrintToString(test.path) + test.made + std::to_string(test.fault));
        const bool isMade = test.result == S_OK;
        registered.results["CreateInstance"] = test.fault == E_FAIL ? E_FAIL : S_OK;
        wrapper.results["CreateInstance"] = test.fault == E_ACCESSDENIED ? E_ACCESSDENIED : S_OK;
        dmoResult = test.fault;
        Item media;
        Forget();
        FilterInfo& info = Entry(L"Wanted");
        info.strPath = test.path;
        info.bHasDMOCategory = test.isDmo;
        info.bHasCategory = test.hasCategory;
        EXPECT_EQ(Load(&media, scheme, kAll, &reports), isMade ? "010" : "000");
        std::string made;
        for (const std::string& line : journal.Matching("*.CreateInstance*")) {
            made += line.substr(0, line.find('.'));
        }
        EXPECT_EQ(made, test.made);
        EXPECT_EQ(log.Lines().size(), 1U);
        EXPECT_TRUE(
            log.Has(isMade ? "4 ymdshow::CCoderScheme::LoadSchemeFilters: Load Filter OK : Wanted"
                           : "8 *::LoadSchemeFilters: Load Filter FAILED : Wanted"));
        ASSERT_EQ(reports.size(), 1U);
        const LoadReport::Filter& report = reports[0];
        EXPECT_EQ(report.name, L"Wanted");
        EXPECT_EQ(report.clsid, kRegistered);
        EXPECT_EQ(report.role, isMade ? 2 : 0);
        EXPECT_HR(test.result, report.result);
        EXPECT_TRUE(report.created == isMade && report.added == isMade);
        EXPECT_NE(report.module.empty(), *test.made == '\0');
    }
    set.UnloadScheme();
    EXPECT_NE(GetModuleHandleW(L"ymdpattern.ax"), nullptr) << "modules outlive the scheme";
    set.UnloadModules();
    EXPECT_EQ(GetModuleHandleW(L"ymdpattern.ax"), nullptr);
}

TEST_F(SchemeFilters, RolesMasksAndLists) {
    const std::tuple<int, DWORD, std::string> cases[] = {
        {1, kAll, "100"}, {2, kAll, "010"},  {4, kAll, "001"}, {0, kAll, "010"}, {0, 1 | 4, "000"},
        {2, 1, "000"},    {2, 2 | 4, "010"}, {1, 0, "000"},    {3, 1, "000"}};
    for (const auto& [type, mask, sizes] : cases) {
        SCOPED_TRACE(testing::Message() << type << " in " << mask);
        Item media;
        Forget();
        Entry(L"Filter", type);
        EXPECT_EQ(Load(&media, scheme, mask), sizes);
        EXPECT_EQ(journal.Count("Registered.EnumPins*"), type == 0) << "asks the filter";
        const std::size_t taken = sizes != "000" || type == 3; // which has no list
        EXPECT_EQ(media.graph->FilterCount(), taken);
        EXPECT_EQ(log.Lines().size(), taken) << "a masked one is silent";
    }
}

TEST_F(SchemeFilters, NeedNeitherListsNorAMediaItem) {
    Item media;
    for (const int role : {1, 2, 4}) {
        Entry(L"Filter", role);
    }
    EXPECT_TRUE(set.LoadSchemeFilters(&media, scheme, nullptr, nullptr, nullptr, kAll));
    EXPECT_TRUE(set.LoadSchemeFilters(nullptr, scheme, nullptr, nullptr, nullptr, kAll));
    EXPECT_EQ(media.graph->FilterCount(), 3U);
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
}

TEST_F(SchemeFilters, GoToTheCacheOrTheGraphAndAreTakenOutWhenRefused) {
    Item media(true);
    media.graph->results["AddFilter"] = {VFW_E_NOT_STOPPED, S_OK};
    Entry(L"Cached");
    Entry(L"Refused").bCache = false;
    Entry(L"Taken").bCache = false;
    EXPECT_EQ(Load(&media, scheme, kAll, &reports), "020");
    EXPECT_EQ(media.graph->FilterCount(), 1U);
    EXPECT_TRUE(journal.InOrder({"config.AddFilterToCache*", "graph.AddFilter(*Refused*",
                                 "graph.RemoveFilter(*", "Registered.CreateInstance*",
                                 "graph.AddFilter(*Taken*"}));
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_TRUE(reports[0].added && reports[1].created && !reports[1].added && reports[2].added);
    EXPECT_HR(E_FAIL, reports[1].result);
}

TEST_F(SchemeFilters, EveryFailingCallLeavesNothing) {
    Entry(L"Dmo", 0).bHasDMOCategory = true;
    Entry(L"Member", 4).bHasCategory = true;
    Entry(L"Registered", 0);
    const auto load = [&] {
        Item media;
        EXPECT_NE(Load(&media, scheme, kAll, &reports), "no scheme");
        EXPECT_EQ(reports.size(), 3U);
    };
    EXPECT_GT(RunFaultPlan(load), 15U);
}

} // namespace
