#include "fakes/MediaType.h"

#include <dvdmedia.h>

#include "fakes/FakeObject.h"

namespace fakes {

namespace {

// Never destroyed: blocks come back until the process ends.
std::mutex& g_mutex = *new std::mutex;
std::map<void*, const char*>& g_blocks = *new std::map<void*, const char*>;

/// Sees the blocks that come back to the task allocator.
class Spy final : public IMallocSpy {
public:
    STDMETHODIMP QueryInterface(REFIID, void** out) override {
        *out = this;
        return S_OK;
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
const HRESULT g_registered = CoRegisterMallocSpy(&g_spy);

/// What a media type carries.
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

} // namespace

void* NewTaskCopy(const void* data, std::size_t size, const char* what) {
    void* const block = std::memcpy(CoTaskMemAlloc(size), data, size);
    const std::lock_guard lock(g_mutex);
    g_blocks[block] = what;
    return block;
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
    const auto fit = [](const GUID& a, const GUID& b) {
        return a == b || a == GUID_NULL || b == GUID_NULL;
    };
    return fit(major, other.major) && fit(subtype, other.subtype);
}

void MediaType::CopyTo(AM_MEDIA_TYPE* out) const {
    *out = {major, subtype, FALSE, FALSE, 0, formatType, nullptr, 0, nullptr};
    if (!format.empty()) {
        out->cbFormat = static_cast<ULONG>(format.size());
        out->pbFormat =
            static_cast<BYTE*>(NewTaskCopy(format.data(), format.size(), "a format block"));
    }
    out->pUnk = new Token;
}

AM_MEDIA_TYPE* HandOut(const MediaType& type) {
    AM_MEDIA_TYPE copy;
    type.CopyTo(&copy);
    void* const block = NewTaskCopy(&copy, sizeof copy, "an AM_MEDIA_TYPE structure");
    return static_cast<AM_MEDIA_TYPE*>(block);
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
