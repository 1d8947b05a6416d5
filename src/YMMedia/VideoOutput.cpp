#include <atomic>
#include <cmath>
#include <cstdlib>

#include <ymdshow/Media.h>

#include "YMMedia/EventHold.h"
#include "YMMedia/PictureRange.h"
#include "YMMedia/PictureSize.h"
#include "YMMedia/Support.h"

namespace ymdshow {

namespace {

constexpr long kChildStyle = WS_CHILD | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;
constexpr double kLongestFrame = 1.0e9;  // seconds; beyond it a value is no frame time
constexpr double kTimeUnit = 10000000.0; // 100 ns units in a second

/// Unlike the graph scan, a large disagreement lets the record win here.
void PreferRecord(std::int32_t& value, std::int32_t record) {
    if (record > 0 && (!IsPlausiblePixelCount(value) || std::abs(value - record) >= 4)) {
        value = record;
    }
}

void StoreRange(std::int32_t (&range)[4], long left, long top, long width, long height) {
    range[0] = left;
    range[1] = top;
    range[2] = width;
    range[3] = height;
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

void CMedia::SetPlayWindow(HWND window) {
    const ItemLock lock(*this);
    std::atomic_ref<HWND>(m_playWindow).store(window); // the event thread reads it
    if (m_pVideoWindow == nullptr) {
        return;
    }
    m_pVideoWindow->put_MessageDrain(reinterpret_cast<OAHWND>(window));
    m_pVideoWindow->put_Visible(OAFALSE);
    if (window == nullptr || m_videoTrackNum == 0) {
        m_pVideoWindow->put_Owner(0);
        return;
    }
    m_pVideoWindow->put_WindowStyle(kChildStyle);
    m_pVideoWindow->put_Owner(reinterpret_cast<OAHWND>(window));
    RECT client{};
    GetClientRect(window, &client);
    m_pVideoWindow->SetWindowPosition(client.left, client.top, client.right - client.left,
                                      client.bottom - client.top);
    m_pVideoWindow->put_Visible(OATRUE);
    m_pVideoWindow->SetWindowForeground(OATRUE);
}

bool CMedia::SetVideoClipRange(long left, long top, long width, long height) {
    const ItemLock lock(*this);
    StoreRange(m_videoClipRange, left, top, width, height);
    StoreRange(m_givenClipRange, left, top, width, height);
    return m_pBasicVideo != nullptr &&
           SUCCEEDED(m_pBasicVideo->SetSourcePosition(left, top, width, height));
}

bool CMedia::SetVideoDisplayRange(long left, long top, long width, long height) {
    const ItemLock lock(*this);
    StoreRange(m_videoDisplayRange, left, top, width, height);
    StoreRange(m_givenDisplayRange, left, top, width, height);
    return m_pBasicVideo != nullptr &&
           SUCCEEDED(m_pBasicVideo->SetDestinationPosition(left, top, width, height));
}

void CMedia::GetVideoClipRange(long* left, long* top, long* width, long* height) const {
    const ItemLock lock(*this);
    ReadRange(m_videoClipRange, left, top, width, height);
}

void CMedia::GetVideoDisplayRange(long* left, long* top, long* width, long* height) const {
    const ItemLock lock(*this);
    ReadRange(m_videoDisplayRange, left, top, width, height);
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

int CMedia::GetCurrentImageData(BYTE* buffer, long* size) {
    const ItemLock lock(*this);
    return m_pBasicVideo != nullptr && (buffer != nullptr || size != nullptr) &&
                   SUCCEEDED(m_pBasicVideo->GetCurrentImage(size, reinterpret_cast<long*>(buffer)))
               ? 1
               : 0;
}

long CMedia::GetCurrentImageDataSize() {
    const ItemLock lock(*this);
    long size = 0;
    return m_pBasicVideo != nullptr && SUCCEEDED(m_pBasicVideo->GetCurrentImage(&size, nullptr))
               ? size
               : 0;
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
        const float pixelRatio =
            static_cast<float>(m_videoOriginalWidth) / static_cast<float>(m_videoOriginalHeight);
        const bool known = record->displayAspectRatio > 0.0F;
        m_displayAspectRatio = known ? record->displayAspectRatio : pixelRatio;
        m_enableDisplayAspectRatio = known && std::fabs(m_displayAspectRatio - pixelRatio) > 0.048F;
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
    CompleteRange(m_videoClipRange, m_videoOriginalWidth, m_videoOriginalHeight);
    m_pBasicVideo->put_SourceLeft(m_videoClipRange[0]);
    m_pBasicVideo->put_SourceTop(m_videoClipRange[1]);
    m_pBasicVideo->put_SourceWidth(m_videoClipRange[2]);
    m_pBasicVideo->put_SourceHeight(m_videoClipRange[3]);
    CompleteRange(m_videoDisplayRange, m_videoOriginalWidth, m_videoOriginalHeight);
    m_pBasicVideo->put_DestinationLeft(m_videoDisplayRange[0]);
    m_pBasicVideo->put_DestinationTop(m_videoDisplayRange[1]);
    m_pBasicVideo->put_DestinationWidth(m_videoDisplayRange[2]);
    m_pBasicVideo->put_DestinationHeight(m_videoDisplayRange[3]);
    return 1;
}

} // namespace ymdshow
