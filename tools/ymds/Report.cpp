#include "Report.h"

#include <ymlib/Json.h>

#include "JsonText.h"
#include "Text.h"

namespace ymds {

namespace {

void Line(std::wstring& text, const wchar_t* label, const std::wstring& value) {
    std::wstring head = label;
    head.resize(12, L' ');
    text += head + value + L"\n";
}

std::wstring Tracks(unsigned video, unsigned audio) {
    return std::to_wstring(video) + L" video, " + std::to_wstring(audio) + L" audio";
}

std::wstring EventsText(const std::map<long, unsigned>& events) {
    std::wstring text;
    for (const auto& [code, count] : events) {
        text += (text.empty() ? L"" : L", ") + ymdshow::EventText(code);
        text += count > 1 ? L" x" + std::to_wstring(count) : L"";
    }
    return text.empty() ? L"none" : text;
}

Json::Value Utf8(const std::wstring& text) {
    return Json::Value(ymdshow::WideToUtf8(text));
}

/// Null for an empty text.
Json::Value Utf8OrNull(const std::wstring& text) {
    return text.empty() ? Json::Value() : Utf8(text);
}

Json::Value FiltersJson(const std::vector<ymdshow::FilterDescription>& filters) {
    Json::Value list(Json::arrayValue);
    for (const auto& filter : filters) {
        Json::Value entry;
        entry["name"] = Utf8(filter.name);
        entry["clsid"] = Utf8(ymdshow::GuidText(filter.clsid));
        entry["file"] = filter.isFromModule ? Json::Value() : Utf8OrNull(filter.file);
        entry["module"] = filter.isFromModule ? Utf8(filter.file) : Json::Value();
        list.append(entry);
    }
    return list;
}

Json::Value EventsJson(const std::map<long, unsigned>& events) {
    Json::Value list(Json::arrayValue);
    for (const auto& [code, count] : events) {
        Json::Value entry;
        entry["code"] = static_cast<Json::Int64>(code);
        entry["name"] = Utf8(ymdshow::EventText(code));
        entry["count"] = count;
        list.append(entry);
    }
    return list;
}

Json::Value LoadJson(const ymdshow::LoadReport& load) {
    Json::Value names(Json::arrayValue);
    for (const auto& name : load.names) {
        Json::Value entry;
        entry["name"] = Utf8(name.name);
        entry["found"] = name.found;
        names.append(entry);
    }
    Json::Value filters(Json::arrayValue);
    for (const auto& filter : load.filters) {
        Json::Value entry;
        entry["name"] = Utf8(filter.name);
        entry["clsid"] = Utf8(ymdshow::GuidText(filter.clsid));
        entry["module"] = Utf8OrNull(filter.module);
        entry["created"] = filter.created;
        entry["added"] = filter.added;
        entry["result"] = Utf8(Hex(filter.result));
        filters.append(entry);
    }
    Json::Value attempts(Json::arrayValue);
    for (const auto& attempt : load.attempts) {
        Json::Value entry;
        entry["way"] = attempt.way;
        entry["step"] = Utf8(attempt.step);
        entry["filter"] = Utf8OrNull(attempt.filter);
        entry["result"] = Utf8(Hex(attempt.result));
        entry["text"] = Utf8(attempt.text);
        attempts.append(entry);
    }
    Json::Value value;
    value["names"] = names;
    value["filters"] = filters;
    value["attempts"] = attempts;
    return value;
}

} // namespace

std::wstring ReportText(const PlayReport& report) {
    std::wstring text;
    Line(text, L"Path", report.path);
    Line(text, L"Duration", report.duration > 0 ? Clock(report.duration) : L"not known");
    Line(text, L"Tracks", Tracks(report.videoTracks, report.audioTracks));
    if (report.width > 0) {
        Line(text, L"Picture",
             std::to_wstring(report.width) + L"x" + std::to_wstring(report.height));
    }
    Line(text, L"Filters", std::to_wstring(report.filters.size()));
    unsigned number = 0;
    for (const auto& filter : report.filters) {
        text += L"  " + std::to_wstring(++number) + L" " + filter.name + L"\n      " +
                ymdshow::GuidText(filter.clsid);
        text += filter.isFromModule ? L"  from module " : filter.file.empty() ? L"" : L"  ";
        text += filter.file + L"\n";
    }
    Line(text, L"Events", EventsText(report.events));
    Line(text, L"Played",
         Clock(report.played) + (report.end.empty() ? L"" : L" (" + report.end + L")"));
    Line(text, L"Snapshot",
         report.snapshot.empty() ? L"none: " + report.snapshotNote : report.snapshot);
    return text;
}

std::wstring ReportJson(const PlayReport& report) {
    Json::Value value;
    value["path"] = Utf8(report.path);
    value["loaded"] = report.loaded;
    value["error"] = Utf8OrNull(report.error);
    value["error_result"] =
        FAILED(report.errorResult) ? Utf8(Hex(report.errorResult)) : Json::Value();
    value["end"] = Utf8OrNull(report.end);
    value["duration_ms"] = static_cast<Json::Int64>(Milliseconds(report.duration));
    value["played_ms"] = static_cast<Json::Int64>(Milliseconds(report.played));
    value["video_tracks"] = report.videoTracks;
    value["audio_tracks"] = report.audioTracks;
    value["width"] = static_cast<Json::Int64>(report.width);
    value["height"] = static_cast<Json::Int64>(report.height);
    value["filters"] = FiltersJson(report.filters);
    value["events"] = EventsJson(report.events);
    value["snapshot"] = Utf8OrNull(report.snapshot);
    value["snapshot_note"] = Utf8OrNull(report.snapshotNote);
    value["load"] = LoadJson(report.load);
    return JsonText(value);
}

} // namespace ymds
