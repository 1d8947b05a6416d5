// The four ways of finding a source: what is called, undone, logged and reported.

#include "media_graph.h"

#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>

using namespace media_tests;

namespace {

/// Streams are letters: v for video, a for audio, t for text.
struct Case {
    const char* what;
    int flag;
    std::string sources;     ///< of the scheme: "S=va" has two outputs, "S!=va" refuses the file
    std::string renderers;   ///< of the scheme, "VR" and "AR"
    std::string known;       ///< by the media information
    std::string graphSource; ///< "Source"; the graph has none when empty
    HRESULT render;
    std::string kept; ///< empty: the load fails
    std::string changes;
    std::string attempts;
};

const std::string kClip = "test://host/clip.mkv";
const std::string kCaught = "Auto AddSourceFilter Catch Exception : " + kClip;

/// What is logged when an attempt has failed.
const std::map<std::string, std::string> kFailures = {
    {"1 TrySourceFilter", "Try loaded source filter (TrySourceFilter) FAILED: "},
    {"1 TryRenderSource", "Try to render the loaded source filter (TryRenderSource) FAILED : "},
    {"2 AddSourceFilter", "Auto AddSourceFilter FAILED : "},
    {"2 TryRenderSource", "Auto AddSourceFilter OK But TryRenderSource FAILED : "},
    {"3 TrySourceFilter", "Try loaded source filter (TrySourceFilter) FAILED : "},
    {"3 RenderFilter", "Try to render the loaded source filter (RenderFilter) FAILED : "},
    {"4 AddSourceFilter", "Auto AddSourceFilter FAILED : "},
    {"4 RenderFilter", "Auto AddSourceFilter OK But RenderFilter FAILED : "},
};

class MediaSourceSearch : public MediaGraphTest {
protected:
    void Arrange(const Case& test);

    /// What changed the graph apart from the scheme's filters entering it.
    std::string ShortChanges() {
        std::string text;
        for (std::string line : Changes()) {
            if (!line.starts_with("graph.AddFilter(")) {
                line = std::regex_replace(line, std::regex("^graph\\.|test://host/"), "");
                text += (text.empty() ? "" : "; ") + line;
            }
        }
        return text;
    }

    /// The attempts as text, and the warnings that belong to them.
    static std::pair<std::string, Lines> Attempts(const ymdshow::LoadReport& report) {
        std::ostringstream text;
        Lines warnings;
        for (const auto& attempt : report.attempts) {
            const std::string step = std::to_string(attempt.way) + " " +
                                     std::string(attempt.step.begin(), attempt.step.end());
            text << (text.tellp() > 0 ? ", " : "") << step << (attempt.filter.empty() ? "" : " ")
                 << std::string(attempt.filter.begin(), attempt.filter.end()) << ' ' << std::hex
                 << static_cast<unsigned>(attempt.result);
            EXPECT_FALSE(attempt.text.empty());
            if (FAILED(attempt.result)) {
                warnings.push_back(kFailures.at(step) + kClip);
            }
        }
        return {text.str(), warnings};
    }
};

void MediaSourceSearch::Arrange(const Case& test) {
    scheme.UnloadScheme();
    std::istringstream sources(test.sources);
    for (std::string source; sources >> source;) {
        const HRESULT load = source[1] == '!' ? VFW_E_INVALID_FILE_FORMAT : S_OK;
        Describe("mkv", source.substr(0, 1), Outs(source.substr(source.find('=') + 1)),
                 [load](FakeFilter& filter) { filter.AcceptFiles(load); });
    }
    for (const char kind : test.renderers) {
        Describe("mkv", kind == 'v' ? "VR" : "AR", {In(TypeOf(kind))});
    }
    sourcePins = Outs(test.graphSource);
    configure = [&](FakeGraph& graph) {
        if (test.graphSource.empty()) {
            graph.makeSource = nullptr;
        }
        if (FAILED(test.render)) {
            graph.results["Render"] = test.render;
        }
    };
}

TEST_F(MediaSourceSearch, FirstWayThatGivesASourceIsKept) {
    const Case cases[] = {
        {"1: scheme source, scheme renderers", 1, "S=va", "va", "va", "va", S_OK, "S",
         "S.Load(clip.mkv, 0); Connect(S.Out1, VR.In1); Connect(S.Out2, AR.In1)",
         "1 TrySourceFilter S 0, 1 TryRenderSource S 0"},
        {"1: the walk stops at the first source that accepts", 1, "S!=va T=v U=va", "v", "v", "va",
         S_OK, "T",
         "S.Load(clip.mkv, 0); T.Load(clip.mkv, 0); Connect(T.Out1, VR.In1); RemoveFilter(S); "
         "RemoveFilter(U)",
         "1 TrySourceFilter S 8004022f, 1 TrySourceFilter T 0, 1 TryRenderSource T 0"},
        {"1: nothing known is complete at once", 1, "S=t", "v", "", "va", S_OK, "S",
         "S.Load(clip.mkv, 0); Connect(S.Out1, VR.In1); RemoveFilter(VR)",
         "1 TrySourceFilter S 0, 1 TryRenderSource S 0"},
        {"2: after an incomplete scheme source", 1, "S=v", "va", "va", "va", S_OK, "Source",
         "S.Load(clip.mkv, 0); Connect(S.Out1, VR.In1); Disconnect(S.Out1); Disconnect(VR.In1); "
         "AddSourceFilter(clip.mkv, null); Connect(Source.Out1, VR.In1); "
         "Connect(Source.Out2, AR.In1); RemoveFilter(S)",
         "1 TrySourceFilter S 0, 1 TryRenderSource S 80040218, 2 AddSourceFilter 0, 2 "
         "TryRenderSource 0"},
        {"2: without a scheme source", 1, "", "v", "v", "v", S_OK, "Source",
         "AddSourceFilter(clip.mkv, null); Connect(Source.Out1, VR.In1)",
         "2 AddSourceFilter 0, 2 TryRenderSource 0"},
        {"3: picture and no sound is enough there", 1, "S=v", "va", "va", "v", S_OK, "S",
         "S.Load(clip.mkv, 0); Connect(S.Out1, VR.In1); Disconnect(S.Out1); Disconnect(VR.In1); "
         "AddSourceFilter(clip.mkv, null); Connect(Source.Out1, VR.In1); Disconnect(Source.Out1); "
         "Disconnect(VR.In1); S.Load(clip.mkv, 0); Render(S.Out1); RemoveFilter(AR); "
         "RemoveFilter(Source)",
         "1 TrySourceFilter S 0, 1 TryRenderSource S 80040218, 2 AddSourceFilter 0, 2 "
         "TryRenderSource 80040218, 3 TrySourceFilter S 0, 3 RenderFilter S 0"},
        {"3: scheme renderers are not asked for", 0, "S=va", "v", "va", "va", S_OK, "S",
         "S.Load(clip.mkv, 0); Render(S.Out1); Render(S.Out2)",
         "3 TrySourceFilter S 0, 3 RenderFilter S 0"},
        {"3: the scheme has no renderers", 1, "S=va", "", "va", "va", S_OK, "S",
         "S.Load(clip.mkv, 0); Render(S.Out1); Render(S.Out2)",
         "3 TrySourceFilter S 0, 3 RenderFilter S 0"},
        {"4: after refusals in every way", 1, "S!=va", "v", "a", "v", S_OK, "Source",
         "S.Load(clip.mkv, 0); AddSourceFilter(clip.mkv, null); Connect(Source.Out1, VR.In1); "
         "Disconnect(Source.Out1); Disconnect(VR.In1); S.Load(clip.mkv, 0); "
         "AddSourceFilter(clip.mkv, null); Render(Source.Out1); RemoveFilter(S); "
         "RemoveFilter(Source)",
         "1 TrySourceFilter S 8004022f, 2 AddSourceFilter 0, 2 TryRenderSource 80040218, 3 "
         "TrySourceFilter S 8004022f, 4 AddSourceFilter 0, 4 RenderFilter 0"},
        {"none: no further source after one that cannot be rendered", 0, "S!=va T=v U=va", "", "va",
         "v", VFW_E_CANNOT_CONNECT, "",
         "S.Load(clip.mkv, 0); T.Load(clip.mkv, 0); Render(T.Out1); AddSourceFilter(clip.mkv, null); "
         "Render(Source.Out1); RemoveFilter(S); RemoveFilter(T); RemoveFilter(U)",
         "3 TrySourceFilter S 8004022f, 3 TrySourceFilter T 0, 3 RenderFilter T 80040217, 4 "
         "AddSourceFilter 0, 4 RenderFilter 80040217"},
        {"none: refused by all", 1, "S!=va", "va", "va", "", S_OK, "",
         "S.Load(clip.mkv, 0); AddSourceFilter(clip.mkv, null); S.Load(clip.mkv, 0); "
         "AddSourceFilter(clip.mkv, null); RemoveFilter(VR); RemoveFilter(AR); RemoveFilter(S)",
         "1 TrySourceFilter S 8004022f, 2 AddSourceFilter 80040240, 3 TrySourceFilter S 8004022f, "
         "4 AddSourceFilter 80040240"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        Arrange(test);
        const bool loads = !test.kept.empty();
        Media media(kPath, nullptr);
        media.Know(test.known.starts_with('v') ? Lines(1) : Lines(),
                   test.known.ends_with('a') ? Lines(1) : Lines());
        const std::string known = Facts(media)[0];
        journal.Clear();
        log.Clear();
        EXPECT_EQ(media.Load(&scheme, test.flag), loads);
        EXPECT_EQ(ShortChanges(), test.changes);
        const auto [attempts, warnings] = Attempts(media.GetLoadReport());
        EXPECT_EQ(attempts, test.attempts);
        EXPECT_EQ(Warnings("_TrySourceFilter"), warnings);
        EXPECT_EQ(media.GetLoadReport().failure.empty(), loads);
        EXPECT_EQ(media.GetLoadReport().failureResult == S_OK, loads);
        ASSERT_EQ(media.m_pSourceFilter != nullptr, loads);
        if (loads) {
            EXPECT_EQ(AsFake(media.m_pSourceFilter)->Name(), test.kept);
        } else {
            EXPECT_EQ(Facts(media)[0], known) << "nothing found";
        }
    }
}

TEST_F(MediaSourceSearch, ExceptionsEndOnlyTheirWay) {
    Describe("mkv", "VR", {In(fakes::Video())});
    for (const int broken : {2, 1}) {
        int left = broken;
        configure = [&](FakeGraph& graph) {
            graph.makeSource = [&](const std::wstring&) {
                return left-- > 0 ? throw std::runtime_error("broken")
                                  : MakeFilter("Source", Outs("v"));
            };
        };
        Media media(kPath, nullptr);
        EXPECT_EQ(media.Load(&scheme, 1), broken == 1);
        EXPECT_EQ(Warnings("_TrySourceFilter"), Lines(static_cast<std::size_t>(broken), kCaught));
    }
}

} // namespace
