// The track operations, once for both kinds.

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "YMMedia/Inside.h"

namespace ymdshow {

// A kind tells where its members are, and those of the other kind.
struct CMedia::Inside::AudioKind {
    static constexpr auto kTracks = &CMedia::m_audioTracks;
    static constexpr auto kStreams = &CMedia::m_streamSelectAudioTracks;
    static constexpr auto kTrackNum = &CMedia::m_audioTrackNum;
    static constexpr auto kStreamNum = &CMedia::m_streamSelectAudioNum;
    static constexpr auto kInfos = &CMedia::m_audioInfos;
    static constexpr auto kOtherTracks = &CMedia::m_videoTracks;
};

struct CMedia::Inside::VideoKind {
    static constexpr auto kTracks = &CMedia::m_videoTracks;
    static constexpr auto kStreams = &CMedia::m_streamSelectVideoTracks;
    static constexpr auto kTrackNum = &CMedia::m_videoTrackNum;
    static constexpr auto kStreamNum = &CMedia::m_streamSelectVideoNum;
    static constexpr auto kInfos = &CMedia::m_videoInfos;
    static constexpr auto kOtherTracks = &CMedia::m_audioTracks;
};

/// The tracks of one kind; `Media` is CMedia or const CMedia. There is no answer for an index out
/// of range.
template <class Kind, class Media> class CMedia::Inside::Tracks {
public:
    explicit Tracks(Media& media)
        : m_media(media), m_tracks(media.*Kind::kTracks), m_streams(media.*Kind::kStreams),
          m_areRenderers(media.*Kind::kStreamNum < media.*Kind::kTrackNum) {}

    std::uint32_t Num() const {
        return m_media.m_pGB != nullptr
                   ? std::max(m_media.*Kind::kStreamNum, m_media.*Kind::kTrackNum)
                   : static_cast<std::uint32_t>((m_media.*Kind::kInfos).size());
    }

    std::optional<IBaseFilter*> Render(std::uint32_t index) const {
        if (!HasIndex(index)) {
            return {};
        }
        if (m_areRenderers) {
            return m_tracks[index]->renderer;
        }
        return m_tracks.empty() ? nullptr : m_tracks.front()->renderer;
    }

    std::optional<bool> IsEnabled(std::uint32_t index) const {
        if (!HasIndex(index)) {
            return {};
        }
        return m_areRenderers ? m_tracks[index]->enabled : m_streams[index]->enabled;
    }

    int FirstEnabled() const {
        return m_areRenderers ? FirstEnabled(m_tracks) : FirstEnabled(m_streams);
    }

    std::optional<bool> Enable(std::uint32_t index) {
        if (!HasIndex(index)) {
            return {};
        }
        if (m_areRenderers) {
            LinkTrack(index);
        } else {
            if (m_tracks.empty()) {
                return false;
            }
            if (!EnableStream(index, AMSTREAMSELECTENABLE_ENABLEALL)) {
                return false;
            }
            // Enabling a stream with its group may have brought others back.
            for (Stream* stream : m_streams) {
                if (!stream->enabled) {
                    SetStream(*stream, 0);
                }
            }
        }
        m_media.m_isAllFilterLinked = true;
        return true;
    }

    std::optional<bool> Disable(std::uint32_t index) {
        if (!HasIndex(index)) {
            return {};
        }
        if (!m_areRenderers) {
            return SetStream(*m_streams[index], 0);
        }
        UnlinkTrack(index);
        StayLinkedWith(FirstEnabled(m_tracks) >= 0 || IsOtherEnabled());
        return true;
    }

    bool EnableAll() {
        if (m_areRenderers) {
            return LinkAll();
        }
        if (m_tracks.empty()) {
            return false;
        }
        if (!EnableStream(0, AMSTREAMSELECTENABLE_ENABLEALL)) {
            return false;
        }
        for (Stream* stream : m_streams) {
            stream->enabled = true;
        }
        m_media.m_isAllFilterLinked = true;
        return true;
    }

    bool DisableAll() {
        return m_areRenderers
                   ? UnlinkAll()
                   : std::all_of(m_streams.begin(), m_streams.end(),
                                 [this](Stream* stream) { return SetStream(*stream, 0); });
    }

    std::optional<bool> EnableOnlyOne(std::uint32_t index) {
        if (!HasIndex(index)) {
            return {};
        }
        if (m_areRenderers) {
            if (!m_tracks[index]->enabled) {
                LinkAll();
            }
            for (std::uint32_t i = 0; i < m_tracks.size(); ++i) {
                if (i != index) {
                    UnlinkTrack(i);
                }
            }
        } else {
            // Kept: without a renderer there is nothing to switch, which is no failure.
            if (m_tracks.empty()) {
                return true;
            }
            if (!EnableStream(index, AMSTREAMSELECTENABLE_ENABLE)) {
                return false;
            }
            for (std::uint32_t i = 0; i < m_streams.size(); ++i) {
                m_streams[i]->enabled = i == index;
            }
        }
        m_media.m_isAllFilterLinked = true;
        return true;
    }

    bool LinkAll() {
        for (std::uint32_t i = 0; i < m_tracks.size(); ++i) {
            LinkTrack(i);
        }
        m_media.m_isAllFilterLinked = true;
        return true;
    }

    bool UnlinkAll() {
        for (std::uint32_t i = 0; i < m_tracks.size(); ++i) {
            UnlinkTrack(i);
        }
        StayLinkedWith(IsOtherEnabled());
        return true;
    }

private:
    using Stream = StreamSelectTrackInfo;

    bool HasIndex(std::uint32_t index) const {
        return index < (m_areRenderers ? m_tracks.size() : m_streams.size());
    }

    template <class Records> static int FirstEnabled(const Records& records) {
        const auto found = std::find_if(records.begin(), records.end(),
                                        [](const auto* record) { return record->enabled; });
        return found == records.end() ? -1 : static_cast<int>(found - records.begin());
    }
    bool IsOtherEnabled() const { return FirstEnabled(m_media.*Kind::kOtherTracks) >= 0; }
    void StayLinkedWith(bool enabled) {
        m_media.m_isAllFilterLinked = m_media.m_isAllFilterLinked && enabled;
    }

    // Linking and unlinking a track always succeed.
    void LinkTrack(std::uint32_t index) {
        m_tracks[index]->Link(m_media.m_pGB);
        m_tracks[index]->enabled = true;
    }
    void UnlinkTrack(std::uint32_t index) {
        m_tracks[index]->Unlink(m_media.m_pGB);
        m_tracks[index]->enabled = false;
    }

    /// Tells whether the stream is in the wanted state now, not whether the call succeeded: a
    /// failure on a stream that is in it already counts as success.
    bool SetStream(Stream& stream, DWORD flag) {
        if (m_media.m_pStreamSelect != nullptr &&
            SUCCEEDED(m_media.m_pStreamSelect->Enable(static_cast<long>(stream.index), flag))) {
            stream.enabled = flag != 0;
        }
        return flag != 0 ? stream.enabled : !stream.enabled;
    }

    /// The streams share one renderer.
    bool EnableStream(std::uint32_t index, DWORD flag) {
        LinkTrack(0);
        return SetStream(*m_streams[index], flag);
    }

    Media& m_media;
    decltype(m_media.*Kind::kTracks)& m_tracks;
    decltype(m_media.*Kind::kStreams)& m_streams;
    bool m_areRenderers; ///< else the listed streams are the tracks
};

namespace {

/// The one exception that leaves the library.
template <class Result> Result Checked(const std::optional<Result>& answer) {
    if (!answer.has_value()) {
        throw std::runtime_error("index out of range");
    }
    return *answer;
}

} // namespace

std::uint32_t CMedia::GetAudioTrackNum() const {
    return Inside::Tracks<Inside::AudioKind, const CMedia>(*this).Num();
}
std::uint32_t CMedia::GetOriginalAudioTrackNum() const {
    return m_originalAudioTrackNum;
}
IBaseFilter* CMedia::GetAudioTrackRender(std::uint32_t index) const {
    return Checked(Inside::Locked(*this, std::optional<IBaseFilter*>(nullptr), [&] {
        return Inside::Tracks<Inside::AudioKind, const CMedia>(*this).Render(index);
    }));
}
bool CMedia::IsAudioTrackEnable(std::uint32_t index) {
    return Checked(Inside::Locked(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::AudioKind, const CMedia>(*this).IsEnabled(index);
    }));
}
int CMedia::GetFirstEnabledAudioTrackIndex() {
    return Inside::Locked(*this, -1, [&] {
        return Inside::Tracks<Inside::AudioKind, const CMedia>(*this).FirstEnabled();
    });
}
bool CMedia::EnableAudioTrack(std::uint32_t index) {
    return Checked(Inside::OnGraph(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::AudioKind, CMedia>(*this).Enable(index);
    }));
}
bool CMedia::DisableAudioTrack(std::uint32_t index) {
    return Checked(Inside::OnGraph(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::AudioKind, CMedia>(*this).Disable(index);
    }));
}
bool CMedia::EnableAllAudioTrack() {
    return Inside::OnGraph(
        *this, false, [&] { return Inside::Tracks<Inside::AudioKind, CMedia>(*this).EnableAll(); });
}
bool CMedia::DisableAllAudioTrack() {
    return Inside::OnGraph(*this, false, [&] {
        return Inside::Tracks<Inside::AudioKind, CMedia>(*this).DisableAll();
    });
}
bool CMedia::EnableOnlyOneAudioTrack(std::uint32_t index) {
    return Checked(Inside::OnGraph(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::AudioKind, CMedia>(*this).EnableOnlyOne(index);
    }));
}
bool CMedia::LinkAllAudioTrack() {
    return Inside::OnGraph(
        *this, false, [&] { return Inside::Tracks<Inside::AudioKind, CMedia>(*this).LinkAll(); });
}
bool CMedia::UnlinkAllAudioTrack() {
    return Inside::OnGraph(
        *this, false, [&] { return Inside::Tracks<Inside::AudioKind, CMedia>(*this).UnlinkAll(); });
}

std::uint32_t CMedia::GetVideoTrackNum() const {
    return Inside::Tracks<Inside::VideoKind, const CMedia>(*this).Num();
}
std::uint32_t CMedia::GetOriginalVideoTrackNum() const {
    return m_originalVideoTrackNum;
}
IBaseFilter* CMedia::GetVideoTrackRender(std::uint32_t index) const {
    return Checked(Inside::Locked(*this, std::optional<IBaseFilter*>(nullptr), [&] {
        return Inside::Tracks<Inside::VideoKind, const CMedia>(*this).Render(index);
    }));
}
bool CMedia::IsVideoTrackEnable(std::uint32_t index) const {
    return Checked(Inside::Locked(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::VideoKind, const CMedia>(*this).IsEnabled(index);
    }));
}
int CMedia::GetFirstEnabledVideoTrackIndex() {
    return Inside::Locked(*this, -1, [&] {
        return Inside::Tracks<Inside::VideoKind, const CMedia>(*this).FirstEnabled();
    });
}
bool CMedia::EnableVideoTrack(std::uint32_t index) {
    return Checked(Inside::OnGraph(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::VideoKind, CMedia>(*this).Enable(index);
    }));
}
bool CMedia::DisableVideoTrack(std::uint32_t index) {
    return Checked(Inside::OnGraph(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::VideoKind, CMedia>(*this).Disable(index);
    }));
}
bool CMedia::EnableAllVideoTrack() {
    return Inside::OnGraph(
        *this, false, [&] { return Inside::Tracks<Inside::VideoKind, CMedia>(*this).EnableAll(); });
}
bool CMedia::DisableAllVideoTrack() {
    return Inside::OnGraph(*this, false, [&] {
        return Inside::Tracks<Inside::VideoKind, CMedia>(*this).DisableAll();
    });
}
bool CMedia::EnableOnlyOneVideoTrack(std::uint32_t index) {
    return Checked(Inside::OnGraph(*this, std::optional<bool>(false), [&] {
        return Inside::Tracks<Inside::VideoKind, CMedia>(*this).EnableOnlyOne(index);
    }));
}
bool CMedia::LinkAllVideoTrack() {
    return Inside::OnGraph(
        *this, false, [&] { return Inside::Tracks<Inside::VideoKind, CMedia>(*this).LinkAll(); });
}
bool CMedia::UnlinkAllVideoTrack() {
    return Inside::OnGraph(
        *this, false, [&] { return Inside::Tracks<Inside::VideoKind, CMedia>(*this).UnlinkAll(); });
}

int CMedia::IsDecodeAudio() const {
    return m_isDecodeAudio;
}
int CMedia::IsDecodeVideo() const {
    return m_isDecodeVideo;
}
void CMedia::SetIsDecodeAudio(int decode) {
    m_isDecodeAudio = decode;
}
void CMedia::SetIsDecodeVideo(int decode) {
    m_isDecodeVideo = decode;
}

} // namespace ymdshow
