#pragma once

// Media items on fake graphs, for the tests of every room of the media item.

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

#include "fakes/FakeTest.h"

namespace media_tests {

using namespace fakes;

/// A media item with its members open.
class Media : public ymdshow::CMedia {
public:
    using CMedia::_AddFilter;
    using CMedia::_CheckAndSetDuration;
    using CMedia::_EventThreadFun;
    using CMedia::_FreeFilters;
    using CMedia::_InitFilters;
    using CMedia::_LoadFilterWithScheme;
    using CMedia::_ReadAndSetByIBasicVideo;
    using CMedia::_ReadAndSetByIMediaSeeking;
    using CMedia::_RemoveAllCachedFilterInGraphConfig;
    using CMedia::_RemoveAllFilterInGraphBuilder;
    using CMedia::_RemoveFilter;
    using CMedia::_ScanAllFilterAndGetAVTrackInfo;
    using CMedia::CMedia;
    using CMedia::FilterTrackInfo;
    using CMedia::m_audioInfos;
    using CMedia::m_audioTrackNum;
    using CMedia::m_audioTracks;
    using CMedia::m_displayAspectRatio;
    using CMedia::m_durationByMediaInfo;
    using CMedia::m_durationBySeeking;
    using CMedia::m_enableDisplayAspectRatio;
    using CMedia::m_evenVideoSize;
    using CMedia::m_fix1088Height;
    using CMedia::m_frameCount;
    using CMedia::m_hasMediaFormat;
    using CMedia::m_hasMediaInfo;
    using CMedia::m_hEventThread;
    using CMedia::m_isAllFilterLinked;
    using CMedia::m_isMediaPathURL;
    using CMedia::m_isMuted;
    using CMedia::m_lock;
    using CMedia::m_mediaFormat;
    using CMedia::m_mediaInfo;
    using CMedia::m_originalAudioTrackNum;
    using CMedia::m_originalVideoTrackNum;
    using CMedia::m_pBasicVideo;
    using CMedia::m_pGB;
    using CMedia::m_pGraphConfig;
    using CMedia::m_playState;
    using CMedia::m_playWindow;
    using CMedia::m_pMediaControl;
    using CMedia::m_pMediaEvent;
    using CMedia::m_pMediaFilter;
    using CMedia::m_pMediaPlayer;
    using CMedia::m_pMediaSeeking;
    using CMedia::m_pSourceFilter;
    using CMedia::m_pStreamSelect;
    using CMedia::m_pVideoWindow;
    using CMedia::m_renderFilters;
    using CMedia::m_schemeFilters;
    using CMedia::m_streamSelectAudioNum;
    using CMedia::m_streamSelectAudioTracks;
    using CMedia::m_streamSelectVideoNum;
    using CMedia::m_streamSelectVideoTracks;
    using CMedia::m_urlProtocol;
    using CMedia::m_usedFilters;
    using CMedia::m_videoClipRange;
    using CMedia::m_videoDisplayRange;
    using CMedia::m_videoInfos;
    using CMedia::m_videoOriginalAvgFrameTime;
    using CMedia::m_videoOriginalHeight;
    using CMedia::m_videoOriginalWidth;
    using CMedia::m_videoTrackNum;
    using CMedia::m_videoTracks;
    using CMedia::m_volume;

    /// As if the media information had listed streams of these formats.
    void Know(const std::vector<std::string>& videos, const std::vector<std::string>& audios);
};

/// The graph manager makes FakeGraphs whose AddSourceFilter gives a filter "Source". There is
/// no media information library: the program stands away from it (DIRECTORY alone).
class MediaTest : public FakeTest {
protected:
    /// Changes each graph before the library gets it.
    std::function<void(FakeGraph&)> configure;
    PinSpecs sourcePins{Out(fakes::Video(640, 360)), Out(fakes::Audio(44100))};

    FakeGraphClass graphs{[this](FakeGraph& graph) {
        graph.makeSource = [this](const std::wstring&) { return MakeFilter("Source", sourcePins); };
        if (configure) {
            configure(graph);
        }
    }};
    LogCapture log;

    /// A URL: no file is needed.
    static constexpr const char* kPath = "test://host/clip.mkv";

    MediaTest();

    /// Loads it and forgets what was journalled and logged on the way.
    void Loaded(Media& media) {
        ASSERT_EQ(media.SetMediaPath(kPath), 1);
        ASSERT_EQ(media.Load(nullptr, 0), 1);
        journal.Clear();
        log.Clear();
    }
    FakeGraph& Graph() { return graphs.Last(); }
};

/// A directory of the test's own, removed with what is in it.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();

    /// Makes an empty file, and the directories above it.
    std::filesystem::path Touch(const std::wstring& name);
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// Text in code page 936, as the library takes paths.
std::string Gbk(const std::wstring& text);

} // namespace media_tests
