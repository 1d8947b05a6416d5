#include "Formats.h"

#include <cstring>

namespace ymfilters {

namespace {

template <class Format>
ymdshow::MediaType MakeType(const GUID& major, const GUID& subtype, const GUID& formatType,
                            Format& format, ULONG sampleSize) {
    AM_MEDIA_TYPE type{};
    type.majortype = major;
    type.subtype = subtype;
    type.formattype = formatType;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = sampleSize;
    type.cbFormat = sizeof(format);
    type.pbFormat = reinterpret_cast<BYTE*>(&format);
    ymdshow::MediaType made;
    made.Assign(type);
    return made;
}

template <class Format>
const Format* ReadType(const AM_MEDIA_TYPE& type, const GUID& major, const GUID& subtype,
                       const GUID& formatType) {
    const bool isIt = type.majortype == major && type.subtype == subtype &&
                      type.formattype == formatType && type.cbFormat >= sizeof(Format);
    return isIt ? reinterpret_cast<const Format*>(type.pbFormat) : nullptr;
}

} // namespace

ymdshow::MediaType VideoType(int width, int height, LONGLONG frameTime) {
    VIDEOINFOHEADER info{};
    info.rcSource = info.rcTarget = {0, 0, width, height};
    info.AvgTimePerFrame = frameTime;
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    info.bmiHeader.biSizeImage = static_cast<DWORD>(width) * static_cast<DWORD>(height) * 4;
    return MakeType(MEDIATYPE_Video, MEDIASUBTYPE_RGB32, FORMAT_VideoInfo, info,
                    info.bmiHeader.biSizeImage);
}

ymdshow::MediaType PcmType(int samplingRate) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.nSamplesPerSec = static_cast<DWORD>(samplingRate);
    format.wBitsPerSample = 16;
    format.nBlockAlign = 4;
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    return MakeType(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, format,
                    format.nBlockAlign);
}

const VIDEOINFOHEADER* ReadVideo(const AM_MEDIA_TYPE& type) {
    return ReadType<VIDEOINFOHEADER>(type, MEDIATYPE_Video, MEDIASUBTYPE_RGB32, FORMAT_VideoInfo);
}

const WAVEFORMATEX* ReadPcm(const AM_MEDIA_TYPE& type) {
    const auto* const format =
        ReadType<WAVEFORMATEX>(type, MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx);
    return format != nullptr && format->wBitsPerSample == 16 ? format : nullptr;
}

HRESULT CheckSameType(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE& own) {
    const bool isSame = type.majortype == own.majortype && type.subtype == own.subtype &&
                        type.formattype == own.formattype && type.cbFormat == own.cbFormat &&
                        std::memcmp(type.pbFormat, own.pbFormat, own.cbFormat) == 0;
    return isSame ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

} // namespace ymfilters
