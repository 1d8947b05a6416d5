#include "Info.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <ymdshow/ymdshow.h>
#include <ymlib/Json.h>

#include "Console.h"
#include "JsonText.h"
#include "MediaPath.h"
#include "Schemes.h"
#include "Text.h"

namespace ymds {

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

/// The facts of one stream, or of the file.
struct Section {
    std::wstring name;
    std::vector<std::pair<std::wstring, std::wstring>> facts;
};

/// A key without a value opens a section.
std::vector<Section> Sections(const Pairs& pairs) {
    std::vector<Section> sections;
    for (const auto& [key, value] : pairs) {
        if (value.empty() || sections.empty()) {
            sections.push_back({ymdshow::NarrowToWide(key), {}});
        }
        if (!value.empty()) {
            sections.back().facts.emplace_back(ymdshow::NarrowToWide(key),
                                               ymdshow::NarrowToWide(value));
        }
    }
    return sections;
}

std::wstring Table(const std::vector<Section>& sections) {
    std::size_t width = 0;
    for (const Section& section : sections) {
        for (const auto& fact : section.facts) {
            width = std::max(width, fact.first.size());
        }
    }
    std::wstring text;
    for (const Section& section : sections) {
        text += (text.empty() ? L"" : L"\n") + section.name + L"\n";
        for (auto [key, value] : section.facts) {
            key.resize(width + 2, L' ');
            text += L"  " + key + value + L"\n";
        }
    }
    return text;
}

/// What the library itself settled on, which a loaded graph has corrected.
struct Facts {
    bool loaded = false;
    std::wstring failure;
    std::int64_t duration = 0;
    unsigned videoTracks = 0;
    unsigned audioTracks = 0;
    long width = 0;
    long height = 0;
    double aspectRatio = 0;
    double rotation = 0;
    std::int64_t frameTime = 0;
};

Facts Read(ymdshow::CMediaPlayer& player, ymdshow::CMedia& media) {
    Facts facts;
    facts.loaded = player.LoadMedia(&media);
    const ymdshow::LoadReport& report = media.GetLoadReport();
    if (!facts.loaded) {
        facts.failure = Reason(report.failure, report.failureResult);
    }
    facts.videoTracks = facts.loaded ? media.GetVideoTrackNum() : media.GetOriginalVideoTrackNum();
    facts.audioTracks = facts.loaded ? media.GetAudioTrackNum() : media.GetOriginalAudioTrackNum();
    facts.duration = media.GetOriginalDuration();
    if (facts.videoTracks > 0) {
        facts.width = media.GetVideoOriginalWidth();
        facts.height = media.GetVideoOriginalHeight();
        facts.aspectRatio = static_cast<double>(media.GetDisplayAspectRatio());
        facts.rotation = static_cast<double>(media.GetDisplayRotation());
        facts.frameTime = media.GetVideoOiginalAvgFrameTime();
    }
    return facts;
}

std::wstring Decimal(double value) {
    const auto thousandths = static_cast<long long>(value * 1000 + 0.5);
    std::wstring fraction = std::to_wstring(thousandths % 1000);
    fraction.insert(0, 3 - fraction.size(), L'0');
    return std::to_wstring(thousandths / 1000) + L"." + fraction;
}

Section PlayerSection(const Facts& facts) {
    Section section{L"Playback", {}};
    const auto add = [&](const wchar_t* key, std::wstring value) {
        section.facts.emplace_back(key, std::move(value));
    };
    add(L"Can be played", facts.loaded ? L"yes" : L"no: " + facts.failure);
    add(L"Duration", facts.duration > 0 ? Clock(facts.duration) : L"not known");
    add(L"Video tracks", std::to_wstring(facts.videoTracks));
    add(L"Audio tracks", std::to_wstring(facts.audioTracks));
    if (facts.width > 0) {
        add(L"Picture", std::to_wstring(facts.width) + L"x" + std::to_wstring(facts.height));
        add(L"Display aspect ratio", Decimal(facts.aspectRatio));
        add(L"Rotation", Decimal(facts.rotation));
    }
    if (facts.frameTime > 0) {
        add(L"Frame rate", Decimal(1e7 / static_cast<double>(facts.frameTime)));
    }
    return section;
}

Json::Value InfoJson(const std::wstring& path, const Facts& facts,
                     const std::vector<Section>& sections) {
    Json::Value value;
    value["path"] = ymdshow::WideToUtf8(path);
    value["loaded"] = facts.loaded;
    value["error"] = facts.loaded ? Json::Value() : Json::Value(ymdshow::WideToUtf8(facts.failure));
    value["duration_ms"] = static_cast<Json::Int64>(Milliseconds(facts.duration));
    value["video_tracks"] = facts.videoTracks;
    value["audio_tracks"] = facts.audioTracks;
    value["width"] = static_cast<Json::Int64>(facts.width);
    value["height"] = static_cast<Json::Int64>(facts.height);
    value["display_aspect_ratio"] = facts.aspectRatio;
    value["rotation"] = facts.rotation;
    value["frame_rate"] = facts.frameTime > 0 ? 1e7 / static_cast<double>(facts.frameTime) : 0.0;
    Json::Value list(Json::arrayValue);
    for (const Section& section : sections) {
        Json::Value entry;
        entry["name"] = ymdshow::WideToUtf8(section.name);
        Json::Value values(Json::objectValue);
        for (const auto& [key, text] : section.facts) {
            values[ymdshow::WideToUtf8(key)] = ymdshow::WideToUtf8(text);
        }
        entry["facts"] = values;
        list.append(entry);
    }
    value["media_info"] = list;
    return value;
}

int Refuse(const InfoOptions& options, const std::wstring& reason) {
    if (options.json) {
        Facts facts;
        facts.failure = reason;
        Out().Write(JsonText(InfoJson(options.file, facts, {})));
    }
    Complain(L"cannot read " + options.file + L": " + reason);
    return kExitFailed;
}

} // namespace

int Info(const InfoOptions& options) {
    std::wstring error;
    const std::wstring path = MediaPath(options.file, error);
    if (!error.empty()) {
        return Refuse(options, error);
    }
    ymdshow::CMediaPlayer player;
    error = UseScheme(player.GetCoderScheme(), options.scheme);
    if (!error.empty()) {
        return Refuse(options, error);
    }
    ymdshow::CMedia* media = player.AddMedia(path, 0);
    if (media == nullptr) {
        return Refuse(options, L"the library cannot find it");
    }
    const Facts facts = Read(player, *media);
    std::vector<Section> sections = Sections(media->GetMediaInfoPairs());
    if (!facts.loaded && facts.videoTracks + facts.audioTracks == 0) {
        return Refuse(options, L"nothing can read it: " + facts.failure);
    }
    if (options.json) {
        Out().Write(JsonText(InfoJson(options.file, facts, sections)));
        return kExitPlayed;
    }
    sections.insert(sections.begin(), PlayerSection(facts));
    Out().Write(options.file + L"\n\n" + Table(sections));
    if (sections.size() == 1 && options.file.find(L"://") == std::wstring::npos) {
        Complain(L"note: without MediaInfo.dll there is no more to say");
    }
    return kExitPlayed;
}

} // namespace ymds
