// Streams and tracks. One row serves video, one audio.

#include <ymdshow/Text.h>

#include "CInterface/Objects.h"

using namespace ymdshow;
using namespace ymdshow::c;

namespace {

struct Operations {
    bool (CMedia::*name)(std::uint32_t, StreamName&) const;
    IBaseFilter* (CMedia::*renderer)(std::uint32_t) const;
    bool (*isEnabled)(CMedia&, std::uint32_t);
    bool (CMedia::*enable[2])(std::uint32_t); // by 0 and 1
    bool (CMedia::*enableOnly)(std::uint32_t);
    bool (CMedia::*enableAll[2])();
    bool (CMedia::*linkAll[2])();
};

constexpr Operations kVideo{
    &CMedia::GetVideoTrackName,
    &CMedia::GetVideoTrackRender,
    [](CMedia& media, std::uint32_t index) { return media.IsVideoTrackEnable(index); },
    {&CMedia::DisableVideoTrack, &CMedia::EnableVideoTrack},
    &CMedia::EnableOnlyOneVideoTrack,
    {&CMedia::DisableAllVideoTrack, &CMedia::EnableAllVideoTrack},
    {&CMedia::UnlinkAllVideoTrack, &CMedia::LinkAllVideoTrack}};
constexpr Operations kAudio{
    &CMedia::GetAudioTrackName,
    &CMedia::GetAudioTrackRender,
    [](CMedia& media, std::uint32_t index) { return media.IsAudioTrackEnable(index); },
    {&CMedia::DisableAudioTrack, &CMedia::EnableAudioTrack},
    &CMedia::EnableOnlyOneAudioTrack,
    {&CMedia::DisableAllAudioTrack, &CMedia::EnableAllAudioTrack},
    {&CMedia::UnlinkAllAudioTrack, &CMedia::LinkAllAudioTrack}};

const Operations& Of(std::int32_t kind) {
    Require(kind == YMD_VIDEO || kind == YMD_AUDIO, YMD_ERROR_ARGUMENT,
            "a kind is YMD_VIDEO or YMD_AUDIO");
    return kind == YMD_VIDEO ? kVideo : kAudio;
}

void RequireFound(bool isFound) {
    Require(isFound, YMD_ERROR_NOT_FOUND, "index out of range");
}

template <std::size_t size> void CopyText(char (&to)[size], const std::string& from) {
    from.copy(to, size - 1);
}

} // namespace

ymd_result ymd_item_get_video_info(ymd_item* item, uint32_t index, ymd_video_info* info) {
    return OnItem(__func__, item, [&](Item& it) {
        ymd_video_info record{};
        Fill(info, record);
        VideoInfo of;
        RequireFound(it.media.GetVideoInfo(index, of));
        record.width = of.width;
        record.height = of.height;
        record.aspect_ratio = of.displayAspectRatio;
        record.rotation = of.rotation;
        record.has_aspect_ratio = of.IsDisplayAspectRatioVaild();
        record.frame_time = of.avgFrameTime;
        record.duration = of.duration;
        record.source_duration = of.sourceDuration;
        CopyText(record.format, Utf8FromNarrow(of.format));
        Fill(info, record);
    });
}

ymd_result ymd_item_get_audio_info(ymd_item* item, uint32_t index, ymd_audio_info* info) {
    return OnItem(__func__, item, [&](Item& it) {
        ymd_audio_info record{};
        Fill(info, record);
        AudioInfo of;
        RequireFound(it.media.GetAudioInfo(index, of));
        record.sampling_rate = of.samplingRate;
        record.channels = of.channels;
        record.bit_depth = of.bitDepth;
        record.duration = of.duration;
        record.source_duration = of.sourceDuration;
        CopyText(record.format, Utf8FromNarrow(of.format));
        Fill(info, record);
    });
}

ymd_result ymd_item_get_media_info(ymd_item* item, ymd_text_pair*** pairs, uint32_t* count) {
    return OnItem(__func__, item, [&](Item& it) {
        GiveList(pairs, count, it.media.GetMediaInfoPairs(),
                 [](Block& block, ymd_text_pair& to, const auto& pair) {
                     to.key = block.Text(Utf8FromNarrow(pair.first));
                     to.value = block.Text(Utf8FromNarrow(pair.second));
                 });
    });
}

ymd_result ymd_item_get_track_name(ymd_item* item, int32_t kind, uint32_t index,
                                   ymd_text_pair** name) {
    return OnItem(__func__, item, [&](Item& it) {
        Out(name);
        StreamName of;
        RequireFound((it.media.*Of(kind).name)(index, of));
        Block block;
        auto* const record = block.MakeRecord<ymd_text_pair>();
        record->key = block.Text(of.name);
        record->value = block.Text(of.language);
        block.Give(*name, record);
    });
}

ymd_result ymd_item_get_track_renderer(ymd_item* item, int32_t kind, uint32_t index,
                                       void** renderer) {
    return OnItem(__func__, item, [&](Item& it) {
        Out(renderer);
        const ymlib::CYMAutoLock held(it.media.Lock()); // until it has its reference
        IBaseFilter* const filter = (it.media.*Of(kind).renderer)(index);
        Require(filter != nullptr, YMD_ERROR_NOT_FOUND, "the track has no renderer of its own");
        filter->AddRef();
        *renderer = filter;
    });
}

ymd_result ymd_item_is_track_enabled(ymd_item* item, int32_t kind, uint32_t index,
                                     int32_t* enabled) {
    return OnItem(__func__, item,
                  [&](Item& it) { Out(enabled) = Of(kind).isEnabled(it.media, index); });
}

ymd_result ymd_item_enable_track(ymd_item* item, int32_t kind, uint32_t index, int32_t enable) {
    return OnItem(__func__, item,
                  [&](Item& it) { RequireDone((it.media.*Of(kind).enable[enable != 0])(index)); });
}

ymd_result ymd_item_enable_only_track(ymd_item* item, int32_t kind, uint32_t index) {
    return OnItem(__func__, item,
                  [&](Item& it) { RequireDone((it.media.*Of(kind).enableOnly)(index)); });
}

ymd_result ymd_item_enable_all_tracks(ymd_item* item, int32_t kind, int32_t enable) {
    return OnItem(__func__, item,
                  [&](Item& it) { RequireDone((it.media.*Of(kind).enableAll[enable != 0])()); });
}

ymd_result ymd_item_link_all_tracks(ymd_item* item, int32_t kind, int32_t link) {
    return OnItem(__func__, item,
                  [&](Item& it) { RequireDone((it.media.*Of(kind).linkAll[link != 0])()); });
}
