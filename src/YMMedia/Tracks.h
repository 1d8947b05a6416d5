#pragma once

// The track operations, once for both kinds. A kind tells where its members are; `Media` is
// CMedia or const CMedia.

#include <cstdint>
#include <stdexcept>

#include <ymdshow/Media.h>

#include "YMMedia/Support.h"

namespace ymdshow {

/// What the track operations need of a media item beside the kind's own members.
struct TrackAccess {
    static IGraphBuilder* Graph(CMedia& media) { return media.m_pGB; }
    static IAMStreamSelect* StreamSelect(CMedia& media) { return media.m_pStreamSelect; }
    static bool& AllLinked(CMedia& media) { return media.m_isAllFilterLinked; }
    static bool AnyVideoEnabled(const CMedia& media) { return AnyEnabled(media.m_videoTracks); }
    static bool AnyAudioEnabled(const CMedia& media) { return AnyEnabled(media.m_audioTracks); }

private:
    template <class Tracks> static bool AnyEnabled(const Tracks& tracks) {
        for (const auto* track : tracks) {
            if (track->enabled) {
                return true;
            }
        }
        return false;
    }
};

struct AudioKind {
    template <class Media> static auto& Tracks(Media& media) { return media.m_audioTracks; }
    template <class Media> static auto& Streams(Media& media) {
        return media.m_streamSelectAudioTracks;
    }
    static std::uint32_t TrackNum(const CMedia& media) { return media.m_audioTrackNum; }
    static std::uint32_t StreamNum(const CMedia& media) { return media.m_streamSelectAudioNum; }
    static std::size_t RecordNum(const CMedia& media) { return media.m_audioInfos.size(); }

    /// Whether the graph still counts as linked after one track, or all tracks, of the kind
    /// went.
    static bool StaysLinkedWithoutOne(const CMedia& media) {
        return TrackAccess::AnyVideoEnabled(media) || TrackAccess::AnyAudioEnabled(media);
    }
    static bool StaysLinkedWithoutAll(const CMedia& media) {
        return TrackAccess::AnyVideoEnabled(media);
    }
};

struct VideoKind {
    template <class Media> static auto& Tracks(Media& media) { return media.m_videoTracks; }
    template <class Media> static auto& Streams(Media& media) {
        return media.m_streamSelectVideoTracks;
    }
    static std::uint32_t TrackNum(const CMedia& media) { return media.m_videoTrackNum; }
    static std::uint32_t StreamNum(const CMedia& media) { return media.m_streamSelectVideoNum; }
    static std::size_t RecordNum(const CMedia& media) { return media.m_videoInfos.size(); }
    static bool StaysLinkedWithoutOne(const CMedia& media) {
        return TrackAccess::AnyAudioEnabled(media) || TrackAccess::AnyVideoEnabled(media);
    }
    static bool StaysLinkedWithoutAll(const CMedia& media) {
        return TrackAccess::AnyAudioEnabled(media);
    }
};

/// The operations on the tracks of one kind. Each holds the item's lock for its whole run;
/// Num reads without it.
template <class Kind> class TrackOperations {
public:
    static std::uint32_t Num(const CMedia& media);
    static IBaseFilter* Render(const CMedia& media, std::uint32_t index);
    static bool IsEnabled(const CMedia& media, std::uint32_t index);
    static int FirstEnabled(const CMedia& media);
    static bool Enable(CMedia& media, std::uint32_t index);
    static bool Disable(CMedia& media, std::uint32_t index);
    static bool EnableAll(CMedia& media);
    static bool DisableAll(CMedia& media);
    static bool EnableOnlyOne(CMedia& media, std::uint32_t index);
    static bool LinkAll(CMedia& media);
    static bool UnlinkAll(CMedia& media);

private:
    using Stream = CMedia::StreamSelectTrackInfo;

    static bool InRendererMode(const CMedia& media);
    static void CheckIndex(const CMedia& media, std::uint32_t index);
    static bool LinkTrack(CMedia& media, std::uint32_t index);
    static bool UnlinkTrack(CMedia& media, std::uint32_t index);
    static bool SetStream(CMedia& media, Stream& stream, DWORD flag);
};

} // namespace ymdshow
