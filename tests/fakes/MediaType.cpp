#include "fakes/MediaType.h"

#include <dvdmedia.h>

#include "fakes/FakeObject.h"

namespace fakes {

namespace {

std::mutex g_mutex;
std::map<void*, const char*> g_blocks;
std::atomic<bool> g_watching{false};

/// Sees the blocks that come back to the task allocator.
class Spy final : public IMallocSpy {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == IID_IMallocSpy;
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return size; }
    STDMETHODIMP_(void*) PostAlloc(void* block) override { return block; }
    STDMETHODIMP_(void*) PreFree(void* block, WINBOOL) override {
        const std::lock_guard lock(g_mutex);
        g_blocks.erase(block);
        return block;
    }
    STDMETHODIMP_(void) PostFree(WINBOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T size, void** out, WINBOOL) override {
        *out = PreFree(block, TRUE);
        return size;
    }
    STDMETHODIMP_(void*) PostRealloc(void* block, WINBOOL) override { return block; }
    STDMETHODIMP_(void*) PreGetSize(void* block, WINBOOL) override { return block; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, WINBOOL) override { return size; }
    STDMETHODIMP_(void*) PreDidAlloc(void* block, WINBOOL) override { return block; }
    STDMETHODIMP_(int) PostDidAlloc(void*, WINBOOL, int actual) override { return actual; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}
};
Spy g_spy;

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

bool GuidFits(const GUID& a, const GUID& b) {
    return a == b || a == GUID_NULL || b == GUID_NULL;
}

} // namespace

void* NewTaskCopy(const void* data, std::size_t size, const char* what) {
    void* const block = std::memcpy(CoTaskMemAlloc(size), data, size);
    const std::lock_guard lock(g_mutex);
    if (g_watching) {
        g_blocks[block] = what;
    }
    return block;
}

void WatchTaskMemory() {
    CoRegisterMallocSpy(&g_spy); // refused when it is there already
    g_watching = true;
}

std::vector<std::string> TakeUnfreedTaskMemory() {
    const std::lock_guard lock(g_mutex);
    std::vector<std::string> texts;
    for (const auto& [block, what] : std::exchange(g_blocks, {})) {
        texts.push_back(std::string(what) + " that was not freed");
    }
    return texts;
}

bool MediaType::Fits(const MediaType& other) const {
    return GuidFits(major, other.major) && GuidFits(subtype, other.subtype);
}

void MediaType::CopyTo(AM_MEDIA_TYPE* out) const {
    *out = View();
    if (!format.empty()) {
        out->pbFormat =
            static_cast<BYTE*>(NewTaskCopy(format.data(), format.size(), "a format block"));
    }
    out->pUnk = g_watching ? new Token : nullptr;
}

AM_MEDIA_TYPE* HandOut(const MediaType& type) {
    AM_MEDIA_TYPE copy;
    type.CopyTo(&copy);
    return static_cast<AM_MEDIA_TYPE*>(
        NewTaskCopy(&copy, sizeof copy, "an AM_MEDIA_TYPE structure"));
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
    const std::vector<BYTE> format(type.pbFormat, type.pbFormat + type.cbFormat);
    return {type.majortype, type.subtype, type.formattype, format};
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
    const auto fill = [&](auto header, const GUID& kind) {
        header.rcTarget = header.rcSource = {0, 0, width, height};
        header.AvgTimePerFrame = frameTime;
        header.bmiHeader.biSize = sizeof header.bmiHeader;
        header.bmiHeader.biWidth = width;
        header.bmiHeader.biHeight = height;
        return WithFormat(Video(), kind, header);
    };
    return header2 ? fill(VIDEOINFOHEADER2{}, FORMAT_VideoInfo2)
                   : fill(VIDEOINFOHEADER{}, FORMAT_VideoInfo);
}

MediaType Audio(unsigned long rate, unsigned short channels, unsigned short bits) {
    const WAVEFORMATEX format{WAVE_FORMAT_PCM, channels, rate, 0, 0, bits, 0};
    return WithFormat(Audio(), FORMAT_WaveFormatEx, format);
}

void Line::Write(const GUID& guid) {
#define NAMED(prefix, name) {prefix##name, #name},
    static const std::pair<const GUID&, const char*> names[] = {
        {GUID_NULL, "null"},
        FAKE_EACH(NAMED, TIME_FORMAT_, MEDIA_TIME, FRAME, SAMPLE) FAKE_EACH(
            NAMED, IID_, IBaseFilter, IPin, IFileSourceFilter, IAMStreamSelect,
            ISpecifyPropertyPages, IGraphBuilder, IGraphConfig, IMediaControl, IMediaFilter,
            IMediaSeeking, IMediaEventEx, IBasicVideo, IBasicAudio, IVideoWindow, IVideoFrameStep)};
    for (const auto& [known, name] : names) {
        if (known == guid) {
            return Write(name);
        }
    }
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    Write(std::as_const(text));
}

} // namespace fakes
