#include "Formats.h"

#include <cstdlib>
#include <cstring>

#include "FramePattern.h"

// dvdmedia.h, which has VIDEOINFOHEADER2, comes after dshow.h.
#include <dvdmedia.h>

namespace ymfilters {

namespace {

const BITMAPINFOHEADER* BitmapHeader(const AM_MEDIA_TYPE& type) {
    if (type.pbFormat == nullptr) {
        return nullptr;
    }
    if (type.formattype == FORMAT_VideoInfo && type.cbFormat >= sizeof(VIDEOINFOHEADER)) {
        return &reinterpret_cast<const VIDEOINFOHEADER*>(type.pbFormat)->bmiHeader;
    }
    if (type.formattype == FORMAT_VideoInfo2 && type.cbFormat >= sizeof(VIDEOINFOHEADER2)) {
        return &reinterpret_cast<const VIDEOINFOHEADER2*>(type.pbFormat)->bmiHeader;
    }
    return nullptr;
}

bool SetFormat(const void* format, ULONG size, AM_MEDIA_TYPE& type) {
    type.pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(size));
    if (type.pbFormat == nullptr) {
        return false;
    }
    std::memcpy(type.pbFormat, format, size);
    type.cbFormat = size;
    return true;
}

} // namespace

bool ReadPictureFormat(const AM_MEDIA_TYPE& type, PictureFormat& out) {
    const bool isRgb32 = type.subtype == MEDIASUBTYPE_RGB32;
    if (type.majortype != MEDIATYPE_Video || (!isRgb32 && type.subtype != MEDIASUBTYPE_RGB24)) {
        return false;
    }
    const BITMAPINFOHEADER* const header = BitmapHeader(type);
    if (header == nullptr || header->biBitCount != (isRgb32 ? 32 : 24)) {
        return false;
    }
    out = {static_cast<int>(header->biWidth), std::abs(static_cast<int>(header->biHeight)),
           header->biBitCount, header->biHeight > 0};
    return out.width > 0 && out.height > 0;
}

bool MakeVideoType(const GUID& subtype, const PictureFormat& picture, LONGLONG frameTime,
                   ULONG sampleSize, ymdshow::MediaType& out) {
    VIDEOINFOHEADER info{};
    info.rcSource = info.rcTarget = {0, 0, picture.width, picture.height};
    info.AvgTimePerFrame = frameTime;
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = picture.width;
    info.bmiHeader.biHeight = picture.isBottomUp ? picture.height : -picture.height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = static_cast<WORD>(picture.bits);
    const bool isRgb = subtype == MEDIASUBTYPE_RGB32 || subtype == MEDIASUBTYPE_RGB24;
    info.bmiHeader.biCompression = isRgb ? BI_RGB : subtype.Data1;
    info.bmiHeader.biSizeImage = sampleSize;
    AM_MEDIA_TYPE& type = *out.Put();
    type.majortype = MEDIATYPE_Video;
    type.subtype = subtype;
    type.formattype = FORMAT_VideoInfo;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = sampleSize;
    return SetFormat(&info, sizeof(info), type);
}

const WAVEFORMATEX* ReadPcmFormat(const AM_MEDIA_TYPE& type) {
    if (type.majortype != MEDIATYPE_Audio || type.formattype != FORMAT_WaveFormatEx ||
        type.pbFormat == nullptr || type.cbFormat < sizeof(WAVEFORMATEX)) {
        return nullptr;
    }
    const auto* const format = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
    const bool isPcm = type.subtype == MEDIASUBTYPE_PCM && format->wBitsPerSample == 16 &&
                       format->nChannels > 0 && format->nSamplesPerSec > 0;
    return isPcm ? format : nullptr;
}

bool MakePcmType(int samplingRate, int channels, ymdshow::MediaType& out) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = static_cast<DWORD>(samplingRate);
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(channels * 2);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    AM_MEDIA_TYPE& type = *out.Put();
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.formattype = FORMAT_WaveFormatEx;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = format.nBlockAlign;
    return SetFormat(&format, sizeof(format), type);
}

} // namespace ymfilters
