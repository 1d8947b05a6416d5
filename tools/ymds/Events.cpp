#include "Events.h"

#include <algorithm>

namespace ymds {

int EventQueue::OnEvent(ymdshow::CMedia*, void* user, long code, std::int64_t param1,
                        std::int64_t param2) {
    auto* queue = static_cast<EventQueue*>(user);
    const unsigned written = queue->m_written.load(std::memory_order_relaxed);
    if (written - queue->m_taken.load(std::memory_order_acquire) >= kCapacity) {
        queue->m_lost.fetch_add(1);
        return 0;
    }
    queue->m_events[written % kCapacity] = {code, param1, param2};
    queue->m_written.store(written + 1, std::memory_order_release);
    return 0;
}

bool EventQueue::Take(Event& event) {
    const unsigned taken = m_taken.load(std::memory_order_relaxed);
    if (taken == m_written.load(std::memory_order_acquire)) {
        return false;
    }
    event = m_events[taken % kCapacity];
    m_taken.store(taken + 1, std::memory_order_release);
    return true;
}

void Count(std::vector<EventCount>& counts, long code) {
    const auto known = std::find_if(counts.begin(), counts.end(),
                                    [&](const EventCount& c) { return c.code == code; });
    if (known == counts.end()) {
        counts.push_back({code, 1});
    } else {
        ++known->count;
    }
}

std::wstring EventName(long code) {
    struct Name {
        long code;
        const wchar_t* name;
    };
    static constexpr Name kNames[] = {
        {EC_COMPLETE, L"EC_COMPLETE"},
        {EC_USERABORT, L"EC_USERABORT"},
        {EC_ERRORABORT, L"EC_ERRORABORT"},
        {EC_TIME, L"EC_TIME"},
        {EC_REPAINT, L"EC_REPAINT"},
        {EC_STREAM_ERROR_STOPPED, L"EC_STREAM_ERROR_STOPPED"},
        {EC_STREAM_ERROR_STILLPLAYING, L"EC_STREAM_ERROR_STILLPLAYING"},
        {EC_ERROR_STILLPLAYING, L"EC_ERROR_STILLPLAYING"},
        {EC_PALETTE_CHANGED, L"EC_PALETTE_CHANGED"},
        {EC_VIDEO_SIZE_CHANGED, L"EC_VIDEO_SIZE_CHANGED"},
        {EC_QUALITY_CHANGE, L"EC_QUALITY_CHANGE"},
        {EC_SHUTTING_DOWN, L"EC_SHUTTING_DOWN"},
        {EC_CLOCK_CHANGED, L"EC_CLOCK_CHANGED"},
        {EC_PAUSED, L"EC_PAUSED"},
        {EC_OPENING_FILE, L"EC_OPENING_FILE"},
        {EC_BUFFERING_DATA, L"EC_BUFFERING_DATA"},
        {EC_FULLSCREEN_LOST, L"EC_FULLSCREEN_LOST"},
        {EC_ACTIVATE, L"EC_ACTIVATE"},
        {EC_NEED_RESTART, L"EC_NEED_RESTART"},
        {EC_WINDOW_DESTROYED, L"EC_WINDOW_DESTROYED"},
        {EC_DISPLAY_CHANGED, L"EC_DISPLAY_CHANGED"},
        {EC_STARVATION, L"EC_STARVATION"},
        {EC_NOTIFY_WINDOW, L"EC_NOTIFY_WINDOW"},
        {EC_STREAM_CONTROL_STOPPED, L"EC_STREAM_CONTROL_STOPPED"},
        {EC_STREAM_CONTROL_STARTED, L"EC_STREAM_CONTROL_STARTED"},
        {EC_END_OF_SEGMENT, L"EC_END_OF_SEGMENT"},
        {EC_SEGMENT_STARTED, L"EC_SEGMENT_STARTED"},
        {EC_LENGTH_CHANGED, L"EC_LENGTH_CHANGED"},
        {EC_DEVICE_LOST, L"EC_DEVICE_LOST"},
        {EC_STEP_COMPLETE, L"EC_STEP_COMPLETE"},
        {EC_GRAPH_CHANGED, L"EC_GRAPH_CHANGED"},
        {EC_CLOCK_UNSET, L"EC_CLOCK_UNSET"},
        {EC_STATE_CHANGE, L"EC_STATE_CHANGE"},
    };
    const auto known = std::find_if(std::begin(kNames), std::end(kNames),
                                    [&](const Name& name) { return name.code == code; });
    return known == std::end(kNames) ? L"event " + std::to_wstring(code) : known->name;
}

} // namespace ymds
