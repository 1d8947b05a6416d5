// Linking the whole graph, taking it apart, and releasing everything on it.

#include <deque>

#include <ymdshow/GraphToolkit.h>
#include <ymdshow/Media.h>

#include "BaseClasses/ComTypes.h"
#include "GraphToolkit/Attempts.h"
#include "GraphToolkit/Ranges.h"
#include "YMMedia/EventHold.h"
#include "YMMedia/Seeking.h"
#include "YMMedia/Support.h"

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

template <class Records> void DeleteRecords(Records& records) {
    for (auto* record : records) {
        delete record;
    }
    records.clear();
}

/// The connected pins downstream of `source`, breadth first: an output pin, then its peer.
std::vector<ComPtr<IPin>> ConnectionsBehind(IBaseFilter* source) {
    std::vector<ComPtr<IPin>> connections;
    std::deque<ComPtr<IBaseFilter>> filters{source};
    while (!filters.empty()) {
        const ComPtr<IBaseFilter> filter = std::move(filters.front());
        filters.pop_front();
        for (ComPtr<IPin>& pin : toolkit::Pins(filter.Get())) {
            ComPtr<IPin> peer;
            if (!toolkit::HasDirection(pin.Get(), PINDIR_OUTPUT) ||
                FAILED(pin->ConnectedTo(&peer)) || peer == nullptr) {
                continue;
            }
            PinInfo info;
            if (SUCCEEDED(peer->QueryPinInfo(info.Put())) && info->pFilter != nullptr) {
                filters.emplace_back();
                toolkit::Adopt(filters.back(), info.DetachInterface());
            }
            connections.push_back(std::move(pin));
            connections.push_back(std::move(peer));
        }
    }
    return connections;
}

} // namespace

int CMedia::LinkAllFilter() {
    const ItemLock lock(*this);
    return OrWhenOutOfMemory(0, [this] { return LinkAllFilterLocked(); });
}

int CMedia::LinkAllFilterLocked() {
    if (m_pGB == nullptr || m_pSourceFilter == nullptr) {
        return 0;
    }
    if (m_isAllFilterLinked) {
        return 1;
    }
    TryRenderSource(m_pGB, m_pSourceFilter, m_renderFilters, nullptr, nullptr, nullptr);
    unsigned int video = 0;
    unsigned int audio = 0;
    GetLinkedTrackNum(m_pGB, m_pSourceFilter, &video, &audio, nullptr);
    bool linked = IsComplete(video, audio);
    m_linkResult = S_OK;
    if (!linked) {
        UnlinkGraphBuilder(m_pGB);
        linked = toolkit::RenderFilter(m_pGB, m_pSourceFilter, &m_linkResult) == 1;
    }
    if (linked) {
        RestoreDisabledTracks(m_videoTracks, m_pGB);
        RestoreDisabledTracks(m_audioTracks, m_pGB);
    }
    m_isAllFilterLinked = linked;
    YMD_LOG_PROGRESS("ymdshow::CMedia::LinkAllFilter", "LinkAllFilter %s : %s",
                     linked ? "OK" : "FAILED", m_mediaPath.c_str());
    return linked ? 1 : 0;
}

int CMedia::UnlinkAllFilter() {
    const ItemLock lock(*this);
    if (m_pGB == nullptr || m_pSourceFilter == nullptr || !m_isAllFilterLinked) {
        return 0;
    }
    return OrWhenOutOfMemory(0, [this] {
        const EventHold hold(*this);
        OAFilterState state = State_Stopped;
        if (m_pMediaControl != nullptr &&
            SUCCEEDED(m_pMediaControl->GetState(kStateTimeout, &state)) &&
            (state != State_Stopped || Shared(m_eventThread.restarting).load() != 0)) {
            Stop();
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
}

int CMedia::IsAllFilterLinked() const {
    const ItemLock lock(*this);
    return m_isAllFilterLinked ? 1 : 0;
}

void CMedia::_FreeFilters() {
    if (m_playState == State_Running) {
        Stop();
        Shared(m_playState).store(State_Stopped);
    }
    // The event thread uses the interfaces that go now.
    EndEventThread();
    if (m_pMediaEvent != nullptr) {
        m_pMediaEvent->SetNotifyWindow(0, 0, 0);
    }
    if (m_pVideoWindow != nullptr) {
        m_pVideoWindow->put_Visible(OAFALSE);
        m_pVideoWindow->put_Owner(0);
    }
    ReleaseMember(m_pMediaControl);
    ReleaseMember(m_pMediaFilter);
    ReleaseMember(m_pMediaSeeking);
    ReleaseMember(m_pBasicVideo);
    ReleaseMember(m_pMediaEvent);
    Shared(m_eventThread.graph).fetch_add(1);
    ReleaseMember(m_pVideoWindow);
    ReleaseMember(m_pStreamSelect);
    for (IBaseFilter* filter : m_usedFilters) {
        filter->Release();
    }
    m_usedFilters.clear();
    DeleteRecords(m_videoTracks);
    DeleteRecords(m_audioTracks);
    DeleteRecords(m_streamSelectVideoTracks);
    DeleteRecords(m_streamSelectAudioTracks);
    // The next scan counts from the start.
    m_videoTrackNum = 0;
    m_audioTrackNum = 0;
    m_streamSelectVideoNum = 0;
    m_streamSelectAudioNum = 0;
    m_isAllFilterLinked = false;
    Shared(m_playState).store(State_Stopped);

    const auto drop = [this](IBaseFilter* filter, const char* warning) {
        _RemoveFilter(filter);
        if (filter->Release() != 0) {
            YMD_LOG_WARNING("ymdshow::CMedia::_FreeFilters", warning, GetIUnknownRef(filter));
        }
    };
    for (IBaseFilter* filter : m_schemeFilters) {
        drop(filter, "Remove Filter Warning! RefCount : %d");
    }
    m_schemeFilters.clear();
    for (IBaseFilter* filter : m_renderFilters) {
        drop(filter, "Remove RenderFilter Warning! RefCount : %d");
    }
    m_renderFilters.clear();
    if (m_pSourceFilter != nullptr) {
        drop(m_pSourceFilter, "Remove Source Filter Warning! RefCount : %d");
        m_pSourceFilter = nullptr;
    }
}

namespace {

/// Hands the first filter that `filters` lists to `remove`, which takes it out and gives the
/// enumerator's reference back, until none is left. A filter that stays listed is tried
/// three times and then left, with all behind it.
template <class Remove> void RemoveFirstUntilEmpty(IEnumFilters* filters, Remove&& remove) {
    const IBaseFilter* previous = nullptr;
    int repeats = 0;
    IBaseFilter* filter = nullptr;
    while (repeats < 2 && filters->Next(1, &filter, nullptr) == S_OK) {
        repeats = filter == previous ? repeats + 1 : 0;
        previous = filter;
        remove(filter);
        filters->Reset(); // the list has changed
    }
}

} // namespace

void CMedia::_RemoveAllFilterInGraphBuilder() {
    ComPtr<IEnumFilters> filters;
    if (m_pGB == nullptr || FAILED(m_pGB->EnumFilters(&filters)) || filters == nullptr) {
        return;
    }
    RemoveFirstUntilEmpty(filters.Get(), [this](IBaseFilter* filter) {
        m_pGB->RemoveFilter(filter);
        if (filter->Release() != 0) {
            YMD_LOG_WARNING("ymdshow::CMedia::_RemoveAllFilterInGraphBuilder",
                            "Remove Filter Warning! RefCount : %d", GetIUnknownRef(filter));
        }
    });
}

void CMedia::_RemoveAllCachedFilterInGraphConfig() {
    ComPtr<IEnumFilters> filters;
    if (m_pGraphConfig == nullptr || FAILED(m_pGraphConfig->EnumCacheFilter(&filters)) ||
        filters == nullptr) {
        return;
    }
    RemoveFirstUntilEmpty(filters.Get(), [this](IBaseFilter* filter) {
        RemoveFilterFromGraphBuilderCache(m_pGraphConfig, filter);
        filter->Release();
    });
}

} // namespace ymdshow
