#include <io.h>

#include <algorithm>
#include <cmath>

#include <ymdshow/CoderScheme.h>
#include <ymdshow/Media.h>
#include <ymdshow/MediaPlayer.h>

#include "Text/Text.h"
#include "YMMedia/EventHold.h"
#include "YMMedia/Support.h"

namespace ymdshow {

namespace {

/// What follows the last single-byte "." of a code page 936 path. Separators and query
/// text count like any other character.
std::string ExtensionOf(const std::string& path) {
    std::size_t dot = std::string::npos;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (static_cast<unsigned char>(path[i]) >= 129) {
            ++i; // the second byte of a two-byte character may look like a dot
        } else if (path[i] == '.') {
            dot = i;
        }
    }
    return dot == std::string::npos ? std::string() : path.substr(dot + 1);
}

bool FileExists(const std::string& path) {
    const std::wstring wide = text::ToWide(path);
    return !wide.empty() && _waccess(wide.c_str(), 0) == 0;
}

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

CMedia::CMedia(const std::string& path, CMediaPlayer* player) : m_pMediaPlayer(player) {
    if (!path.empty()) {
        SetMediaPath(path);
    }
}

CMedia::CMedia(CMediaPlayer* player) : m_pMediaPlayer(player) {}

CMedia::CMedia(const CMedia& other) = default;
CMedia& CMedia::operator=(const CMedia& other) = default;

CMedia::~CMedia() {
    Stop();
    _FreeFilters();
    _FreeDirectShow();
    _FreeMediaInfo();
    m_originalDuration = 0;
    m_durationByMediaInfo = 0;
    m_durationBySeeking = 0;
    m_originalVideoTrackNum = 0;
    m_originalAudioTrackNum = 0;
    m_videoTracks.clear();
    m_audioTracks.clear();
    if (m_pMediaPlayer != nullptr) {
        m_pMediaPlayer->_NotifyMediaDestroy(this);
        m_pMediaPlayer = nullptr;
    }
    YMD_LOG_PROGRESS("ymdshow::CMedia::~CMedia", "CYMMedia Destroy : %s", m_mediaPath.c_str());
}

int CMedia::SetMediaPath(const std::string& path) {
    const ItemLock lock(*this);
    return OrWhenOutOfMemory(0, [&] { return SetMediaPathLocked(path); });
}

int CMedia::SetMediaPathLocked(const std::string& path) {
    if (path.empty()) {
        return 0;
    }
    // The flag is this path's even when the path is then refused.
    m_isMediaPathURL = path.find("://") != std::string::npos;
    if (!m_isMediaPathURL && !FileExists(path)) {
        return 0;
    }
    m_fileExt.clear();
    m_urlProtocol.clear();
    if (m_isMediaPathURL) {
        m_urlProtocol = text::LowerAscii(path.substr(0, path.find(':')));
    }
    YMD_LOG_PROGRESS("ymdshow::CMedia::SetMediaPath", "SetMediaPath : %s", path.c_str());
    // A load that failed late has given up the graph, not the filters.
    if (IsLoaded() != 0 || m_pSourceFilter != nullptr) {
        if (IsPlaying() != 0) {
            Stop();
        }
        _FreeFilters();
        _FreeDirectShow();
    }
    if (m_hasMediaInfo) {
        _FreeMediaInfo();
    }
    ForgetPictureFacts();
    ForgetStreamFacts();
    m_mediaPath = path;
    if (_ReadInfoByMediaIfo() == 0) {
        _FreeMediaInfo();
    }
    if (m_originalVideoTrackNum == 0 && m_originalAudioTrackNum == 0) {
        m_videoTracks.clear();
        m_audioTracks.clear();
    }
    m_fileExt = text::LowerAscii(ExtensionOf(m_mediaPath));
    return 1;
}

/// What an earlier scan learned must not pass for knowledge of the file that is read now.
void CMedia::ForgetStreamFacts() {
    m_originalVideoTrackNum = 0;
    m_originalAudioTrackNum = 0;
    m_videoInfos.clear();
    m_audioInfos.clear();
    m_mediaFormat.clear();
    m_durationByMediaInfo = 0;
    m_givenFacts = GivenFacts();
}

/// Makes a reload find what the first load found: neither the streams that an earlier scan
/// has added nor the duration of an earlier graph count as known.
void CMedia::StartFromGivenFacts() {
    if (m_givenFacts.isKept) {
        m_originalVideoTrackNum = m_givenFacts.videoTracks;
        m_originalAudioTrackNum = m_givenFacts.audioTracks;
        m_videoInfos = m_givenFacts.videos;
        m_audioInfos = m_givenFacts.audios;
    } else {
        m_givenFacts = {true, m_originalVideoTrackNum, m_originalAudioTrackNum, m_videoInfos,
                        m_audioInfos};
    }
    m_durationBySeeking = 0;
    m_frameCount = 0;
    m_isLiveStream = false;
}

/// Rectangles and a clip end that an earlier load derived from its file go with that file;
/// those that the host chose stay.
void CMedia::ForgetPictureFacts() {
    std::copy_n(m_givenClipRange, 4, m_videoClipRange);
    std::copy_n(m_givenDisplayRange, 4, m_videoDisplayRange);
    if (m_clipStartTime == 0 && m_clipEndTime == m_originalDuration) {
        m_clipEndTime = 0;
    }
    m_originalDuration = 0;
    m_durationBySeeking = 0;
    m_frameCount = 0;
    m_isLiveStream = false;
    m_videoOriginalWidth = 0;
    m_videoOriginalHeight = 0;
    m_videoOriginalAvgFrameTime = 0;
    m_displayAspectRatio = 1.0F;
    m_enableDisplayAspectRatio = false;
    m_displayRotation = 0.0F;
}

const std::string& CMedia::GetMediaPath() const {
    return m_mediaPath;
}
const std::string& CMedia::GetFileExt() const {
    return m_fileExt;
}
bool CMedia::IsMediaPathURL() const {
    return m_isMediaPathURL;
}
bool CMedia::IsLiveStream() const {
    return m_isLiveStream;
}
const LoadReport& CMedia::GetLoadReport() const {
    return m_loadReport;
}

int CMedia::IsLoaded() const {
    const ItemLock lock(*this);
    return m_pGB != nullptr ? 1 : 0;
}

int CMedia::IsReadyForPlay() const {
    const ItemLock lock(*this);
    return m_pGB != nullptr && m_isAllFilterLinked ? 1 : 0;
}

int CMedia::Load(CCoderScheme* scheme, int flag) {
    const ItemLock lock(*this);
    try {
        return LoadLocked(scheme, flag);
    } catch (const std::bad_alloc&) {
        // Half a graph would pass for a loaded one.
        _FreeFilters();
        _FreeDirectShow();
        m_loadReport.failure.clear();
        m_loadReport.failureResult = E_OUTOFMEMORY;
        return 0;
    }
}

int CMedia::LoadLocked(CCoderScheme* scheme, int flag) {
    if (m_pGB != nullptr && m_isAllFilterLinked) {
        return 1;
    }
    if (m_pGB == nullptr && BuildGraph(scheme, flag) == 0) {
        return 0;
    }
    if (!m_isAllFilterLinked) {
        LinkAllFilter();
    }
    if (m_pGB == nullptr || !m_isAllFilterLinked) {
        YMD_LOG_WARNING("ymdshow::CMedia::Load", "m_pGB is NULL Or m_isAllFilterLinked False");
        return FailLoad(L"the graph could not be linked",
                        FAILED(m_linkResult) ? m_linkResult : E_FAIL);
    }
    // What failed on the way to success is in the attempts.
    m_loadReport.failure.clear();
    m_loadReport.failureResult = S_OK;
    ApplyStoredSettings();
    YMD_LOG_PROGRESS("ymdshow::CMedia::Load", "LoadMedia OK : %s", m_mediaPath.c_str());
    return 1;
}

int CMedia::BuildGraph(CCoderScheme* scheme, int flag) {
    m_loadReport = LoadReport();
    if (m_mediaPath.empty()) {
        return FailLoad(L"no path is set", E_INVALIDARG);
    }
    if (scheme == nullptr && m_pMediaPlayer != nullptr) {
        scheme = &m_pMediaPlayer->GetCoderScheme();
    }
    YMD_LOG_PROGRESS("ymdshow::CMedia::Load", "Loading Media : %s", m_mediaPath.c_str());
    if (!m_hasMediaInfo) {
        ForgetStreamFacts();
        if (_ReadInfoByMediaIfo() == 0) {
            _FreeMediaInfo();
        }
    }
    StartFromGivenFacts();
    if (m_pSourceFilter != nullptr) {
        _FreeFilters();
    }
    if (_InitDirectShow() == 0) {
        YMD_LOG_ERROR("ymdshow::CMedia::Load", "m_pGB is NULL And _InitDirectShow Failed");
        return FailLoad(L"the filter graph manager could not be created", E_FAIL);
    }
    if (_InitFilters(scheme, flag) == 0) {
        YMD_LOG_WARNING("ymdshow::CMedia::Load", "_InitFilters Failed");
        return FailLoad(L"no filter graph could be built", E_FAIL);
    }
    if (_ReadAndSetByIBasicVideo() == 0 && m_originalVideoTrackNum > 0 && !m_videoInfos.empty()) {
        TakePictureFromRecord();
    }
    _ReadAndSetByIMediaSeeking();
    _CheckAndSetDuration();
    if (m_clipEndTime < 1) {
        m_clipEndTime = m_originalDuration;
    }
    if (m_videoOriginalAvgFrameTime < 1 && m_frameCount > 0) {
        m_videoOriginalAvgFrameTime = m_originalDuration / m_frameCount;
    }
    m_isAllFilterLinked = true;
    return 1;
}

void CMedia::TakePictureFromRecord() {
    const VideoInfo& video = m_videoInfos.front();
    m_videoOriginalWidth = video.width;
    m_videoOriginalHeight = video.height;
    m_videoOriginalAvgFrameTime = video.avgFrameTime;
    m_displayAspectRatio = video.displayAspectRatio;
    const float pixelRatio = static_cast<float>(video.width) / static_cast<float>(video.height);
    if (m_displayAspectRatio > 0.0F) {
        m_enableDisplayAspectRatio = std::fabs(m_displayAspectRatio - pixelRatio) > 0.048F;
    } else {
        m_displayAspectRatio = pixelRatio;
        m_enableDisplayAspectRatio = false;
    }
    m_displayRotation = video.rotation;
}

void CMedia::ApplyStoredSettings() {
    if (m_clipStartTime != 0 || m_clipEndTime != m_originalDuration) {
        TimeClip(m_clipStartTime, m_clipEndTime);
    }
    SetLoop(m_isLoop);
    SetVolume(static_cast<long>(m_volume));
    SetAmain(m_isAmain);
    SetPlayWindow(m_playWindow);
}

/// Keeps the first reason: what failed inside a step says more than the step's failure.
int CMedia::FailLoad(const wchar_t* reason, HRESULT result) {
    if (m_loadReport.failure.empty()) {
        m_loadReport.failure = reason;
        m_loadReport.failureResult = result;
    }
    return 0;
}

int CMedia::Unload() {
    const ItemLock lock(*this);
    if (IsLoaded() != 0) {
        if (IsPlaying() != 0) {
            Stop();
        }
        _FreeFilters();
        _FreeDirectShow();
        YMD_LOG_PROGRESS("ymdshow::CMedia::Unload", "UnloadMedia OK : %s", m_mediaPath.c_str());
    }
    return 1;
}

int CMedia::_InitDirectShow() {
    if (m_pGB != nullptr) {
        return 1;
    }
    const HRESULT created =
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER,
                         IID_PPV_ARGS(&m_pGB));
    if (FAILED(created)) {
        YMD_LOG_WARNING("ymdshow::CMedia::_InitDirectShow",
                        "CoCreateInstance CLSID_FilterGraph Failed: %x, %s",
                        static_cast<unsigned>(created), CreationErrorName(created));
        FailLoad(L"the filter graph manager could not be created", created);
        _FreeDirectShow();
        return 0;
    }
    ReleaseMember(m_pGraphConfig);
    if (FAILED(m_pGB->QueryInterface(IID_PPV_ARGS(&m_pGraphConfig)))) {
        ReleaseMember(m_pGraphConfig);
    }
    return 1;
}

void CMedia::_FreeDirectShow() {
    if (m_playState == State_Running) {
        _FreeFilters();
    }
    if (m_playState == State_Running) {
        YMD_LOG_WARNING("ymdshow::CMedia::_FreeDirectShow",
                        "_FreeDirectShow FAILED, The Media Still Running : %s",
                        m_mediaPath.c_str());
        return;
    }
    EndEventThread();
    _RemoveAllCachedFilterInGraphConfig();
    ReleaseMember(m_pGraphConfig);
    _RemoveAllFilterInGraphBuilder();
    ReleaseMember(m_pGB);
}

} // namespace ymdshow
