// The current picture as a value, and as a file.

#include <ymdshow/Snapshot.h>

#include <windows.h>

#include <wincodec.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "YMMedia/Dib.h"
#include "YMMedia/Inside.h"
#include "YMMedia/Seeking.h"

namespace ymdshow {

namespace {

constexpr DWORD kPatience = 1500; // ms until a renderer that was paused has a picture to give
constexpr DWORD kInterval = 20;
constexpr std::int32_t kLargestGuess = 16384; // pixels

// Both stand for the mixing renderer that rendering chooses.
constexpr GUID kMixingRenderer{
    0xB87BEB7B, 0x8D29, 0x423F, {0xAE, 0x4D, 0x65, 0x82, 0xC1, 0x01, 0x75, 0xAC}};
constexpr GUID kDefaultRenderer{
    0x6BC1CFFA, 0x8FC1, 0x4261, {0xAC, 0x22, 0xCF, 0xB4, 0xCC, 0x38, 0xDB, 0x50}};

bool RunsUnderWine() {
    static const bool isWine =
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return isWine;
}

/// Wine's mixing renderer copies the rows of its 32-bit surface, from the top, and cuts
/// each to the row length of the connection's format: a picture only for 32 bits.
bool IsSurfaceCopy(const std::vector<IBaseFilter*>& filters) {
    return RunsUnderWine() && std::any_of(filters.begin(), filters.end(), [](IBaseFilter* filter) {
               GUID clsid{};
               filter->GetClassID(&clsid);
               return clsid == kMixingRenderer || clsid == kDefaultRenderer;
           });
}

bool Grab(IBasicVideo* video, std::vector<BYTE>& dib) {
    long size = static_cast<long>(dib.size());
    if (FAILED(video->GetCurrentImage(&size, reinterpret_cast<long*>(dib.data())))) {
        return false;
    }
    if (size > 0 && static_cast<std::size_t>(size) < dib.size()) {
        dib.resize(static_cast<std::size_t>(size));
    }
    return dib.size() >= sizeof(BITMAPINFOHEADER);
}

std::wstring WriteReason(const std::wstring& path, HRESULT result) {
    return SUCCEEDED(result) ? L"" : L"cannot write " + path + L": " + ResultText(result);
}

HRESULT Encode(const Snapshot& picture, const std::wstring& path) {
    const auto width = static_cast<UINT>(picture.width);
    const auto height = static_cast<UINT>(picture.height);
    ComPtr<IWICImagingFactory> factory;
    HRESULT hr = CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_PPV_ARGS(&factory));
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapEncoder> encoder;
    ComPtr<IWICBitmapFrameEncode> frame;
    WICPixelFormatGUID format = GUID_WICPixelFormat32bppBGRA;
    const auto then = [&](auto&& step) { hr = SUCCEEDED(hr) ? step() : hr; };
    then([&] { return factory->CreateStream(&stream); });
    then([&] { return stream->InitializeFromFilename(path.c_str(), GENERIC_WRITE); });
    then([&] { return factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder); });
    then([&] { return encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache); });
    then([&] { return encoder->CreateNewFrame(&frame, nullptr); });
    then([&] { return frame->Initialize(nullptr); });
    then([&] { return frame->SetSize(width, height); });
    then([&] { return frame->SetPixelFormat(&format); });
    then([&] { return format == GUID_WICPixelFormat32bppBGRA ? S_OK : E_UNEXPECTED; });
    then([&] {
        return frame->WritePixels(height, static_cast<UINT>(picture.stride),
                                  static_cast<UINT>(picture.pixels.size()),
                                  const_cast<BYTE*>(picture.pixels.data()));
    });
    then([&] { return frame->Commit(); });
    then([&] { return encoder->Commit(); });
    return hr;
}

} // namespace

/// Some renderers do not tell the size, and some write nothing but a whole picture.
std::size_t CMedia::Inside::PictureBytes(const CMedia& media) {
    long told = 0;
    if (FAILED(media.m_pBasicVideo->GetCurrentImage(&told, nullptr))) {
        told = 0;
    }
    const auto side = [](std::int32_t pixels) {
        return static_cast<std::size_t>(std::clamp(pixels, 0, kLargestGuess)) + 64;
    };
    return std::max(static_cast<std::size_t>(std::max(told, 0L)),
                    side(media.m_videoOriginalWidth) * side(media.m_videoOriginalHeight) * 4 +
                        4096);
}

/// Holds a running graph for it only where the renderer gives no picture else. False also when a
/// message that was handled meanwhile has changed the graph.
bool CMedia::Inside::GrabPicture(CMedia& media, std::vector<BYTE>& dib) {
    const ComPtr<IBasicVideo> video(media.m_pBasicVideo);
    if (Grab(video.Get(), dib)) {
        return true;
    }
    const ymlib::CYMAutoLock item(media.m_lock);
    const PausedGraph paused(media.m_pMediaControl, media.m_lock, media.m_playState);
    const HANDLE never = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    bool isGrabbed = false;
    for (DWORD waited = 0; waited <= kPatience && !isGrabbed; waited += kInterval) {
        const ULONGLONG end = GetTickCount64() + kInterval;
        for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
            ymlib::WaitAnswering(never, static_cast<DWORD>(end - now));
        }
        if (item.IsDestroyed() || media.m_pBasicVideo != video.Get() ||
            media.m_playState == State_Stopped) {
            break;
        }
        isGrabbed = Grab(video.Get(), dib);
    }
    CloseHandle(never);
    return isGrabbed;
}

bool CMedia::GetSnapshot(Snapshot& picture, std::wstring* reason) {
    const std::wstring why = Inside::OnGraph(
        *this, std::wstring(L"a filter threw an exception, or memory ran out"),
        [&]() -> std::wstring {
            picture = Snapshot();
            if (m_pBasicVideo == nullptr || m_pMediaControl == nullptr) {
                return L"there is no picture";
            }
            const ymlib::CYMAutoLock item(m_lock);
            std::vector<BYTE> dib(Inside::PictureBytes(*this));
            if (!Inside::GrabPicture(*this, dib) || item.IsDestroyed()) {
                return L"the renderer gave no picture";
            }
            const bool isSurfaceCopy = IsSurfaceCopy(m_usedFilters);
            WORD bits = 0;
            std::memcpy(&bits, dib.data() + offsetof(BITMAPINFOHEADER, biBitCount), sizeof(bits));
            if (isSurfaceCopy && bits != 32) {
                return L"this renderer's copy of the picture is not whole";
            }
            return DecodeDib(dib.data(), dib.size(), isSurfaceCopy, picture)
                       ? L""
                       : L"the renderer's picture has an unknown format";
        });
    if (reason != nullptr) {
        Quietly([&] { *reason = why; });
    }
    return why.empty();
}

bool CMedia::SaveSnapshot(const std::wstring& path, std::wstring* reason) {
    Snapshot picture;
    if (!GetSnapshot(picture, reason)) {
        return false;
    }
    const HRESULT saved = SavePng(picture, path);
    if (reason != nullptr) {
        Quietly([&] { *reason = WriteReason(path, saved); });
    }
    return SUCCEEDED(saved);
}

HRESULT SavePng(const Snapshot& picture, const std::wstring& path) {
    const bool isWhole = picture.width > 0 && picture.height > 0 &&
                         picture.stride / 4 >= picture.width &&
                         picture.pixels.size() >= static_cast<std::size_t>(picture.stride) *
                                                      static_cast<std::size_t>(picture.height);
    return isWhole ? AnswerOr(E_OUTOFMEMORY, [&] { return Encode(picture, path); }) : E_INVALIDARG;
}

} // namespace ymdshow
