#pragma once

#include <deque>
#include <vector>

#include "media/Demuxer.h"

namespace ymfilters {

/// The packets of one kind of stream between demuxing and delivery: those of the selected stream
/// in turn, and those of its alternatives as far as a switch may need them. Its owner locks.
class Lane {
public:
    explicit Lane(StreamKind kind) : m_kind(kind) {}

    StreamKind Kind() const { return m_kind; }

    void SetStreams(const std::vector<MediaStream>& streams);
    const std::vector<MediaStream>& Streams() const { return m_streams; }

    /// The place of the selected one in Streams(); -1 for none.
    int Selected() const { return m_selected; }
    const MediaStream* Stream() const {
        return m_selected >= 0 ? &m_streams[static_cast<std::size_t>(m_selected)] : nullptr;
    }
    void Select(int selected) { m_selected = selected; }

    /// Selects a stream so that it goes on at `now`; false when the packets for that are not here.
    bool SwitchTo(int selected, LONGLONG now);

    void Clear();

    /// Takes a packet of one of its streams; false for another's.
    bool Add(PacketPtr& packet);

    bool HasPacket() const;

    /// The next packet of the selected stream.
    PacketPtr Take();

    /// More than this much ahead is not needed.
    bool IsHungry(LONGLONG stop) const;

    /// Bytes held. The alternatives' can be dropped: a switch then takes a seek.
    std::size_t Bytes() const { return m_bytes; }
    void DropAlternatives();

    /// Media time up to which the selected stream has been read and delivered.
    LONGLONG ReadTime() const { return m_readTime; }
    LONGLONG TakenTime() const { return m_takenTime; }

    static LONGLONG TimeOf(const AVPacket& packet) {
        return packet.dts != AV_NOPTS_VALUE   ? packet.dts
               : packet.pts != AV_NOPTS_VALUE ? packet.pts
                                              : 0;
    }

private:
    struct Track {
        std::deque<PacketPtr> packets;
        std::size_t next = 0; ///< those before it have been delivered
    };

    Track& Current() { return m_tracks[static_cast<std::size_t>(m_selected)]; }
    const Track& Current() const { return m_tracks[static_cast<std::size_t>(m_selected)]; }
    void Trim(Track& track);
    void DropFront(Track& track);

    const StreamKind m_kind;
    std::vector<MediaStream> m_streams;
    std::deque<Track> m_tracks;
    int m_selected = -1;
    std::size_t m_bytes = 0;
    LONGLONG m_readTime = 0;
    LONGLONG m_takenTime = 0;
};

} // namespace ymfilters
