// The scan of a rendered graph from the source downstream.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include <ymdshow/DirectShow.h>

#include <dvdmedia.h>

#include "BaseClasses/MediaType.h"
#include "GraphToolkit/DownstreamWalk.h"
#include "YMMedia/Inside.h"
#include "YMMedia/Picture.h"

namespace ymdshow {

namespace {

constexpr const char* kFunction = "ymdshow::CMedia::_ScanAllFilterAndGetAVTrackInfo";
constexpr std::int32_t kSizeTolerance = 4;          // pixels
constexpr std::int32_t kFrameTimeTolerance = 50000; // 5 ms

/// The format block as `Format`, null when it is another or too short.
template <class Format> const Format* FormatBlock(const AM_MEDIA_TYPE& type, const GUID& kind) {
    return type.formattype == kind && type.cbFormat >= sizeof(Format) && type.pbFormat != nullptr
               ? reinterpret_cast<const Format*>(type.pbFormat)
               : nullptr;
}

/// A hostile format block may hold anything; 0 when the distance is no picture size.
std::int32_t Distance(LONG from, LONG to) {
    const std::int64_t distance = std::abs(std::int64_t{to} - std::int64_t{from});
    return distance <= INT32_MAX ? static_cast<std::int32_t>(distance) : 0;
}

/// A small disagreement follows the connection, a large one keeps the record's value.
void CorrectSize(std::int32_t& record, std::int32_t connected) {
    if (record < 1 || std::abs(record - connected) < kSizeTolerance) {
        record = connected;
    }
}

/// The record of track `index`: the streams known so far grow when it is a new one.
template <class Info>
Info& RecordOf(std::vector<Info>& infos, std::uint32_t& known, std::uint32_t index) {
    known = std::max(known, index + 1);
    if (infos.size() <= index) {
        infos.resize(index + 1);
    }
    return infos[index];
}

template <class Track> void AppendTrack(std::vector<Track*>& tracks, IBaseFilter* renderer) {
    auto track = std::make_unique<Track>(renderer);
    tracks.push_back(track.get());
    track.release();
}

} // namespace

/// Finds the tracks, corrects the stream records, and drops the filters that are on no path
/// from the source.
class CMedia::Inside::TrackScan {
public:
    explicit TrackScan(CMedia& media) : m_media(media) {}

    void WalkGraph();
    void DropUnusedSchemeFilters(std::vector<IBaseFilter*>& candidates);
    void CollectUsedFilters();

private:
    bool MayHaveStreams(unsigned int inputs, unsigned int outputs) const;
    void ListStreams(IBaseFilter* filter);
    void AddRenderer(IBaseFilter* renderer, IPin* feeding);
    void AddVideoTrack(IBaseFilter* renderer, const AM_MEDIA_TYPE& type);
    void AddAudioTrack(IBaseFilter* renderer, const AM_MEDIA_TYPE& type);
    void CorrectVideoRecord(VideoInfo& record, const AM_MEDIA_TYPE& type) const;
    bool IsVisited(IBaseFilter* filter) const { return m_visited.count(filter) != 0; }
    void DropUnused(std::vector<IBaseFilter*>& filters);

    CMedia& m_media;
    std::unordered_map<IBaseFilter*, ComPtr<IBaseFilter>> m_visited;
};

void CMedia::_ScanAllFilterAndGetAVTrackInfo(std::vector<IBaseFilter*>& candidates) {
    const std::uint32_t known = m_originalVideoTrackNum;
    Inside::TrackScan scan(*this);
    scan.WalkGraph();
    Inside::CompletePicture(*this, known);
    scan.DropUnusedSchemeFilters(candidates);
    scan.CollectUsedFilters();
}

void CMedia::Inside::TrackScan::WalkGraph() {
    toolkit::DownstreamWalk walk(m_media.m_pSourceFilter);
    for (; walk.Current() != nullptr; walk.Next()) {
        IBaseFilter* const filter = walk.Current();
        const toolkit::PinTally pins = walk.ScanAll();
        if (pins.outputs > 0) {
            if (MayHaveStreams(pins.inputs, pins.outputs)) {
                ListStreams(filter);
            }
        } else if (pins.enumerated && walk.Arriving() != nullptr) {
            AddRenderer(filter, walk.Arriving());
        }
        m_visited.try_emplace(filter, filter);
    }
}

/// Only sources and splitters list streams.
bool CMedia::Inside::TrackScan::MayHaveStreams(unsigned int inputs, unsigned int outputs) const {
    return m_media.m_pStreamSelect == nullptr && !(inputs > 0 && outputs < 2) &&
           !(m_media.m_videoTrackNum >= 2 && m_media.m_audioTrackNum > 1);
}

void CMedia::Inside::TrackScan::ListStreams(IBaseFilter* filter) {
    ComPtr<IAMStreamSelect> select;
    if (FAILED(filter->QueryInterface(IID_PPV_ARGS(&select))) || select == nullptr) {
        return;
    }
    DeleteRecords(m_media.m_streamSelectVideoTracks);
    DeleteRecords(m_media.m_streamSelectAudioTracks);
    m_media.m_streamSelectVideoNum = 0;
    m_media.m_streamSelectAudioNum = 0;
    DWORD count = 0;
    select->Count(&count);
    for (DWORD i = 0; i < count; ++i) {
        OwnedMediaType type;
        DWORD flags = 0;
        LCID language = 0;
        DWORD group = 0;
        WCHAR* name = nullptr;
        if (FAILED(select->Info(static_cast<long>(i), type.Put(), &flags, &language, &group, &name,
                                nullptr, nullptr))) {
            continue;
        }
        const std::unique_ptr<WCHAR, decltype(&CoTaskMemFree)> ownedName(name, CoTaskMemFree);
        if (type.Get() == nullptr ||
            (type->majortype != MEDIATYPE_Video && type->majortype != MEDIATYPE_Audio)) {
            continue;
        }
        auto stream = std::make_unique<StreamSelectTrackInfo>();
        stream->index = i;
        stream->name = name != nullptr ? name : L"";
        stream->enabled = flags != 0;
        stream->language = language;
        auto& streams = type->majortype == MEDIATYPE_Video ? m_media.m_streamSelectVideoTracks
                                                           : m_media.m_streamSelectAudioTracks;
        streams.push_back(stream.get());
        stream.release();
    }
    const auto videos = static_cast<std::uint32_t>(m_media.m_streamSelectVideoTracks.size());
    const auto audios = static_cast<std::uint32_t>(m_media.m_streamSelectAudioTracks.size());
    if (videos > 0 || audios > 0) {
        m_media.m_streamSelectVideoNum = videos;
        m_media.m_streamSelectAudioNum = audios;
        m_media.m_pStreamSelect = select.Detach();
    }
}

void CMedia::Inside::TrackScan::AddRenderer(IBaseFilter* renderer, IPin* feeding) {
    MediaType type;
    if (FAILED(feeding->ConnectionMediaType(type.Put()))) {
        return;
    }
    if (type->majortype == MEDIATYPE_Video) {
        AddVideoTrack(renderer, type.Get());
    } else if (type->majortype == MEDIATYPE_Audio) {
        AddAudioTrack(renderer, type.Get());
    }
}

void CMedia::Inside::TrackScan::AddVideoTrack(IBaseFilter* renderer, const AM_MEDIA_TYPE& type) {
    CorrectVideoRecord(
        RecordOf(m_media.m_videoInfos, m_media.m_originalVideoTrackNum, m_media.m_videoTrackNum),
        type);
    AppendTrack(m_media.m_videoTracks, renderer);
    ++m_media.m_videoTrackNum;
}

void CMedia::Inside::TrackScan::AddAudioTrack(IBaseFilter* renderer, const AM_MEDIA_TYPE& type) {
    AudioInfo& record =
        RecordOf(m_media.m_audioInfos, m_media.m_originalAudioTrackNum, m_media.m_audioTrackNum);
    // PCMWAVEFORMAT has every field that is read here; some sources leave cbSize out.
    if (const auto* wave = FormatBlock<PCMWAVEFORMAT>(type, FORMAT_WaveFormatEx)) {
        record.samplingRate = wave->wf.nSamplesPerSec;
        record.channels = wave->wf.nChannels;
        record.bitDepth = wave->wBitsPerSample;
    }
    AppendTrack(m_media.m_audioTracks, renderer);
    ++m_media.m_audioTrackNum;
}

void CMedia::Inside::TrackScan::CorrectVideoRecord(VideoInfo& record,
                                                   const AM_MEDIA_TYPE& type) const {
    RECT target{};
    std::int64_t frameTime = 0;
    if (const auto* video = FormatBlock<VIDEOINFOHEADER>(type, FORMAT_VideoInfo)) {
        target = video->rcTarget;
        frameTime = video->AvgTimePerFrame;
    } else if (const auto* video2 = FormatBlock<VIDEOINFOHEADER2>(type, FORMAT_VideoInfo2)) {
        target = video2->rcTarget;
        frameTime = video2->AvgTimePerFrame;
    } else {
        return;
    }
    const PictureSize connected{Distance(target.left, target.right),
                                Distance(target.top, target.bottom)};
    if (connected.width >= 1 && connected.height >= 1) {
        const PictureSize size =
            CorrectedPictureSize(connected, m_media.m_fix1088Height, m_media.m_evenVideoSize);
        CorrectSize(record.width, size.width);
        CorrectSize(record.height, size.height);
    }
    if (frameTime > 0 && (record.avgFrameTime < 1 ||
                          LowDistance(record.avgFrameTime, frameTime) < kFrameTimeTolerance)) {
        record.avgFrameTime = frameTime;
    }
}

void CMedia::Inside::TrackScan::DropUnusedSchemeFilters(std::vector<IBaseFilter*>& candidates) {
    DropUnused(m_media.m_schemeFilters);
    DropUnused(m_media.m_renderFilters);
    DropUnused(candidates);
    m_media.m_schemeFilters.insert(m_media.m_schemeFilters.end(), candidates.begin(),
                                   candidates.end());
    candidates.clear();
}

void CMedia::Inside::TrackScan::DropUnused(std::vector<IBaseFilter*>& filters) {
    const auto drop = [this](IBaseFilter* filter) {
        if (IsVisited(filter)) {
            return false;
        }
        if (const ULONG references = Drop(m_media, filter); references != 0) {
            YMD_LOG_WARNING(kFunction, "Remove Unused Filter Warning! RefCount %d : %s",
                            static_cast<int>(references), m_media.m_mediaPath.c_str());
        }
        return true;
    };
    filters.erase(std::remove_if(filters.begin(), filters.end(), drop), filters.end());
}

void CMedia::Inside::TrackScan::CollectUsedFilters() {
    for (IBaseFilter* filter : m_media.m_usedFilters) {
        filter->Release();
    }
    m_media.m_usedFilters.clear();
    std::vector<ComPtr<IBaseFilter>> filters;
    for (ComPtr<IBaseFilter>& filter : toolkit::Filters(m_media.m_pGB)) {
        filters.push_back(std::move(filter));
    }
    // Removing while enumerating would put the enumerator out of step with the graph.
    m_media.m_usedFilters.reserve(filters.size());
    for (ComPtr<IBaseFilter>& filter : filters) {
        if (IsVisited(filter.Get())) {
            m_media.m_usedFilters.push_back(filter.Detach());
            continue;
        }
        if (const ULONG references = Drop(m_media, filter.Detach()); references != 0) {
            YMD_LOG_WARNING(kFunction, "Remove Unused Filter Warning! RefCount : %d",
                            static_cast<int>(references));
        }
    }
}

} // namespace ymdshow
