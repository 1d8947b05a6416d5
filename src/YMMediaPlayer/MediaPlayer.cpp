#include <ymdshow/MediaPlayer.h>

#include <algorithm>
#include <memory>
#include <new>

#include <ymdshow/Media.h>

#define YMD_LOG_SOURCE "src/YMMediaPlayer"
#include "Log.h"

namespace ymdshow {

CMediaPlayer::CMediaPlayer() = default;
CMediaPlayer::CMediaPlayer(const CMediaPlayer& other) = default;
CMediaPlayer& CMediaPlayer::operator=(const CMediaPlayer& other) = default;

CMediaPlayer::~CMediaPlayer() {
    RemoveAllMedias();
    m_coderScheme.UnloadScheme();
    YMD_LOG_PROGRESS("ymdshow::CMediaPlayer::~CMediaPlayer", "CMediaPlayer Destroy");
}

CMedia* CMediaPlayer::AddMedia(const std::string& path, int load) {
    if (path.empty()) {
        return nullptr;
    }
    std::unique_ptr<CMedia> media(new (std::nothrow) CMedia(this));
    if (media == nullptr || media->SetMediaPath(path) == 0) {
        return nullptr;
    }
    YMD_LOG_PROGRESS("ymdshow::CMediaPlayer::AddMedia", "AddMedia : %s", path.c_str());
    if (load != 0 && media->Load(nullptr, 0) == 0) {
        media->m_pMediaPlayer = nullptr;
        return nullptr;
    }
    try {
        m_medias.push_back(media.get());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return media.release();
}

bool CMediaPlayer::LoadMedia(CMedia* media) {
    return media != nullptr && media->Load(&m_coderScheme, 0) == 1;
}

CCoderScheme& CMediaPlayer::GetCoderScheme() {
    return m_coderScheme;
}

CMedia* CMediaPlayer::GetMedia(unsigned index) {
    return index < m_medias.size() ? m_medias[index] : nullptr;
}

unsigned CMediaPlayer::GetMediaNum() const {
    return static_cast<unsigned>(m_medias.size());
}

bool CMediaPlayer::RemoveMedia(const std::string& path) try {
    // The caller's text may be that of a media item that is deleted on the way.
    const std::string wanted = path;
    bool removed = false;
    for (std::size_t i = 0; i < m_medias.size();) {
        CMedia* const media = m_medias[i];
        if (media != nullptr && media->GetMediaPath() == wanted) {
            RemoveMedia(static_cast<unsigned>(i));
            removed = true;
        } else {
            ++i;
        }
    }
    return removed;
} catch (const std::bad_alloc&) {
    return false;
}

bool CMediaPlayer::RemoveMedia(unsigned index) {
    if (index >= m_medias.size()) {
        return false;
    }
    CMedia* const media = m_medias[index];
    // Without its back pointer the destructor leaves the list alone.
    if (media != nullptr) {
        media->m_pMediaPlayer = nullptr;
        delete media;
    }
    m_medias.erase(m_medias.begin() + index);
    return true;
}

bool CMediaPlayer::RemoveMedia(CMedia* media) {
    // Kept: every visited slot is overwritten before it is compared, so a non-null
    // pointer always takes slot 0 and null takes them all.
    for (auto slot = m_medias.begin(); slot != m_medias.end(); ++slot) {
        *slot = media;
        if (*slot != nullptr) {
            media->m_pMediaPlayer = nullptr;
            delete media;
            m_medias.erase(slot);
            return true;
        }
    }
    return false;
}

void CMediaPlayer::RemoveAllMedias() {
    for (CMedia* media : m_medias) {
        if (media != nullptr) {
            media->m_pMediaPlayer = nullptr;
            delete media;
        }
    }
    m_medias.clear();
}

void CMediaPlayer::_NotifyMediaDestroy(CMedia* media) {
    const auto slot = std::find(m_medias.begin(), m_medias.end(), media);
    if (slot != m_medias.end()) {
        m_medias.erase(slot);
        media->m_pMediaPlayer = nullptr;
    }
}

} // namespace ymdshow
