#include <ymdshow/MediaPlayer.h>

#include <algorithm>
#include <memory>

#include <ymdshow/Media.h>
#include <ymdshow/Version.h>

#include "Guard.h"
#include "Text/Text.h"

#define YMD_LOG_SOURCE "src/YMMediaPlayer"
#include "Log.h"

namespace ymdshow {

const char* GetLibraryVersion() {
    return YMDSHOW_VERSION;
}

CMediaPlayer::CMediaPlayer() = default;
CMediaPlayer::CMediaPlayer(const CMediaPlayer& other) = default;
CMediaPlayer& CMediaPlayer::operator=(const CMediaPlayer& other) = default;

CMediaPlayer::~CMediaPlayer() {
    RemoveAllMedias();
    m_coderScheme.UnloadScheme();
    YMD_LOG_PROGRESS("ymdshow::CMediaPlayer::~CMediaPlayer", "CMediaPlayer Destroy");
}

CMedia* CMediaPlayer::AddMedia(const std::string& path, int load) {
    return Add(path, load);
}
CMedia* CMediaPlayer::AddMedia(const std::wstring& path, int load) {
    return Add(path, load);
}

template <class Path> CMedia* CMediaPlayer::Add(const Path& path, int load) {
    return AnswerOr(static_cast<CMedia*>(nullptr), [&]() -> CMedia* {
        m_lastLoad = LoadReport();
        if (path.empty()) {
            m_lastLoad.failure = L"the path is empty";
            m_lastLoad.failureResult = E_INVALIDARG;
            return nullptr;
        }
        auto media = std::make_unique<CMedia>(this);
        if (media->SetMediaPath(path) == 0) {
            m_lastLoad.failureResult = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
            m_lastLoad.failure = ResultText(m_lastLoad.failureResult);
            return nullptr;
        }
        YMD_LOG_PROGRESS("ymdshow::CMediaPlayer::AddMedia", "AddMedia : %s",
                         media->GetMediaPath().c_str());
        if (load != 0) {
            const int loaded = media->Load(nullptr, 0);
            m_lastLoad = media->GetLoadReport();
            if (loaded == 0) {
                media->m_pMediaPlayer = nullptr;
                return nullptr;
            }
        }
        m_medias.push_back(media.get());
        return media.release();
    });
}

bool CMediaPlayer::LoadMedia(CMedia* media) {
    if (media == nullptr) {
        return false;
    }
    const ymlib::CYMAutoLock item(media->m_lock);
    if (item.IsDestroyed()) {
        return false;
    }
    const bool isLoaded = media->Load(&m_coderScheme, 0) == 1;
    if (!item.IsDestroyed()) { // by a window that was told of the item's
        Quietly([&] { m_lastLoad = media->GetLoadReport(); });
    }
    return isLoaded;
}

const LoadReport& CMediaPlayer::GetLastLoadReport() const {
    return m_lastLoad;
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

bool CMediaPlayer::RemoveMedia(const std::string& path) {
    return AnswerOr(false, [&] {
        const std::string narrow = path; // may be that of an item that goes on the way
        const std::wstring wide = text::ToWide(narrow);
        return RemoveEach([&](const CMedia& media) {
            return media.GetMediaPath() == narrow && media.GetMediaPathW() == wide;
        });
    });
}

bool CMediaPlayer::RemoveMedia(const std::wstring& path) {
    return AnswerOr(false, [&] {
        return RemoveEach([&](const CMedia& media) { return media.GetMediaPathW() == path; });
    });
}

template <class Matches> bool CMediaPlayer::RemoveEach(Matches&& matches) {
    const auto wanted = [&](const CMedia* media) { return media != nullptr && matches(*media); };
    bool removed = false;
    for (;;) {
        const auto slot = std::find_if(m_medias.begin(), m_medias.end(), wanted);
        if (slot == m_medias.end()) {
            return removed;
        }
        removed = RemoveMedia(static_cast<unsigned>(slot - m_medias.begin()));
    }
}

bool CMediaPlayer::RemoveMedia(unsigned index) {
    if (index >= m_medias.size()) {
        return false;
    }
    // The slot goes first: a message that is handled while the item ends may look at the list.
    CMedia* const media = m_medias[index];
    m_medias.erase(m_medias.begin() + index);
    // Without its back pointer the destructor leaves the list alone.
    if (media != nullptr) {
        media->m_pMediaPlayer = nullptr;
        delete media;
    }
    return true;
}

bool CMediaPlayer::RemoveMedia(CMedia* media) {
    // Kept: every visited slot is overwritten before it is compared, so a non-null
    // pointer always takes slot 0 and null takes them all.
    for (CMedia*& slot : m_medias) {
        slot = media;
        if (slot != nullptr) {
            return RemoveMedia(0U);
        }
    }
    return false;
}

void CMediaPlayer::RemoveAllMedias() {
    while (RemoveMedia(0U)) {
    }
}

void CMediaPlayer::_NotifyMediaDestroy(CMedia* media) {
    const auto slot = std::find(m_medias.begin(), m_medias.end(), media);
    if (slot != m_medias.end()) {
        m_medias.erase(slot);
        media->m_pMediaPlayer = nullptr;
    }
}

} // namespace ymdshow
