// The filter modules on the system's graph manager: connection, states, playing to the end.
#include "integration/modules_support.h"

namespace modules {

class Playback : public ModulesTest {};

TEST_F(Playback, PlaysEveryFrameAndAllSoundToTheEnd) {
    const auto source = AddSource(L"test://320x180@25/1s?audio=440");
    const auto video = AddVideoRenderer();
    const auto audio = AddAudioRenderer();
    Connect(source.Get(), L"Video", video.Get());
    Connect(source.Get(), L"Audio", audio.Get());
    LONGLONG duration = 0;
    EXPECT_EQ(m_seeking->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, kSecond);

    const auto begin = Clock::now();
    Run();
    ASSERT_TRUE(WaitForComplete(5000));
    EXPECT_GE(Milliseconds(begin), 950);
    EXPECT_LT(Milliseconds(begin), 2500);

    const std::vector<TestRecord> frames = Records(video.Get(), TestRecord::Sample);
    ASSERT_EQ(frames.size(), 25U);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].frame, static_cast<LONG>(i));
        EXPECT_EQ(frames[i].start, static_cast<LONGLONG>(i) * 40 * kMillisecond);
        EXPECT_EQ(frames[i].stop, frames[i].start + 40 * kMillisecond);
        EXPECT_EQ(frames[i].bytes, 320 * 180 * 4);
        EXPECT_EQ(frames[i].flags & AM_SAMPLE_DATADISCONTINUITY,
                  i == 0 ? DWORD{AM_SAMPLE_DATADISCONTINUITY} : 0);
        EXPECT_GE(frames[i].lateness, 0);
    }
    LONG bytes = 0;
    for (const TestRecord& block : Records(audio.Get(), TestRecord::Sample)) {
        bytes += block.bytes;
        EXPECT_NEAR(block.frequency, 440, 1);
    }
    EXPECT_EQ(bytes, 44100 * 4);
    // Run makes the graph wait for the first sample.
    EXPECT_EQ(Story(video.Get()), "Paused Segment Samples Running Samples EOS Complete");
}

TEST_F(Playback, StopsWithinASecondAtAnyTime) {
    const auto source = AddSource(L"test://320x180@25/10s?audio=440");
    const auto video = AddVideoRenderer();
    const auto audio = AddAudioRenderer();
    Connect(source.Get(), L"Video", video.Get());
    Connect(source.Get(), L"Audio", audio.Get());
    for (DWORD i = 0; i < 30; ++i) {
        if (i % 3 == 0) {
            m_control->Run(); // without a wait for what it begins
        } else if (i % 3 == 1) {
            Pause();
        } else {
            Run();
        }
        Sleep(i % 7 * 10);
        ASSERT_NO_FATAL_FAILURE(Stop()) << i;
    }
}

TEST_F(Playback, HoldsTheFirstFrameWhilePaused) {
    const auto source = AddSource(L"test://320x180@25/2s?audio=0&startdelay=200");
    const auto video = AddVideoRenderer();
    Connect(source.Get(), L"Video", video.Get());
    EXPECT_EQ(m_control->Pause(), S_FALSE);
    FILTER_STATE state = State_Stopped;
    EXPECT_EQ(video->GetState(0, &state), VFW_S_STATE_INTERMEDIATE);
    EXPECT_EQ(video->GetState(5000, &state), S_OK);
    EXPECT_EQ(state, State_Paused);
    Sleep(200);
    std::vector<TestRecord> frames = Records(video.Get(), TestRecord::Sample);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].frame, 0);
    EXPECT_TRUE(frames[0].isPaused);

    Run();
    Sleep(300);
    Pause();
    Sleep(100); // the frame that waits for its time becomes the one that is shown
    const std::size_t shown = Records(video.Get(), TestRecord::Sample).size();
    EXPECT_GT(shown, 3U);
    Sleep(200);
    EXPECT_EQ(Records(video.Get(), TestRecord::Sample).size(), shown);
    Run();
    ASSERT_TRUE(WaitForComplete(5000));
    frames = Records(video.Get(), TestRecord::Sample);
    ASSERT_EQ(frames.size(), 50U) << "a pause neither loses nor repeats a frame";
    EXPECT_EQ(frames.back().frame, 49);
}

TEST_F(Playback, PassesThroughTheTransform) {
    struct Case {
        const wchar_t* name;
        const wchar_t* out;
        bool isVideo;
    };
    for (const Case& test : {Case{L"test://320x180@25/400ms?audio=0", L"Video", true},
                             Case{L"test://320x180@25/400ms?audio=0&bits=24", L"Video", true},
                             Case{L"test://320x180@25/400ms?audio=0&coded=1", L"Video", true},
                             Case{L"test:///400ms?video=0&audio=1000", L"Audio", false}}) {
        SCOPED_TRACE(testing::Message() << test.name);
        const auto source = AddSource(test.name);
        const auto transform = AddTransform();
        const auto render = test.isVideo ? AddVideoRenderer() : AddAudioRenderer();
        Connect(source.Get(), test.out, transform.Get());
        Connect(transform.Get(), L"Out", render.Get());
        Run();
        ASSERT_TRUE(WaitForComplete(5000));
        const std::vector<TestRecord> samples = Records(render.Get(), TestRecord::Sample);
        ASSERT_EQ(samples.size(), test.isVideo ? 10U : 8U);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            EXPECT_EQ(samples[i].start,
                      static_cast<LONGLONG>(i) * (test.isVideo ? 40 : 50) * kMillisecond);
            if (test.isVideo) {
                EXPECT_EQ(samples[i].frame, static_cast<LONG>(i));
            } else {
                EXPECT_NEAR(samples[i].frequency, 1000, 1);
                EXPECT_NEAR(samples[i].peak, 8000, 50); // half of the source's
            }
        }
        LONGLONG duration = 0;
        EXPECT_EQ(m_seeking->GetDuration(&duration), S_OK);
        EXPECT_EQ(duration, 400 * kMillisecond);
        Stop();
        for (const auto& filter : {source, transform, render}) {
            EXPECT_EQ(m_graph->RemoveFilter(filter.Get()), S_OK);
        }
    }
}

TEST_F(Playback, IntelligentConnectionFindsTheDecoder) {
    const auto source = AddSource(L"test://320x180@25/200ms?coded=1&audio=0");
    AddTransform();
    const auto video = AddVideoRenderer();
    ASSERT_EQ(
        m_graph->Connect(FindPin(source.Get(), L"Video").Get(), FindPin(video.Get(), L"In").Get()),
        S_OK);
    Run();
    ASSERT_TRUE(WaitForComplete(5000));
    EXPECT_EQ(Records(video.Get(), TestRecord::Sample).size(), 5U);
}

TEST_F(Playback, RunsFreeWithoutAClock) {
    const auto source = AddSource(L"test://640x360@25/10s?audio=440");
    const auto video = AddVideoRenderer();
    const auto audio = AddAudioRenderer();
    Connect(source.Get(), L"Video", video.Get());
    Connect(source.Get(), L"Audio", audio.Get());
    SetFreeRunning();
    const auto begin = Clock::now();
    Run();
    ASSERT_TRUE(WaitForComplete(8000));
    const long elapsed = Milliseconds(begin);
    RecordProperty("milliseconds", static_cast<int>(elapsed));
    EXPECT_LT(elapsed, 5000);
    EXPECT_EQ(Records(video.Get(), TestRecord::Sample).size(), 250U);
}

TEST_F(Playback, PlaysIntoTheSystemsRenderers) {
    struct Case {
        const char* name;
        CLSID clsid;
        const wchar_t* source;
        const wchar_t* out;
    };
    const Case cases[] = {
        {"GDI", CLSID_VideoRenderer, L"test://320x180@25/400ms?audio=0", L"Video"},
        {"GDI 24", CLSID_VideoRenderer, L"test://322x180@25/400ms?audio=0&bits=24", L"Video"},
        {"VMR-7", CLSID_VideoMixingRenderer, L"test://320x180@25/400ms?audio=0", L"Video"},
        {"DirectSound", CLSID_DSoundRender, L"test:///400ms?video=0", L"Audio"},
        {"Null video", CLSID_SystemNullRenderer, L"test://320x180@25/400ms?audio=0", L"Video"},
        {"Null audio", CLSID_SystemNullRenderer, L"test:///400ms?video=0", L"Audio"}};
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        const auto source = AddSource(test.source);
        const auto render = AddSystem(test.clsid);
        ComPtr<IEnumPins> pins;
        ComPtr<IPin> in;
        ASSERT_EQ(render->EnumPins(&pins), S_OK);
        ASSERT_EQ(pins->Next(1, &in, nullptr), S_OK);
        ASSERT_EQ(m_graph->ConnectDirect(FindPin(source.Get(), test.out).Get(), in.Get(), nullptr),
                  S_OK);
        Run();
        EXPECT_TRUE(WaitForComplete(5000));
        Seek(100 * kMillisecond);
        Seek(0);
        EXPECT_TRUE(WaitForComplete(5000));
        Pause();
        Seek(200 * kMillisecond);
        Stop();
        EXPECT_EQ(m_graph->RemoveFilter(source.Get()), S_OK);
        EXPECT_EQ(m_graph->RemoveFilter(render.Get()), S_OK);
    }
}

TEST_F(Playback, TheSystemsFiltersTakeTheTestSourceByRender) {
    const auto source = AddSource(L"test://320x180@25/200ms?audio=440");
    AddSystem(CLSID_VideoRenderer);
    for (const wchar_t* out : {L"Video", L"Audio"}) {
        EXPECT_EQ(m_graph->Render(FindPin(source.Get(), out).Get()), S_OK);
    }
    Run();
    EXPECT_TRUE(WaitForComplete(5000));
}

TEST_F(Playback, AStreamThatBreaksOffEndsWithAnErrorEvent) {
    const auto source = AddSource(L"test://320x180@25/2s?audio=0&break=200ms");
    const auto video = AddVideoRenderer();
    Connect(source.Get(), L"Video", video.Get());
    Run();
    EXPECT_TRUE(WaitForEvent(EC_ERRORABORT, 5000));
    EXPECT_TRUE(WaitForComplete(5000)) << "the renderer still comes to its end";
    EXPECT_EQ(Records(video.Get(), TestRecord::Sample).size(), 5U);
}

TEST_F(Playback, ADisconnectedRendererDoesNotHoldUpTheGraph) {
    const auto source = AddSource(L"test://320x180@25/300ms?audio=440");
    const auto video = AddVideoRenderer();
    const auto audio = AddAudioRenderer();
    Connect(source.Get(), L"Video", video.Get());
    Run();
    EXPECT_TRUE(WaitForComplete(5000));
    EXPECT_EQ(Story(audio.Get()), "Paused Running Complete");
}

TEST_F(Playback, LiveTracksLeaveAndJoinTheRunningGraph) {
    const auto source = AddSource(L"test://320x180@25/3s?audio=440&live=1");
    const auto video = AddVideoRenderer();
    const auto audio = AddAudioRenderer();
    ComPtr<ITestRecorder> recorder;
    ASSERT_EQ(audio.As(&recorder), S_OK);
    recorder->SetLiveConnect(TRUE);
    Connect(source.Get(), L"Video", video.Get());
    Connect(source.Get(), L"Audio", audio.Get());
    const auto out = FindPin(source.Get(), L"Audio");
    const auto in = FindPin(audio.Get(), L"In");
    Seek(500 * kMillisecond);
    for (const bool isRunning : {true, false}) {
        SCOPED_TRACE(isRunning);
        isRunning ? Run() : Pause();
        Sleep(200);
        ASSERT_EQ(m_graph->Disconnect(out.Get()), S_OK);
        ASSERT_EQ(m_graph->Disconnect(in.Get()), S_OK);
        Sleep(200);
        recorder->Clear();
        ASSERT_EQ(m_graph->ConnectDirect(out.Get(), in.Get(), nullptr), S_OK);
        ASSERT_EQ(recorder->WaitFor(TestRecord::Sample, 1, 2000), S_OK);
        const TestRecord first = Records(audio.Get(), TestRecord::Sample).front();
        EXPECT_EQ(first.segmentStart, 500 * kMillisecond);
        EXPECT_GT(first.start, 150 * kMillisecond) << "it joins where the others are";
    }
    Run();
    EXPECT_TRUE(WaitForComplete(8000));
    EXPECT_EQ(Records(audio.Get(), TestRecord::Complete).size(), 1U);
}

} // namespace modules
