// The four ways of finding a source: what is called, undone, logged and reported.

#include "media_graph.h"

#include <iomanip>
#include <sstream>
#include <stdexcept>

using namespace media_tests;

namespace {

class MediaSourceSearch : public MediaGraphTest {
protected:
    struct Source {
        const char* name;
        PinSpecs pins;
        HRESULT load = S_OK;
    };
    struct Case {
        const char* what;
        int flag;
        std::vector<Source> sources;
        std::string renderers; ///< "va": a video and an audio renderer of the scheme
        std::uint32_t videos, audios;
        PinSpecs graphSource; ///< empty: the graph has none
        HRESULT render;
        std::string kept; ///< empty: the load fails
        Lines changes;
        Lines warnings;
        std::string attempts;
    };
    const PinSpec video = Out(fakes::Video());
    const PinSpec audio = Out(fakes::Audio());

    void Check(const Case& test);

    static std::string Attempts(const ymdshow::LoadReport& report) {
        std::ostringstream text;
        for (const auto& attempt : report.attempts) {
            text << (text.tellp() > 0 ? ", " : "") << attempt.way << ' '
                 << std::string(attempt.step.begin(), attempt.step.end());
            text << (attempt.filter.empty() ? "" : " ")
                 << std::string(attempt.filter.begin(), attempt.filter.end()) << ' ' << std::hex
                 << static_cast<unsigned>(attempt.result) << std::dec;
            EXPECT_FALSE(attempt.text.empty());
        }
        return text.str();
    }
};

void MediaSourceSearch::Check(const Case& test) {
    SCOPED_TRACE(test.what);
    for (const Source& source : test.sources) {
        Describe("mkv", source.name, source.pins,
                 [load = source.load](FakeFilter& filter) { filter.AcceptFiles(load); });
    }
    for (const char kind : test.renderers) {
        Describe("mkv", kind == 'v' ? "VR" : "AR",
                 {kind == 'v' ? In(fakes::Video()) : In(fakes::Audio())});
    }
    sourcePins = test.graphSource;
    configure = [&](FakeGraph& graph) {
        if (test.graphSource.empty()) {
            graph.makeSource = nullptr;
        }
        if (FAILED(test.render)) {
            graph.results["Render"] = test.render;
        }
    };
    {
        GraphMedia media(kPath, nullptr);
        media.Know(Lines(test.videos), Lines(test.audios));
        journal.Clear();
        log.Clear();
        EXPECT_EQ(media.Load(&scheme, test.flag), test.kept.empty() ? 0 : 1);
        Lines changes = Changes();
        std::erase_if(changes, [](const std::string& line) {
            return Matches(line, "graph.AddFilter(*"); // the scheme's filters enter
        });
        EXPECT_EQ(changes, test.changes);
        EXPECT_EQ(Warnings("_TrySourceFilter"), test.warnings);
        EXPECT_EQ(Attempts(media.GetLoadReport()), test.attempts);
        EXPECT_EQ(media.GetLoadReport().failure.empty(), !test.kept.empty());
        EXPECT_EQ(media.GetLoadReport().failureResult == S_OK, !test.kept.empty());
        if (!test.kept.empty()) {
            ASSERT_NE(media.m_pSourceFilter, nullptr);
            EXPECT_EQ(AsFake(media.m_pSourceFilter)->Name(), test.kept);
        } else {
            EXPECT_EQ(media.m_pSourceFilter, nullptr);
            EXPECT_EQ(Facts(media)[0], "known " + std::to_string(test.videos) + " " +
                                           std::to_string(test.audios) + " found 0 0 streams 0 0");
        }
    }
    EXPECT_EQ(ledger.Alive(), Lines());
    scheme.UnloadScheme();
}

const std::string kClip = "test://host/clip.mkv";
const std::string kSchemeRefused1 = "Try loaded source filter (TrySourceFilter) FAILED: " + kClip;
const std::string kSchemeRefused3 = "Try loaded source filter (TrySourceFilter) FAILED : " + kClip;
const std::string kSchemeIncomplete =
    "Try to render the loaded source filter (TryRenderSource) FAILED : " + kClip;
const std::string kSchemeUnrendered =
    "Try to render the loaded source filter (RenderFilter) FAILED : " + kClip;
const std::string kGraphRefused = "Auto AddSourceFilter FAILED : " + kClip;
const std::string kGraphIncomplete =
    "Auto AddSourceFilter OK But TryRenderSource FAILED : " + kClip;
const std::string kGraphUnrendered = "Auto AddSourceFilter OK But RenderFilter FAILED : " + kClip;
const std::string kAddSource = "graph.AddSourceFilter(" + kClip + ", null)";

TEST_F(MediaSourceSearch, FirstWayThatGivesASourceIsKept) {
    const PinSpecs both{video, audio};
    const Case cases[] = {
        {"1: scheme source, scheme renderers",
         1,
         {{"S", both}},
         "va",
         1,
         1,
         both,
         S_OK,
         "S",
         {"S.Load(" + kClip + ", 0)", "graph.Connect(S.Out1, VR.In1)",
          "graph.Connect(S.Out2, AR.In1)"},
         {},
         "1 TrySourceFilter S 0, 1 TryRenderSource S 0"},
        {"1: the walk stops at the first source that accepts",
         1,
         {{"S", both, E_FAIL}, {"T", {video}}, {"U", both}},
         "v",
         1,
         0,
         both,
         S_OK,
         "T",
         {"S.Load(" + kClip + ", 0)", "T.Load(" + kClip + ", 0)", "graph.Connect(T.Out1, VR.In1)",
          "graph.RemoveFilter(S)", "graph.RemoveFilter(U)"},
         {kSchemeRefused1},
         "1 TrySourceFilter S 80004005, 1 TrySourceFilter T 0, 1 TryRenderSource T 0"},
        {"1: nothing known is complete at once",
         1,
         {{"S", {Out(fakes::Text())}}},
         "v",
         0,
         0,
         both,
         S_OK,
         "S",
         {"S.Load(" + kClip + ", 0)", "graph.Connect(S.Out1, VR.In1)", "graph.RemoveFilter(VR)"},
         {},
         "1 TrySourceFilter S 0, 1 TryRenderSource S 0"},
        {"2: after an incomplete scheme source",
         1,
         {{"S", {video}}},
         "va",
         1,
         1,
         both,
         S_OK,
         "Source",
         {"S.Load(" + kClip + ", 0)", "graph.Connect(S.Out1, VR.In1)", "graph.Disconnect(S.Out1)",
          "graph.Disconnect(VR.In1)", kAddSource, "graph.Connect(Source.Out1, VR.In1)",
          "graph.Connect(Source.Out2, AR.In1)", "graph.RemoveFilter(S)"},
         {kSchemeIncomplete},
         "1 TrySourceFilter S 0, 1 TryRenderSource S 80040218, 2 AddSourceFilter 0, 2 "
         "TryRenderSource 0"},
        {"2: without a scheme source",
         1,
         {},
         "v",
         1,
         0,
         {video},
         S_OK,
         "Source",
         {kAddSource, "graph.Connect(Source.Out1, VR.In1)"},
         {},
         "2 AddSourceFilter 0, 2 TryRenderSource 0"},
        {"3: picture and no sound is enough there",
         1,
         {{"S", {video}}},
         "va",
         1,
         1,
         {video},
         S_OK,
         "S",
         {"S.Load(" + kClip + ", 0)", "graph.Connect(S.Out1, VR.In1)", "graph.Disconnect(S.Out1)",
          "graph.Disconnect(VR.In1)", kAddSource, "graph.Connect(Source.Out1, VR.In1)",
          "graph.Disconnect(Source.Out1)", "graph.Disconnect(VR.In1)", "S.Load(" + kClip + ", 0)",
          "graph.Render(S.Out1)", "graph.RemoveFilter(AR)", "graph.RemoveFilter(Source)"},
         {kSchemeIncomplete, kGraphIncomplete},
         "1 TrySourceFilter S 0, 1 TryRenderSource S 80040218, 2 AddSourceFilter 0, 2 "
         "TryRenderSource 80040218, 3 TrySourceFilter S 0, 3 RenderFilter S 0"},
        {"3: scheme renderers are not asked for",
         0,
         {{"S", both}},
         "v",
         1,
         1,
         both,
         S_OK,
         "S",
         {"S.Load(" + kClip + ", 0)", "graph.Render(S.Out1)", "graph.Render(S.Out2)"},
         {},
         "3 TrySourceFilter S 0, 3 RenderFilter S 0"},
        {"3: the scheme has no renderers",
         1,
         {{"S", both}},
         "",
         1,
         1,
         both,
         S_OK,
         "S",
         {"S.Load(" + kClip + ", 0)", "graph.Render(S.Out1)", "graph.Render(S.Out2)"},
         {},
         "3 TrySourceFilter S 0, 3 RenderFilter S 0"},
        {"4: after refusals in every way",
         1,
         {{"S", both, VFW_E_INVALID_FILE_FORMAT}},
         "v",
         0,
         1,
         {video},
         S_OK,
         "Source",
         {"S.Load(" + kClip + ", 0)", kAddSource, "graph.Connect(Source.Out1, VR.In1)",
          "graph.Disconnect(Source.Out1)", "graph.Disconnect(VR.In1)", "S.Load(" + kClip + ", 0)",
          kAddSource, "graph.Render(Source.Out1)", "graph.RemoveFilter(S)",
          "graph.RemoveFilter(Source)"},
         {kSchemeRefused1, kGraphIncomplete, kSchemeRefused3},
         "1 TrySourceFilter S 8004022f, 2 AddSourceFilter 0, 2 TryRenderSource 80040218, 3 "
         "TrySourceFilter S 8004022f, 4 AddSourceFilter 0, 4 RenderFilter 0"},
        {"none: no further source after one that cannot be rendered",
         0,
         {{"S", both, E_FAIL}, {"T", {video}}, {"U", both}},
         "",
         1,
         1,
         {video},
         VFW_E_CANNOT_CONNECT,
         "",
         {"S.Load(" + kClip + ", 0)", "T.Load(" + kClip + ", 0)", "graph.Render(T.Out1)",
          kAddSource, "graph.Render(Source.Out1)", "graph.RemoveFilter(S)", "graph.RemoveFilter(T)",
          "graph.RemoveFilter(U)"},
         {kSchemeRefused3, kSchemeUnrendered, kGraphUnrendered},
         "3 TrySourceFilter S 80004005, 3 TrySourceFilter T 0, 3 RenderFilter T 80040217, 4 "
         "AddSourceFilter 0, 4 RenderFilter 80040217"},
        {"none: refused by all",
         1,
         {{"S", both, E_FAIL}},
         "va",
         1,
         1,
         {},
         S_OK,
         "",
         {"S.Load(" + kClip + ", 0)", kAddSource, "S.Load(" + kClip + ", 0)", kAddSource,
          "graph.RemoveFilter(VR)", "graph.RemoveFilter(AR)", "graph.RemoveFilter(S)"},
         {kSchemeRefused1, kGraphRefused, kSchemeRefused3, kGraphRefused},
         "1 TrySourceFilter S 80004005, 2 AddSourceFilter 80040240, 3 TrySourceFilter S 80004005, "
         "4 AddSourceFilter 80040240"},
    };
    for (const Case& test : cases) {
        Check(test);
    }
}

TEST_F(MediaSourceSearch, ExceptionsEndOnlyTheirWay) {
    const std::string caught = "Auto AddSourceFilter Catch Exception : " + kClip;
    Describe("mkv", "VR", {In(fakes::Video())});
    int left = 2;
    configure = [this, &left](FakeGraph& graph) {
        graph.makeSource = [this, &left](const std::wstring&) {
            return left-- > 0 ? throw std::runtime_error("broken") : MakeFilter("Source", {video});
        };
    };
    GraphMedia first(kPath, nullptr);
    EXPECT_EQ(first.Load(&scheme, 1), 0);
    EXPECT_EQ(Warnings("_TrySourceFilter"), Lines({caught, caught}));
    left = 1;
    GraphMedia second(kPath, nullptr);
    EXPECT_EQ(second.Load(&scheme, 1), 1);
    EXPECT_EQ(Warnings("_TrySourceFilter"), Lines({caught}));
}

} // namespace
