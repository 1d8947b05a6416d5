// From the last stop to the end: the graph emptied, everything on it given back.

#include <utility>

#include <ymdshow/GraphToolkit.h>
#include <ymdshow/MediaPlayer.h>

#include "GraphToolkit/Ranges.h"
#include "YMMedia/EventThread.h"

namespace ymdshow {

namespace {

/// Hands the first filter of a list to `remove`, which takes it out and gives the reference
/// back, until none is left. A filter that stays listed is tried three times and then
/// left, with all behind it.
template <class Remove> void RemoveFirstUntilEmpty(toolkit::Filters&& filters, Remove&& remove) {
    const IBaseFilter* previous = nullptr;
    int tries = 0;
    for (ComPtr<IBaseFilter>& filter : filters) {
        tries = filter.Get() == previous ? tries + 1 : 1;
        if (tries > 3) {
            break;
        }
        previous = filter.Get();
        remove(filter.Detach());
        filters.Rewind(); // the list has changed
    }
}

} // namespace

CMedia::~CMedia() {
    m_inside->opening->Abort();
    // Before what waits: a message that is handled in the following may look at the player's list.
    if (m_pMediaPlayer != nullptr) {
        m_pMediaPlayer->_NotifyMediaDestroy(this);
        m_pMediaPlayer = nullptr;
    }
    Stop();
    Inside::Locked(*this, [&] { _FreeFilters(); });
    Inside::Locked(*this, [&] { _FreeDirectShow(); });
    _FreeMediaInfo();
    m_originalDuration = 0;
    m_durationByMediaInfo = 0;
    m_durationBySeeking = 0;
    m_originalVideoTrackNum = 0;
    m_originalAudioTrackNum = 0;
    m_videoTracks.clear();
    m_audioTracks.clear();
    YMD_LOG_PROGRESS("ymdshow::CMedia::~CMedia", "CYMMedia Destroy : %s", m_mediaPath.c_str());
}

int CMedia::Unload() {
    m_inside->opening->Abort();
    return Inside::Locked(*this, 1, [&] {
        if (m_pGB != nullptr && Inside::TakeDown(*this)) {
            YMD_LOG_PROGRESS("ymdshow::CMedia::Unload", "UnloadMedia OK : %s", m_mediaPath.c_str());
        }
        return 1;
    });
}

// The two below wait for the event thread, and a message that is handled meanwhile may
// destroy the item: they answer false then.

bool CMedia::Inside::TakeDown(CMedia& media) {
    const ymlib::CYMAutoLock item(media.m_lock);
    // A graph that hangs in the event thread's hands is not asked: that waits for it.
    const bool isPlaying = media.m_playState == State_Running || media.IsPlaying() != 0;
    if (!item.IsDestroyed() && isPlaying) {
        media.Stop();
    }
    if (!item.IsDestroyed()) {
        media._FreeFilters();
    }
    if (!item.IsDestroyed()) {
        media._FreeDirectShow();
    }
    return !item.IsDestroyed();
}

bool CMedia::Inside::EndPlayback(CMedia& media) {
    const ymlib::CYMAutoLock item(media.m_lock);
    ULONGLONG begin = GetTickCount64();
    // Again for what such a message has started.
    for (bool canStop = true; !item.IsDestroyed();) {
        if (media.m_playState == State_Running && canStop) {
            canStop = media.Stop() != 0;
            begin = GetTickCount64();
        } else if (media.m_hEventThread != nullptr && !media.m_inside->events->IsCurrent()) {
            media.m_inside->events->End(media, begin);
        } else {
            break;
        }
    }
    if (item.IsDestroyed()) {
        return false;
    }
    media.m_inside->events->End(media, begin); // on the thread itself
    media.m_playState = State_Stopped;
    return true;
}

void CMedia::_FreeFilters() {
    // The event thread uses the interfaces that go now.
    if (!Inside::EndPlayback(*this)) {
        return;
    }
    if (m_pMediaEvent != nullptr) {
        Quietly([&] { m_pMediaEvent->SetNotifyWindow(0, 0, 0); });
    }
    const ymlib::CYMAutoLock item(m_lock);
    if (const ComPtr<IVideoWindow> video(m_pVideoWindow); video != nullptr) {
        Quietly([&] {
            video->put_Visible(OAFALSE);
            video->put_Owner(0);
        });
        // A window that was told may have destroyed the item or played it anew.
        if (item.IsDestroyed() || !Inside::EndPlayback(*this)) {
            return;
        }
    }
    ReleaseMember(m_pMediaControl);
    ReleaseMember(m_pMediaFilter);
    ReleaseMember(m_pMediaSeeking);
    ReleaseMember(m_pBasicVideo);
    m_inside->events->GiveUpQueue(*this);
    ReleaseMember(m_pVideoWindow);
    ReleaseMember(m_pStreamSelect);
    for (IBaseFilter* filter : std::exchange(m_usedFilters, {})) {
        filter->Release();
    }
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

    const auto drop = [&](const std::vector<IBaseFilter*>& filters, const char* warning) {
        for (IBaseFilter* const filter : filters) {
            if (item.IsDestroyed()) { // by what has been given back
                filter->Release();
            } else if (Inside::Drop(*this, filter) != 0) {
                YMD_LOG_WARNING("ymdshow::CMedia::_FreeFilters", warning, GetIUnknownRef(filter));
            }
        }
    };
    std::vector<IBaseFilter*> source;
    if (m_pSourceFilter != nullptr) {
        source.push_back(std::exchange(m_pSourceFilter, nullptr));
    }
    const std::vector<IBaseFilter*> schemes = std::exchange(m_schemeFilters, {});
    const std::vector<IBaseFilter*> renders = std::exchange(m_renderFilters, {});
    drop(schemes, "Remove Filter Warning! RefCount : %d");
    drop(renders, "Remove RenderFilter Warning! RefCount : %d");
    drop(source, "Remove Source Filter Warning! RefCount : %d");
}

void CMedia::_RemoveAllFilterInGraphBuilder() {
    if (m_pGB == nullptr) {
        return;
    }
    const ComPtr<IGraphBuilder> graph(m_pGB);
    RemoveFirstUntilEmpty(toolkit::Filters(m_pGB), [&](IBaseFilter* filter) {
        Quietly([&] { graph->RemoveFilter(filter); });
        if (filter->Release() != 0) {
            YMD_LOG_WARNING("ymdshow::CMedia::_RemoveAllFilterInGraphBuilder",
                            "Remove Filter Warning! RefCount : %d", GetIUnknownRef(filter));
        }
    });
}

void CMedia::_RemoveAllCachedFilterInGraphConfig() {
    if (m_pGraphConfig == nullptr) {
        return;
    }
    const ComPtr<IGraphConfig> config(m_pGraphConfig);
    RemoveFirstUntilEmpty(toolkit::Filters(m_pGraphConfig), [&](IBaseFilter* filter) {
        RemoveFilterFromGraphBuilderCache(config.Get(), filter);
        filter->Release();
    });
}

void CMedia::_FreeDirectShow() {
    const ymlib::CYMAutoLock item(m_lock);
    if (m_playState == State_Running) {
        _FreeFilters();
    }
    if (item.IsDestroyed()) {
        return;
    }
    if (m_playState == State_Running) {
        YMD_LOG_WARNING("ymdshow::CMedia::_FreeDirectShow",
                        "_FreeDirectShow FAILED, The Media Still Running : %s",
                        m_mediaPath.c_str());
        return;
    }
    if (!Inside::EndPlayback(*this)) {
        return;
    }
    _RemoveAllCachedFilterInGraphConfig();
    ReleaseMember(m_pGraphConfig);
    _RemoveAllFilterInGraphBuilder();
    if (!item.IsDestroyed()) { // by what has been given back
        ReleaseMember(m_pGB);
    }
}

} // namespace ymdshow
