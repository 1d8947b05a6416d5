// Loading: the graph manager made, the graph built, the stored settings applied.

#include <ymdshow/MediaPlayer.h>

#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

const char* CreationErrorName(HRESULT result) {
    switch (result) {
    case REGDB_E_CLASSNOTREG:
        return "REGDB_E_CLASSNOTREG";
    case CLASS_E_NOAGGREGATION:
        return "CLASS_E_NOAGGREGATION "; // the trailing blank is part of the text
    case E_NOINTERFACE:
        return "E_NOINTERFACE";
    default:
        return "Unknown Error";
    }
}

} // namespace

const LoadReport& CMedia::GetLoadReport() const {
    return m_inside->load.Report();
}

int CMedia::IsLoaded() const {
    return Inside::Locked(*this, 0, [&] { return m_pGB != nullptr ? 1 : 0; });
}

int CMedia::IsReadyForPlay() const {
    return Inside::Locked(*this, 0,
                          [&] { return m_pGB != nullptr && m_isAllFilterLinked ? 1 : 0; });
}

int CMedia::Load(CCoderScheme* scheme, int flag) {
    return Inside::OnGraph(*this, 0, [&] {
        if (m_pGB != nullptr && m_isAllFilterLinked) {
            return 1;
        }
        const Opening::Load load(*m_inside->opening);
        const int loaded = AnswerOr(-1, [&] { return Inside::Load(*this, scheme, flag); });
        if (loaded < 0) {
            // Half a graph would pass for a loaded one.
            if (!Inside::TakeDown(*this)) {
                return 0;
            }
            m_inside->load.Fail(L"a filter or a callback threw an exception, or memory ran out",
                                E_UNEXPECTED);
        }
        return loaded > 0 ? 1 : 0;
    });
}

int CMedia::Inside::Load(CMedia& media, CCoderScheme* scheme, int flag) {
    LoadRecorder& record = media.m_inside->load;
    if (media.m_pGB == nullptr && BuildGraph(media, scheme, flag) == 0) {
        return 0;
    }
    HRESULT linked = E_FAIL;
    if (!media.m_isAllFilterLinked) {
        Link(media, linked);
    }
    if (media.m_pGB == nullptr || !media.m_isAllFilterLinked) {
        YMD_LOG_WARNING("ymdshow::CMedia::Load", "m_pGB is NULL Or m_isAllFilterLinked False");
        RecordGraph(media);
        return record.Fail(L"the graph could not be linked", FAILED(linked) ? linked : E_FAIL);
    }
    record.Succeed();
    const ymlib::CYMAutoLock item(media.m_lock);
    ApplyStoredSettings(media);
    if (item.IsDestroyed() || media.m_pGB == nullptr) {
        return 0;
    }
    YMD_LOG_PROGRESS("ymdshow::CMedia::Load", "LoadMedia OK : %s", media.m_mediaPath.c_str());
    return 1;
}

int CMedia::Inside::BuildGraph(CMedia& media, CCoderScheme* scheme, int flag) {
    LoadRecorder& record = media.m_inside->load;
    record.Begin();
    media.m_inside->pace = Pace();
    media.m_playRate = 1.0;
    if (media.m_mediaPath.empty()) {
        return record.Fail(L"no path is set", E_INVALIDARG);
    }
    if (scheme == nullptr && media.m_pMediaPlayer != nullptr) {
        scheme = &media.m_pMediaPlayer->GetCoderScheme();
    }
    YMD_LOG_PROGRESS("ymdshow::CMedia::Load", "Loading Media : %s", media.m_mediaPath.c_str());
    if (!media.m_hasMediaInfo && media._ReadInfoByMediaIfo() == 0) {
        media._FreeMediaInfo();
    }
    // Freeing waits for a callback that may still run, and messages may destroy the item.
    const ymlib::CYMAutoLock item(media.m_lock);
    if (media.m_pSourceFilter != nullptr) {
        media._FreeFilters();
    }
    if (item.IsDestroyed()) {
        return 0;
    }
    if (media._InitDirectShow() == 0) {
        YMD_LOG_ERROR("ymdshow::CMedia::Load", "m_pGB is NULL And _InitDirectShow Failed");
        return 0;
    }
    const int isBuilt = media._InitFilters(scheme, flag);
    if (item.IsDestroyed()) {
        return 0;
    }
    if (isBuilt == 0) {
        YMD_LOG_WARNING("ymdshow::CMedia::Load", "_InitFilters Failed");
        return record.Fail(L"no filter graph could be built", E_FAIL);
    }
    if (media._ReadAndSetByIBasicVideo() == 0) {
        TakePictureFromRecord(media);
    }
    media._ReadAndSetByIMediaSeeking();
    media._CheckAndSetDuration();
    if (media.m_clipEndTime < 1) {
        media.m_clipEndTime = media.m_originalDuration;
        media.m_inside->given.derivedClipEnd = media.m_clipEndTime;
    }
    if (media.m_videoOriginalAvgFrameTime < 1 && media.m_frameCount > 0) {
        media.m_videoOriginalAvgFrameTime = media.m_originalDuration / media.m_frameCount;
    }
    media.m_isAllFilterLinked = true;
    return 1;
}

/// A window that is told of one may destroy the item.
void CMedia::Inside::ApplyStoredSettings(CMedia& media) {
    const ymlib::CYMAutoLock item(media.m_lock);
    if (media.m_clipStartTime != 0 || media.m_clipEndTime != media.m_originalDuration) {
        media.TimeClip(media.m_clipStartTime, media.m_clipEndTime);
    }
    if (!item.IsDestroyed()) {
        media.SetLoop(media.m_isLoop);
        media.SetVolume(static_cast<long>(media.m_volume));
        media.SetAmain(media.m_isAmain);
    }
    if (!item.IsDestroyed()) {
        media.SetPlayWindow(media.m_playWindow);
    }
}

int CMedia::_InitDirectShow() {
    if (m_pGB != nullptr) {
        return 1;
    }
    HRESULT created =
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER,
                         IID_PPV_ARGS(&m_pGB));
    if (SUCCEEDED(created) && m_pGB == nullptr) {
        created = E_NOINTERFACE;
    }
    if (FAILED(created)) {
        YMD_LOG_WARNING("ymdshow::CMedia::_InitDirectShow",
                        "CoCreateInstance CLSID_FilterGraph Failed: %x, %s",
                        static_cast<unsigned>(created), CreationErrorName(created));
        m_inside->load.Fail(L"the filter graph manager could not be created", created);
        _FreeDirectShow();
        return 0;
    }
    ReleaseMember(m_pGraphConfig);
    if (FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&m_pGraphConfig)))) {
        ReleaseMember(m_pGraphConfig);
    }
    return 1;
}

} // namespace ymdshow
