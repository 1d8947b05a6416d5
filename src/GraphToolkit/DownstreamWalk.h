#pragma once

#include "GraphToolkit/Ranges.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace ymdshow::toolkit {

/// What a walk does with an output pin.
enum class OutputPin {
    Follow,  ///< keep it: the walk goes on behind it
    Leave,   ///< release it
    EndScan, ///< leave it, and look at no further pin of this filter
};

/// Which of the pins that wait a walk follows next.
enum class WalkOrder {
    DepthFirst,   ///< the latest: the branch behind the last output pin of a filter goes first
    BreadthFirst, ///< the oldest
};

/// What a scan of one filter's pins met. Pins without a direction are not counted.
struct PinTally {
    bool enumerated = false; ///< false when the filter's pins could not be enumerated
    unsigned int inputs = 0;
    unsigned int outputs = 0;
};

/// The walk from a filter through its output pins. It keeps no visited set, so a filter that
/// two paths lead to is met twice.
///
///     for (DownstreamWalk walk(source); walk.Current(); walk.Next()) {
///         walk.ScanConnected([&](auto& pin) { return OutputPin::Leave; });
///     }
///
/// Nothing is allocated but the list of pins that wait. Scanning throws std::bad_alloc when that
/// cannot grow, and loses no reference.
class DownstreamWalk {
public:
    /// Takes a reference on `start`, which may be null.
    explicit DownstreamWalk(IBaseFilter* start, WalkOrder order = WalkOrder::DepthFirst)
        : m_order(order), m_current(start) {}
    ~DownstreamWalk() { Abandon(); }
    DownstreamWalk(const DownstreamWalk&) = delete;
    DownstreamWalk& operator=(const DownstreamWalk&) = delete;

    /// The filter that the walk is at, without a reference; null when the walk has ended.
    IBaseFilter* Current() const noexcept { return m_current.Get(); }

    /// The output pin through which it came to that filter, without a reference; null at the
    /// start.
    IPin* Arriving() const noexcept { return m_arriving.Get(); }

    /// Walks the current filter's pins. `decide(ComPtr<IPin>&) -> OutputPin` is asked for
    /// each output pin and may detach the pin that it does not have followed.
    template <class Decide> PinTally Scan(Decide&& decide) {
        Pins pins(m_current.Get());
        PinTally tally;
        tally.enumerated = !pins.Failed();
        for (auto& pin : pins) {
            PIN_DIRECTION direction{};
            if (FAILED(pin->QueryDirection(&direction))) {
                continue;
            }
            if (direction != PINDIR_OUTPUT) {
                ++tally.inputs;
                continue;
            }
            ++tally.outputs;
            const OutputPin decision = decide(pin);
            if (decision == OutputPin::Follow) {
                m_pending.push_back(std::move(pin));
            } else if (decision == OutputPin::EndScan) {
                break;
            }
        }
        return tally;
    }

    /// Scan that follows every connected output pin; `onUnconnected` decides on the others.
    template <class OnUnconnected> PinTally ScanConnected(OnUnconnected&& onUnconnected) {
        return Scan([&](ComPtr<IPin>& pin) {
            return IsLinked(pin.Get()) ? OutputPin::Follow : onUnconnected(pin);
        });
    }

    /// Scan that follows every output pin without asking whether it is connected.
    PinTally ScanAll() {
        return Scan([](ComPtr<IPin>&) { return OutputPin::Follow; });
    }

    /// Goes on to the filter behind the next waiting pin that leads to one.
    void Next() {
        m_current.Reset();
        while (m_current == nullptr && m_oldest < m_pending.size()) {
            ComPtr<IPin> pin = TakePending();
            ComPtr<IPin> peer;
            if (FAILED(pin->ConnectedTo(peer.GetAddressOf())) || peer == nullptr) {
                continue;
            }
            PIN_INFO info; // the holder would clear its text three times a hop
            info.pFilter = nullptr;
            const HRESULT hr = peer->QueryPinInfo(&info);
            Adopt(m_current, info.pFilter);
            if (FAILED(hr)) {
                m_current.Reset();
                continue;
            }
            m_arriving = std::move(pin);
        }
    }

    /// Begins anew at `start`.
    void Restart(IBaseFilter* start) {
        Abandon();
        m_current = start;
    }

private:
    ComPtr<IPin> TakePending() {
        if (m_order == WalkOrder::BreadthFirst) {
            return std::move(m_pending[m_oldest++]);
        }
        ComPtr<IPin> latest = std::move(m_pending.back());
        m_pending.pop_back();
        return latest;
    }

    // Releases the current filter, then the pins from the last to the first.
    void Abandon() {
        m_current.Reset();
        m_arriving.Reset();
        while (!m_pending.empty()) {
            m_pending.pop_back();
        }
        m_oldest = 0;
    }

    const WalkOrder m_order;
    ComPtr<IBaseFilter> m_current;
    ComPtr<IPin> m_arriving;
    std::vector<ComPtr<IPin>> m_pending;
    std::size_t m_oldest = 0; // what is before it has been followed; 0 in a depth-first walk
};

} // namespace ymdshow::toolkit
