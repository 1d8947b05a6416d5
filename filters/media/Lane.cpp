#include "media/Lane.h"

#include <algorithm>
#include <utility>

namespace ymfilters {

namespace {

/// What a lane wants to have ahead, and keeps behind for a switch: a renderer may hold that much.
constexpr LONGLONG kAhead = 3 * kSecond / 2;
constexpr LONGLONG kBehind = 2 * kSecond;
constexpr std::size_t kFewest = 4; ///< packets ahead

/// A decoder of sound is right after this much.
constexpr LONGLONG kAudioPreroll = kSecond / 10;

bool IsKey(const AVPacket& packet) {
    return (packet.flags & AV_PKT_FLAG_KEY) != 0;
}

} // namespace

void Lane::SetStreams(const std::vector<MediaStream>& streams) {
    m_streams.clear();
    m_selected = -1;
    for (const MediaStream& stream : streams) {
        if (stream.kind == m_kind) {
            if (stream.isDefault || m_selected < 0) {
                m_selected = static_cast<int>(m_streams.size());
            }
            m_streams.push_back(stream);
        }
    }
    m_tracks.clear();
    m_tracks.resize(m_streams.size());
    Clear();
}

void Lane::Clear() {
    for (Track& track : m_tracks) {
        track.packets.clear();
        track.next = 0;
    }
    m_bytes = 0;
    m_readTime = m_takenTime = 0;
}

bool Lane::Add(PacketPtr& packet) {
    for (std::size_t i = 0; i < m_streams.size(); ++i) {
        if (m_streams[i].index != packet->stream_index) {
            continue;
        }
        const bool isSelected = static_cast<int>(i) == m_selected;
        if (isSelected) {
            m_readTime = std::max<LONGLONG>(m_readTime, TimeOf(*packet) + packet->duration);
        }
        m_bytes += static_cast<std::size_t>(packet->size);
        m_tracks[i].packets.push_back(std::move(packet));
        if (!isSelected) {
            Trim(m_tracks[i]);
        }
        return true;
    }
    return false;
}

bool Lane::HasPacket() const {
    return m_selected >= 0 && Current().next < Current().packets.size();
}

PacketPtr Lane::Take() {
    Track& track = Current();
    PacketPtr& next = track.packets[track.next];
    m_takenTime = std::max<LONGLONG>(m_takenTime, TimeOf(*next) + next->duration);
    PacketPtr taken;
    if (m_streams.size() == 1) {
        m_bytes -= static_cast<std::size_t>(next->size);
        taken = std::move(next);
        track.packets.pop_front();
    } else {
        taken.reset(av_packet_clone(next.get()));
        ++track.next;
        Trim(track);
    }
    return taken;
}

void Lane::DropFront(Track& track) {
    m_bytes -= static_cast<std::size_t>(track.packets.front()->size);
    track.packets.pop_front();
    track.next -= track.next > 0 ? 1 : 0;
}

/// Leaves what a switch may need: in a picture's stream the last key frame before it, too.
void Lane::Trim(Track& track) {
    const LONGLONG horizon = m_takenTime - kBehind;
    std::size_t drop = 0;
    const bool isCurrent = m_selected >= 0 && &track == &Current();
    const std::size_t most = isCurrent ? track.next : track.packets.size();
    for (std::size_t i = 0; i < most && TimeOf(*track.packets[i]) < horizon; ++i) {
        drop = m_kind != StreamKind::Video || IsKey(*track.packets[i]) ? i : drop;
    }
    for (; drop > 0; --drop) {
        DropFront(track);
    }
}

bool Lane::SwitchTo(int selected, LONGLONG now) {
    if (selected < 0) {
        m_selected = selected;
        return true;
    }
    Track& track = m_tracks[static_cast<std::size_t>(selected)];
    const LONGLONG from = m_kind == StreamKind::Audio ? now - kAudioPreroll : now;
    std::size_t start = track.packets.size();
    for (std::size_t i = 0; i < track.packets.size() && TimeOf(*track.packets[i]) <= from; ++i) {
        start = m_kind != StreamKind::Video || IsKey(*track.packets[i]) ? i : start;
    }
    if (start == track.packets.size()) {
        // What begins just behind the place is as good, where no key frame is needed.
        if (m_kind == StreamKind::Video || track.packets.empty() ||
            TimeOf(*track.packets.front()) > now) {
            return false;
        }
        start = 0;
    }
    m_selected = selected;
    track.next = start;
    m_takenTime = TimeOf(*track.packets[start]);
    m_readTime = TimeOf(*track.packets.back());
    return true;
}

bool Lane::IsHungry(LONGLONG stop) const {
    if (m_selected < 0 || m_kind == StreamKind::Text) {
        return false;
    }
    const Track& track = Current();
    // The packet that begins there ends the stream, not the one that ends there.
    if (!track.packets.empty() && TimeOf(*track.packets.back()) >= stop) {
        return false;
    }
    const std::size_t count = track.packets.size() - track.next;
    return count < kFewest || m_readTime - TimeOf(*track.packets[track.next]) < kAhead;
}

void Lane::DropAlternatives() {
    for (std::size_t i = 0; i < m_tracks.size(); ++i) {
        if (static_cast<int>(i) == m_selected) {
            while (m_tracks[i].next > 0) {
                DropFront(m_tracks[i]);
            }
            continue;
        }
        while (!m_tracks[i].packets.empty()) {
            DropFront(m_tracks[i]);
        }
    }
}

} // namespace ymfilters
