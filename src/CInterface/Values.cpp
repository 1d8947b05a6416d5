// An item's values by number.

#include <limits>

#include <ymdshow/Text.h>

#include "CInterface/Objects.h"

using namespace ymdshow;
using namespace ymdshow::c;

namespace {

template <class Value> struct Row {
    std::int32_t what;
    Value (*get)(CMedia& media);
    bool (*set)(CMedia& media, Value value);
};

constexpr Row<std::int64_t> kInts[] = {
    {YMD_IS_URL, [](CMedia& m) -> std::int64_t { return m.IsMediaPathURL(); }, nullptr},
    {YMD_IS_LIVE_STREAM, [](CMedia& m) -> std::int64_t { return m.IsLiveStream(); }, nullptr},
    {YMD_IS_LOADED, [](CMedia& m) -> std::int64_t { return m.IsLoaded(); }, nullptr},
    {YMD_IS_READY, [](CMedia& m) -> std::int64_t { return m.IsReadyForPlay(); }, nullptr},
    {YMD_IS_LINKED, [](CMedia& m) -> std::int64_t { return m.IsAllFilterLinked(); }, nullptr},
    {YMD_VIDEO_TRACKS, [](CMedia& m) -> std::int64_t { return m.GetVideoTrackNum(); }, nullptr},
    {YMD_AUDIO_TRACKS, [](CMedia& m) -> std::int64_t { return m.GetAudioTrackNum(); }, nullptr},
    {YMD_ORIGINAL_VIDEO_TRACKS,
     [](CMedia& m) -> std::int64_t { return m.GetOriginalVideoTrackNum(); }, nullptr},
    {YMD_ORIGINAL_AUDIO_TRACKS,
     [](CMedia& m) -> std::int64_t { return m.GetOriginalAudioTrackNum(); }, nullptr},
    {YMD_FIRST_VIDEO_TRACK,
     [](CMedia& m) -> std::int64_t { return m.GetFirstEnabledVideoTrackIndex(); }, nullptr},
    {YMD_FIRST_AUDIO_TRACK,
     [](CMedia& m) -> std::int64_t { return m.GetFirstEnabledAudioTrackIndex(); }, nullptr},
    {YMD_DECODE_VIDEO, [](CMedia& m) -> std::int64_t { return m.IsDecodeVideo(); },
     [](CMedia& m, std::int64_t v) {
         m.SetIsDecodeVideo(v != 0);
         return true;
     }},
    {YMD_DECODE_AUDIO, [](CMedia& m) -> std::int64_t { return m.IsDecodeAudio(); },
     [](CMedia& m, std::int64_t v) {
         m.SetIsDecodeAudio(v != 0);
         return true;
     }},
    {YMD_CAN_STEP, [](CMedia& m) -> std::int64_t { return m.CanStep(); }, nullptr},
    {YMD_POSITION, [](CMedia& m) { return m.GetMediaPosition(); },
     [](CMedia& m, std::int64_t v) { return m.SetMediaPosition(v) == 1; }},
    {YMD_DURATION, [](CMedia& m) { return std::int64_t{m.GetOriginalDuration()}; }, nullptr},
    {YMD_CLIP_START, [](CMedia& m) { return std::int64_t{m.GetClipStartTime()}; }, nullptr},
    {YMD_CLIP_END, [](CMedia& m) { return std::int64_t{m.GetClipEndTime()}; }, nullptr},
    {YMD_CLIP_DURATION, [](CMedia& m) { return m.GetClipDuration(); }, nullptr},
    {YMD_PLAY_STATE, [](CMedia& m) -> std::int64_t { return m.GetPlayState(); }, nullptr},
    {YMD_LOOP, [](CMedia& m) -> std::int64_t { return m.IsLoop(); },
     [](CMedia& m, std::int64_t v) {
         m.SetLoop(v != 0);
         return true;
     }},
    {YMD_VIDEO_WIDTH, [](CMedia& m) -> std::int64_t { return m.GetVideoOriginalWidth(); }, nullptr},
    {YMD_VIDEO_HEIGHT, [](CMedia& m) -> std::int64_t { return m.GetVideoOriginalHeight(); },
     nullptr},
    {YMD_FRAME_TIME, [](CMedia& m) { return std::int64_t{m.GetVideoOiginalAvgFrameTime()}; },
     nullptr},
    {YMD_HAS_ASPECT_RATIO, [](CMedia& m) -> std::int64_t { return m.IsEnableDisplayAspectRatio(); },
     nullptr},
    {YMD_VOLUME, [](CMedia& m) -> std::int64_t { return m.GetVolume(); },
     [](CMedia& m, std::int64_t v) {
         Require(v >= -10000 && v <= 0, YMD_ERROR_ARGUMENT, "a volume is -10000 to 0");
         return m.SetVolume(static_cast<long>(v)) == 1;
     }},
    {YMD_AS_FAST_AS_POSSIBLE, [](CMedia& m) -> std::int64_t { return m.IsAmain(); },
     [](CMedia& m, std::int64_t v) {
         m.SetAmain(v != 0);
         return true;
     }},
};

constexpr Row<double> kReals[] = {
    {YMD_PLAY_RATE, [](CMedia& m) { return m.GetPlayRate(); },
     [](CMedia& m, double v) { return m.SetPlayRate(v) == 1; }},
    {YMD_ASPECT_RATIO, [](CMedia& m) -> double { return m.GetDisplayAspectRatio(); }, nullptr},
    {YMD_ROTATION, [](CMedia& m) -> double { return m.GetDisplayRotation(); }, nullptr},
    {YMD_VOLUME_FRACTION, [](CMedia& m) -> double { return m.GetVolumePercent(); },
     [](CMedia& m, double v) {
         Require(v >= 0 && v <= 1, YMD_ERROR_ARGUMENT, "a volume fraction is 0 to 1");
         return m.SetVolume(static_cast<float>(v)) == 1;
     }},
};

constexpr Row<std::string> kTexts[] = {
    {YMD_PATH, [](CMedia& m) { return WideToUtf8(m.GetMediaPathW()); }, nullptr},
    {YMD_EXTENSION, [](CMedia& m) { return Utf8FromNarrow(m.GetFileExt()); }, nullptr},
    {YMD_FILTER_LIST,
     [](CMedia& m) {
         std::wstring text;
         m.GetFilterInfo(text);
         return WideToUtf8(text);
     },
     nullptr},
    {YMD_MEDIA_INFO, [](CMedia& m) { return Utf8FromNarrow(m.GetMediaInfo()); }, nullptr},
    {YMD_GRAPH_DOT, [](CMedia& m) { return WideToUtf8(m.GetGraphPicture(GraphFormat::Dot)); },
     nullptr},
    {YMD_GRAPH_SVG, [](CMedia& m) { return WideToUtf8(m.GetGraphPicture(GraphFormat::Svg)); },
     nullptr},
};

template <class Value, std::size_t size>
const Row<Value>& Find(const Row<Value> (&rows)[size], std::int32_t what) {
    for (const Row<Value>& row : rows) {
        if (row.what == what) {
            return row;
        }
    }
    throw Failure{YMD_ERROR_ARGUMENT, "there is no such value"};
}

template <class Value, std::size_t size>
void Set(Item& item, const Row<Value> (&rows)[size], std::int32_t what, Value value) {
    const Row<Value>& row = Find(rows, what);
    Require(row.set != nullptr, YMD_ERROR_ARGUMENT, "the value cannot be set");
    RequireDone(row.set(item.media, value));
}

} // namespace

ymd_result ymd_item_get_int(ymd_item* item, int32_t what, int64_t* value) {
    return OnItem(__func__, item, [&](Item& it) { Out(value) = Find(kInts, what).get(it.media); });
}

ymd_result ymd_item_set_int(ymd_item* item, int32_t what, int64_t value) {
    return OnItem(__func__, item, [&](Item& it) { Set(it, kInts, what, value); });
}

ymd_result ymd_item_get_real(ymd_item* item, int32_t what, double* value) {
    return OnItem(__func__, item, [&](Item& it) { Out(value) = Find(kReals, what).get(it.media); });
}

ymd_result ymd_item_set_real(ymd_item* item, int32_t what, double value) {
    return OnItem(__func__, item, [&](Item& it) { Set(it, kReals, what, value); });
}

ymd_result ymd_item_get_text(ymd_item* item, int32_t what, char** text) {
    return OnItem(__func__, item, [&](Item& it) {
        const ymlib::CYMAutoLock held(it.media.Lock()); // some are handed out by reference
        GiveText(text, Find(kTexts, what).get(it.media));
    });
}
