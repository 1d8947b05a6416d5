// Real files, and switching the tracks of what plays.

#include "integration/media_support.h"

using namespace media_tests;

namespace {

class MediaFiles : public RealMediaTest {
protected:
    /// The window renderer connects faster than the one that rendering chooses.
    void UseWindowRenderer() {
        ASSERT_TRUE(player.GetCoderScheme().LoadSchemeByScript(
            R"({"Schemes": [{"Type": "mkv;mp4;m4a;avi;wav", "Filters": [{"Name": "Window",
             "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "IsCache": false}]}]})",
            1));
    }
};

TEST_F(MediaFiles, TracksAreThoseOfTheFile) {
    UseWindowRenderer();
    const struct {
        const char* name;
        std::uint32_t videos, audios;
        long width;
    } cases[] = {
        {"clip.mkv", 1, 2, 320}, {"video-only.mp4", 1, 0, 320}, {"audio-only.m4a", 0, 1, 0},
        {"clip.avi", 1, 1, 320}, {"clip.wav", 0, 1, 0},         {"text.mp4", 0, 0, 0},
        {"empty.mp4", 0, 0, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        ASSERT_EQ(media.SetMediaPath(Sample(test.name)), 1);
        const bool readable = test.videos + test.audios > 0;
        ASSERT_EQ(media.Load(nullptr, 0), readable ? 1 : 0);
        if (!readable) {
            EXPECT_TRUE(Attempts(media).back().starts_with("4 ")) << Attempts(media).back();
            EXPECT_FALSE(media.GetLoadReport().failure.empty());
            EXPECT_TRUE(FAILED(media.GetLoadReport().failureResult));
            EXPECT_EQ(media.Unload(), 1);
            continue;
        }
        EXPECT_EQ(media.GetVideoTrackNum(), test.videos);
        EXPECT_EQ(media.GetAudioTrackNum(), test.audios);
        EXPECT_EQ(media.GetVideoOriginalWidth(), test.width);
        unsigned videos = 0;
        unsigned audios = 0;
        GetLinkedTrackNum(media.m_pGB, media.m_pSourceFilter, &videos, &audios, nullptr);
        EXPECT_EQ(videos, test.videos);
        EXPECT_EQ(audios, test.audios);
        EXPECT_NEAR(static_cast<double>(media.GetOriginalDuration()), 3e7, 2e6);
        if (test.audios > 0) {
            EXPECT_EQ(media.m_audioInfos[0].samplingRate, 44100U);
        }
        const Lines first = media.Facts();
        media.Unload();
        ASSERT_EQ(media.Load(nullptr, 0), 1);
        EXPECT_EQ(media.Facts(), first);
        media.Unload();
    }
}

TEST_F(MediaFiles, SoundTracksOfAFileAreSwitched) {
    UseWindowRenderer();
    ASSERT_EQ(media.SetMediaPath(Sample("clip.mkv")), 1);
    ASSERT_EQ(media.Load(nullptr, 0), 1);
    const Lines all = media.Connections();
    ASSERT_EQ(media.GetAudioTrackNum(), 2U);
    for (const std::uint32_t off : {0U, 1U}) {
        const std::uint32_t on = 1 - off;
        ASSERT_TRUE(media.DisableAudioTrack(off));
        EXPECT_EQ(IsFilterLinked(media.GetAudioTrackRender(off)), 0);
        EXPECT_EQ(IsFilterLinked(media.GetAudioTrackRender(on)), 1);
        EXPECT_EQ(media.GetFirstEnabledAudioTrackIndex(), static_cast<int>(on));
        ASSERT_EQ(media.Play(), 1);
        EXPECT_TRUE(Within(5000, [&] { return media.GetMediaPosition() > 2'000'000; }));
        EXPECT_EQ(media.Stop(), 1);
        ASSERT_TRUE(media.EnableAudioTrack(off));
        EXPECT_EQ(media.Connections(), all);
    }
}

TEST_F(MediaFiles, RendererTracksAreSwitchedWhilePlaying) {
    UseModules();
    ASSERT_EQ(media.SetMediaPath("test://160x120@25/20s?live=1&audio=440,880"), 1);
    ASSERT_EQ(media.Load(nullptr, 1), 1);
    const Lines all = media.Connections();
    ASSERT_EQ(all.size(), 3U);
    std::vector<IBaseFilter*> renderers{media.GetVideoTrackRender(0)};
    for (const std::uint32_t i : {0U, 1U}) {
        renderers.push_back(media.GetAudioTrackRender(i));
    }
    for (IBaseFilter* renderer : renderers) {
        ComPtr<ITestRecorder> recorder;
        ASSERT_EQ(renderer->QueryInterface(IID_PPV_ARGS(&recorder)), S_OK);
        recorder->SetLiveConnect(TRUE);
    }
    ASSERT_EQ(media.Play(), 1);
    ASSERT_TRUE(GoesOn(renderers[0]));
    for (const std::uint32_t off : {0U, 1U}) {
        ASSERT_TRUE(media.DisableAudioTrack(off));
        EXPECT_EQ(IsFilterLinked(renderers[1 + off]), 0);
        EXPECT_EQ(media.Connections().size(), 2U);
        EXPECT_TRUE(GoesOn(renderers[0]) && GoesOn(renderers[2 - off]));
        EXPECT_EQ(media.IsPlaying(), 1);
        ASSERT_TRUE(media.EnableAudioTrack(off));
        EXPECT_EQ(media.Connections(), all);
        for (IBaseFilter* renderer : renderers) {
            EXPECT_TRUE(GoesOn(renderer));
        }
    }
    ASSERT_TRUE(media.EnableOnlyOneAudioTrack(1));
    EXPECT_EQ(media.Connections().size(), 2U);
    ASSERT_TRUE(media.EnableOnlyOneAudioTrack(0));
    EXPECT_TRUE(GoesOn(renderers[1]));
    EXPECT_EQ(IsFilterLinked(renderers[2]), 0);
    ASSERT_TRUE(media.DisableVideoTrack(0));
    EXPECT_TRUE(GoesOn(renderers[1]));
}

TEST_F(MediaFiles, StreamsAreSwitchedWhilePlaying) {
    UseModules();
    ASSERT_EQ(media.SetMediaPath("test://160x120@25/20s?select=440,880,1320"), 1);
    ASSERT_EQ(media.Load(nullptr, 1), 1);
    const Lines all = media.Connections();
    EXPECT_EQ(media.GetAudioTrackNum(), 3U);
    IBaseFilter* const sound = media.GetAudioTrackRender(2);
    ASSERT_NE(sound, nullptr);
    ASSERT_EQ(media.Play(), 1);
    for (const std::uint32_t wanted : {1U, 2U, 0U}) {
        ASSERT_TRUE(media.EnableOnlyOneAudioTrack(wanted));
        EXPECT_EQ(media.GetFirstEnabledAudioTrackIndex(), static_cast<int>(wanted));
        EXPECT_TRUE(Within(3000, [&] {
            const auto records = modules::Records(sound, TestRecord::Sample);
            return !records.empty() &&
                   std::abs(records.back().frequency - 440.0 * (wanted + 1)) < 15;
        })) << wanted;
        EXPECT_TRUE(GoesOn(media.GetVideoTrackRender(0)));
    }
    EXPECT_EQ(media.Connections(), all);
}

} // namespace
