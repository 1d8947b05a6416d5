// The duration, chosen from the three sources.

#include <algorithm>

#include "YMMedia/Inside.h"
#include "YMMedia/Picture.h"

namespace ymdshow {

namespace {

constexpr std::int32_t kDurationTolerance = 300000000; // 30 s
constexpr std::int64_t kLiveStreamBound = 10000000;    // 1 s

/// The source duration of the first enabled stream; a kind without an enabled track counts
/// as its first.
template <class Info>
std::int64_t SourceDuration(const std::vector<Info>& infos, int firstEnabled) {
    const auto index = static_cast<std::size_t>(std::max(firstEnabled, 0));
    return index < infos.size() ? infos[index].sourceDuration : 0;
}

std::int64_t Median(std::int64_t a, std::int64_t b, std::int64_t c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

} // namespace

void CMedia::_ReadAndSetByIMediaSeeking() {
    DWORD capabilities = 0;
    if (m_pMediaSeeking == nullptr || FAILED(m_pMediaSeeking->GetCapabilities(&capabilities)) ||
        (capabilities & AM_SEEKING_CanGetDuration) == 0) {
        return;
    }
    m_durationBySeeking = 0;
    GUID format{};
    if (FAILED(m_pMediaSeeking->GetTimeFormat(&format))) {
        if (SUCCEEDED(m_pMediaSeeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))) {
            m_pMediaSeeking->GetDuration(&m_durationBySeeking);
        }
        return;
    }
    if (format == TIME_FORMAT_FRAME) {
        m_pMediaSeeking->GetDuration(&m_frameCount);
    }
    if (format == TIME_FORMAT_MEDIA_TIME ||
        SUCCEEDED(m_pMediaSeeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))) {
        m_pMediaSeeking->GetDuration(&m_durationBySeeking);
    }
    if (m_frameCount < 1 && SUCCEEDED(m_pMediaSeeking->SetTimeFormat(&TIME_FORMAT_FRAME))) {
        m_pMediaSeeking->GetDuration(&m_frameCount);
    }
    if (m_pMediaSeeking->IsUsingTimeFormat(&format) != S_OK) {
        m_pMediaSeeking->SetTimeFormat(&format);
    }
}

void CMedia::_CheckAndSetDuration() {
    std::int64_t stream = 0;
    if (m_originalVideoTrackNum > 0) {
        stream = SourceDuration(m_videoInfos, GetFirstEnabledVideoTrackIndex());
    }
    if (m_originalAudioTrackNum > 0) {
        stream = std::max(stream, SourceDuration(m_audioInfos, GetFirstEnabledAudioTrackIndex()));
    }
    const std::int64_t seeking = m_durationBySeeking;
    if (seeking > 0) {
        const std::int64_t median = Median(m_durationByMediaInfo, stream, seeking);
        m_originalDuration = LowDistance(seeking, median) < kDurationTolerance ? seeking : median;
    } else {
        m_originalDuration = std::max(m_durationByMediaInfo, stream);
    }
    if (m_originalDuration < 1 && m_isMediaPathURL && m_originalDuration < kLiveStreamBound) {
        m_isLiveStream = true;
    }
}

} // namespace ymdshow
