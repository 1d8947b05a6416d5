#pragma once

// Media items on the system's graph manager: the test source and renderers by a scheme, and
// clips whose pictures say which frame they are.

#include <ymdshow/ymdshow.h>

#include "filters/FramePattern.h"
#include "integration/modules_support.h"

namespace playback {

using modules::Clock;
using modules::ComPtr;
using modules::kMillisecond;
using modules::kSecond;
using modules::Milliseconds;
using modules::Sample;
using modules::Within;

/// A picture from the screen or from a snapshot.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<COLORREF> pixels; ///< top row first

    COLORREF At(int x, int y) const { return pixels[static_cast<std::size_t>(y * width + x)]; }
    /// The frame number in a part of it, -1 for none.
    int Frame(RECT part) const;
    int Frame() const { return Frame({0, 0, width, height}); }
    /// Whether a colour is there but for losses of coding.
    bool IsAbout(int x, int y, COLORREF wanted) const;
};

/// The picture that the item shows now; empty when it has none, or in an unknown format.
Picture Snapshot(ymdshow::CMedia& media);

/// A window, grey all over.
class Window {
public:
    static constexpr int kWidth = 480;
    static constexpr int kHeight = 320;
    static constexpr COLORREF kGrey = RGB(128, 128, 128);

    Window();
    ~Window();
    HWND Handle() const { return m_window; }
    void Erase() const;
    Picture Capture() const; ///< what the screen shows of its client area

private:
    HWND m_window = nullptr;
};

/// Counts the ends of playback.
struct Ends {
    std::atomic<int> count{0};
    static int Event(ymdshow::CMedia*, void* user, long code, std::int64_t, std::int64_t) {
        static_cast<Ends*>(user)->count += code == EC_COMPLETE;
        return 0;
    }
};

enum class Renderers { Recording, Gdi };

class PlaybackTest : public testing::Test {
protected:
    PlaybackTest();
    ~PlaybackTest() override;

    void UnloadQuietly();

    /// Loads a path with these renderers; "test://..." makes the test source.
    void Load(const std::string& path, Renderers renderers = Renderers::Recording);

    /// Samples that the video renderer has got since the last segment or since Clear.
    std::vector<TestRecord> Shown();
    ComPtr<ITestRecorder> Recorder();
    bool Played(int ends, long milliseconds = 10000) {
        return Within(milliseconds, [&] { return m_ends.count >= ends; });
    }

    ymdshow::CMediaPlayer m_player; ///< for its schemes
    Ends m_ends;
    ymdshow::CMedia m_media{&m_player};
};

} // namespace playback
