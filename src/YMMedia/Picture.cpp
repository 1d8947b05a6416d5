// The picture: its size, shape and frame time from the graph and the records, and its rectangles.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "YMMedia/Inside.h"
#include "YMMedia/Picture.h"

namespace ymdshow {

namespace {

constexpr double kLongestFrame = 1.0e9;  // seconds; beyond it a value is no frame time
constexpr double kTimeUnit = 10000000.0; // 100 ns units in a second

/// Sizes and offsets outside this range are taken for "not given".
constexpr bool IsPlausiblePixelCount(std::int32_t pixels) {
    return pixels >= 1 && pixels <= 9999;
}

/// Completes a rectangle (left, top, width, height): an implausible origin becomes 0, an
/// implausible size the whole picture.
void CompleteRange(std::int32_t (&range)[4], std::int32_t width, std::int32_t height) {
    const std::int32_t whole[4] = {0, 0, width, height};
    for (int i = 0; i < 4; ++i) {
        if (!IsPlausiblePixelCount(range[i])) {
            range[i] = whole[i];
        }
    }
}

/// Unlike the graph scan, a large disagreement lets the record win here.
void PreferRecord(std::int32_t& value, std::int32_t record) {
    if (record > 0 && (!IsPlausiblePixelCount(value) || std::abs(value - record) >= 4)) {
        value = record;
    }
}

/// The graph shows the record's picture on its side, as the record says it is to be shown.
bool IsTurned(const PictureSize& shown, const VideoInfo& record) {
    const int degrees = static_cast<int>(std::lround(record.rotation));
    return degrees % 180 != 0 && degrees % 90 == 0 && std::abs(shown.width - record.height) < 4 &&
           std::abs(shown.height - record.width) < 4;
}

/// Stores a rectangle that the host gave.
void StoreRange(std::int32_t (&range)[4], std::int32_t (&given)[4], long left, long top, long width,
                long height) {
    const std::int32_t values[4] = {left, top, width, height};
    std::copy_n(values, 4, range);
    std::copy_n(values, 4, given);
}

void ReadRange(const std::int32_t (&range)[4], long* left, long* top, long* width, long* height) {
    long* const targets[4] = {left, top, width, height};
    for (int i = 0; i < 4; ++i) {
        if (targets[i] != nullptr) {
            *targets[i] = range[i];
        }
    }
}

} // namespace

/// Settles the picture's shape by its record.
void CMedia::Inside::TakeRatio(CMedia& media, const VideoInfo& record, std::int32_t width,
                               std::int32_t height) {
    const bool isKnown = record.displayAspectRatio > 0.0F;
    const bool hasSize = width != 0 && height != 0;
    const float pixelRatio =
        hasSize ? static_cast<float>(width) / static_cast<float>(height) : 1.0F;
    media.m_displayAspectRatio = isKnown ? record.displayAspectRatio : pixelRatio;
    media.m_enableDisplayAspectRatio =
        isKnown && hasSize && std::fabs(media.m_displayAspectRatio - pixelRatio) > 0.048F;
}

/// For a graph that tells nothing of its picture.
void CMedia::Inside::TakePictureFromRecord(CMedia& media) {
    if (media.m_originalVideoTrackNum == 0 || media.m_videoInfos.empty()) {
        return;
    }
    const VideoInfo& record = media.m_videoInfos.front();
    media.m_videoOriginalWidth = record.width;
    media.m_videoOriginalHeight = record.height;
    media.m_videoOriginalAvgFrameTime = record.avgFrameTime;
    TakeRatio(media, record, record.width, record.height);
    media.m_displayRotation = record.rotation;
}

/// What is missing when the scan has found the first picture.
void CMedia::Inside::CompletePicture(CMedia& media, std::uint32_t knownVideoTracks) {
    std::int32_t& width = media.m_videoOriginalWidth;
    std::int32_t& height = media.m_videoOriginalHeight;
    if (media.m_originalVideoTrackNum == 0 || media.m_videoInfos.empty() ||
        (knownVideoTracks != 0 && width != 0 && height != 0)) {
        return;
    }
    const VideoInfo& first = media.m_videoInfos.front();
    width = width < 1 ? first.width : width;
    height = height < 1 ? first.height : height;
    CompleteRange(media.m_videoDisplayRange, width, height);
}

int CMedia::_ReadAndSetByIBasicVideo() {
    long width = 0;
    long height = 0;
    if (m_pBasicVideo == nullptr || FAILED(m_pBasicVideo->get_SourceWidth(&width)) ||
        FAILED(m_pBasicVideo->get_SourceHeight(&height))) {
        return 0;
    }
    const PictureSize size =
        CorrectedPictureSize({width, height}, m_fix1088Height, m_evenVideoSize);
    m_videoOriginalWidth = size.width;
    m_videoOriginalHeight = size.height;
    const VideoInfo* const record =
        m_originalVideoTrackNum > 0 && !m_videoInfos.empty() ? &m_videoInfos.front() : nullptr;
    if (record != nullptr) {
        PreferRecord(m_videoOriginalWidth, record->width);
        PreferRecord(m_videoOriginalHeight, record->height);
        Inside::TakeRatio(*this, *record, m_videoOriginalWidth, m_videoOriginalHeight);
    }
    double seconds = 0.0;
    const bool timed = SUCCEEDED(m_pBasicVideo->get_AvgTimePerFrame(&seconds));
    if (timed && std::fabs(seconds) < kLongestFrame) {
        m_videoOriginalAvgFrameTime = static_cast<std::int64_t>(seconds * kTimeUnit);
    }
    if (record != nullptr && record->avgFrameTime >= 1) {
        // Kept: a frame duration is compared with a frame rate, so that for any ordinary
        // rate the record's value wins.
        const double rate = kTimeUnit / static_cast<double>(record->avgFrameTime);
        if (!timed || std::fabs(seconds - rate) > 2.0) {
            m_videoOriginalAvgFrameTime = record->avgFrameTime;
        }
    }
    // The record's sides would cut a picture that the graph has turned.
    PictureSize shown{m_videoOriginalWidth, m_videoOriginalHeight};
    if (record != nullptr && IsTurned(size, *record)) {
        std::int32_t(&display)[4] = m_videoDisplayRange;
        if (display[2] == shown.width && display[3] == shown.height) {
            display[2] = size.width;
            display[3] = size.height;
        }
        shown = size;
    }
    CompleteRange(m_videoClipRange, shown.width, shown.height);
    m_pBasicVideo->put_SourceLeft(m_videoClipRange[0]);
    m_pBasicVideo->put_SourceTop(m_videoClipRange[1]);
    m_pBasicVideo->put_SourceWidth(m_videoClipRange[2]);
    m_pBasicVideo->put_SourceHeight(m_videoClipRange[3]);
    CompleteRange(m_videoDisplayRange, shown.width, shown.height);
    m_pBasicVideo->put_DestinationLeft(m_videoDisplayRange[0]);
    m_pBasicVideo->put_DestinationTop(m_videoDisplayRange[1]);
    m_pBasicVideo->put_DestinationWidth(m_videoDisplayRange[2]);
    m_pBasicVideo->put_DestinationHeight(m_videoDisplayRange[3]);
    return 1;
}

bool CMedia::SetVideoClipRange(long left, long top, long width, long height) {
    return Inside::OnGraph(*this, false, [&] {
        StoreRange(m_videoClipRange, m_inside->given.clipRange, left, top, width, height);
        return m_pBasicVideo != nullptr &&
               SUCCEEDED(m_pBasicVideo->SetSourcePosition(left, top, width, height));
    });
}

bool CMedia::SetVideoDisplayRange(long left, long top, long width, long height) {
    return Inside::OnGraph(*this, false, [&] {
        StoreRange(m_videoDisplayRange, m_inside->given.displayRange, left, top, width, height);
        return m_pBasicVideo != nullptr &&
               SUCCEEDED(m_pBasicVideo->SetDestinationPosition(left, top, width, height));
    });
}

void CMedia::GetVideoClipRange(long* left, long* top, long* width, long* height) const {
    Inside::Locked(*this, [&] { ReadRange(m_videoClipRange, left, top, width, height); });
}

void CMedia::GetVideoDisplayRange(long* left, long* top, long* width, long* height) const {
    Inside::Locked(*this, [&] { ReadRange(m_videoDisplayRange, left, top, width, height); });
}

float CMedia::GetDisplayAspectRatio() const {
    return m_displayAspectRatio;
}
float CMedia::GetDisplayRotation() const {
    return m_displayRotation;
}
bool CMedia::IsEnableDisplayAspectRatio() const {
    return m_enableDisplayAspectRatio;
}
long CMedia::GetVideoOriginalWidth() const {
    return m_videoOriginalWidth;
}
long CMedia::GetVideoOriginalHeight() const {
    return m_videoOriginalHeight;
}
const std::int64_t& CMedia::GetVideoOiginalAvgFrameTime() const {
    return m_videoOriginalAvgFrameTime;
}

} // namespace ymdshow
