// What is known of the streams, for the host.

#include <array>

#include "YMMedia/Inside.h"

namespace ymdshow {

namespace {

template <class Info>
bool CopyRecord(const std::vector<Info>& records, std::uint32_t index, Info& record) {
    if (index >= records.size()) {
        record = Info();
        return false;
    }
    record = records[index];
    return true;
}

std::wstring LanguageText(LCID language) {
    std::array<wchar_t, LOCALE_NAME_MAX_LENGTH> text{};
    // 0 is taken for the user's own.
    return language != 0 && LCIDToLocaleName(language, text.data(), static_cast<int>(text.size()),
                                             LOCALE_ALLOW_NEUTRAL_NAMES) > 0
               ? text.data()
               : L"";
}

/// A track without a listed stream of its own has no name.
template <class Streams>
bool CopyName(const Streams& streams, std::uint32_t tracks, std::uint32_t index, StreamName& name) {
    name = StreamName();
    if (index < streams.size()) {
        name = {streams[index]->name, LanguageText(streams[index]->language)};
    }
    return index < tracks;
}

} // namespace

bool CMedia::GetVideoInfo(std::uint32_t index, VideoInfo& info) const {
    return Inside::Locked(*this, false, [&] { return CopyRecord(m_videoInfos, index, info); });
}

bool CMedia::GetAudioInfo(std::uint32_t index, AudioInfo& info) const {
    return Inside::Locked(*this, false, [&] { return CopyRecord(m_audioInfos, index, info); });
}

bool CMedia::GetVideoTrackName(std::uint32_t index, StreamName& name) const {
    return Inside::Locked(*this, false, [&] {
        return CopyName(m_streamSelectVideoTracks, GetVideoTrackNum(), index, name);
    });
}

bool CMedia::GetAudioTrackName(std::uint32_t index, StreamName& name) const {
    return Inside::Locked(*this, false, [&] {
        return CopyName(m_streamSelectAudioTracks, GetAudioTrackNum(), index, name);
    });
}

} // namespace ymdshow
