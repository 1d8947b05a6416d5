#pragma once

#include <unordered_map>
#include <vector>

#include <ymdshow/Media.h>

#include "BaseClasses/MediaType.h"
#include "YMMedia/Support.h"

namespace ymdshow {

/// The scan of a rendered graph from the source downstream: finds the tracks, corrects the
/// stream records, and drops the filters that are on no path from the source.
class TrackScan {
public:
    explicit TrackScan(CMedia& media) : m_media(media) {}

    void WalkGraph();
    void CompletePicture(std::uint32_t knownVideoTracks);
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

} // namespace ymdshow
