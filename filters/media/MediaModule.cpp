#include "BaseClasses/FilterModule.h"
#include "media/AudioDecoder.h"
#include "media/MediaFilters.h"
#include "media/MediaSource.h"
#include "media/VideoDecoder.h"

namespace ymfilters {

namespace {

HRESULT CreateVideoRenderer(IUnknown*, REFIID iid, void** out) {
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    const bool isWine = GetProcAddress(system, "wine_get_version") != nullptr;
    return CoCreateInstance(isWine ? CLSID_VideoRenderer : CLSID_VideoRendererDefault, nullptr,
                            CLSCTX_INPROC_SERVER, iid, out);
}

constexpr ymdshow::ClassObject kClasses[] = {
    {&CLSID_MediaSource, L"Media Source", &Create<MediaSource>},
    {&CLSID_MediaVideoDecoder, L"Media Video Decoder", &Create<VideoDecoder>},
    {&CLSID_MediaAudioDecoder, L"Media Audio Decoder", &Create<AudioDecoder>},
    {&CLSID_MediaVideoRenderer, L"Video Renderer", &CreateVideoRenderer},
};

} // namespace

} // namespace ymfilters

YMD_FILTER_MODULE(ymfilters::kClasses)
