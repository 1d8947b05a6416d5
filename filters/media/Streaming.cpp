#include "media/Streaming.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "Guard.h"
#include "base/Filter.h"
#include "media/SourcePin.h"

namespace ymfilters {

namespace {

/// Bytes that an item holds at most, before what the decoders have.
constexpr std::size_t kMostBytes = 48 << 20;

/// A stop leaves a feeding thread alone that takes longer to return.
constexpr auto kFeederPatience = std::chrono::milliseconds(10);

/// A gap is told again when it has grown by this much.
constexpr LONGLONG kGapStep = kSecond / 2;

} // namespace

void Streaming::SetDemuxer(std::shared_ptr<Demuxer> demuxer) {
    JoinFeeder();
    const Lock lock(m_mutex);
    m_demuxer = std::move(demuxer);
    for (Outlet& outlet : m_outlets) {
        outlet.packets.SetStreams(m_demuxer->Streams());
    }
    m_wanted = SeekRequest{};
    m_reached = 0;
    m_isPristine = true;
}

void Streaming::JoinFeeder() {
    if (m_feeder.joinable()) {
        m_feeder.join();
    }
}

void Streaming::Start() {
    JoinFeeder();
    const Lock lock(m_mutex);
    if (m_demuxer == nullptr) {
        return;
    }
    m_isExiting = m_isFlushing = m_isSeeking = false;
    m_wanted.segment.base = 0;
    m_request = m_underWay = m_wanted;
    m_isActive = true;
    for (std::size_t kind = 0; kind < kStreamKinds; ++kind) {
        Outlet& outlet = m_outlets[kind];
        SourcePin* const pin = m_pins[kind];
        outlet.isUsed = pin != nullptr && pin->IsConnected();
        outlet.isFlushing = outlet.isDelivering = false;
        if (outlet.isUsed) {
            outlet.thread = std::thread([this, pin, &outlet] { Deliver(*pin, outlet); });
        }
    }
    m_isFeeding = true;
    m_feeder = std::thread([this] { Feed(); });
}

void Streaming::BeginStop() {
    std::array<bool, kStreamKinds> isHeld{};
    {
        const Lock lock(m_mutex);
        if (!m_isActive) {
            return;
        }
        m_isExiting = true;
        m_demuxer->Interrupt(true);
        m_changed.notify_all();
        for (std::size_t kind = 0; kind < kStreamKinds; ++kind) {
            isHeld[kind] = m_outlets[kind].isDelivering && !m_outlets[kind].isHeld;
            m_outlets[kind].isHeld = m_outlets[kind].isHeld || isHeld[kind];
        }
    }
    for (std::size_t kind = 0; kind < kStreamKinds; ++kind) {
        if (isHeld[kind]) {
            m_pins[kind]->DeliverBeginFlush();
        }
    }
}

void Streaming::Stop() {
    {
        const Lock lock(m_mutex);
        m_isExiting = true;
        if (m_demuxer != nullptr) {
            m_demuxer->Interrupt(true);
        }
        m_changed.notify_all();
    }
    for (Outlet& outlet : m_outlets) {
        if (outlet.thread.joinable()) {
            outlet.thread.join();
        }
    }
    Lock lock(m_mutex);
    m_changed.wait_for(lock, kFeederPatience, [&] { return !m_isFeeding; });
    m_isActive = false;
    m_request.reset();
    m_underWay.reset();
    m_reached = std::max(m_reached, NewestTime());
    for (Outlet& outlet : m_outlets) {
        outlet.packets.Clear();
    }
    m_changed.notify_all();
}

void Streaming::EndStop() {
    for (std::size_t kind = 0; kind < kStreamKinds; ++kind) {
        bool isHeld = false;
        {
            const Lock lock(m_mutex);
            isHeld = std::exchange(m_outlets[kind].isHeld, false);
        }
        if (isHeld) {
            m_pins[kind]->DeliverEndFlush();
        }
    }
}

SeekRequest Streaming::Wanted() const {
    const Lock lock(m_mutex);
    return m_wanted;
}

int Streaming::Selected(StreamKind kind) const {
    const Lock lock(m_mutex);
    return At(kind).Selected();
}

LONGLONG Streaming::Delivered() const {
    const Lock lock(m_mutex);
    if (!m_isActive || m_underWay) {
        return (m_underWay ? *m_underWay : m_wanted).segment.start;
    }
    LONGLONG delivered = m_playing.segment.start;
    for (const Outlet& outlet : m_outlets) {
        if (outlet.isUsed && outlet.packets.Kind() != StreamKind::Text) {
            delivered = std::max(delivered, outlet.packets.TakenTime());
        }
    }
    return delivered;
}

LONGLONG Streaming::Now() const {
    const LONGLONG streamTime = m_filter.StreamTime();
    const LONGLONG delivered = Delivered();
    const Lock lock(m_mutex);
    if (!m_isActive || m_underWay) {
        return (m_underWay ? *m_underWay : m_wanted).segment.start;
    }
    const SampleSegment& segment = m_playing.segment;
    const double passed = static_cast<double>(streamTime - segment.base) * segment.rate;
    return std::clamp(segment.start + static_cast<LONGLONG>(passed), segment.start,
                      std::max(delivered, segment.start));
}

void Streaming::Seek(const SeekRequest& request, LONGLONG* keyFrame) {
    {
        Lock lock(m_mutex);
        m_wanted = request;
        if (!m_isActive) {
            return; // the place of a key frame shows when the threads start
        }
        if (m_isControlled) {
            m_next = request;
            return;
        }
        m_isControlled = true;
    }
    Control(request);
    if (keyFrame != nullptr) {
        Lock lock(m_mutex);
        m_changed.wait_for(lock, std::chrono::seconds(2),
                           [&] { return m_isExiting || (!m_request && !m_isSeeking); });
        *keyFrame = m_playing.segment.start;
    }
}

void Streaming::SetStop(LONGLONG stop) {
    const Lock lock(m_mutex);
    m_wanted.segment.stop = m_playing.segment.stop = stop;
    if (m_request) {
        m_request->segment.stop = stop;
    }
    m_changed.notify_all();
}

void Streaming::Control(SeekRequest request) {
    for (;;) {
        Perform(request);
        const Lock lock(m_mutex);
        if (!m_next) {
            m_isControlled = false;
            return;
        }
        request = *std::exchange(m_next, std::nullopt);
    }
}

void Streaming::Perform(const SeekRequest& request) {
    {
        const Lock lock(m_mutex);
        m_underWay = request;
        if (!request.isFlushed) {
            // The feeding thread begins the new segment behind what has been delivered.
            m_request = request;
            const SampleSegment& old = m_playing.segment;
            const bool isOver =
                std::all_of(m_outlets.begin(), m_outlets.end(), [](const Outlet& one) {
                    return !one.isUsed || one.hasEnded || one.packets.Kind() == StreamKind::Text;
                });
            const LONGLONG end = std::min(old.stop, isOver ? NewestTime() : NewestTaken());
            m_request->segment.base = old.StreamTime(end);
            m_changed.notify_all();
            return;
        }
        m_isFlushing = true;
        if (m_demuxer->IsRemote()) {
            m_demuxer->Interrupt(true);
        }
        m_changed.notify_all();
    }
    for (std::size_t kind = 0; kind < kStreamKinds; ++kind) {
        if (m_outlets[kind].isUsed) {
            m_pins[kind]->DeliverBeginFlush();
        }
    }
    {
        Lock lock(m_mutex);
        m_changed.wait(lock, [&] {
            return std::none_of(m_outlets.begin(), m_outlets.end(),
                                [](const Outlet& outlet) { return outlet.isDelivering; });
        });
        m_request = request;
    }
    for (std::size_t kind = 0; kind < kStreamKinds; ++kind) {
        if (m_outlets[kind].isUsed) {
            m_pins[kind]->DeliverEndFlush();
        }
    }
    const Lock lock(m_mutex);
    m_isFlushing = false;
    m_changed.notify_all();
}

void Streaming::Switch(StreamKind kind, int selected) {
    const LONGLONG now = Now();
    Outlet& outlet = m_outlets[Index(kind)];
    SeekRequest request;
    bool isSeek = false;
    {
        const Lock lock(m_mutex);
        if (outlet.packets.Selected() == selected) {
            return;
        }
        if (!m_isActive || !outlet.isUsed) {
            outlet.packets.Select(selected);
            return;
        }
        if (m_isControlled || m_underWay) {
            // The seek, or the other switch, under way is followed by a seek with this stream.
            outlet.packets.Select(selected);
            request = m_underWay ? *m_underWay : RequestAt(now);
            if (m_isControlled) {
                m_next = request;
                return;
            }
            m_isControlled = isSeek = true;
        } else {
            m_isControlled = outlet.isFlushing = true;
        }
    }
    if (isSeek) {
        Control(request);
        return;
    }
    m_pins[Index(kind)]->DeliverBeginFlush();
    bool isHere = false;
    {
        Lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !outlet.isDelivering; });
        isHere = m_demuxer->CanReadAhead() && outlet.packets.SwitchTo(selected, now);
        if (!isHere) {
            outlet.packets.Select(selected);
        }
        m_isSelectionNew = true;
        Restart(outlet, now);
        request = RequestAt(now);
    }
    m_pins[Index(kind)]->DeliverEndFlush();
    {
        const Lock lock(m_mutex);
        outlet.isFlushing = false;
        m_changed.notify_all();
    }
    if (!isHere && m_demuxer->IsSeekable()) {
        Control(request);
        return;
    }
    Lock lock(m_mutex);
    if (m_next) {
        request = *std::exchange(m_next, std::nullopt);
        lock.unlock();
        Control(request);
    } else {
        m_isControlled = false;
    }
}

/// Stream time goes on: a seek that only the source knows of begins in its middle.
SeekRequest Streaming::RequestAt(LONGLONG now) const {
    SeekRequest request = m_playing;
    request.isToKeyFrame = false;
    request.isFlushed = true;
    request.segment.base = m_playing.segment.StreamTime(now);
    request.segment.start = now;
    return request;
}

/// A segment, or a stream, begins anew for a pin.
void Streaming::Restart(Outlet& outlet, LONGLONG target) {
    ++outlet.epoch;
    outlet.target = target;
    outlet.gapEnd = target;
    outlet.isRefused = outlet.isPastStop = outlet.hasEnded = false;
}

// The feeding thread.

void Streaming::Feed() {
    Lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] {
            return m_isExiting || m_request || (!m_isFlushing && !m_hasEnded && WantsMore());
        });
        if (m_isExiting) {
            break;
        }
        const bool isSound = ymdshow::AnswerOr(false, [&] {
            m_request ? FeedSeek(lock) : FeedRead(lock);
            return true;
        });
        if (!isSound) { // memory has run out
            if (!lock.owns_lock()) {
                lock.lock();
            }
            m_isSeeking = false;
            m_underWay.reset();
            m_hasEnded = true;
            m_error = AVERROR(ENOMEM);
            m_changed.notify_all();
        }
    }
    m_isFeeding = false;
    m_changed.notify_all();
}

void Streaming::FeedSeek(Lock& lock) {
    SeekRequest request = *std::exchange(m_request, std::nullopt);
    m_isSeeking = true;
    for (Outlet& outlet : m_outlets) {
        outlet.packets.Clear();
    }
    m_hasEnded = m_isErrorTold = false;
    m_error = 0;
    const LONGLONG asked = request.segment.start;
    const bool stays = std::exchange(m_isPristine, false) && request.segment.start == 0;
    SelectInDemuxer();
    m_demuxer->Interrupt(false);
    LONGLONG keyFrame = request.segment.start;
    lock.unlock();
    const bool isSeekable = m_demuxer->IsSeekable();
    const int result = !stays && isSeekable ? m_demuxer->Seek(request.segment.start, &keyFrame) : 0;
    lock.lock();
    m_isSeeking = false;
    if (!m_request && !m_isFlushing) {
        m_underWay.reset();
    }
    if (!m_request && !m_isExiting) {
        if (request.isToKeyFrame) {
            request.segment.start = std::min(keyFrame, request.segment.start);
        }
        if (!stays && !isSeekable) {
            request.segment.start = m_reached; // it goes on from where it was stopped
        }
        // The stop position may have been changed meanwhile.
        request.segment.stop = m_wanted.segment.stop;
        if (m_wanted.segment.start == asked) {
            m_wanted.segment.start = request.segment.start;
        }
        if (result < 0 && m_demuxer->IsRemote()) {
            m_hasEnded = true;
            m_error = result;
        }
        m_segmentNumber = request.isFlushed ? 0 : m_segmentNumber + 1;
        m_isSegmentEndTold = false;
        m_playing = request;
        for (Outlet& outlet : m_outlets) {
            Restart(outlet, request.segment.start);
        }
    }
    m_changed.notify_all();
}

/// All streams of the kinds that are played, and the one whose key frames count.
void Streaming::SelectInDemuxer() {
    std::vector<int> streams;
    int reference = -1;
    for (const Outlet& outlet : m_outlets) {
        if (!outlet.isUsed) {
            continue;
        }
        const Lane& lane = outlet.packets;
        if (lane.Stream() != nullptr && reference < 0 && lane.Kind() != StreamKind::Text) {
            reference = lane.Stream()->index;
        }
        for (const MediaStream& stream : lane.Streams()) {
            if (&stream == lane.Stream() || m_demuxer->CanReadAhead()) {
                streams.push_back(stream.index);
            }
        }
    }
    m_demuxer->Select(streams, reference);
}

void Streaming::FeedRead(Lock& lock) {
    if (std::exchange(m_isSelectionNew, false)) {
        SelectInDemuxer();
    }
    lock.unlock();
    PacketPtr packet(av_packet_alloc());
    const int result = packet != nullptr ? m_demuxer->Read(*packet) : AVERROR(ENOMEM);
    lock.lock();
    if (m_isExiting || m_request || m_isFlushing) {
        return;
    }
    if (result < 0) {
        m_hasEnded = true;
        m_error = result == AVERROR_EOF ? 0 : result;
        m_changed.notify_all();
        return;
    }
    for (Outlet& outlet : m_outlets) {
        if (outlet.isUsed && outlet.packets.Add(packet)) {
            m_changed.notify_all();
            break;
        }
    }
}

bool Streaming::IsFull() const {
    std::size_t bytes = 0;
    for (const Outlet& outlet : m_outlets) {
        bytes += outlet.packets.Bytes();
    }
    return bytes >= kMostBytes;
}

bool Streaming::WantsMore() {
    const bool isHungry = std::any_of(m_outlets.begin(), m_outlets.end(), [&](const Outlet& one) {
        return one.isUsed && !one.isPastStop && !one.isRefused &&
               one.packets.IsHungry(m_playing.segment.stop);
    });
    if (isHungry && IsFull()) {
        for (Outlet& outlet : m_outlets) {
            outlet.packets.DropAlternatives();
        }
    }
    return isHungry && !IsFull();
}

LONGLONG Streaming::NewestTaken() const {
    LONGLONG newest = m_playing.segment.start;
    for (const Outlet& outlet : m_outlets) {
        newest = std::max(newest, outlet.packets.TakenTime());
    }
    return newest;
}

LONGLONG Streaming::NewestTime() const {
    LONGLONG newest = 0;
    for (const Outlet& outlet : m_outlets) {
        newest = std::max(newest, outlet.packets.ReadTime());
    }
    return newest;
}

// The delivering threads.

bool Streaming::CanDeliver(const Outlet& outlet) const {
    return !m_isFlushing && !outlet.isFlushing && !m_request && !m_isSeeking;
}

bool Streaming::IsAtEnd(const Outlet& outlet) const {
    return outlet.isPastStop || outlet.packets.Selected() < 0 ||
           (m_hasEnded && !outlet.packets.HasPacket());
}

/// The file is interleaved so badly, or the stream has ended so early, that nothing comes for it
/// while the other streams fill the memory.
bool Streaming::HasGap(const Outlet& outlet) const {
    return outlet.packets.Kind() != StreamKind::Text && !outlet.packets.HasPacket() && IsFull() &&
           NewestTime() > outlet.gapEnd + kGapStep;
}

bool Streaming::HasStep(const Outlet& outlet) const {
    if (outlet.toldEpoch != outlet.epoch) {
        return true;
    }
    return !outlet.hasEnded && !outlet.isRefused &&
           (IsAtEnd(outlet) || outlet.packets.HasPacket() || HasGap(outlet));
}

void Streaming::Deliver(SourcePin& pin, Outlet& outlet) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        Lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock,
                           [&] { return m_isExiting || (CanDeliver(outlet) && HasStep(outlet)); });
            if (m_isExiting) {
                break;
            }
            outlet.isDelivering = true;
            if (!ymdshow::AnswerOr(false, [&] { return DeliverNext(lock, pin, outlet), true; })) {
                if (!lock.owns_lock()) {
                    lock.lock();
                }
                outlet.isRefused = true; // memory has run out
            }
            outlet.isDelivering = false;
            m_changed.notify_all();
        }
    }
    CoUninitialize();
}

void Streaming::DeliverNext(Lock& lock, SourcePin& pin, Outlet& outlet) {
    if (outlet.toldEpoch != outlet.epoch) {
        outlet.toldEpoch = outlet.epoch;
        outlet.isFirst = true;
        const SampleSegment segment = m_playing.segment;
        lock.unlock();
        pin.BeginSegment(segment);
        lock.lock();
    } else if (IsAtEnd(outlet)) {
        DeliverEnd(lock, pin, outlet);
    } else if (outlet.packets.HasPacket()) {
        DeliverPacket(lock, pin, outlet);
    } else {
        DeliverGap(lock, pin, outlet);
    }
}

void Streaming::DeliverPacket(Lock& lock, SourcePin& pin, Outlet& outlet) {
    SampleContents contents;
    contents.packet = outlet.packets.Take();
    contents.stream = outlet.packets.Stream()->parameters;
    contents.segment = m_playing.segment;
    contents.target = outlet.target;
    contents.isDiscontinuity = std::exchange(outlet.isFirst, false);
    if (contents.packet == nullptr || Lane::TimeOf(*contents.packet) >= contents.segment.stop) {
        outlet.isPastStop = true;
        return;
    }
    lock.unlock();
    const HRESULT hr = pin.Send(std::move(contents));
    lock.lock();
    outlet.isRefused = hr != S_OK;
    const bool isStopping = m_isExiting || m_isFlushing || outlet.isFlushing || outlet.isHeld;
    if (FAILED(hr) && !isStopping && hr != VFW_E_WRONG_STATE && hr != VFW_E_NOT_COMMITTED) {
        // What is downstream can no more; the graph waits for its end.
        outlet.hasEnded = true;
        lock.unlock();
        m_filter.Notify(EC_ERRORABORT, hr, 0);
        pin.DeliverEndOfStream();
        lock.lock();
    }
}

void Streaming::DeliverGap(Lock& lock, SourcePin& pin, Outlet& outlet) {
    SampleContents contents;
    contents.stream = outlet.packets.Stream()->parameters;
    contents.segment = m_playing.segment;
    contents.target = outlet.target;
    const LONGLONG from = std::max(outlet.gapEnd, outlet.packets.TakenTime());
    outlet.gapEnd = NewestTime();
    contents.start = contents.segment.StreamTime(from);
    contents.stop = std::max(contents.segment.StreamTime(outlet.gapEnd), contents.start);
    lock.unlock();
    pin.SendGap(std::move(contents));
    lock.lock();
}

void Streaming::DeliverEnd(Lock& lock, SourcePin& pin, Outlet& outlet) {
    outlet.hasEnded = true;
    const int error = std::exchange(m_isErrorTold, true) ? 0 : m_error;
    m_isErrorTold = m_error != 0;
    const bool isSegment = m_playing.isSegment;
    const bool isLast = std::none_of(m_outlets.begin(), m_outlets.end(), [](const Outlet& one) {
        return one.isUsed && !one.hasEnded && one.packets.Kind() != StreamKind::Text;
    });
    const bool tellsEnd = isSegment && isLast && !std::exchange(m_isSegmentEndTold, true);
    const SampleSegment segment = m_playing.segment;
    const LONGLONG end = std::min(segment.stop, NewestTime());
    const int number = m_segmentNumber;
    lock.unlock();
    if (error != 0) {
        m_filter.Notify(EC_ERRORABORT, ResultOf(error), 0);
    }
    if (!isSegment) {
        pin.DeliverEndOfStream();
    } else if (tellsEnd) {
        // The graph's manager frees what the event points to.
        if (auto* const time =
                static_cast<REFERENCE_TIME*>(CoTaskMemAlloc(sizeof(REFERENCE_TIME)))) {
            *time = segment.StreamTime(end);
            m_filter.Notify(EC_END_OF_SEGMENT, reinterpret_cast<LONG_PTR>(time), number);
        }
    }
    lock.lock();
}

} // namespace ymfilters
