// What the media information library knows of the file.

#include <algorithm>
#include <string_view>
#include <utility>

#include <ymdshow/Media.h>

#include "MediaInfoBinding/MediaInfoFile.h"
#include "MediaInfoBinding/Values.h"
#include "Text/Text.h"
#include "YMMedia/Inside.h"
#include "YMMedia/StreamFacts.h"

namespace ymdshow {
namespace {

using mediainfo::MediaInfoFile;
using mediainfo::StreamKind;

/// Language files are UTF-8; those saved by an editor on a Chinese system are UTF-16 with
/// a byte-order mark, or code page 936. A zero ends the text.
std::wstring LanguageText(const std::string& bytes) {
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
        const std::wstring text = text::DecodeUtf16(bytes.substr(2), bytes[0] == '\xFE');
        return text.substr(0, text.find(L'\0'));
    }
    const std::string text = bytes.substr(0, bytes.find('\0'));
    const std::wstring wide = text::DecodeUtf8(text, text::Utf8::Full);
    return wide.empty() ? text::ToWide(text) : wide;
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs CutIntoPairs(std::string_view report) {
    Pairs pairs;
    while (!report.empty()) {
        const std::string_view line = report.substr(0, report.find('\n'));
        report.remove_prefix(std::min(line.size() + 1, report.size()));
        const std::size_t colon = line.find(':');
        const std::string_view key = text::Trim(line.substr(0, colon));
        const std::string_view value =
            colon == line.npos ? std::string_view() : text::Trim(line.substr(colon + 1));
        if (!key.empty() || !value.empty()) {
            pairs.emplace_back(key, value);
        }
    }
    return pairs;
}

} // namespace

int CMedia::_ReadInfoByMediaIfo() {
    StreamFacts facts;
    // Running out of memory, or stream counts that no memory holds, count as not opened.
    const FactsResult result = AnswerOr(FactsResult::NotOpened, [&] {
        return ReadStreamFacts(m_inside->path, {m_fix1088Height, m_evenVideoSize}, facts);
    });
    if (result == FactsResult::NoLibrary) {
        YMD_LOG_WARNING("ymdshow::CMedia::_ReadInfoByMediaIfo", "Load MediaInfo DLL Failed");
    }
    if (result != FactsResult::Read) {
        return 0;
    }
    m_originalVideoTrackNum = static_cast<std::uint32_t>(facts.video.size());
    m_originalAudioTrackNum = static_cast<std::uint32_t>(facts.audio.size());
    m_videoInfos = std::move(facts.video);
    m_audioInfos = std::move(facts.audio);
    m_mediaFormat = std::move(facts.format);
    m_durationByMediaInfo = facts.duration;
    m_mediaInfo = std::move(facts.report);
    m_hasMediaInfo = true;
    return 1;
}

void CMedia::_FreeMediaInfo() {
    m_mediaInfo.clear();
    m_hasMediaInfo = false;
}

const std::string& CMedia::GetMediaInfo() const {
    return m_mediaInfo;
}

std::vector<std::pair<std::string, std::string>> CMedia::GetMediaInfoPairs() const {
    return Inside::Locked(*this, Pairs(), [&] { return CutIntoPairs(m_mediaInfo); });
}

std::int64_t CMedia::GetMediaDurationByMediaInfo(const std::string& path) {
    return AnswerOr(std::int64_t{0},
                    [&] { return GetMediaDurationByMediaInfo(text::ToWide(path)); });
}

std::int64_t CMedia::GetMediaDurationByMediaInfo(const std::wstring& path) {
    return AnswerOr(std::int64_t{0}, [&]() -> std::int64_t {
        MediaInfoFile file;
        if (!file.Open(path)) {
            return 0;
        }
        return mediainfo::Duration(file.Get(StreamKind::General, 0, "Duration"));
    });
}

int CMedia::SetMediaInfoLanguage(const std::string& languageFile) {
    return AnswerOr(0, [&] {
        MediaInfoFile library;
        if (!library.IsCreated()) {
            return 0;
        }
        std::string bytes;
        text::ReadFile(text::ToWide(languageFile), bytes);
        const std::wstring text = LanguageText(bytes);
        if (text.empty()) {
            return 0;
        }
        library.Option("Language", text);
        return 1;
    });
}

} // namespace ymdshow
