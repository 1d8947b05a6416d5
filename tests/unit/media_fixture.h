#pragma once

// Media items on fake graphs, for the tests of every room of the media item; for those that
// look into the graph, schemes of fake filters and what is compared of a graph.

#include <array>
#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

#include "fakes/FakeTest.h"

namespace media_tests {

using namespace fakes;

/// A media item with its members open.
class Media : public ymdshow::CMedia {
public:
    using CMedia::_AddFilter, CMedia::_CheckAndSetDuration, CMedia::_EventThreadFun,
        CMedia::_FreeFilters, CMedia::_InitFilters, CMedia::_ReadAndSetByIBasicVideo,
        CMedia::_ReadAndSetByIMediaSeeking, CMedia::_ReadInfoByMediaIfo,
        CMedia::_RemoveAllCachedFilterInGraphConfig, CMedia::_RemoveAllFilterInGraphBuilder,
        CMedia::_RemoveFilter, CMedia::_ScanAllFilterAndGetAVTrackInfo;
    using CMedia::CMedia;
    using CMedia::m_audioInfos, CMedia::m_audioTrackNum, CMedia::m_audioTracks,
        CMedia::m_displayAspectRatio, CMedia::m_durationByMediaInfo, CMedia::m_durationBySeeking,
        CMedia::m_enableDisplayAspectRatio, CMedia::m_evenVideoSize, CMedia::m_fix1088Height,
        CMedia::m_frameCount, CMedia::m_hasMediaFormat, CMedia::m_hasMediaInfo,
        CMedia::m_hEventThread, CMedia::m_isAllFilterLinked, CMedia::m_isMediaPathURL,
        CMedia::m_lock, CMedia::m_mediaFormat, CMedia::m_originalAudioTrackNum,
        CMedia::m_originalVideoTrackNum, CMedia::m_pGB, CMedia::m_pGraphConfig, CMedia::m_playState,
        CMedia::m_playWindow, CMedia::m_pMediaControl, CMedia::m_pMediaPlayer,
        CMedia::m_pSourceFilter, CMedia::m_pStreamSelect, CMedia::m_renderFilters,
        CMedia::m_schemeFilters, CMedia::m_streamSelectAudioNum, CMedia::m_streamSelectAudioTracks,
        CMedia::m_streamSelectVideoNum, CMedia::m_streamSelectVideoTracks, CMedia::m_urlProtocol,
        CMedia::m_usedFilters, CMedia::m_videoClipRange, CMedia::m_videoDisplayRange,
        CMedia::m_videoInfos, CMedia::m_videoOriginalAvgFrameTime, CMedia::m_videoOriginalHeight,
        CMedia::m_videoOriginalWidth, CMedia::m_videoTrackNum, CMedia::m_videoTracks,
        CMedia::m_volume;

    /// As if the media information had listed streams of these formats.
    void Know(const std::vector<std::string>& videos, const std::vector<std::string>& audios) {
        const auto fill = [](const auto& formats, auto& count, auto& infos) {
            count = static_cast<std::uint32_t>(formats.size());
            infos.clear();
            for (const std::string& format : formats) {
                infos.emplace_back().format = format;
            }
        };
        m_hasMediaInfo = true;
        fill(videos, m_originalVideoTrackNum, m_videoInfos);
        fill(audios, m_originalAudioTrackNum, m_audioInfos);
    }
};

/// The graph manager makes FakeGraphs whose AddSourceFilter gives a filter "Source". There is
/// no media information library: the program stands away from it (DIRECTORY alone).
class MediaTest : public FakeTest {
protected:
    /// Changes each graph before the library gets it.
    std::function<void(FakeGraph&)> configure;
    PinSpecs sourcePins{Out(fakes::Video(640, 360)), Out(fakes::Audio(44100))};

    std::vector<SelectableStream> sourceStreams; ///< no stream list when empty

    FakeGraphClass graphs{[this](FakeGraph& graph) {
        graph.makeSource = [this](const std::wstring&) {
            ComPtr<FakeFilter> source = MakeFilter("Source", sourcePins);
            return sourceStreams.empty() ? source : &source->Select(sourceStreams);
        };
        if (configure) {
            configure(graph);
        }
    }};
    LogCapture log;

    /// A URL: no file is needed.
    static constexpr const char* kPath = "test://host/clip.mkv";

    MediaTest() {
        // No media information library, wherever the build has put one.
        SetEnvironmentVariableW(L"PATH", L"");
        SetDllDirectoryW((std::filesystem::temp_directory_path() / L"none").c_str());
    }

    /// Loads it and forgets what was journalled and logged on the way.
    void Loaded(Media& media, ymdshow::CCoderScheme* scheme = nullptr, int flag = 0) {
        ASSERT_EQ(media.SetMediaPath(kPath), 1);
        ASSERT_EQ(media.Load(scheme, flag), 1);
        journal.Clear();
        log.Clear();
    }
    FakeGraph& Graph() { return graphs.Last(); }
};

/// While it lives, does something in the midst of the first matching call of a fake, or of each, on
/// the thread that makes it and before it is carried out.
class Midst {
public:
    using Act = std::function<void(std::string_view)>;
    Midst(const std::string& pattern, const Act& act, bool each = false) {
        std::tie(s_pattern, s_act) = std::tie(pattern, act);
        s_left = each ? INT_MAX : 1;
        Journal::Get().SetListener([](std::string_view line) {
            if (Matches(line, s_pattern) && s_left-- > 0) {
                s_act(line);
            }
        });
    }
    ~Midst() { Journal::Get().SetListener(nullptr); }

private:
    static inline std::string s_pattern;
    static inline Act s_act;
    static inline std::atomic<int> s_left;
};

struct OpenPlayer : ymdshow::CMediaPlayer {
    using CMediaPlayer::_NotifyMediaDestroy, CMediaPlayer::m_medias;
};

/// A directory of the test's own, removed with what is in it.
class ScratchDirectory {
public:
    ScratchDirectory() { std::filesystem::create_directories(m_path); }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    /// Makes an empty file, and the directories above it.
    std::filesystem::path Touch(const std::wstring& name) const {
        std::filesystem::create_directories((m_path / name).parent_path());
        std::ofstream file(m_path / name);
        return m_path / name;
    }
    const std::filesystem::path& Path() const { return m_path; }

private:
    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() / (L"ymd" + std::to_wstring(GetCurrentProcessId()));
};

/// Text in code page 936, as the library takes paths.
inline std::string Gbk(const std::wstring& text) {
    std::string bytes(text.size() * 2, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(936, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

/// Pins by letters: v for video, a for audio, t for text.
inline MediaType TypeOf(char kind) {
    return kind == 'v' ? fakes::Video() : kind == 'a' ? fakes::Audio() : fakes::Text();
}
inline PinSpecs Outs(const std::string& kinds) {
    PinSpecs pins;
    for (const char kind : kinds) {
        pins.push_back(Out(TypeOf(kind)));
    }
    return pins;
}

/// "a b" as two lines.
inline Lines Words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

/// The tracks ("name enabled linked broken-links"), and the streams of a list behind the
/// counts: known and found pictures, known and found sounds, listed pictures and sounds.
inline std::array<std::string, 2> Facts(const Media& media) {
    std::ostringstream tracks, streams;
    const auto put = [&](const auto& list, const auto& selectable) {
        for (const auto* track : list) {
            tracks << AsFake(track->renderer)->Name() << ' ' << track->enabled << track->linked
                   << track->brokenLinks.size() << "; ";
        }
        for (const auto* stream : selectable) {
            streams << "; " << stream->index << Narrow(stream->name) << stream->enabled;
        }
    };
    streams << media.m_originalVideoTrackNum << media.m_videoTrackNum
            << media.m_originalAudioTrackNum << media.m_audioTrackNum
            << media.m_streamSelectVideoNum << media.m_streamSelectAudioNum;
    put(media.m_videoTracks, media.m_streamSelectVideoTracks);
    put(media.m_audioTracks, media.m_streamSelectAudioTracks);
    return {tracks.str(), streams.str()};
}

class MediaGraphTest : public MediaTest {
protected:
    ymdshow::CCoderScheme scheme;
    Media media{nullptr};

    /// Appends a filter to the scheme of a file type. Its role is the one that its pins say; it
    /// refuses files when its name ends in "x", and lists the streams of sources.
    FakeFilterClass& Describe(const std::string& type, const std::string& name,
                              const PinSpecs& pins,
                              const std::string& more = R"(,"IsCache":false)") {
        const bool in = pins.front().direction == PINDIR_INPUT;
        const bool out = pins.back().direction == PINDIR_OUTPUT;
        const std::string role = in && out ? "transform" : in ? "render" : "source";
        const std::string id =
            "{5f0a" + std::to_string(1000 + m_classes.size()) + "-11ea-4c57-9d2b-000000000000}";
        EXPECT_TRUE(scheme.LoadSchemeByScript(
            R"({"Schemes":[{"Type":")" + type + R"(","Filters":[{"Name":")" + name +
                R"(","Type":")" + role + R"(","CLSID":")" + id + '"' + more + "}]}]}",
            0));
        GUID clsid{};
        CLSIDFromString(Widen(id).c_str(), &clsid);
        return *m_classes.emplace_back(
            std::make_unique<FakeFilterClass>(name, clsid, pins, [this, name](FakeFilter& filter) {
                filter.AcceptFiles(name.ends_with('x') ? VFW_E_INVALID_FILE_FORMAT : S_OK)
                    .Select(sourceStreams);
            }));
    }

    /// A result, and what has changed a graph since the last look: "+" connects, "-"
    /// disconnects, "*" renders, "=" switches a stream, ">" enters the graph, "?" its cache,
    /// "<" and "!" leave them. Then what was logged.
    std::string After(int result) {
        static const std::map<std::string, std::string> signs = {
            {"Connect", " +"},      {"Disconnect", " -"},
            {"Render", " *"},       {"Enable", " ="},
            {"AddFilter", " >"},    {"AddFilterToCache", " ?"},
            {"RemoveFilter", " <"}, {"RemoveFilterFromCache", " !"},
        };
        std::string text = std::to_string(result);
        for (const std::string& line : journal.Take()) {
            const std::size_t open = line.find('(');
            const std::size_t start = line.rfind('.', open) + 1;
            const auto sign = signs.find(line.substr(start, open - start));
            if (sign != signs.end()) {
                text += sign->second + line.substr(open + 1, line.size() - open - 2);
            }
        }
        for (const std::string& line : log.Take()) {
            text += "\n" + line.substr(0, 2) + line.substr(line.find("CMedia::") + 8);
        }
        return text;
    }

    /// Rendering puts a decoder of its own before each renderer: "Dec1" and "Ren1" for Out1.
    static void RenderThroughDecoders(FakeGraph& graph) {
        graph.onRender = [&graph](FakePin& out) {
            const std::string number = out.Name().substr(out.Name().find(".Out") + 4);
            if (graph.Find("Dec" + number) == nullptr) {
                graph.Add("Dec" + number, {In(), {PINDIR_OUTPUT, out.types}});
                graph.Add("Ren" + number, {{PINDIR_INPUT, out.types}});
            }
            Join(out, graph.Find("Dec" + number)->InPin());
            Join(*graph.Find("Dec" + number), *graph.Find("Ren" + number));
            return S_OK;
        };
    }

private:
    std::vector<std::unique_ptr<FakeFilterClass>> m_classes;
};

} // namespace media_tests
