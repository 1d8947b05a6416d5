#include "BaseClasses/FilterModule.h"
#include "media/AudioDecoder.h"
#include "media/MediaFilters.h"
#include "media/MediaSource.h"
#include "media/VideoDecoder.h"

namespace ymfilters {

namespace {

constexpr ymdshow::ClassObject kClasses[] = {
    {&CLSID_MediaSource, L"Media Source", &Create<MediaSource>},
    {&CLSID_MediaVideoDecoder, L"Media Video Decoder", &Create<VideoDecoder>},
    {&CLSID_MediaAudioDecoder, L"Media Audio Decoder", &Create<AudioDecoder>},
};

} // namespace

} // namespace ymfilters

YMD_FILTER_MODULE(ymfilters::kClasses)
