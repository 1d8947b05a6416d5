#include "integration/playback_support.h"

#include <cstdlib>

namespace playback {

namespace {

COLORREF FromYuv(int y, int u, int v) {
    const auto channel = [](double value) {
        return static_cast<BYTE>(value < 0 ? 0 : value > 255 ? 255 : value);
    };
    const double luma = 1.164 * (y - 16);
    return RGB(channel(luma + 1.596 * (v - 128)),
               channel(luma - 0.392 * (u - 128) - 0.813 * (v - 128)),
               channel(luma + 2.017 * (u - 128)));
}

/// The pixels of a DIB; empty for a format that no renderer here gives.
std::vector<COLORREF> Pixels(const BITMAPINFOHEADER& header, const BYTE* data) {
    const int width = header.biWidth;
    const int height = std::abs(header.biHeight);
    const bool isPlanar = header.biBitCount == 12;
    if (header.biBitCount != 32 && header.biBitCount != 24 && !isPlanar) {
        return {};
    }
    // Planes of full, quarter and quarter size; "YV12" has V before U.
    const bool isVFirst = header.biCompression == MAKEFOURCC('Y', 'V', '1', '2');
    const BYTE* const first = data + width * height;
    const BYTE* const second = first + width / 2 * (height / 2);
    const std::size_t stride = ymfilters::DibStride(width, header.biBitCount);
    std::vector<COLORREF> pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (isPlanar) {
                const int chroma = y / 2 * (width / 2) + x / 2;
                pixels.push_back(FromYuv(data[y * width + x], (isVFirst ? second : first)[chroma],
                                         (isVFirst ? first : second)[chroma]));
                continue;
            }
            const int row = header.biHeight > 0 ? height - 1 - y : y;
            const BYTE* const at =
                data + static_cast<std::size_t>(row) * stride + x * header.biBitCount / 8;
            pixels.push_back(RGB(at[2], at[1], at[0]));
        }
    }
    return pixels;
}

} // namespace

int Picture::Frame(RECT part) const {
    return ymfilters::ReadFrameNumber(
        part.right - part.left, part.bottom - part.top, [&](int x, int y) {
            const COLORREF colour = At(part.left + x, part.top + y);
            return (GetRValue(colour) + GetGValue(colour) + GetBValue(colour)) / 3;
        });
}

bool Picture::IsAbout(int x, int y, COLORREF wanted) const {
    const COLORREF is = At(x, y);
    return std::abs(GetRValue(is) - GetRValue(wanted)) < 40 &&
           std::abs(GetGValue(is) - GetGValue(wanted)) < 40 &&
           std::abs(GetBValue(is) - GetBValue(wanted)) < 40;
}

Picture Snapshot(ymdshow::CMedia& media) {
    // The renderer's size query is not to be had everywhere: room for any picture here.
    std::vector<BYTE> dib(sizeof(BITMAPINFOHEADER) + 1024 * 1024 * 4);
    long size = static_cast<long>(dib.size());
    // Right after a pause the renderer may need a moment.
    if (!Within(2000, [&] { return media.GetCurrentImageData(dib.data(), &size) == 1; })) {
        return {};
    }
    const auto& header = *reinterpret_cast<const BITMAPINFOHEADER*>(dib.data());
    return {static_cast<int>(header.biWidth), static_cast<int>(std::abs(header.biHeight)),
            Pixels(header, dib.data() + header.biSize)};
}

Window::Window() {
    WNDCLASSW type{};
    type.lpfnWndProc = DefWindowProcW;
    type.lpszClassName = L"PlaybackWindow";
    type.hbrBackground = CreateSolidBrush(kGrey); // the class keeps it
    RegisterClassW(&type);
    m_window = CreateWindowExW(WS_EX_TOPMOST, type.lpszClassName, L"", WS_POPUP | WS_VISIBLE, 40,
                               30, kWidth, kHeight, nullptr, nullptr, nullptr, nullptr);
    EXPECT_NE(m_window, nullptr);
}

Window::~Window() {
    DestroyWindow(m_window);
    UnregisterClassW(L"PlaybackWindow", nullptr);
}

void Window::Erase() const {
    RedrawWindow(m_window, nullptr, nullptr,
                 RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
}

Picture Window::Capture() const {
    Picture picture{kWidth, kHeight, std::vector<COLORREF>(kWidth * kHeight)};
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, kWidth, -kHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    POINT origin{};
    ClientToScreen(m_window, &origin);
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, kWidth, kHeight, screen, origin.x, origin.y, SRCCOPY);
    GdiFlush();
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
        const auto* const at = static_cast<const RGBQUAD*>(bits) + i;
        picture.pixels[i] = RGB(at->rgbRed, at->rgbGreen, at->rgbBlue);
    }
    SelectObject(memory, old);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return picture;
}

PlaybackTest::PlaybackTest() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    m_media.SetEventCallBackFun(&Ends::Event, &m_ends);
}

PlaybackTest::~PlaybackTest() {
    UnloadQuietly();
}

void PlaybackTest::UnloadQuietly() {
    if (m_media.Stop() == 1) {
        modules::LetClockRest();
    }
    m_media.Unload();
}

void PlaybackTest::Load(const std::string& path, Renderers renderers) {
    const bool isRecording = renderers == Renderers::Recording;
    UnloadQuietly();
    m_player.GetCoderScheme().UnloadScheme();
    // The renderers stand in the graph, not in its cache, so that rendering finds them.
    ASSERT_TRUE(
        m_player.GetCoderScheme().LoadSchemeByScript(std::string(R"({"Filter": [
  {"Name": "Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}", "Type": "source",
   "Path": "filters\\testsource.ax", "IsCache": false},
  {"Name": "Picture", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C004}", "Type": "render",
   "Path": "filters\\testrenderer.ax", "IsCache": false},
  {"Name": "Sound", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C005}", "Type": "render",
   "Path": "filters\\testrenderer.ax", "IsCache": false},
  {"Name": "Window", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}", "Type": "render",
   "IsCache": false}],
 "Schemes": [
  {"Type": "test", "Filters": [{"Name": "Source"}, {"Name": ")") +
                                                         (isRecording ? "Picture" : "Window") +
                                                         R"("}, {"Name": "Sound"}]},
  {"Type": "mp4;mkv;avi", "Filters": [{"Name": "Window"}]}]})",
                                                     1));
    ASSERT_EQ(m_media.SetMediaPath(path), 1) << path;
    ASSERT_EQ(m_media.Load(nullptr, path.starts_with("test:") ? 1 : 0), 1)
        << testing::PrintToString(m_media.GetLoadReport().failure);
}

ComPtr<ITestRecorder> PlaybackTest::Recorder() {
    ComPtr<ITestRecorder> recorder;
    IBaseFilter* const renderer =
        m_media.GetVideoTrackNum() > 0 ? m_media.GetVideoTrackRender(0) : nullptr;
    if (renderer == nullptr || FAILED(renderer->QueryInterface(IID_PPV_ARGS(&recorder)))) {
        ADD_FAILURE() << "no recording renderer";
    }
    return recorder;
}

std::vector<TestRecord> PlaybackTest::Shown() {
    std::vector<TestRecord> shown;
    for (const TestRecord& record :
         modules::Records(m_media.GetVideoTrackRender(0), TestRecord::KindCount)) {
        if (record.kind == TestRecord::NewSegment) {
            shown.clear();
        } else if (record.kind == TestRecord::Sample) {
            shown.push_back(record);
        }
    }
    return shown;
}

} // namespace playback
