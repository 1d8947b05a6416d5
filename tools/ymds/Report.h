#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

namespace ymds {

/// What a run of `ymds play` has to tell. Times are in 100 ns units.
struct PlayReport {
    std::wstring path; ///< as it was given
    bool loaded = false;
    std::wstring error;         ///< empty when it played
    HRESULT errorResult = S_OK; ///< behind `error`, when there is one
    std::wstring end;           ///< what ended the playing: "complete", "seconds", ...
    ymdshow::LoadReport load;
    std::int64_t duration = 0;
    std::int64_t played = 0;
    unsigned videoTracks = 0;
    unsigned audioTracks = 0;
    long width = 0;
    long height = 0;
    std::vector<ymdshow::FilterDescription> filters;
    std::map<long, unsigned> events; ///< how often each was received
    std::wstring snapshot;           ///< the picture's file; empty without one
    std::wstring snapshotNote;       ///< why there is none
};

/// For people.
std::wstring ReportText(const PlayReport& report);

/// One JSON object and a line feed.
std::wstring ReportJson(const PlayReport& report);

} // namespace ymds
