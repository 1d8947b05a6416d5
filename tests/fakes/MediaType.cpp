#include "fakes/MediaType.h"

#include <dvdmedia.h>

#include <cstring>

#include "fakes/FakeObject.h"
#include "fakes/TaskMemory.h"

namespace fakes {

namespace {

/// What a media type carries while task memory is watched.
class Token final : public FakeOf<IUnknown> {
public:
    Token() : FakeOf("a media type that was not freed") {}
};

template <class Header> MediaType FromHeader(MediaType type, const Header& header) {
    const auto* bytes = reinterpret_cast<const BYTE*>(&header);
    type.format.assign(bytes, bytes + sizeof header);
    return type;
}

template <class Header> Header PictureHeader(long width, long height, long long frameTime) {
    Header header{};
    header.rcTarget = {0, 0, width, height};
    header.rcSource = header.rcTarget;
    header.AvgTimePerFrame = frameTime;
    header.bmiHeader.biSize = sizeof header.bmiHeader;
    header.bmiHeader.biWidth = width;
    header.bmiHeader.biHeight = height;
    return header;
}

bool GuidFits(const GUID& a, const GUID& b) {
    return a == b || a == GUID_NULL || b == GUID_NULL;
}

struct Name {
    const GUID& guid;
    const char* text;
};

} // namespace

bool MediaType::Fits(const MediaType& other) const {
    return GuidFits(major, other.major) && GuidFits(subtype, other.subtype);
}

void MediaType::CopyTo(AM_MEDIA_TYPE* out) const {
    *out = View();
    out->pbFormat = nullptr;
    if (!format.empty()) {
        out->pbFormat = static_cast<BYTE*>(NewTaskMemory(format.size(), "a format block"));
        std::memcpy(out->pbFormat, format.data(), format.size());
    }
    if (IsTaskMemoryWatched()) {
        out->pUnk = new Token;
    }
}

AM_MEDIA_TYPE* MediaType::NewCopy() const {
    auto* type = static_cast<AM_MEDIA_TYPE*>(
        NewTaskMemory(sizeof(AM_MEDIA_TYPE), "an AM_MEDIA_TYPE structure"));
    CopyTo(type);
    return type;
}

AM_MEDIA_TYPE MediaType::View() const {
    AM_MEDIA_TYPE type{};
    type.majortype = major;
    type.subtype = subtype;
    type.formattype = formatType;
    type.cbFormat = static_cast<ULONG>(format.size());
    type.pbFormat = format.empty() ? nullptr : const_cast<BYTE*>(format.data());
    return type;
}

MediaType MediaType::From(const AM_MEDIA_TYPE& type) {
    MediaType value{type.majortype, type.subtype, type.formattype, {}};
    if (type.pbFormat != nullptr) {
        value.format.assign(type.pbFormat, type.pbFormat + type.cbFormat);
    }
    return value;
}

MediaType Major(const GUID& major) {
    return {major, GUID_NULL, GUID_NULL, {}};
}
MediaType Video() {
    return Major(MEDIATYPE_Video);
}
MediaType Audio() {
    return Major(MEDIATYPE_Audio);
}
MediaType Text() {
    return Major(MEDIATYPE_Text);
}
MediaType Stream() {
    return Major(MEDIATYPE_Stream);
}

MediaType Video(long width, long height, long long frameTime, bool header2) {
    MediaType type = Video();
    if (header2) {
        type.formatType = FORMAT_VideoInfo2;
        return FromHeader(type, PictureHeader<VIDEOINFOHEADER2>(width, height, frameTime));
    }
    type.formatType = FORMAT_VideoInfo;
    return FromHeader(type, PictureHeader<VIDEOINFOHEADER>(width, height, frameTime));
}

MediaType Audio(unsigned long rate, unsigned short channels, unsigned short bits) {
    MediaType type = Audio();
    type.formatType = FORMAT_WaveFormatEx;
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nSamplesPerSec = rate;
    format.nChannels = channels;
    format.wBitsPerSample = bits;
    return FromHeader(type, format);
}

void Write(Line& line, const GUID& guid) {
    static const Name names[] = {
        {GUID_NULL, "null"},
        {TIME_FORMAT_MEDIA_TIME, "MEDIA_TIME"},
        {TIME_FORMAT_FRAME, "FRAME"},
        {TIME_FORMAT_SAMPLE, "SAMPLE"},
        {IID_IBaseFilter, "IBaseFilter"},
        {IID_IPin, "IPin"},
        {IID_IFileSourceFilter, "IFileSourceFilter"},
        {IID_IAMStreamSelect, "IAMStreamSelect"},
        {IID_ISpecifyPropertyPages, "ISpecifyPropertyPages"},
        {IID_IGraphBuilder, "IGraphBuilder"},
        {IID_IGraphConfig, "IGraphConfig"},
        {IID_IMediaControl, "IMediaControl"},
        {IID_IMediaFilter, "IMediaFilter"},
        {IID_IMediaSeeking, "IMediaSeeking"},
        {IID_IMediaEventEx, "IMediaEventEx"},
        {IID_IBasicVideo, "IBasicVideo"},
        {IID_IBasicAudio, "IBasicAudio"},
        {IID_IVideoWindow, "IVideoWindow"},
        {IID_IVideoFrameStep, "IVideoFrameStep"},
    };
    for (const Name& name : names) {
        if (name.guid == guid) {
            line.Text(name.text);
            return;
        }
    }
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    Write(line, static_cast<const wchar_t*>(text));
}

} // namespace fakes
