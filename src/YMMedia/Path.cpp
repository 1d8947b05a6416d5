// A media item from its construction to the path that it is given.

#include <io.h>

#include <algorithm>

#include <ymdshow/MediaPlayer.h>

#include "Text/Text.h"
#include "YMMedia/EventThread.h"

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

bool FileExists(const std::wstring& path) {
    return !path.empty() && _waccess(path.c_str(), 0) == 0;
}

bool IsUrl(const std::string& path) {
    return path.find("://") != std::string::npos;
}

bool IsTaken(const std::wstring& path, const std::string& narrow) {
    return !narrow.empty() && (IsUrl(narrow) || FileExists(path));
}

} // namespace

CMedia::Inside::Inside() : events(std::make_unique<EventThread>(*this)) {
    Enlist();
}
CMedia::Inside::~Inside() {
    Strike();
}

CMedia::InsidePointer::InsidePointer() : m_inside(new Inside) {}
CMedia::InsidePointer::~InsidePointer() {
    delete m_inside;
}
CMedia::InsidePointer::InsidePointer(const InsidePointer& other) : InsidePointer() {
    *this = other;
}
CMedia::InsidePointer& CMedia::InsidePointer::operator=(const InsidePointer& other) {
    m_inside->load = other->load;
    m_inside->path = other->path;
    m_inside->given = other->given;
    return *this;
}

CMedia::CMedia(const std::string& path, CMediaPlayer* player) : CMedia(player) {
    if (!path.empty()) {
        SetMediaPath(path);
    }
}

CMedia::CMedia(const std::wstring& path, CMediaPlayer* player) : CMedia(player) {
    if (!path.empty()) {
        SetMediaPath(path);
    }
}

CMedia::CMedia(CMediaPlayer* player) : m_pMediaPlayer(player) {
    m_inside->owner = this;
}

CMedia::CMedia(const CMedia& other) = default;
CMedia& CMedia::operator=(const CMedia& other) = default;

int CMedia::SetMediaPath(const std::string& path) {
    return AnswerOr(0, [&] {
        const std::string narrow = path; // may be the item's own
        return Inside::SetPath(*this, text::ToWide(narrow), narrow);
    });
}

int CMedia::SetMediaPath(const std::wstring& path) {
    return AnswerOr(0, [&] {
        const std::wstring wide = path.substr(0, path.find(L'\0'));
        return Inside::SetPath(*this, wide, text::ToNarrow(wide));
    });
}

int CMedia::Inside::SetPath(CMedia& media, const std::wstring& path, const std::string& narrow) {
    if (IsTaken(path, narrow)) {
        media.m_inside->opening->Abort();
    }
    return Locked(media, 0, [&] {
        if (narrow.empty()) {
            return 0;
        }
        // The flag is this path's even when the path is then refused.
        media.m_isMediaPathURL = IsUrl(narrow);
        if (!IsTaken(path, narrow)) {
            return 0;
        }
        media.m_fileExt.clear();
        media.m_urlProtocol.clear();
        if (media.m_isMediaPathURL) {
            media.m_urlProtocol = text::LowerAscii(narrow.substr(0, narrow.find(':')));
        }
        YMD_LOG_PROGRESS("ymdshow::CMedia::SetMediaPath", "SetMediaPath : %s", narrow.c_str());
        // A load that failed late has given up the graph, not the filters.
        if ((media.m_pGB != nullptr || media.m_pSourceFilter != nullptr) && !TakeDown(media)) {
            return 0;
        }
        if (media.m_hasMediaInfo) {
            media._FreeMediaInfo();
        }
        if (path != media.m_inside->path || narrow != media.m_mediaPath) {
            ForgetFacts(media);
        }
        media.m_inside->path = path;
        media.m_mediaPath = narrow;
        if (media._ReadInfoByMediaIfo() == 0) {
            media._FreeMediaInfo();
        }
        if (media.m_originalVideoTrackNum == 0 && media.m_originalAudioTrackNum == 0) {
            media.m_videoTracks.clear();
            media.m_audioTracks.clear();
        }
        media.m_fileExt = text::LowerAscii(ExtensionOf(media.m_mediaPath));
        return 1;
    });
}

std::wstring CMedia::GetMediaPathW() const {
    return Inside::Locked(*this, std::wstring(), [&] { return m_inside->path; });
}

/// All that is known of a file goes with its path, and with it the rectangles and the clip end
/// that a load derived from it; those that the host chose stay.
void CMedia::Inside::ForgetFacts(CMedia& media) {
    media.m_mediaFormat.clear();
    media.m_originalVideoTrackNum = 0;
    media.m_originalAudioTrackNum = 0;
    media.m_videoInfos.clear();
    media.m_audioInfos.clear();
    Given& given = media.m_inside->given;
    if (media.m_clipStartTime == 0 && (media.m_clipEndTime == media.m_originalDuration ||
                                       media.m_clipEndTime == given.derivedClipEnd)) {
        media.m_clipEndTime = 0;
    }
    std::copy_n(given.clipRange, 4, media.m_videoClipRange);
    std::copy_n(given.displayRange, 4, media.m_videoDisplayRange);
    media.m_originalDuration = 0;
    media.m_durationByMediaInfo = 0;
    media.m_durationBySeeking = 0;
    media.m_frameCount = 0;
    media.m_isLiveStream = false;
    media.m_videoOriginalWidth = 0;
    media.m_videoOriginalHeight = 0;
    media.m_videoOriginalAvgFrameTime = 0;
    media.m_displayAspectRatio = 1.0F;
    media.m_enableDisplayAspectRatio = false;
    media.m_displayRotation = 0.0F;
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

} // namespace ymdshow
