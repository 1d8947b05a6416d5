// A graph from the scheme's filters and the four ways of finding a source; linking all of it,
// taking it apart, releasing it; lives in which a call fails.

#include "media_fixture.h"

#include <future>
#include <optional>

using namespace media_tests;

namespace {

class MediaAssembly : public MediaGraphTest {
protected:
    const std::string unlinked = "\n4 UnlinkAllFilter: UnlinkAllFilter : " + std::string(kPath);
    const std::string link = "\n4 LinkAllFilter: LinkAllFilter ";
    const PinSpecs transform{In(fakes::Stream()), Out(fakes::Stream())};
};

TEST_F(MediaAssembly, SchemeNamesAreGatheredInOrder) {
    const struct {
        const char* path;
        const char* format;                ///< of the media information, null without
        std::string videos, audios, names; ///< "?" behind one without a scheme
    } cases[] = {
        {"TEST://host/clip.MKV", "matroska", "h264", "aac ac3",
         "test matroska mkv aac audio_global ac3 audio_global h264 video_global "},
        {"no://x.mkv", nullptr, "", "", "no? mkv "},
        {"no://x.mkv", "Matroska", "H264", "AAC",
         "no? Matroska? mkv AAC? audio_global H264? video_global "},
        {"no://host/clip", "", "", "", "no? unknown "},
        {"no://x.y", "z", "", "", "no? z? y? unknown "},
    };
    for (const std::string& type :
         Words("test matroska mkv aac ac3 h264 audio_global video_global unknown")) {
        Describe(type, type, transform);
    }
    for (const auto& test : cases) {
        Media item(test.path, nullptr);
        item.Know(Words(test.videos), Words(test.audios));
        item.m_hasMediaFormat = test.format != nullptr;
        item.m_mediaFormat = test.format ? test.format : "matroska";
        EXPECT_EQ(item.Load(&scheme, 0), 1);
        std::string names;
        for (const auto& name : item.GetLoadReport().names) {
            names += Narrow(name.name) + (name.found ? " " : "? ");
        }
        EXPECT_EQ(names, test.names);
    }
    EXPECT_EQ(Media("no://x", nullptr).Load(nullptr, 1), 1);
    EXPECT_TRUE(log.Has("8 ymdshow::CMedia::_LoadFilterWithScheme: CoderScheme Is NULL"));
}

TEST_F(MediaAssembly, FilterEntersCacheOrGraphAndLeavesBoth) {
    const ComPtr<FakeFilter> filter = MakeFilter("D", transform);
    IBaseFilter* heard = nullptr;
    media.SetAddFilterCallBack(
        [](IBaseFilter* entered, void* user) { *static_cast<IBaseFilter**>(user) = entered; },
        &heard);
    const auto cycle = [&](int cache) {
        const int result = media._AddFilter(filter.Get(), L"Dec", cache);
        EXPECT_EQ(std::exchange(heard, nullptr), result ? filter.Get() : nullptr);
        const std::string added = After(result);
        media._RemoveFilter(filter.Get());
        EXPECT_EQ(filter->Refs(), 1U);
        return added + "; " + After(0);
    };
    EXPECT_EQ(cycle(1), "0; 0"); // without a graph
    EXPECT_EQ(media._InitFilters(&scheme, 0), 0);
    Loaded(media);
    EXPECT_EQ(heard, nullptr); // of the graph's own filters
    EXPECT_EQ(cycle(1), "1 ?D; 0 <D !D\n8 _RemoveFilter: RemoveFilter FAILED");
    EXPECT_EQ(cycle(0), "1 >D, Dec; 0 <D !D");
    media._RemoveFilter(nullptr);
    EXPECT_EQ(After(media._AddFilter(nullptr, L"Dec", 1)), "0");
    media._RemoveFilter(Graph().Find("VideoRenderer1"));
    EXPECT_EQ(After(0), "0 -Source.Out1 -VideoRenderer1.In1 <VideoRenderer1 !VideoRenderer1");
    Graph().config.RefuseCache();
    Graph().results["AddFilter"] = VFW_S_DUPLICATE_NAME;
    EXPECT_EQ(cycle(1), "1 ?D >D, Dec; 0 <D !D");
    Graph().results["AddFilter"] = E_FAIL; // logged with the name up to its first zero byte
    EXPECT_TRUE(cycle(0).starts_with("0 >D, Dec\n8 _AddFilter: AddFilter FAILED : D; 0 <D"));
    configure = [](FakeGraph& graph) { graph.config.present = false; };
    Loaded(media);
    EXPECT_EQ(cycle(1), "1 >D, Dec; 0 <D");
}

/// The attempts by letters, and what is logged when one has failed.
const std::map<std::string, std::string> kSteps = {
    {"1TrySourceFilter", "LTry loaded source filter (TrySourceFilter) FAILED: "},
    {"1TryRenderSource", "CTry to render the loaded source filter (TryRenderSource) FAILED : "},
    {"2AddSourceFilter", "AAuto AddSourceFilter FAILED : "},
    {"2TryRenderSource", "CAuto AddSourceFilter OK But TryRenderSource FAILED : "},
    {"3TrySourceFilter", "LTry loaded source filter (TrySourceFilter) FAILED : "},
    {"3RenderFilter", "RTry to render the loaded source filter (RenderFilter) FAILED : "},
    {"4AddSourceFilter", "AAuto AddSourceFilter FAILED : "},
    {"4RenderFilter", "RAuto AddSourceFilter OK But RenderFilter FAILED : "},
};
const std::string kLogged = "8 ymdshow::CMedia::_TrySourceFilter: ";

TEST_F(MediaAssembly, FirstWayThatGivesASourceIsKept) {
    const std::string path = "test://\xe7\x89\x87/clip.mkv";
    const struct {
        int flag;
        std::string sources;     ///< of the scheme: "Sx=va" has two outputs, and refuses
        std::string renderers;   ///< of the scheme: v, a
        std::string known;       ///< by the media information
        std::string graphSource; ///< the graph has none when empty
        std::string attempts;    ///< "1LSx!": the first way's L on Sx failed
        std::size_t filters;     ///< in use, the scheme's renderers twice
    } cases[] = {
        {1, "S=va", "va", "va", "va", "1LS 1CS ", 5},
        {1, "Sx=va T=v U=va", "v", "v", "va", "1LSx! 1LT 1CT ", 3},
        {1, "S=t", "v", "", "va", "1LS 1CS ", 1}, // complete, as nothing is known
        {1, "S=v", "va", "va", "va", "1LS 1CS! 2A 2C ", 5},
        {1, "", "v", "v", "v", "2A 2C ", 3},
        // A picture without its sound is enough for the third way.
        {1, "S=v", "va", "va", "v", "1LS 1CS! 2A 2C! 3LS 3RS ", 3},
        {1, "", "va", "va", "a", "2A 2C! 4A 4R ", 3},
        {0, "S=va", "va", "va", "va", "3LS 3RS ", 5},
        {1, "S=t", "", "va", "va", "3LS 3RS ", 2},
        {1, "Sx=va", "v", "a", "v", "1LSx! 2A 2C! 3LSx! 4A 4R ", 3},
        {0, "Sx=va T=va U=va", "", "va", "v", "3LSx! 3LT 3RT! 4A 4R! ", 0},
        {1, "Sx=va", "va", "va", "", "1LSx! 2A! 3LSx! 4A! ", 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.attempts);
        const bool loads = !test.attempts.ends_with("! ");
        scheme.UnloadScheme();
        for (const std::string& source : Words(test.sources)) {
            const std::size_t equals = source.find('=');
            Describe("mkv", source.substr(0, equals), Outs(source.substr(equals + 1)));
        }
        for (const char kind : test.renderers) {
            Describe("mkv", kind == 'v' ? "VR" : "AR", {In(TypeOf(kind))});
        }
        sourcePins = Outs(test.graphSource);
        configure = [&](FakeGraph& graph) {
            graph.results["AddSourceFilter"] = sourcePins.empty() ? VFW_E_UNKNOWN_FILE_TYPE : S_OK;
            graph.results["Render"] = loads ? S_OK : VFW_E_CANNOT_CONNECT;
        };
        ASSERT_EQ(media.SetMediaPath(Gbk(L"test://\x7247/clip.mkv")), 1);
        media.Know(Lines(test.known.starts_with('v')), Lines(test.known.ends_with('a')));
        journal.Clear();
        log.Clear();
        EXPECT_EQ(media.Load(&scheme, test.flag), loads);

        const ymdshow::LoadReport& report = media.GetLoadReport();
        std::string attempts;
        HRESULT last = S_OK;
        for (const auto& [way, name, filter, result, text] : report.attempts) {
            const std::string& step = kSteps.at(std::to_string(way) + Narrow(name));
            attempts += std::to_string(way) + step[0] + Narrow(filter);
            attempts += result == S_OK ? " " : "! ";
            EXPECT_EQ(text, ymdshow::ResultText(result));
            if (result != S_OK) {
                last = result;
                EXPECT_EQ(result == VFW_E_CANNOT_RENDER, step[0] == 'C');
                EXPECT_TRUE(log.Has(kLogged + step.substr(1) + path));
            }
        }
        EXPECT_EQ(attempts, test.attempts);
        EXPECT_EQ(log.Count(kLogged + "*"), std::count(attempts.begin(), attempts.end(), '!') + 0U);
        EXPECT_EQ(journal.Count("*(" + path + ", *"),
                  journal.Count("*.Load(*") + journal.Count("*.AddSource*"));
        EXPECT_HR(report.failureResult, loads ? S_OK : last);
        EXPECT_EQ(report.failure.empty(), loads);
        ASSERT_EQ(media.m_pSourceFilter != nullptr, loads);
        if (loads) {
            const std::string kept = Narrow(report.attempts.back().filter);
            EXPECT_EQ(AsFake(media.m_pSourceFilter)->Name(), kept.empty() ? "Source" : kept);
        } else {
            EXPECT_EQ(journal.Count("graph.RemoveFilter(*"), report.filters.size());
        }
        EXPECT_EQ(media.m_usedFilters.size() + media.m_renderFilters.size(), test.filters);
    }
}

/// A source opens until it is told to give up.
class Hang final : public fakes::FakeCom<IAMOpenProgress> {
public:
    Hang() : FakeCom("progress") {}
    IUnknown* FindInterface(REFIID iid) override {
        return iid == IID_IUnknown || iid == IID_IAMOpenProgress ? this : nullptr;
    }
    STDMETHODIMP AbortOperation() override {
        return Call("AbortOperation", [this] { SetEvent(told); });
    }
    FAKE_UNEXPECTED(QueryProgress(LONGLONG*, LONGLONG*))
    const HANDLE opening = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE told = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

TEST_F(MediaAssembly, OpeningThatHangsEndsForWhoWantsTheItemAndTellsWhy) {
    Describe("mkv", "Sx", Outs("v"));
    const ComPtr<Hang> hang = fakes::Adopt(new Hang);
    const Midst midst(
        "Sx.Load(*",
        [&](auto) {
            ComPtr<ICreateErrorInfo> error;
            ComPtr<IErrorInfo> info;
            SetEvent(hang->opening);
            WaitForSingleObject(hang->told, 10'000);
            CreateErrorInfo(&error);
            wchar_t text[] = L"no answer";
            error->SetDescription(text);
            error.As(&info);
            SetErrorInfo(0, info.Get());
        },
        true);
    configure = [](FakeGraph& graph) {
        graph.results["AddSourceFilter"] = VFW_E_UNKNOWN_FILE_TYPE;
    };
    for (const std::string way : {"nobody", "Unload", "SetMediaPath", "delete"}) {
        auto item = std::make_unique<Media>(kPath, nullptr);
        item->SetAddFilterCallBack(
            [](IBaseFilter* source, void* progress) {
                AsFake(source)->Expose(IID_IAMOpenProgress, static_cast<Hang*>(progress));
            },
            hang.Get());
        journal.Clear();
        auto load = std::async(std::launch::async,
                               [&, loaded = item.get()] { return loaded->Load(&scheme, 0); });
        WaitForSingleObject(hang->opening, 10'000);
        const ULONGLONG begin = GetTickCount64();
        if (way == "nobody") {
            SetEvent(hang->told);
            load.wait();
        } else if (way == "delete") {
            item.reset();
        } else {
            EXPECT_EQ(way == "Unload" ? item->Unload() : item->SetMediaPath("u://b"), 1);
        }
        EXPECT_LT(GetTickCount64() - begin, 500U) << way;
        EXPECT_EQ(load.get(), 0);
        EXPECT_EQ(journal.Count("graph.AddSourceFilter*"), way == "nobody") << way;
        if (item != nullptr) {
            EXPECT_EQ(item->GetLoadReport().failure, L"TrySourceFilter: no answer");
            EXPECT_HR(item->GetLoadReport().failureResult, VFW_E_INVALID_FILE_FORMAT);
        }
    }
}

TEST_F(MediaAssembly, FailedLoadShowsItsGraphAndExplainsItself) {
    Describe("test", "S", Outs("va"));
    Describe("test", "Dec", {In(fakes::Audio()), Out(fakes::Audio())});
    configure = [](FakeGraph& graph) {
        graph.results["AddSourceFilter"] = VFW_E_UNKNOWN_FILE_TYPE;
        graph.results["Render"] = VFW_E_CANNOT_RENDER;
    };
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    EXPECT_EQ(media.Load(&scheme, 0), 0);
    const ymdshow::LoadReport& report = media.GetLoadReport();
    ASSERT_EQ(report.deadEnds.size(), 2U);
    std::wstring ends;
    for (const auto& end : report.deadEnds) {
        EXPECT_HR(end.result, VFW_E_CANNOT_RENDER);
        ends += end.filter + L"." + end.pin + L" " + end.mediaType;
        for (const auto& refusal : end.refusals) {
            ends += L", " + refusal.filter + (refusal.result == S_OK ? L" takes" : L" refuses");
        }
        ends += L"\n";
    }
    EXPECT_EQ(Narrow(ends), "S.Out1 video, Dec refuses\nS.Out2 audio, Dec takes\n");
    const std::string text = Narrow(report.Explain());
    EXPECT_NE(text.find("S, pin Out1: video;"), text.npos) << text;
    EXPECT_EQ(report.graph.size(), 2U);
    EXPECT_EQ(media.GetFilters().size(), 2U); // the graph itself is empty
    for (const auto format : {ymdshow::GraphFormat::Dot, ymdshow::GraphFormat::Svg}) {
        EXPECT_NE(media.GetGraphPicture(format).find(L"audio"), std::wstring::npos);
    }
    configure = nullptr;
    Loaded(media);
    const auto filters = media.GetFilters();
    ASSERT_EQ(filters.size(), 3U);
    EXPECT_TRUE(filters[0].role == DSFT_SOURCE && filters[2].role == DSFT_RENDER);
    for (const int i : {0, 1}) { // in the direction of the data, and back
        const auto& pin = filters[0].pins[static_cast<std::size_t>(i)];
        EXPECT_TRUE(pin.isOutput && pin.isConnected && pin.filter == i + 1 && pin.pin == 0);
        EXPECT_EQ(filters[static_cast<std::size_t>(pin.filter)].pins[0].pin, i);
    }
    EXPECT_TRUE(media.GetLoadReport().Explain().empty());
}

TEST_F(MediaAssembly, ExceptionsEndOnlyTheirWay) {
    Describe("mkv", "VR", {In(fakes::Video())});
    for (const std::size_t broken : {2, 1}) {
        configure = [&](FakeGraph& graph) {
            graph.results["AddSourceFilter"].list.assign(broken, kThrows);
        };
        log.Clear();
        EXPECT_EQ(Media(kPath, nullptr).Load(&scheme, 1), broken == 1);
        EXPECT_EQ(log.Count(kLogged + "Auto AddSourceFilter Catch Exception : " + kPath), broken);
    }
}

TEST_F(MediaAssembly, SchemeRenderersFirstThenTheGraphsOwn) {
    EXPECT_EQ(media.LinkAllFilter() + media.UnlinkAllFilter(), 0); // without a graph
    Describe("mkv", "VR", {In(fakes::Video())});
    const std::string connect = "!Source !VR +Source.Out1, VR.In1";
    const std::string both = connect + " -Source.Out1 -VR.In1 !Source *Source.Out1 *Source.Out2";
    const struct {
        std::uint32_t videos, audios; ///< known
        HRESULT render;
        std::string changes;
    } cases[] = {
        {1, 0, E_FAIL, "1 " + connect + link + "OK : " + kPath},
        {0, 0, E_FAIL, "1 " + connect + link + "OK : " + kPath},
        {1, 1, VFW_S_PARTIAL_RENDER, "1 " + both + link + "OK : " + kPath},
        {1, 1, VFW_E_CANNOT_RENDER, "0 " + both + link + "FAILED : " + kPath},
    };
    for (const auto& test : cases) {
        Loaded(media, &scheme);
        EXPECT_EQ(After(media.LinkAllFilter()), "1");
        ASSERT_EQ(After(media.UnlinkAllFilter()),
                  "1 -Source.Out1 -VR.In1 -Source.Out2 -AudioRenderer1.In1" + unlinked);
        EXPECT_EQ(After(media.UnlinkAllFilter()), "0");
        media.m_originalVideoTrackNum = test.videos;
        media.m_originalAudioTrackNum = test.audios;
        Graph().results["Render"] = test.render;
        EXPECT_EQ(After(media.LinkAllFilter()), test.changes);
        EXPECT_EQ(media.IsAllFilterLinked(), test.changes[0] - '0');
    }
}

TEST_F(MediaAssembly, DisabledTracksStayOutOfARelink) {
    sourcePins = Outs("vaa");
    configure = RenderThroughDecoders;
    Loaded(media);
    ASSERT_TRUE(media.DisableAudioTrack(0) && media.DisableVideoTrack(0));
    After(media.UnlinkAllFilter());
    // The broken links are of a graph that is no more.
    EXPECT_EQ(Facts(media)[0], "Ren1 000; Ren3 000; Ren2 100; ");
    EXPECT_EQ(After(media.LinkAllFilter()),
              "1 !Source *Source.Out1 *Source.Out2 *Source.Out3 -Dec1.Out1 -Ren1.In1 -Source.Out1 "
              "-Dec1.In1 -Dec3.Out1 -Ren3.In1 -Source.Out3 -Dec3.In1" +
                  link + "OK : " + kPath);
    EXPECT_EQ(Facts(media)[0], "Ren1 002; Ren3 002; Ren2 100; ");
}

TEST_F(MediaAssembly, UnlinkGoesBreadthFirstWhateverFails) {
    configure = RenderThroughDecoders;
    const std::string first = "1 -Source.Out1 -Dec1.In1 -Source.Out2 -Dec2.In1";
    const std::string last = " -Dec2.Out1 -Ren2.In1" + unlinked;
    Loaded(media);
    ASSERT_EQ(media.Play(), 1);
    Graph().results["Disconnect"] = E_FAIL;
    int result = media.UnlinkAllFilter();
    EXPECT_TRUE(journal.InOrder({"control.GetState(500)", "control.Stop", "graph.Disconnect(*"}));
    EXPECT_EQ(After(result), first + " -Dec1.Out1 -Ren1.In1" + last);
    // A peer that does not tell its filter is disconnected all the same, and not passed.
    Loaded(media);
    Graph().Find("Dec1")->InPin().results["QueryPinInfo"] = E_FAIL;
    Graph().control.results["GetState"] = E_FAIL; // not known to play: not stopped
    result = media.UnlinkAllFilter();
    EXPECT_EQ(journal.Count("control.Stop"), 0U);
    EXPECT_EQ(After(result), first + last);
}

TEST_F(MediaAssembly, TeardownReleasesInOrderAndReportsWhoIsHeld) {
    Describe("mkv", "S", {Out(fakes::Stream())});
    Describe("mkv", "Dec", {In(fakes::Stream()), Out(fakes::Video())}, "");
    Describe("mkv", "Spare", {In(fakes::Text()), Out(fakes::Text())}, "");
    Describe("mkv", "VR", {In(fakes::Video())});
    Loaded(media, &scheme);
    // A cached filter enters when rendering uses it; the others are dropped.
    ASSERT_EQ(Graph().Connections(), Lines({"Dec.Out1 -> VR.In1", "S.Out1 -> Dec.In1"}));
    EXPECT_EQ(Graph().FilterCount() + Graph().config.Cached().size(), 3U);
    const ComPtr<IBaseFilter> held[] = {Graph().Find("S"), Graph().Find("Dec"), Graph().Find("VR")};
    ASSERT_EQ(media.Play(), 1);
    media._FreeFilters();
    EXPECT_TRUE(journal.InOrder({"control.Stop", "window.put_Owner(0)", "Dec.EnumPins"}));
    EXPECT_EQ(After(0), "0 -S.Out1 -Dec.In1 -VR.In1 -Dec.Out1 <Dec !Dec <VR !VR <S !S\n"
                        "8 _FreeFilters: Remove Filter Warning! RefCount : 1\n"
                        "8 _FreeFilters: Remove RenderFilter Warning! RefCount : 1\n"
                        "8 _FreeFilters: Remove Source Filter Warning! RefCount : 1");
    EXPECT_TRUE(media.m_pMediaControl == nullptr && media.m_pSourceFilter == nullptr);
    EXPECT_EQ(media.m_playState + media.IsReadyForPlay() + media.GetVideoTrackNum(), 0U);
}

TEST_F(MediaAssembly, GraphAndCacheAreEmptiedFromTheFront) {
    Loaded(media);
    const ComPtr<FakeFilter> held = MakeFilter("Held", {In()});
    EXPECT_EQ(media._AddFilter(held.Get(), L"Held", 1), 1);
    EXPECT_EQ(media._AddFilter(MakeFilter("More", {In()}).Get(), L"More", 1), 1);
    media._RemoveAllCachedFilterInGraphConfig();
    EXPECT_EQ(After(0), "0 ?Held ?More !Held !More");
    EXPECT_EQ(held->Refs(), 1U);
    Graph().Add(held.Get(), L"Held");
    media._FreeFilters();
    After(0);
    media._RemoveAllFilterInGraphBuilder();
    EXPECT_EQ(After(0), "0 <Held <AudioRenderer2 <VideoRenderer1\n"
                        "8 _RemoveAllFilterInGraphBuilder: Remove Filter Warning! RefCount : 1");
    // A manager that refuses does not keep the caller for ever.
    Graph().Add("Kept", {In()});
    Graph().results["RemoveFilter"] = E_FAIL;
    media._RemoveAllFilterInGraphBuilder();
    EXPECT_TRUE(After(0).starts_with("0 <Kept <Kept <Kept\n"));
    // Enumerators that succeed with nothing end.
    Graph().enumResults["Next"] = Graph().config.enumResults["Next"] = Skip(S_OK);
    media._RemoveAllFilterInGraphBuilder();
    media._RemoveAllCachedFilterInGraphConfig();
    EXPECT_EQ(After(0), "0");
}

TEST_F(MediaAssembly, EveryCallOfALifeFailsOnceAndThrowsOnce) {
    // A source with a stream list, the graph's and then the scheme's, a cached decoder, and
    // renderers of the scheme.
    sourceStreams = {{fakes::Audio(), L"a", 1, S_OK}, {fakes::Audio(), L"b", 0, S_OK}};
    sourcePins = {Out(fakes::Stream()), Outs("a")[0], Outs("a")[0]};
    Describe("mkv", "Dec", {In(fakes::Stream()), Out(fakes::Video(1281, 720))}, "");
    Describe("mkv", "Spare", {In(fakes::Text()), Out(fakes::Text())}, "");
    Describe("mkv", "VR", {In(fakes::Video())});
    Describe("audio_global", "AR", {In(fakes::Audio())});
    std::size_t loads = 0, relinks = 0, calls = 0;
    for (int i = 0; i < 8; ++i) {
        if (i == 4) {
            Describe("mkv", "S", sourcePins);
        }
        const int flag = i / 2 % 2;
        const bool throws = i % 2 != 0;
        const auto live = [&] {
            Media life(kPath, nullptr);
            life.Know({"h264"}, {"aac", "aac"});
            scheme.LoadSchemeFilters(nullptr, std::string("mkv"), nullptr, nullptr, nullptr, 2);
            const int loaded = life.Load(&scheme, flag);
            EXPECT_EQ(life.IsReadyForPlay(), loaded);
            EXPECT_EQ(life.GetLoadReport().failure.empty(), loaded == 1);
            if (loaded == 1) {
                life.Play();
                life.DisableAllAudioTrack();
                life.EnableAllAudioTrack();
                EXPECT_TRUE((life.DisableAllVideoTrack() && life.EnableAllVideoTrack()) ==
                                !life.m_videoTracks.empty() ||
                            throws);
                EXPECT_TRUE(life.UnlinkAllFilter() == 1 || throws);
                const int relinked = life.LinkAllFilter();
                EXPECT_EQ(life.IsAllFilterLinked(), relinked);
                loads += !throws;
                relinks += relinked == 1 && !throws;
            }
            std::optional<Silence> silence; // what it throws at its end is another matter
            if (throws) {
                silence.emplace();
                EXPECT_TRUE(life.Unload() && life.Load(&scheme, flag));
            }
            EXPECT_TRUE(life.Unload() == 1 && life.IsLoaded() == 0);
            EXPECT_EQ(life.GetVideoTrackNum(), 1U); // of the record again
        };
        const HRESULT result = throws ? kThrows : flag ? E_FAIL : E_OUTOFMEMORY;
        EXPECT_NO_THROW(calls += RunFaultPlan(live, result) * !throws);
    }
    // One failing call seldom ends a load, and a relink still less.
    EXPECT_GT(calls, 1200U);
    EXPECT_GT(loads, calls * 9 / 10);
    EXPECT_GT(relinks, loads * 9 / 10);
    // The host's callback throws.
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    media.SetAddFilterCallBack([](auto...) { throw 1; }, nullptr);
    EXPECT_NO_THROW(media.Load(&scheme, 1));
    media.SetAddFilterCallBack(nullptr, nullptr);
    EXPECT_TRUE(media.Unload() && media.Load(&scheme, 1));
}

} // namespace
