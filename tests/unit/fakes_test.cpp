// The fakes' own critical behaviour: what they are trusted to notice.

#include <gtest/gtest-spi.h>

#include <atomic>
#include <thread>

#include "fakes/FakeDevices.h"
#include "fakes/FakeTest.h"
#include "fakes/TaskMemory.h"

using namespace fakes;

namespace {

class Fakes : public FakeTest {};

TEST_F(Fakes, LedgerNamesWhatIsLeft) {
    const Ledger::Mark mark = ledger.Now();
    {
        const ComPtr<FakeGraph> graph = MakeGraph();
        FakeFilter& source = graph->Add("Source", {Out(Video())});
        FakeFilter& render = graph->Add("Render", {In(Video())});
        Join(source, render);
        source.OutPin().AddRef();
        graph->video.AddRef();
    }
    EXPECT_EQ(ledger.Alive(mark),
              Lines({"graph: 1 references, 1 on video",
                     "Source: 1 references, 2 on Source.Out1 (connected), in a graph",
                     "Render: 1 references, 1 on Render.In1 (connected), in a graph"}));
    EXPECT_EQ(ledger.Settle(mark).size(), 3U);
    EXPECT_EQ(ledger.Count(mark), 0U);
}

TEST_F(Fakes, LedgerWantsTheExpectedLeaks) {
    const Ledger::Mark mark = ledger.Now();
    {
        const ComPtr<FakeFilter> filter = MakeFilter("A", {Out()});
        filter->OutPin().AddRef();
        filter->OutPin().AddRef();
        ledger.ExpectLeak(filter->OutPin(), 2);
    }
    EXPECT_EQ(ledger.Settle(mark), Lines({}));
    {
        const ComPtr<FakeFilter> filter = MakeFilter("A", {Out()});
        filter->OutPin().AddRef();
        ledger.ExpectLeak(filter->OutPin(), 2);
    }
    EXPECT_EQ(ledger.Settle(mark), Lines({"A.Out1: only 1 of 2 expected leaks"}));
}

TEST_F(Fakes, UnfreedMediaTypesAreFound) {
    const Ledger::Mark mark = ledger.Now();
    {
        const ComPtr<FakeFilter> filter = MakeFilter("A", {Out(Video(640, 360))});
        ComPtr<IEnumMediaTypes> types;
        EXPECT_HR(S_OK, filter->OutPin().EnumMediaTypes(&types));
        AM_MEDIA_TYPE* type = nullptr;
        EXPECT_HR(S_OK, types->Next(1, &type, nullptr));
        CoTaskMemFree(type); // neither its format block nor its interface
        EXPECT_HR(S_FALSE, types->Next(1, &type, nullptr));
    }
    EXPECT_EQ(TakeUnfreedTaskMemory(), Lines({"a format block that was not freed"}));
    EXPECT_EQ(ledger.Settle(mark), Lines({"a media type that was not freed: 1 references"}));
}

/// Hands out a pin and drops it, with a leak when `ConnectedTo` fails.
void LeakyScenario(bool leak) {
    const ComPtr<FakeFilter> filter = MakeFilter("A", {Out()});
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ComPtr<IPin> peer;
    if (FAILED(filter->EnumPins(&pins)) || pins->Next(1, &pin, nullptr) != S_OK) {
        return;
    }
    if (pin->ConnectedTo(&peer) == E_FAIL && leak) {
        pin->AddRef();
    }
}

TEST_F(Fakes, FaultPlanHitsEachCallOnce) {
    std::vector<std::string> hits;
    FaultOptions options;
    options.check = [&](std::size_t, const std::string& where) { hits.push_back(where); };
    EXPECT_EQ(RunFaultPlan([] { LeakyScenario(false); }, options), 3U);
    EXPECT_EQ(hits, Lines({"", "A.EnumPins", "A.EnumPins.Next", "A.Out1.ConnectedTo"}));
    EXPECT_NONFATAL_FAILURE(
        RunFaultPlan([] { LeakyScenario(true); }),
        "after call 3 failed: A.Out1.ConnectedTo: A: 0 references, 1 on A.Out1");
}

TEST_F(Fakes, AnswersComeAsPlanned) {
    const ComPtr<FakeGraph> graph = MakeGraph();
    FakeFilter& a = graph->Add("A", {Out(), Out()});
    FakeFilter& b = graph->Add("B", {In(), In()});
    struct {
        Answer answer;
        bool connected;
    } const cases[] = {{{E_FAIL, false}, false},
                       {{VFW_S_PARTIAL_RENDER, true}, true},
                       {Skip(S_OK), false},
                       {Do(E_FAIL), true}};
    for (const auto& item : cases) {
        graph->results["Connect"] = item.answer;
        EXPECT_HR(item.answer.result, graph->Connect(&a.OutPin(), &b.InPin()));
        EXPECT_EQ(a.OutPin().IsConnected(), item.connected);
        Part(a.OutPin());
    }
    graph->results["Connect"] = {S_FALSE, E_FAIL};
    EXPECT_HR(S_FALSE, graph->Connect(&a.OutPin(), &b.InPin()));
    EXPECT_HR(E_FAIL, graph->Connect(&a.OutPin(1), &b.InPin(1)));
    EXPECT_HR(S_OK, graph->Connect(&a.OutPin(1), &b.InPin(1)));
    EXPECT_EQ(graph->Connections(), Lines({"A.Out1 -> B.In1", "A.Out2 -> B.In2"}));
    EXPECT_EQ(journal.Count("graph.Connect(A.Out*, B.In*)"), 7U);
}

TEST_F(Fakes, GraphKeepsTheRulesOfDirectShow) {
    const ComPtr<FakeGraph> graph = MakeGraph();
    FakeFilter& a = graph->Add("A", {Out(Video())});
    FakeFilter& b = graph->Add("B", {In(Video())});
    EXPECT_EQ(graph->FilterNames(), Lines({"B", "A"}));
    EXPECT_HR(S_OK, graph->Connect(&a.OutPin(), &b.InPin()));
    EXPECT_JOURNAL({"graph.Connect(A.Out1, B.In1)"});
    EXPECT_EQ(a.Refs(), 2U); // the graph's, and the peer's on the pin

    ComPtr<IEnumFilters> filters;
    EXPECT_HR(S_OK, graph->EnumFilters(&filters));
    ComPtr<IBaseFilter> filter;
    EXPECT_HR(S_OK, filters->Next(1, &filter, nullptr));
    EXPECT_EQ(filter.Get(), &b);
    EXPECT_HR(S_OK, graph->RemoveFilter(&b));
    EXPECT_FALSE(a.OutPin().IsConnected());
    EXPECT_EQ(b.Graph(), nullptr);
    ComPtr<IBaseFilter> next;
    EXPECT_HR(VFW_E_ENUM_OUT_OF_SYNC, filters->Next(1, &next, nullptr));
    EXPECT_HR(S_OK, filters->Reset());
    EXPECT_HR(S_OK, filters->Next(1, &next, nullptr));
    EXPECT_EQ(next.Get(), &a);
}

TEST_F(Fakes, IntelligentConnectionUsesCacheGraphAndTransforms) {
    for (const char* place : {"cache", "graph", "transforms"}) {
        const ComPtr<FakeGraph> graph = MakeGraph();
        FakeFilter& a = graph->Add("A", {Out(Stream())});
        FakeFilter& b = graph->Add("B", {In(Video())});
        const ComPtr<FakeFilter> decoder = MakeFilter("Decoder", {In(Stream()), Out(Video())});
        if (place == std::string("cache")) {
            EXPECT_HR(S_OK, graph->config.AddFilterToCache(decoder.Get()));
        } else if (place == std::string("graph")) {
            graph->Add(decoder.Get(), L"Decoder");
        } else {
            graph->transforms.push_back(decoder);
        }
        EXPECT_HR(S_OK, graph->Connect(&a.OutPin(), &b.InPin())) << place;
        EXPECT_EQ(graph->Connections(), Lines({"A.Out1 -> Decoder.In1", "Decoder.Out1 -> B.In1"}));
        EXPECT_FALSE(graph->config.IsCached(decoder.Get()));
        EXPECT_TRUE(graph->Contains(decoder.Get()));
    }
}

TEST_F(Fakes, ClassObjectsServeCoCreateInstance) {
    FakeGraphClass graphs([](FakeGraph& graph) { graph.seeking.present = false; });
    ComPtr<IGraphBuilder> graph;
    graphs.FailNext(REGDB_E_CLASSNOTREG);
    const auto create = [&] {
        return CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(&graph));
    };
    EXPECT_HR(REGDB_E_CLASSNOTREG, create());
    EXPECT_HR(S_OK, create());
    EXPECT_EQ(graph.Get(), &graphs.Last());
    ComPtr<IMediaSeeking> seeking;
    EXPECT_HR(E_NOINTERFACE, graph.As(&seeking));
    EXPECT_JOURNAL({"FilterGraph.CreateInstance", "FilterGraph.CreateInstance"});
}

TEST_F(Fakes, DevicesAreListedByCategory) {
    FakeDevices devices;
    devices.Add(CLSID_LegacyAmFilterCategory,
                {L"First", IID_IPin, [] { return MakeFilter("Made", {Out()}); }});
    ComPtr<ICreateDevEnum> enumerator;
    ASSERT_HRESULT_SUCCEEDED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER,
                                              IID_PPV_ARGS(&enumerator)));
    ComPtr<IEnumMoniker> monikers;
    EXPECT_HR(S_FALSE,
              enumerator->CreateClassEnumerator(CLSID_VideoCompressorCategory, &monikers, 0));
    ASSERT_HRESULT_SUCCEEDED(
        enumerator->CreateClassEnumerator(CLSID_LegacyAmFilterCategory, &monikers, 0));
    ComPtr<IMoniker> moniker;
    ASSERT_EQ(monikers->Next(1, &moniker, nullptr), S_OK);
    ComPtr<IPropertyBag> bag;
    ASSERT_HRESULT_SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag)));
    VARIANT value{};
    value.vt = VT_BSTR;
    EXPECT_HR(S_OK, bag->Read(L"FriendlyName", &value, nullptr));
    EXPECT_STREQ(value.bstrVal, L"First");
    SysFreeString(value.bstrVal);
    ComPtr<IBaseFilter> filter;
    EXPECT_HR(S_OK, moniker->BindToObject(nullptr, nullptr, IID_PPV_ARGS(&filter)));
    EXPECT_EQ(AsFake(filter.Get())->Name(), "Made");
}

TEST_F(Fakes, EventQueueCrossesThreads) {
    constexpr long kEvents = 3000;
    const ComPtr<FakeGraph> graph = MakeGraph();
    journal.SetKinds(0);
    OAEVENT handle = 0;
    graph->events.GetEventHandle(&handle);
    std::atomic<long> sum{0};
    std::thread reader([&] {
        long read = 0;
        while (read < kEvents &&
               WaitForSingleObject(reinterpret_cast<HANDLE>(handle), 5000) == WAIT_OBJECT_0) {
            long code = 0;
            LONG_PTR param1 = 0;
            LONG_PTR param2 = 0;
            while (SUCCEEDED(graph->events.GetEvent(&code, &param1, &param2, 0))) {
                sum += code;
                ++read;
                graph->events.FreeEventParams(code, param1, param2);
            }
        }
    });
    for (long i = 0; i < kEvents; ++i) {
        while (graph->events.Waiting() > 1000) {
            Sleep(0);
        }
        graph->PushEvent(1);
    }
    reader.join();
    EXPECT_EQ(sum, kEvents);
    EXPECT_EQ(graph->events.Unfreed(), 0);
}

} // namespace
