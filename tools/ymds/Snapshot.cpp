#include "Snapshot.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "Console.h"
#include "GraphFilters.h"
#include "MediaPath.h"
#include "Text.h"
#include "Window.h"

namespace ymds {

namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kPictureTimeout = 1500;
constexpr DWORD kPictureInterval = 20;

// Both stand for the mixing renderer that rendering chooses.
constexpr GUID kMixingRenderer{
    0xB87BEB7B, 0x8D29, 0x423F, {0xAE, 0x4D, 0x65, 0x82, 0xC1, 0x01, 0x75, 0xAC}};
constexpr GUID kDefaultRenderer{
    0x6BC1CFFA, 0x8FC1, 0x4261, {0xAC, 0x22, 0xCF, 0xB4, 0xCC, 0x38, 0xDB, 0x50}};

/// Wine's mixing renderer copies the rows of its 32-bit surface, from the top, and cuts
/// each to the row length of the connection's format: a picture only for 32 bits.
bool IsSurfaceCopy(ymdshow::CMedia& media) {
    return RunsUnderWine() &&
           (HasFilter(media, kMixingRenderer) || HasFilter(media, kDefaultRenderer));
}

/// Some renderers do not tell the size, and some write nothing but a whole picture.
std::size_t BufferSize(ymdshow::CMedia& media) {
    const long told = media.GetCurrentImageDataSize();
    const auto width = static_cast<std::size_t>(media.GetVideoOriginalWidth()) + 64;
    const auto height = static_cast<std::size_t>(media.GetVideoOriginalHeight()) + 64;
    return std::max(static_cast<std::size_t>(std::max(told, 0L)), width * height * 4 + 4096);
}

bool GrabDib(ymdshow::CMedia& media, std::vector<BYTE>& dib) {
    for (DWORD waited = 0; waited <= kPictureTimeout; waited += kPictureInterval) {
        long size = static_cast<long>(dib.size());
        if (media.GetCurrentImageData(dib.data(), &size) == 1) {
            return true;
        }
        WaitAndPump(kPictureInterval);
    }
    return false;
}

HRESULT WritePng(const Picture& picture, const std::wstring& path) {
    ComPtr<IWICImagingFactory> factory;
    HRESULT hr = CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                  IID_PPV_ARGS(&factory));
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapEncoder> encoder;
    ComPtr<IWICBitmapFrameEncode> frame;
    WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
    const UINT stride = static_cast<UINT>(picture.width) * 3;
    const auto then = [&](auto&& step) { hr = SUCCEEDED(hr) ? step() : hr; };
    then([&] { return factory->CreateStream(&stream); });
    then([&] { return stream->InitializeFromFilename(path.c_str(), GENERIC_WRITE); });
    then([&] { return factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder); });
    then([&] { return encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache); });
    then([&] { return encoder->CreateNewFrame(&frame, nullptr); });
    then([&] { return frame->Initialize(nullptr); });
    then([&] {
        return frame->SetSize(static_cast<UINT>(picture.width), static_cast<UINT>(picture.height));
    });
    then([&] { return frame->SetPixelFormat(&format); });
    then([&] { return format == GUID_WICPixelFormat24bppBGR ? S_OK : E_UNEXPECTED; });
    then([&] {
        return frame->WritePixels(static_cast<UINT>(picture.height), stride,
                                  static_cast<UINT>(picture.pixels.size()),
                                  const_cast<BYTE*>(picture.pixels.data()));
    });
    then([&] { return frame->Commit(); });
    then([&] { return encoder->Commit(); });
    return hr;
}

} // namespace

std::wstring TakePicture(ymdshow::CMedia& media, bool resume, Picture& picture) {
    const bool wasPlaying = media.IsPlaying() == 1;
    if (wasPlaying && media.Pause() != 1) {
        return L"the graph did not pause";
    }
    std::vector<BYTE> dib(BufferSize(media));
    const bool grabbed = GrabDib(media, dib);
    const bool surfaceCopy = grabbed && IsSurfaceCopy(media);
    if (wasPlaying && resume) {
        media.Play();
    }
    if (!grabbed) {
        return L"the renderer gave no picture";
    }
    WORD bits = 0;
    std::memcpy(&bits, dib.data() + offsetof(BITMAPINFOHEADER, biBitCount), sizeof(bits));
    if (surfaceCopy && bits != 32) {
        return L"this renderer's copy of the picture is not whole";
    }
    if (!DecodeDib(dib.data(), dib.size(), surfaceCopy, picture)) {
        return L"the renderer's picture has an unknown format";
    }
    return {};
}

std::wstring SavePng(const Picture& picture, const std::wstring& path) {
    const HRESULT hr = WritePng(picture, FullPath(path));
    return SUCCEEDED(hr) ? std::wstring{} : L"cannot write " + path + L": " + HexAndWords(hr);
}

} // namespace ymds
