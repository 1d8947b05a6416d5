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

bool FileExists(const std::string& path) {
    const std::wstring wide = text::ToWide(path);
    return !wide.empty() && _waccess(wide.c_str(), 0) == 0;
}

bool IsUrl(const std::string& path) {
    return path.find("://") != std::string::npos;
}

bool IsTaken(const std::string& path) {
    return !path.empty() && (IsUrl(path) || FileExists(path));
}

} // namespace

CMedia::Inside::Inside() : events(std::make_unique<EventThread>(*this)) {}
CMedia::Inside::~Inside() = default;

CMedia::InsidePointer::InsidePointer() : m_inside(new Inside) {}
CMedia::InsidePointer::~InsidePointer() {
    delete m_inside;
}
CMedia::InsidePointer::InsidePointer(const InsidePointer& other) : InsidePointer() {
    *this = other;
}
CMedia::InsidePointer& CMedia::InsidePointer::operator=(const InsidePointer& other) {
    m_inside->load = other->load;
    m_inside->given = other->given;
    return *this;
}

CMedia::CMedia(const std::string& path, CMediaPlayer* player) : m_pMediaPlayer(player) {
    if (!path.empty()) {
        SetMediaPath(path);
    }
}

CMedia::CMedia(CMediaPlayer* player) : m_pMediaPlayer(player) {}

CMedia::CMedia(const CMedia& other) = default;
CMedia& CMedia::operator=(const CMedia& other) = default;

int CMedia::SetMediaPath(const std::string& path) {
    if (IsTaken(path)) {
        m_inside->opening->Abort();
    }
    return Inside::Locked(*this, 0, [&] {
        if (path.empty()) {
            return 0;
        }
        const std::string wanted = path; // may be the item's own
        // The flag is this path's even when the path is then refused.
        m_isMediaPathURL = IsUrl(wanted);
        if (!IsTaken(wanted)) {
            return 0;
        }
        m_fileExt.clear();
        m_urlProtocol.clear();
        if (m_isMediaPathURL) {
            m_urlProtocol = text::LowerAscii(wanted.substr(0, wanted.find(':')));
        }
        YMD_LOG_PROGRESS("ymdshow::CMedia::SetMediaPath", "SetMediaPath : %s", wanted.c_str());
        // A load that failed late has given up the graph, not the filters.
        if ((m_pGB != nullptr || m_pSourceFilter != nullptr) && !Inside::TakeDown(*this)) {
            return 0;
        }
        if (m_hasMediaInfo) {
            _FreeMediaInfo();
        }
        if (wanted != m_mediaPath) {
            Inside::ForgetFacts(*this);
        }
        m_mediaPath = wanted;
        if (_ReadInfoByMediaIfo() == 0) {
            _FreeMediaInfo();
        }
        if (m_originalVideoTrackNum == 0 && m_originalAudioTrackNum == 0) {
            m_videoTracks.clear();
            m_audioTracks.clear();
        }
        m_fileExt = text::LowerAscii(ExtensionOf(m_mediaPath));
        return 1;
    });
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
