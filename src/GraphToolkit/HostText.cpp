// Text for hosts.

#include <ymdshow/Text.h>

#include <windows.h>

#include <dshow.h>

#include <algorithm>
#include <array>

#include "Guard.h"
#include "Text/Text.h"

namespace ymdshow {

std::wstring NarrowToWide(const std::string& narrow) {
    return AnswerOr(std::wstring(), [&] { return text::ToWide(narrow); });
}

std::string WideToNarrow(const std::wstring& wide, bool* isLossy) {
    return AnswerOr(std::string(), [&] { return text::ToNarrow(wide, isLossy); });
}

std::wstring Utf8ToWide(const std::string& utf8) {
    return AnswerOr(std::wstring(), [&] { return text::DecodeUtf8(utf8, text::Utf8::Full); });
}

std::string WideToUtf8(const std::wstring& wide) {
    return AnswerOr(std::string(), [&] { return text::EncodeUtf8(wide, text::Utf8::Full); });
}

std::wstring GuidText(const GUID& guid) {
    std::array<wchar_t, 39> text{};
    StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
    return AnswerOr(std::wstring(), [&] { return std::wstring(text.data()); });
}

std::wstring EventText(long eventCode) {
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
                                    [&](const Name& name) { return name.code == eventCode; });
    return AnswerOr(std::wstring(), [&]() -> std::wstring {
        return known == std::end(kNames) ? L"event " + std::to_wstring(eventCode) : known->name;
    });
}

} // namespace ymdshow
