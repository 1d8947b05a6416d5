// LoadSchemeFilters on fakes: which way makes a filter, in which order, what becomes of it.
#include <windows.h>

#include <dmodshow.h>
#include <dshow.h>

#include <ymdshow/ymdshow.h>

#include <memory>
#include <utility>

#include "filters/Clsids.h"
#include "fakes/FakeDevices.h"
#include "fakes/FakeTest.h"

namespace {

using namespace fakes;
using ymdshow::CCoderScheme;
using ymdshow::FilterInfo;
using ymdshow::LoadReport;

constexpr GUID kRegistered = {0x51c7a001, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kUnregistered = {0x51c7a002, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kCategory = {0x51c7a003, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kDmoCategory = {0x51c7a004, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr DWORD kAll = 0xffffffff;
constexpr const wchar_t* kModule = L"filters\\testsource.ax";

/// A media item whose graph is a fake, with a cache or without one.
class Media : public ymdshow::CMedia {
public:
    explicit Media(bool hasCache = false) : CMedia(nullptr) {
        const Silence silence;
        graph->config.present = hasCache;
        m_pGB = ComPtr<FakeGraph>(graph).Detach();
        graph->QueryInterface(IID_IGraphConfig, reinterpret_cast<void**>(&m_pGraphConfig));
    }
    ~Media() override {
        if (m_pGraphConfig != nullptr) {
            m_pGraphConfig->Release();
            m_pGraphConfig = nullptr;
        }
        m_pGB->Release();
        m_pGB = nullptr;
    }
    const std::vector<LoadReport::Filter>& Reports() const { return m_loadReport.filters; }

    const ComPtr<FakeGraph> graph = Adopt(new FakeGraph());
};

class FakeDmo final : public FakeCom<IDMOWrapperFilter> {
public:
    FakeDmo() : FakeCom("dmo") {}
    CLSID clsid{};
    CLSID category{};

    IUnknown* FindInterface(REFIID iid) override {
        return iid == IID_IUnknown || iid == IID_IDMOWrapperFilter ? this : nullptr;
    }
    HRESULT STDMETHODCALLTYPE Init(REFCLSID newClsid, REFCLSID newCategory) override {
        return Call("Init", [&] {
            clsid = newClsid;
            category = newCategory;
            return S_OK;
        });
    }
};

struct Lists {
    std::vector<IBaseFilter*> sources;
    std::vector<IBaseFilter*> transforms;
    std::vector<IBaseFilter*> renders;

    ~Lists() {
        const Silence silence;
        for (auto* list : {&sources, &transforms, &renders}) {
            for (IBaseFilter* filter : *list) {
                filter->Release();
            }
        }
    }
    std::vector<std::size_t> Sizes() const {
        return {sources.size(), transforms.size(), renders.size()};
    }
};

using Sizes = std::vector<std::size_t>;

class SchemeFilters : public FakeTest {
protected:
    FilterInfo& Entry(const wchar_t* name, const GUID& clsid = kRegistered, int type = 2) {
        m_infos.push_back(std::make_unique<FilterInfo>());
        FilterInfo& info = *m_infos.back();
        info.strName = name;
        info.clsid = clsid;
        info.nType = type;
        scheme.listFilter.push_back(&info);
        return info;
    }
    bool Load(ymdshow::CMedia* media, Lists& lists, DWORD mask = kAll) {
        return set.LoadSchemeFilters(media, scheme, &lists.sources, &lists.transforms,
                                     &lists.renders, mask);
    }
    static Device Member(PinSpecs pins) {
        return {.friendlyName = L"Member", .clsid = kRegistered, .make = [pins] {
                    return MakeFilter("Member", pins);
                }};
    }
    void Forget() {
        scheme.listFilter.clear();
        m_infos.clear();
        log.Clear();
        journal.Clear();
    }

    FakeFilterClass registered{"Registered", kRegistered, {In(), Out()}};
    FakeFilterClass wrapper{
        "Wrapper", CLSID_DMOWrapperFilter, {In(), Out()}, [this](FakeFilter& filter) {
            if (hasDmo) {
                const ComPtr<FakeDmo> dmo = Adopt(new FakeDmo());
                dmo->results = dmoResults;
                filter.Expose(IID_IDMOWrapperFilter, dmo.Get());
                lastDmo = dmo.Get();
            }
        }};
    bool hasDmo = true;
    ResultTable dmoResults;
    FakeDmo* lastDmo = nullptr;
    LogCapture log;
    CCoderScheme set;
    CCoderScheme::Scheme scheme;

private:
    std::vector<std::unique_ptr<FilterInfo>> m_infos;
};

TEST_F(SchemeFilters, EachEntryIsMadeInOneWay) {
    FakeDevices devices;
    devices.Add(kCategory, Member({In(), Out()}));
    const struct {
        const char* name;
        const wchar_t* path;
        bool isDmo;
        bool hasCategory;
        const char* made; ///< the creations in order
        HRESULT result;
    } cases[] = {
        {"clsid", L"", false, false, "Registered", S_OK},
        {"category", L"", false, true, "SystemDeviceEnum", S_OK},
        {"dmo", L"", true, false, "Wrapper", S_OK},
        {"dmo before category", L"", true, true, "Wrapper", S_OK},
        {"missing module", L"filters\\none.ax", false, false, "Registered", S_OK},
        {"missing module, category", L"filters\\none.ax", false, true, "SystemDeviceEnum", S_OK},
        {"missing module, dmo", L"filters\\none.ax", true, true, "Wrapper", S_OK},
        {"module without the class", kModule, true, true, "", CLASS_E_CLASSNOTAVAILABLE},
        {"file that is no module", L"ymlib.dll", true, true, "", E_FAIL},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const bool isMade = test.result == S_OK;
        Media media;
        log.Clear();
        FilterInfo& info = Entry(L"Wanted");
        info.strPath = test.path;
        info.bHasDMOCategory = test.isDmo;
        info.clsidDMOCategory = kDmoCategory;
        info.bHasCategory = test.hasCategory;
        info.clsidCategory = kCategory;
        Lists lists;
        EXPECT_TRUE(Load(&media, lists));
        EXPECT_EQ(lists.Sizes(), (Sizes{0, isMade ? 1U : 0U, 0}));
        std::string made;
        for (const std::string& line : journal.Matching("*.CreateInstance*")) {
            made += line.substr(0, line.find('.'));
        }
        EXPECT_EQ(made, test.made);
        const std::string text = isMade ? "4 ymdshow::CCoderScheme::LoadSchemeFilters: Load "
                                          "Filter OK : Wanted"
                                        : "8 ymdshow::CCoderScheme::LoadSchemeFilters: Load "
                                          "Filter FAILED : Wanted";
        EXPECT_EQ(log.Take(), std::vector{text});
        ASSERT_EQ(media.Reports().size(), 1U);
        const LoadReport::Filter& report = media.Reports()[0];
        EXPECT_EQ(report.name, L"Wanted");
        EXPECT_HR(test.result, report.result);
        EXPECT_EQ(report.created, isMade);
        EXPECT_EQ(report.added, isMade);
        EXPECT_EQ(report.module.empty(), isMade);
        if (FakeDmo* const dmo = std::exchange(lastDmo, nullptr)) {
            EXPECT_EQ(dmo->clsid, kRegistered);
            EXPECT_EQ(dmo->category, kDmoCategory);
        }
        const Silence silence;
        for (IBaseFilter* filter : lists.transforms) {
            media.graph->Leave(filter);
            EXPECT_EQ(dynamic_cast<FakeFilter*>(filter)->Refs(), 1U) << "the caller's";
        }
        Forget();
    }
}

TEST_F(SchemeFilters, ADmoThatFailsLeavesNothing) {
    Media media;
    for (const wchar_t* path : {L"", L"filters\\none.ax"}) {
        Entry(L"Dmo", kUnregistered).bHasDMOCategory = true;
        scheme.listFilter.back()->strPath = path;
    }
    const auto expect = [&](HRESULT result) {
        Lists lists;
        EXPECT_TRUE(Load(&media, lists));
        EXPECT_EQ(lists.Sizes(), (Sizes{0, 0, 0}));
        EXPECT_EQ(log.Count("8 *Load Filter FAILED : Dmo"), 2U);
        log.Clear();
        EXPECT_EQ(journal.Count("Registered.*"), 0U) << "no other way is tried";
        const auto& reports = media.Reports();
        ASSERT_GE(reports.size(), 2U);
        EXPECT_HR(result, reports[reports.size() - 2].result);
        EXPECT_HR(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), reports.back().result)
            << "the module that was asked for is the reason";
        EXPECT_FALSE(reports.back().created || reports.back().added);
    };
    dmoResults["Init"] = VFW_E_TYPE_NOT_ACCEPTED;
    expect(VFW_E_TYPE_NOT_ACCEPTED);
    hasDmo = false;
    expect(E_NOINTERFACE);
    wrapper.results["CreateInstance"] = E_ACCESSDENIED;
    expect(E_ACCESSDENIED);
}

TEST_F(SchemeFilters, RolesMasksAndLists) {
    const struct {
        const char* name;
        int type;
        DWORD mask;
        Sizes sizes;
        bool isInGraph;
        bool isAsked; ///< the filter's pins tell the role
    } cases[] = {
        {"source", 1, kAll, {1, 0, 0}, true, false},
        {"transform", 2, kAll, {0, 1, 0}, true, false},
        {"render", 4, kAll, {0, 0, 1}, true, false},
        {"asked of the filter", 0, kAll, {0, 1, 0}, true, true},
        {"asked and masked", 0, 1 | 4, {0, 0, 0}, false, true},
        {"masked", 2, 1, {0, 0, 0}, false, false},
        {"one bit of the mask", 2, 2 | 4, {0, 1, 0}, true, false},
        {"no mask", 1, 0, {0, 0, 0}, false, false},
        {"a role of two bits has no list", 3, kAll, {0, 0, 0}, true, false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        Media media;
        log.Clear();
        Entry(L"Filter", kRegistered, test.type);
        Lists lists;
        EXPECT_TRUE(Load(&media, lists, test.mask));
        EXPECT_EQ(lists.Sizes(), test.sizes);
        EXPECT_EQ(media.graph->FilterCount(), test.isInGraph ? 1U : 0U);
        EXPECT_EQ(journal.Count("Registered.EnumPins*"), test.isAsked ? 1U : 0U);
        EXPECT_EQ(log.Lines().size(), test.isInGraph ? 1U : 0U) << "a masked one is silent";
        Forget();
    }
}

TEST_F(SchemeFilters, WithoutListsTheGraphAloneHoldsThem) {
    Media media;
    Entry(L"Source", kRegistered, 1);
    Entry(L"Transform", kRegistered, 2);
    for (ymdshow::CMedia* item :
         {static_cast<ymdshow::CMedia*>(&media), static_cast<ymdshow::CMedia*>(nullptr)}) {
        EXPECT_TRUE(set.LoadSchemeFilters(item, scheme, nullptr, nullptr, nullptr, kAll));
        EXPECT_EQ(media.graph->FilterCount(), 2U);
    }
    EXPECT_EQ(log.Count("4 *Load Filter OK : *"), 4U);

    Lists lists;
    EXPECT_TRUE(Load(nullptr, lists));
    EXPECT_EQ(lists.Sizes(), (Sizes{1, 1, 0}));
    EXPECT_EQ(media.Reports().size(), 2U) << "no report without a media item";
}

TEST_F(SchemeFilters, ARefusedFilterIsTakenOutAndPassedOver) {
    Media media;
    media.graph->results["AddFilter"] = {VFW_E_NOT_STOPPED, S_OK};
    Entry(L"Refused");
    Entry(L"Taken");
    Lists lists;
    EXPECT_TRUE(Load(&media, lists));
    EXPECT_EQ(lists.Sizes(), (Sizes{0, 1, 0}));
    EXPECT_TRUE(
        journal.InOrder({"Registered.CreateInstance*", "graph.AddFilter(*", "graph.RemoveFilter(*",
                         "Registered.CreateInstance*", "graph.AddFilter(*"}));
    EXPECT_EQ(log.Lines().size(), 4U);
    EXPECT_TRUE(log.Has("4 ymdshow::CCoderScheme::LoadSchemeFilters: Load Filter OK : Refused"));
    EXPECT_TRUE(log.Has("8 ymdshow::CMedia::_AddFilter: AddFilter FAILED : R"));
    ASSERT_EQ(media.Reports().size(), 2U);
    EXPECT_TRUE(media.Reports()[0].created && FAILED(media.Reports()[0].result));
    EXPECT_FALSE(media.Reports()[0].added);
    EXPECT_TRUE(media.Reports()[1].added);
}

TEST_F(SchemeFilters, TheCacheTakesWhatIsMarkedForIt) {
    Media media(true);
    Entry(L"Cached").bCache = true;
    Entry(L"Direct").bCache = false;
    Lists lists;
    EXPECT_TRUE(Load(&media, lists));
    EXPECT_EQ(lists.Sizes(), (Sizes{0, 2, 0}));
    EXPECT_EQ(journal.Count("config.AddFilterToCache*"), 1U);
    EXPECT_EQ(journal.Count("graph.AddFilter(*"), 1U);
    const Silence silence;
    EXPECT_EQ(RemoveFilterFromGraphBuilderCache(&media.graph->config, lists.transforms[0]), 1);
}

TEST_F(SchemeFilters, TypesAreLookedUpInBothWidths) {
    ASSERT_TRUE(set.LoadSchemeByScript(
        R"({"Schemes":[{"Type":"mp4","Filters":[
            {"Name":"A","CLSID":"{51C7A001-0000-0000-0102-030405060708}","Type":"render"}]}]})",
        0));
    Lists lists;
    const auto load = [&](const auto& type) {
        return set.LoadSchemeFilters(nullptr, type, &lists.sources, &lists.transforms,
                                     &lists.renders, kAll);
    };
    EXPECT_TRUE(load(std::string("mp4")));
    EXPECT_TRUE(load(std::wstring(L"mp4")));
    EXPECT_EQ(lists.Sizes(), (Sizes{0, 0, 2}));
    EXPECT_FALSE(load(std::string("avi")));
    EXPECT_FALSE(load(std::wstring(L"avi")));
    EXPECT_EQ(lists.Sizes(), (Sizes{0, 0, 2}));
    EXPECT_TRUE(load(CCoderScheme::Scheme()));
}

TEST_F(SchemeFilters, EveryFailingCallLeavesNothing) {
    FilterInfo& dmo = Entry(L"Dmo", kUnregistered, 0);
    dmo.bHasDMOCategory = true;
    FilterInfo& member = Entry(L"Member", kRegistered, 4);
    member.bHasCategory = true;
    member.clsidCategory = kCategory;
    Entry(L"Registered", kRegistered, 0);
    const std::size_t calls = RunFaultPlan([&] {
        FakeDevices devices;
        devices.Add(kCategory, Member({In()}));
        Media media;
        Lists lists;
        EXPECT_TRUE(Load(&media, lists));
        EXPECT_EQ(media.Reports().size(), 3U);
        for (const LoadReport::Filter& report : media.Reports()) {
            EXPECT_TRUE(report.created || FAILED(report.result));
        }
    });
    EXPECT_GT(calls, 15U);
}

} // namespace
