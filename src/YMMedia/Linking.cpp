// Linking the whole graph and taking it apart again.

#include <ymdshow/GraphToolkit.h>

#include "GraphToolkit/Attempts.h"
#include "GraphToolkit/DownstreamWalk.h"
#include "YMMedia/Inside.h"
#include "YMMedia/Seeking.h"

namespace ymdshow {

namespace {

/// A relinked graph connects every renderer: what was remembered of broken links is stale,
/// and a track that the host disabled is unlinked again.
template <class Tracks> void RestoreDisabledTracks(const Tracks& tracks, IGraphBuilder* graph) {
    for (auto* track : tracks) {
        track->DiscardBrokenLinks();
        if (!track->enabled) {
            track->Unlink(graph);
        }
    }
}

template <class Tracks> void MarkUnlinked(const Tracks& tracks) {
    for (auto* track : tracks) {
        track->DiscardBrokenLinks();
        track->linked = false;
    }
}

/// The connected pins downstream of `source`, breadth first: an output pin, then its peer.
std::vector<ComPtr<IPin>> ConnectionsBehind(IBaseFilter* source) {
    std::vector<ComPtr<IPin>> connections;
    toolkit::DownstreamWalk walk(source, toolkit::WalkOrder::BreadthFirst);
    for (; walk.Current() != nullptr; walk.Next()) {
        walk.Scan([&](const ComPtr<IPin>& pin) {
            ComPtr<IPin> peer;
            if (FAILED(pin->ConnectedTo(&peer)) || peer == nullptr) {
                return toolkit::OutputPin::Leave;
            }
            connections.push_back(pin);
            connections.push_back(std::move(peer));
            return toolkit::OutputPin::Follow;
        });
    }
    return connections;
}

} // namespace

int CMedia::LinkAllFilter() {
    return Inside::OnGraph(*this, 0, [&] {
        HRESULT ignored = S_OK;
        return Inside::Link(*this, ignored);
    });
}

/// `result` is the graph's answer when it had to render the source itself.
int CMedia::Inside::Link(CMedia& media, HRESULT& result) {
    if (media.m_pGB == nullptr || media.m_pSourceFilter == nullptr) {
        return 0;
    }
    if (media.m_isAllFilterLinked) {
        return 1;
    }
    TryRenderSource(media.m_pGB, media.m_pSourceFilter, media.m_renderFilters, nullptr, nullptr,
                    nullptr);
    unsigned int video = 0;
    unsigned int audio = 0;
    GetLinkedTrackNum(media.m_pGB, media.m_pSourceFilter, &video, &audio, nullptr);
    bool linked = IsComplete(media, video, audio);
    if (!linked) {
        UnlinkGraphBuilder(media.m_pGB);
        linked = toolkit::RenderFilter(media.m_pGB, media.m_pSourceFilter, &result) == 1;
    }
    if (linked) {
        RestoreDisabledTracks(media.m_videoTracks, media.m_pGB);
        RestoreDisabledTracks(media.m_audioTracks, media.m_pGB);
    }
    media.m_isAllFilterLinked = linked;
    YMD_LOG_PROGRESS("ymdshow::CMedia::LinkAllFilter", "LinkAllFilter %s : %s",
                     linked ? "OK" : "FAILED", media.m_mediaPath.c_str());
    return linked ? 1 : 0;
}

int CMedia::UnlinkAllFilter() {
    return Inside::Locked(*this, 0, [&] {
        const ymlib::CYMAutoLock item(m_lock);
        const auto isLinked = [this] {
            return m_pGB != nullptr && m_pSourceFilter != nullptr && m_isAllFilterLinked;
        };
        const bool isActive = Inside::OnGraph(*this, false, [&] {
            OAFilterState state = State_Stopped;
            return isLinked() && m_pMediaControl != nullptr &&
                   SUCCEEDED(
                       ComPtr<IMediaControl>(m_pMediaControl)->GetState(kStateTimeout, &state)) &&
                   state != State_Stopped;
        });
        if (item.IsDestroyed() || (isActive && (Stop(), item.IsDestroyed()))) {
            return 0;
        }
        return Inside::OnGraph(*this, 0, [&] {
            if (!isLinked()) {
                return 0;
            }
            MarkUnlinked(m_videoTracks);
            MarkUnlinked(m_audioTracks);
            for (ComPtr<IPin>& pin : ConnectionsBehind(m_pSourceFilter)) {
                m_pGB->Disconnect(pin.Get());
                pin.Reset();
            }
            m_isAllFilterLinked = false;
            YMD_LOG_PROGRESS("ymdshow::CMedia::UnlinkAllFilter", "UnlinkAllFilter : %s",
                             m_mediaPath.c_str());
            return 1;
        });
    });
}

int CMedia::IsAllFilterLinked() const {
    return Inside::Locked(*this, 0, [&] { return m_isAllFilterLinked ? 1 : 0; });
}

} // namespace ymdshow
