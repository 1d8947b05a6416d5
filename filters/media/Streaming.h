#pragma once

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "media/Lane.h"

namespace ymfilters {

class Filter;
class SourcePin;

/// No stop position, or one at the end of the file.
constexpr LONGLONG kNoStop = INT64_MAX / 2;

/// What is to be played, in media time.
struct SeekRequest {
    SampleSegment segment{0, kNoStop, 0, 1};
    bool isToKeyFrame = false; ///< begins at the key frame before the start
    bool isFlushed = true;     ///< what is on its way is thrown away
    bool isSegment = false;    ///< its end is told by EC_END_OF_SEGMENT
    friend bool operator==(const SeekRequest&, const SeekRequest&) = default;
};

/// How the source's data flow: a thread takes the file apart, another for each pin delivers. Seeks
/// and switches come from any thread. The lock guards the state alone: it is never held while
/// another filter or the demuxer is called, and of two threads that seek at a time the second
/// leaves its wish to the first and does not wait.
class Streaming {
public:
    explicit Streaming(Filter& filter) : m_filter(filter) {}
    ~Streaming() { JoinFeeder(); }

    /// While nothing runs.
    void SetDemuxer(std::shared_ptr<Demuxer> demuxer);

    /// The pins by kind; null where there is none.
    void SetPins(const std::array<SourcePin*, kStreamKinds>& pins) { m_pins = pins; }

    /// Starts the threads of the connected pins.
    void Start();

    /// Tells the threads to end, without waiting, and frees those that a filter downstream holds.
    void BeginStop();
    /// Waits for the threads, but for one that a network keeps.
    void Stop();
    /// The downstream filters take data again.
    void EndStop();

    /// Plays from another place. `*keyFrame`, when given, receives the key frame's time.
    void Seek(const SeekRequest& request, LONGLONG* keyFrame);

    /// Another stop position, of what plays too.
    void SetStop(LONGLONG stop);

    /// Selects a stream of a kind by its place in Streams(), -1 for none.
    void Switch(StreamKind kind, int selected);

    /// The selected stream's place, and the streams of a kind.
    int Selected(StreamKind kind) const;
    const std::vector<MediaStream>& Streams(StreamKind kind) const { return At(kind).Streams(); }

    /// What was asked for last.
    SeekRequest Wanted() const;

    /// The media time that is delivered; by the clock while it runs.
    LONGLONG Delivered() const;
    LONGLONG Now() const;

private:
    static constexpr std::size_t Index(StreamKind kind) { return static_cast<std::size_t>(kind); }
    const Lane& At(StreamKind kind) const { return m_outlets[Index(kind)].packets; }

    /// One pin's side.
    struct Outlet {
        explicit Outlet(StreamKind kind) : packets(kind) {}

        Lane packets;
        std::thread thread;
        bool isUsed = false;       ///< its pin is connected
        bool isFlushing = false;   ///< nothing begins
        bool isDelivering = false; ///< its thread is in another filter
        bool isHeld = false;       ///< BeginStop has flushed it
        bool isRefused = false;    ///< downstream takes no more
        bool isPastStop = false;
        bool hasEnded = false; ///< its end has been told
        bool isFirst = true;   ///< of a segment
        unsigned epoch = 0;    ///< another one than the one told: the segment is to be told again
        unsigned toldEpoch = 0;
        LONGLONG target = 0; ///< see IPacketSample
        LONGLONG gapEnd = 0; ///< up to here a gap has been told
    };

    using Lock = std::unique_lock<std::mutex>;

    void JoinFeeder();
    void Control(SeekRequest request);
    void Perform(const SeekRequest& request);
    SeekRequest RequestAt(LONGLONG now) const;
    void Restart(Outlet& outlet, LONGLONG target);
    void Feed();
    void FeedSeek(Lock& lock);
    void FeedRead(Lock& lock);
    bool WantsMore();
    bool IsFull() const;
    void Deliver(SourcePin& pin, Outlet& outlet);
    bool CanDeliver(const Outlet& outlet) const;
    bool HasStep(const Outlet& outlet) const;
    bool HasGap(const Outlet& outlet) const;
    bool IsAtEnd(const Outlet& outlet) const;
    void DeliverNext(Lock& lock, SourcePin& pin, Outlet& outlet);
    void DeliverPacket(Lock& lock, SourcePin& pin, Outlet& outlet);
    void DeliverGap(Lock& lock, SourcePin& pin, Outlet& outlet);
    void DeliverEnd(Lock& lock, SourcePin& pin, Outlet& outlet);
    LONGLONG NewestTime() const;
    LONGLONG NewestTaken() const;
    void SelectInDemuxer();

    Filter& m_filter;
    std::shared_ptr<Demuxer> m_demuxer;
    std::array<SourcePin*, kStreamKinds> m_pins{};

    mutable std::mutex m_mutex;        // guards what follows
    std::condition_variable m_changed; // wakes all
    std::array<Outlet, kStreamKinds> m_outlets{Outlet(StreamKind::Video), Outlet(StreamKind::Audio),
                                               Outlet(StreamKind::Text)};
    std::thread m_feeder;
    SeekRequest m_wanted;
    SeekRequest m_playing;
    std::optional<SeekRequest> m_request;  ///< for the feeding thread
    std::optional<SeekRequest> m_underWay; ///< asked for, and not yet played
    std::optional<SeekRequest> m_next;     ///< of a second thread that seeks
    bool m_isControlled = false;           ///< a thread seeks or switches
    bool m_isActive = false;
    bool m_isFeeding = false; ///< the feeding thread is at work
    bool m_isExiting = false;
    bool m_isFlushing = false;
    bool m_isSeeking = false;      ///< the feeding thread has taken a request
    bool m_isPristine = false;     ///< the demuxer stands where it was opened
    bool m_hasEnded = false;       ///< the demuxer is at its end
    bool m_isSelectionNew = false; ///< the demuxer is to be told of it
    bool m_isErrorTold = false;
    bool m_isSegmentEndTold = false;
    LONGLONG m_reached = 0; ///< read before the last stop
    int m_segmentNumber = 0;
    int m_error = 0;
};

} // namespace ymfilters
