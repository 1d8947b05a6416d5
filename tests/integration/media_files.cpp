// Real files through the system's filters, snapshots, and the picture in a window.

#include "../filters/pattern/FramePattern.h"
#include "integration/media_support.h"

using namespace media_tests;

namespace {

constexpr COLORREF kGrey = RGB(128, 128, 128);
constexpr RECT kWhole = {0, 0, 384, 192}; ///< the clips drawn here, at their own size

/// A window, grey all over, that is read by itself, whatever lies above it.
class Window {
public:
    Window() {
        WNDCLASSW type{};
        type.style = CS_OWNDC;
        type.lpfnWndProc = DefWindowProcW;
        type.lpszClassName = L"MediaWindow";
        type.hbrBackground = CreateSolidBrush(kGrey); // the class keeps it
        RegisterClassW(&type);
        handle = CreateWindowExW(0, type.lpszClassName, L"", WS_POPUP | WS_VISIBLE, 40, 30, kWidth,
                                 kHeight, nullptr, nullptr, nullptr, nullptr);
        SelectObject(m_copy, CreateCompatibleBitmap(GetDC(handle), kWidth, kHeight));
    }
    ~Window() {
        DeleteDC(m_copy);
        DestroyWindow(handle);
        UnregisterClassW(L"MediaWindow", nullptr);
    }

    /// Reads what it shows now; -1 when there is no frame number in that part of it.
    int Frame(RECT part = kWhole) {
        BitBlt(m_copy, 0, 0, kWidth, kHeight, GetDC(handle), 0, 0, SRCCOPY);
        return ymfilters::ReadFrameNumber(
            part.right - part.left, part.bottom - part.top,
            [&](int x, int y) { return GetGValue(GetPixel(m_copy, part.left + x, part.top + y)); });
    }
    /// Whether it has about this colour in what was read last.
    bool Has(int x, int y, COLORREF wanted) const {
        const COLORREF is = GetPixel(m_copy, x, y);
        return std::abs(GetRValue(is) - GetRValue(wanted)) < 40 &&
               std::abs(GetGValue(is) - GetGValue(wanted)) < 40 &&
               std::abs(GetBValue(is) - GetBValue(wanted)) < 40;
    }
    HWND handle = nullptr;

private:
    static constexpr int kWidth = 480;
    static constexpr int kHeight = 320;
    const HDC m_copy = CreateCompatibleDC(nullptr);
};

class MediaFiles : public RealMediaTest {
protected:
    /// The frame number in the picture that the item shows now, -1 for none.
    int Snapshot() {
        // The renderer's size query is not to be had everywhere: room for any picture here.
        std::vector<BYTE> dib(sizeof(BITMAPINFOHEADER) + 640 * 480 * 4);
        long size = static_cast<long>(dib.size());
        if (media.GetCurrentImageData(dib.data(), &size) != 1) {
            return -1; // right after a pause the renderer may need a moment
        }
        const auto& header = *reinterpret_cast<const BITMAPINFOHEADER*>(dib.data());
        // Three or four bytes a pixel, bottom-up, or planes of which the first is brightness.
        const bool isPlanar = header.biBitCount == 12;
        const int step = isPlanar ? 1 : header.biBitCount / 8;
        return ymfilters::ReadFrameNumber(header.biWidth, header.biHeight, [&](int x, int y) {
            const int row = isPlanar ? y : header.biHeight - 1 - y;
            const BYTE* const at = dib.data() + header.biSize + (row * header.biWidth + x) * step;
            return isPlanar ? *at : (at[0] + at[1] + at[2]) / 3;
        });
    }

    /// Pauses at a frame.
    void PauseAt(int frame) {
        ASSERT_EQ(media.Play(), 1);
        ASSERT_EQ(media.Pause(), 1);
        ASSERT_TRUE(Within(kPatience, [&] { return media.GetPlayState() == 1; }));
        ASSERT_EQ(media.SetMediaPosition(frame * 40 * kMillisecond), 1);
        EXPECT_TRUE(Within(kPatience, [&] { return Snapshot() == frame; }))
            << frame << ", not " << Snapshot();
    }
};

TEST_F(MediaFiles, PlayToTheirEndAndAgain) {
    const struct {
        const char* name;
        std::uint32_t videos, audios;
    } files[] = {{"clip.mp4", 1, 1}, {"clip.mkv", 1, 2}, {"clip.avi", 1, 1}, {"clip.mp3", 0, 1}};
    for (const auto& file : files) {
        SCOPED_TRACE(file.name);
        LoadFile(file.name, file.videos + file.audios);
        EXPECT_EQ(media.GetOriginalVideoTrackNum(), file.videos);
        EXPECT_EQ(media.GetOriginalAudioTrackNum(), file.audios);
        EXPECT_TRUE(media.GetVideoTrackNum() <= file.videos &&
                    media.GetAudioTrackNum() <= file.audios);
        EXPECT_EQ(media.GetVideoOriginalWidth(), file.videos * 320);
        EXPECT_NEAR(static_cast<double>(media.GetOriginalDuration()) / kSecond, 3.0, 0.2);
        ends = 0;
        for (int round = 1; round <= 2; ++round) {
            ASSERT_EQ(media.Play(), 1);
            ASSERT_TRUE(
                Within(kPatience, [&] { return media.GetMediaPosition() > 300 * kMillisecond; }));
            EXPECT_EQ(media.IsPlaying(), 1);
            ASSERT_EQ(media.Pause(), 1);
            ASSERT_TRUE(Within(kPatience, [&] { return media.IsPaused() == 1; }));
            const std::int64_t held = media.GetMediaPosition();
            EXPECT_FALSE(Within(100, [&] { return media.GetMediaPosition() > held + 100'000; }));
            ASSERT_EQ(media.Play(), 1);
            ASSERT_TRUE(Ended(round));
            EXPECT_NEAR(static_cast<double>(media.GetMediaPosition()) / kSecond, 3.0, 0.3);
            ASSERT_EQ(media.Stop(), 1);
            ASSERT_EQ(media.SetMediaPosition(2 * kSecond), 1); // for the second round
        }
    }
    for (const char* const unreadable : {"text.mp4", "empty.mp4"}) {
        ASSERT_EQ(media.SetMediaPath(Sample(unreadable)), 1);
        EXPECT_EQ(media.Load(nullptr, 0), 0);
        EXPECT_EQ(media.GetLoadReport().attempts.back().way, 4);
    }
}

TEST_F(MediaFiles, SnapshotsAreTheFramesThatWereSought) {
    LoadFile("playback\\frames.mp4");
    for (const int frame : {0, 41, 10, 74, 5}) {
        PauseAt(frame);
    }
    ASSERT_EQ(media.Stop(), 1);
    ASSERT_EQ(media.SetMediaPosition(50 * 40 * kMillisecond), 1);
    PauseAt(60);
}

TEST_F(MediaFiles, TheWindowFollowsSeeksAndTheEnd) {
    Window window;
    media.SetPlayWindow(window.handle);
    LoadFile("playback\\frames.mp4");
    media.SetLoop(1);
    ASSERT_EQ(media.Play(), 1);
    for (const int frame : {40, 8, 55, 20}) {
        int shown = -1;
        const auto isShown = [&] {
            shown = window.Frame();
            return shown >= frame && shown < frame + 15;
        };
        // Whoever looks too late on a busy machine seeks again.
        EXPECT_TRUE(Within(kPatience,
                           [&] {
                               return media.SetMediaPosition(frame * 40 * kMillisecond) == 1 &&
                                      Within(1000, isShown);
                           }))
            << frame << ", not " << shown;
        EXPECT_EQ(media.IsPlaying(), 1);
    }
    media.SetLoop(0);
    // Who asks for the position all the time keeps nobody from hiding the picture.
    const int before = ends;
    EXPECT_TRUE(Within(kPatience, [&] {
        media.GetMediaPosition();
        return ends > before;
    }));
    EXPECT_TRUE(
        Within(kPatience, [&] { return window.Frame() == -1 && window.Has(200, 136, kGrey); }));
}

TEST_F(MediaFiles, TheWindowShowsWhatTheRectanglesSay) {
    Window window;
    media.SetPlayWindow(window.handle); // kept for the load
    Load("test://384x192@25/3s?audio=0", {"Source", "Window"});
    int frame = 30;
    // Not every renderer draws during a pause when its rectangles change: a seek makes it.
    const auto draw = [&] {
        RedrawWindow(window.handle, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
        PauseAt(++frame);
    };
    const auto drawn = [&](RECT part) {
        draw();
        return Within(kPatience, [&] { return window.Frame(part) == frame; });
    };
    EXPECT_TRUE(drawn(kWhole)); // in its own size until somebody says otherwise
    EXPECT_TRUE(window.Has(400, 100, kGrey));

    ASSERT_TRUE(media.SetVideoDisplayRange(100, 60, 192, 96));
    EXPECT_TRUE(drawn({100, 60, 292, 156}));
    for (const POINT beside : {POINT{96, 100}, {296, 100}, {200, 56}, {200, 160}}) {
        EXPECT_TRUE(window.Has(beside.x, beside.y, kGrey)) << beside.x << " " << beside.y;
    }

    // Of the picture, the green, magenta, red and blue bars alone, twice as large.
    ASSERT_TRUE(media.SetVideoClipRange(144, 30, 192, 96));
    ASSERT_TRUE(media.SetVideoDisplayRange(20, 40, 384, 192));
    draw();
    EXPECT_TRUE(Within(kPatience, [&] {
        window.Frame();
        return window.Has(20 + 48, 136, RGB(0, 255, 0)) &&
               window.Has(20 + 144, 136, RGB(255, 0, 255)) &&
               window.Has(20 + 240, 136, RGB(255, 0, 0)) &&
               window.Has(20 + 336, 136, RGB(0, 0, 255));
    }));
}

} // namespace
