// Seeks through the system's graph manager: every renderer must show the place that was
// asked for, in a new segment, with nothing of the old one after the flush.
#include <random>

#include "integration/modules_support.h"

namespace modules {

namespace {

/// What was shown since the last segment began.
std::vector<TestRecord> Shown(IBaseFilter* renderer) {
    std::vector<TestRecord> shown;
    for (const TestRecord& record : Records(renderer, TestRecord::KindCount)) {
        if (record.kind == TestRecord::NewSegment) {
            shown.clear();
        } else if (record.kind == TestRecord::Sample) {
            shown.push_back(record);
        }
    }
    return shown;
}

} // namespace

class Seeking : public ModulesTest {
protected:
    void Build(const wchar_t* name, bool hasTransform = false) {
        m_source = AddSource(name);
        m_video = AddVideoRenderer();
        m_audio = AddAudioRenderer();
        if (hasTransform) {
            const auto transform = AddTransform();
            Connect(m_source.Get(), L"Video", transform.Get());
            Connect(transform.Get(), L"Out", m_video.Get());
        } else {
            Connect(m_source.Get(), L"Video", m_video.Get());
        }
        Connect(m_source.Get(), L"Audio", m_audio.Get());
        ASSERT_EQ(m_video.As(&m_recorder), S_OK);
    }
    void TearDown() override {
        m_recorder.Reset();
        m_source.Reset();
        m_video.Reset();
        m_audio.Reset();
        ModulesTest::TearDown();
    }
    void ClearRecords() {
        ComPtr<ITestRecorder> audio;
        ASSERT_EQ(m_audio.As(&audio), S_OK);
        m_recorder->Clear();
        audio->Clear();
    }

    ComPtr<IBaseFilter> m_source;
    ComPtr<IBaseFilter> m_video;
    ComPtr<IBaseFilter> m_audio;
    ComPtr<ITestRecorder> m_recorder;
};

TEST_F(Seeking, InEveryStateShowsThePlaceAskedFor) {
    Build(L"test://320x180@25/10s?audio=440");
    for (const OAFilterState from : {State_Stopped, State_Paused, State_Running}) {
        SCOPED_TRACE(from);
        Stop();
        if (from != State_Stopped) {
            from == State_Paused ? Pause() : Run();
            Sleep(100);
        }
        ClearRecords();
        Seek(4 * kSecond + 10 * kMillisecond);
        if (from == State_Stopped) {
            Pause();
        }
        for (IBaseFilter* renderer : {m_video.Get(), m_audio.Get()}) {
            ComPtr<ITestRecorder> recorder;
            ASSERT_EQ(renderer->QueryInterface(IID_PPV_ARGS(&recorder)), S_OK);
            ASSERT_EQ(recorder->WaitFor(TestRecord::Sample, 1, 2000), S_OK);
        }
        OAFilterState state = 0;
        EXPECT_EQ(m_control->GetState(2000, &state), S_OK);
        for (IBaseFilter* renderer : {m_video.Get(), m_audio.Get()}) {
            const std::vector<TestRecord> shown = Shown(renderer);
            ASSERT_FALSE(shown.empty());
            EXPECT_EQ(shown[0].segmentStart, 4 * kSecond + 10 * kMillisecond);
            EXPECT_NE(shown[0].flags & AM_SAMPLE_DATADISCONTINUITY, 0U);
        }
        // Frame 100 covers the place; it began 10 ms before.
        EXPECT_EQ(Shown(m_video.Get())[0].frame, 100);
        EXPECT_EQ(Shown(m_video.Get())[0].start, -10 * kMillisecond);
        LONGLONG position = 0;
        EXPECT_EQ(m_seeking->GetCurrentPosition(&position), S_OK);
        EXPECT_GE(position, 4 * kSecond);
        EXPECT_LT(position, 5 * kSecond);
    }
}

TEST_F(Seeking, FlushesBeforeItStartsAnew) {
    Build(L"test://320x180@25/10s?audio=440", true);
    Pause();
    Seek(2 * kSecond);
    ASSERT_EQ(m_recorder->WaitFor(TestRecord::Sample, 2, 2000), S_OK);
    EXPECT_EQ(Story(m_video.Get()), "Paused Segment Samples BeginFlush EndFlush Segment Samples");
    EXPECT_EQ(Shown(m_video.Get())[0].frame, 50);
}

TEST_F(Seeking, PlaysOnInTimeAndEndsAtTheStopPosition) {
    Build(L"test://320x180@25/10s?audio=440");
    Run();
    Sleep(100);
    const auto begin = Clock::now();
    Seek(6 * kSecond, 6 * kSecond + 500 * kMillisecond);
    ASSERT_TRUE(WaitForComplete(5000));
    EXPECT_GE(Milliseconds(begin), 450);
    EXPECT_LT(Milliseconds(begin), 2000);
    const std::vector<TestRecord> frames = Shown(m_video.Get());
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.front().frame, 150);
    EXPECT_EQ(frames.back().frame, 162); // the one that begins at 6.48 s is the last
    LONG bytes = 0;
    for (const TestRecord& block : Shown(m_audio.Get())) {
        bytes += block.bytes;
    }
    EXPECT_EQ(bytes, 22050 * 4);
}

TEST_F(Seeking, FromTheEndPlaysAgain) {
    Build(L"test://320x180@25/200ms?audio=440");
    Run();
    ASSERT_TRUE(WaitForComplete(5000));
    for (int i = 0; i < 8; ++i) {
        ClearRecords();
        Seek(0);
        ASSERT_TRUE(WaitForComplete(5000)) << i;
        const std::vector<TestRecord> frames = Shown(m_video.Get());
        ASSERT_EQ(frames.size(), 5U) << i;
        EXPECT_EQ(frames.back().frame, 4);
    }
    Seek(200 * kMillisecond);
    EXPECT_TRUE(WaitForComplete(5000)) << "the end itself is a place";
}

TEST_F(Seeking, DoubleSpeedTakesHalfTheTime) {
    Build(L"test://320x180@25/1s?audio=440");
    // To each renderer, as a graph manager does that changes the rate (not every one does).
    for (IBaseFilter* renderer : {m_video.Get(), m_audio.Get()}) {
        ComPtr<IMediaSeeking> seeking;
        ASSERT_EQ(renderer->QueryInterface(IID_PPV_ARGS(&seeking)), S_OK);
        ASSERT_EQ(seeking->SetRate(2.0), S_OK);
    }
    const auto begin = Clock::now();
    Run();
    ASSERT_TRUE(WaitForComplete(5000));
    EXPECT_LT(Milliseconds(begin), 950);
    const std::vector<TestRecord> frames = Shown(m_video.Get());
    ASSERT_EQ(frames.size(), 25U);
    EXPECT_EQ(frames[0].rate, 2.0);
    EXPECT_EQ(frames[10].start, 200 * kMillisecond);
    EXPECT_EQ(Shown(m_audio.Get())[0].rate, 2.0);
}

TEST_F(Seeking, TwoHundredRandomSeeksInAllStates) {
    Build(L"test://320x180@25/10s?audio=440", true);
    std::mt19937 random(4711);
    const auto pick = [&](int count) {
        return std::uniform_int_distribution<int>(0, count - 1)(random);
    };
    long slowest = 0;
    for (int i = 0; i < 200; ++i) {
        switch (pick(8)) {
        case 0:
            Stop();
            break;
        case 1:
        case 2:
            m_control->Pause();
            break;
        case 3:
        case 4:
            m_control->Run();
            break;
        default:
            break; // one seek after the other
        }
        Sleep(static_cast<DWORD>(pick(4) * pick(10)));
        const LONGLONG place = pick(9900) * kMillisecond;
        const auto begin = Clock::now();
        Seek(place);
        slowest = std::max(slowest, Milliseconds(begin));
        ASSERT_LT(slowest, 1000) << i;
        if (i % 20 == 19) {
            ClearRecords();
            Seek(place);
            Pause();
            ASSERT_EQ(m_recorder->WaitFor(TestRecord::Sample, 1, 2000), S_OK);
            EXPECT_EQ(Shown(m_video.Get())[0].frame, place / (40 * kMillisecond)) << i;
        }
    }
    RecordProperty("slowest_seek_ms", static_cast<int>(slowest));
    Stop();
}

TEST_F(Seeking, OptionsAndBounds) {
    Build(L"test://320x180@25/2s?audio=440");
    ComPtr<IMediaSeeking> pin;
    ASSERT_EQ(FindPin(m_source.Get(), L"Video").As(&pin), S_OK);
    LONGLONG start = 3 * kSecond;
    LONGLONG stop = 0;
    EXPECT_EQ(pin->SetPositions(&start, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime,
                                nullptr, AM_SEEKING_NoPositioning),
              S_OK);
    EXPECT_EQ(start, 2 * kSecond) << "a place past the end is the end";
    start = kSecond;
    EXPECT_EQ(pin->SetPositions(&start, AM_SEEKING_AbsolutePositioning, &stop,
                                AM_SEEKING_AbsolutePositioning),
              E_INVALIDARG)
        << "an end before the start";
    stop = 500 * kMillisecond;
    EXPECT_EQ(pin->SetPositions(&start, AM_SEEKING_AbsolutePositioning, &stop,
                                AM_SEEKING_IncrementalPositioning),
              S_OK);
    EXPECT_EQ(pin->GetPositions(&start, &stop), S_OK);
    EXPECT_EQ(start, kSecond);
    EXPECT_EQ(stop, 1500 * kMillisecond);
    start = -200 * kMillisecond;
    EXPECT_EQ(pin->SetPositions(&start, AM_SEEKING_RelativePositioning, nullptr,
                                AM_SEEKING_NoPositioning),
              S_OK);
    EXPECT_EQ(pin->GetCurrentPosition(&start), S_OK);
    EXPECT_EQ(start, 800 * kMillisecond);
    EXPECT_EQ(pin->SetTimeFormat(&TIME_FORMAT_FRAME), E_INVALIDARG);
    EXPECT_EQ(pin->SetRate(0), E_INVALIDARG);
    EXPECT_EQ(pin->SetRate(-1), E_INVALIDARG);
}

} // namespace modules
