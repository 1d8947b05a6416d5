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

template <class Header> MediaType WithFormat(MediaType type, const GUID& kind, Header header) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(&header);
    type.formatType = kind;
    type.format.assign(bytes, bytes + sizeof header);
    return type;
}

template <class Header> Header PictureHeader(long width, long height, long long frameTime) {
    Header header{};
    header.rcTarget = header.rcSource = {0, 0, width, height};
    header.AvgTimePerFrame = frameTime;
    header.bmiHeader.biSize = sizeof header.bmiHeader;
    header.bmiHeader.biWidth = width;
    header.bmiHeader.biHeight = height;
    return header;
}

bool GuidFits(const GUID& a, const GUID& b) {
    return a == b || a == GUID_NULL || b == GUID_NULL;
}

} // namespace

bool MediaType::Fits(const MediaType& other) const {
    return GuidFits(major, other.major) && GuidFits(subtype, other.subtype);
}

void MediaType::CopyTo(AM_MEDIA_TYPE* out) const {
    *out = View();
    if (!format.empty()) {
        out->pbFormat = static_cast<BYTE*>(NewTaskMemory(format.size(), "a format block"));
        std::memcpy(out->pbFormat, format.data(), format.size());
    }
    out->pUnk = IsTaskMemoryWatched() ? new Token : nullptr;
}

AM_MEDIA_TYPE* HandOut(const MediaType& type) {
    auto* const copy = static_cast<AM_MEDIA_TYPE*>(
        NewTaskMemory(sizeof(AM_MEDIA_TYPE), "an AM_MEDIA_TYPE structure"));
    type.CopyTo(copy);
    return copy;
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
    return {type.majortype,
            type.subtype,
            type.formattype,
            {type.pbFormat, type.pbFormat + type.cbFormat}};
}

MediaType Video(long width, long height, long long frameTime, bool header2) {
    return header2 ? WithFormat(Video(), FORMAT_VideoInfo2,
                                PictureHeader<VIDEOINFOHEADER2>(width, height, frameTime))
                   : WithFormat(Video(), FORMAT_VideoInfo,
                                PictureHeader<VIDEOINFOHEADER>(width, height, frameTime));
}

MediaType Audio(unsigned long rate, unsigned short channels, unsigned short bits) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nSamplesPerSec = rate;
    format.nChannels = channels;
    format.wBitsPerSample = bits;
    return WithFormat(Audio(), FORMAT_WaveFormatEx, format);
}

void Line::Write(const GUID& guid) {
    static const struct {
        const GUID& guid;
        const char* name;
    } names[] = {
#define NAMED(prefix, name) {prefix##name, #name},
        {GUID_NULL, "null"},
        FAKE_EACH(NAMED, TIME_FORMAT_, MEDIA_TIME, FRAME, SAMPLE) FAKE_EACH(
            NAMED, IID_, IBaseFilter, IPin, IFileSourceFilter, IAMStreamSelect,
            ISpecifyPropertyPages, IGraphBuilder, IGraphConfig, IMediaControl, IMediaFilter,
            IMediaSeeking, IMediaEventEx, IBasicVideo, IBasicAudio, IVideoWindow, IVideoFrameStep)};
    for (const auto& known : names) {
        if (known.guid == guid) {
            return Text(known.name);
        }
    }
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    Write(static_cast<const wchar_t*>(text));
}

} // namespace fakes
