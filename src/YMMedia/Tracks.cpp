#include "YMMedia/Tracks.h"
#include "YMMedia/EventHold.h"

#include <algorithm>

namespace ymdshow {

template <class Kind> bool TrackOperations<Kind>::InRendererMode(const CMedia& media) {
    return Kind::StreamNum(media) < Kind::TrackNum(media);
}

template <class Kind>
void TrackOperations<Kind>::CheckIndex(const CMedia& media, std::uint32_t index) {
    const std::size_t count =
        InRendererMode(media) ? Kind::Tracks(media).size() : Kind::Streams(media).size();
    if (index >= count) {
        throw std::runtime_error("index out of range");
    }
}

template <class Kind> bool TrackOperations<Kind>::LinkTrack(CMedia& media, std::uint32_t index) {
    auto& track = *Kind::Tracks(media)[index];
    if (!track.Link(TrackAccess::Graph(media))) {
        return false;
    }
    track.enabled = true;
    return true;
}

template <class Kind> bool TrackOperations<Kind>::UnlinkTrack(CMedia& media, std::uint32_t index) {
    auto& track = *Kind::Tracks(media)[index];
    if (!track.Unlink(TrackAccess::Graph(media))) {
        return false;
    }
    track.enabled = false;
    return true;
}

/// Tells whether the stream is in the wanted state now, not whether the call succeeded: a
/// failure on a stream that is in it already counts as success.
template <class Kind>
bool TrackOperations<Kind>::SetStream(CMedia& media, Stream& stream, DWORD flag) {
    IAMStreamSelect* const select = TrackAccess::StreamSelect(media);
    if (select != nullptr && SUCCEEDED(select->Enable(static_cast<long>(stream.index), flag))) {
        stream.enabled = flag != 0;
    }
    return flag != 0 ? stream.enabled : !stream.enabled;
}

template <class Kind> std::uint32_t TrackOperations<Kind>::Num(const CMedia& media) {
    return media.IsLoaded() != 0 ? std::max(Kind::StreamNum(media), Kind::TrackNum(media))
                                 : static_cast<std::uint32_t>(Kind::RecordNum(media));
}

template <class Kind>
IBaseFilter* TrackOperations<Kind>::Render(const CMedia& media, std::uint32_t index) {
    const ItemLock lock(media);
    CheckIndex(media, index);
    const auto& tracks = Kind::Tracks(media);
    if (InRendererMode(media)) {
        return tracks[index]->renderer;
    }
    return tracks.empty() ? nullptr : tracks.front()->renderer;
}

template <class Kind>
bool TrackOperations<Kind>::IsEnabled(const CMedia& media, std::uint32_t index) {
    const ItemLock lock(media);
    CheckIndex(media, index);
    return InRendererMode(media) ? Kind::Tracks(media)[index]->enabled
                                 : Kind::Streams(media)[index]->enabled;
}

template <class Kind> int TrackOperations<Kind>::FirstEnabled(const CMedia& media) {
    const ItemLock lock(media);
    const auto first = [](const auto& records) {
        const auto found = std::find_if(records.begin(), records.end(),
                                        [](const auto* record) { return record->enabled; });
        return found == records.end() ? -1 : static_cast<int>(found - records.begin());
    };
    return InRendererMode(media) ? first(Kind::Tracks(media)) : first(Kind::Streams(media));
}

template <class Kind> bool TrackOperations<Kind>::Enable(CMedia& media, std::uint32_t index) {
    const ItemLock lock(media);
    CheckIndex(media, index);
    if (InRendererMode(media)) {
        if (!LinkTrack(media, index)) {
            return false;
        }
    } else {
        auto& streams = Kind::Streams(media);
        if (Kind::Tracks(media).empty() || !LinkTrack(media, 0) ||
            !SetStream(media, *streams[index], AMSTREAMSELECTENABLE_ENABLEALL)) {
            return false;
        }
        // Enabling a stream with its group may have brought others back.
        for (Stream* stream : streams) {
            if (!stream->enabled) {
                SetStream(media, *stream, 0);
            }
        }
    }
    TrackAccess::AllLinked(media) = true;
    return true;
}

template <class Kind> bool TrackOperations<Kind>::Disable(CMedia& media, std::uint32_t index) {
    const ItemLock lock(media);
    CheckIndex(media, index);
    if (!InRendererMode(media)) {
        return SetStream(media, *Kind::Streams(media)[index], 0);
    }
    const bool unlinked = UnlinkTrack(media, index);
    if (TrackAccess::AllLinked(media)) {
        TrackAccess::AllLinked(media) = Kind::StaysLinkedWithoutOne(media);
    }
    return unlinked;
}

template <class Kind> bool TrackOperations<Kind>::EnableAll(CMedia& media) {
    const ItemLock lock(media);
    if (InRendererMode(media)) {
        return LinkAll(media);
    }
    auto& streams = Kind::Streams(media);
    if (Kind::Tracks(media).empty() || streams.empty() || !LinkTrack(media, 0) ||
        !SetStream(media, *streams.front(), AMSTREAMSELECTENABLE_ENABLEALL)) {
        return false;
    }
    for (Stream* stream : streams) {
        stream->enabled = true;
    }
    TrackAccess::AllLinked(media) = true;
    return true;
}

template <class Kind> bool TrackOperations<Kind>::DisableAll(CMedia& media) {
    const ItemLock lock(media);
    if (InRendererMode(media)) {
        return UnlinkAll(media);
    }
    auto& streams = Kind::Streams(media);
    return std::all_of(streams.begin(), streams.end(),
                       [&media](Stream* stream) { return SetStream(media, *stream, 0); });
}

template <class Kind>
bool TrackOperations<Kind>::EnableOnlyOne(CMedia& media, std::uint32_t index) {
    const ItemLock lock(media);
    CheckIndex(media, index);
    auto& tracks = Kind::Tracks(media);
    if (InRendererMode(media)) {
        if (!tracks[index]->enabled && !EnableAll(media)) {
            return false;
        }
        for (std::uint32_t i = 0; i < tracks.size(); ++i) {
            if (i != index && !UnlinkTrack(media, i)) {
                return false;
            }
        }
    } else {
        // Kept: without a renderer there is nothing to switch, which is no failure.
        if (tracks.empty() || !LinkTrack(media, 0)) {
            return true;
        }
        auto& streams = Kind::Streams(media);
        if (!SetStream(media, *streams[index], AMSTREAMSELECTENABLE_ENABLE)) {
            return false;
        }
        for (std::uint32_t i = 0; i < streams.size(); ++i) {
            streams[i]->enabled = i == index;
        }
    }
    TrackAccess::AllLinked(media) = true;
    return true;
}

template <class Kind> bool TrackOperations<Kind>::LinkAll(CMedia& media) {
    const ItemLock lock(media);
    for (std::uint32_t i = 0; i < Kind::Tracks(media).size(); ++i) {
        if (!LinkTrack(media, i)) {
            return false;
        }
    }
    TrackAccess::AllLinked(media) = true;
    return true;
}

template <class Kind> bool TrackOperations<Kind>::UnlinkAll(CMedia& media) {
    const ItemLock lock(media);
    for (std::uint32_t i = 0; i < Kind::Tracks(media).size(); ++i) {
        if (!UnlinkTrack(media, i)) {
            return false;
        }
    }
    if (TrackAccess::AllLinked(media)) {
        TrackAccess::AllLinked(media) = Kind::StaysLinkedWithoutAll(media);
    }
    return true;
}

namespace {

using Audio = TrackOperations<AudioKind>;
using Video = TrackOperations<VideoKind>;

/// Runs a track operation that changes the graph: only the index check throws.
template <class Operation> bool Change(Operation&& operation) {
    return OrWhenOutOfMemory(false, operation);
}

} // namespace

std::uint32_t CMedia::GetAudioTrackNum() const {
    return Audio::Num(*this);
}
std::uint32_t CMedia::GetOriginalAudioTrackNum() const {
    return m_originalAudioTrackNum;
}
IBaseFilter* CMedia::GetAudioTrackRender(std::uint32_t index) const {
    return Audio::Render(*this, index);
}
bool CMedia::EnableAudioTrack(std::uint32_t index) {
    return Change([&] { return Audio::Enable(*this, index); });
}
bool CMedia::DisableAudioTrack(std::uint32_t index) {
    return Change([&] { return Audio::Disable(*this, index); });
}
bool CMedia::EnableAllAudioTrack() {
    return Change([&] { return Audio::EnableAll(*this); });
}
bool CMedia::DisableAllAudioTrack() {
    return Change([&] { return Audio::DisableAll(*this); });
}
bool CMedia::EnableOnlyOneAudioTrack(std::uint32_t index) {
    return Change([&] { return Audio::EnableOnlyOne(*this, index); });
}
bool CMedia::IsAudioTrackEnable(std::uint32_t index) {
    return Audio::IsEnabled(*this, index);
}
int CMedia::GetFirstEnabledAudioTrackIndex() {
    return Audio::FirstEnabled(*this);
}
bool CMedia::LinkAllAudioTrack() {
    return Change([&] { return Audio::LinkAll(*this); });
}
bool CMedia::UnlinkAllAudioTrack() {
    return Change([&] { return Audio::UnlinkAll(*this); });
}

std::uint32_t CMedia::GetVideoTrackNum() const {
    return Video::Num(*this);
}
std::uint32_t CMedia::GetOriginalVideoTrackNum() const {
    return m_originalVideoTrackNum;
}
IBaseFilter* CMedia::GetVideoTrackRender(std::uint32_t index) const {
    return Video::Render(*this, index);
}
bool CMedia::EnableVideoTrack(std::uint32_t index) {
    return Change([&] { return Video::Enable(*this, index); });
}
bool CMedia::DisableVideoTrack(std::uint32_t index) {
    return Change([&] { return Video::Disable(*this, index); });
}
bool CMedia::EnableAllVideoTrack() {
    return Change([&] { return Video::EnableAll(*this); });
}
bool CMedia::DisableAllVideoTrack() {
    return Change([&] { return Video::DisableAll(*this); });
}
bool CMedia::EnableOnlyOneVideoTrack(std::uint32_t index) {
    return Change([&] { return Video::EnableOnlyOne(*this, index); });
}
bool CMedia::IsVideoTrackEnable(std::uint32_t index) const {
    return Video::IsEnabled(*this, index);
}
int CMedia::GetFirstEnabledVideoTrackIndex() {
    return Video::FirstEnabled(*this);
}
bool CMedia::LinkAllVideoTrack() {
    return Change([&] { return Video::LinkAll(*this); });
}
bool CMedia::UnlinkAllVideoTrack() {
    return Change([&] { return Video::UnlinkAll(*this); });
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
