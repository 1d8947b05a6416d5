#pragma once

// The two things that every seek does around its own calls: hold a running graph, and use a
// time format that the graph understands.

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

#include <cstdint>

#include <ymlib/Lock.h>

#include "Guard.h"

namespace ymdshow {

/// Milliseconds that a state query waits for a state change to complete.
constexpr LONG kStateTimeout = 500;

/// Pauses a running graph for an operation and restores its state afterwards, unless another
/// has changed it meanwhile. A stopped graph is told to stop again, as some sources start to
/// prepare data when they are seeked.
class PausedGraph {
public:
    /// `playState` is the item's, which `lock` guards.
    PausedGraph(IMediaControl* control, ymlib::CLock& lock, const std::int32_t& playState)
        : m_control(control), m_item(lock), m_playState(playState), m_before(playState) {
        m_stateResult = m_control->GetState(kStateTimeout, &m_state);
        if (SUCCEEDED(m_stateResult) && m_state == State_Running) {
            m_control->Pause();
        }
    }
    ~PausedGraph() {
        Quietly([&] {
            if (m_state == State_Paused || m_item.IsDestroyed() || m_playState != m_before) {
                return;
            }
            if (m_state == State_Stopped) {
                m_control->Stop();
            } else if (m_state == State_Running) {
                m_control->Run();
            }
        });
    }
    PausedGraph(const PausedGraph&) = delete;
    PausedGraph& operator=(const PausedGraph&) = delete;

    HRESULT StateResult() const { return m_stateResult; }

private:
    const Microsoft::WRL::ComPtr<IMediaControl> m_control; // outlives what a message does
    const ymlib::CYMAutoLock m_item;
    const std::int32_t& m_playState;
    const std::int32_t m_before;
    HRESULT m_stateResult = S_OK;
    OAFilterState m_state = State_Paused;
};

enum class TimeFormat {
    NativeMediaTime, ///< media time, in force before or taken when the format was unknown
    Other,           ///< frames, or media time for the one operation
};

/// Restores a time format at the end of its scope; none when it is null.
class KeptFormat {
public:
    KeptFormat(IMediaSeeking* seeking, const GUID* format) : m_seeking(seeking), m_format(format) {}
    ~KeptFormat() {
        if (m_format != nullptr) {
            Quietly([&] { m_seeking->SetTimeFormat(m_format); });
        }
    }
    KeptFormat(const KeptFormat&) = delete;
    KeptFormat& operator=(const KeptFormat&) = delete;

private:
    IMediaSeeking* m_seeking;
    const GUID* m_format;
};

/// Calls `seek(unit, format)` in a time format of the graph's: `unit` is the length of one
/// position in 100 ns units (1 for media time, `frameTime` for frames). A format that was
/// changed is restored. Answers what `seek` answers, or `otherwise` when no format fits.
template <class Seek>
HRESULT SeekInUnits(IMediaSeeking* seeking, std::int64_t frameTime, HRESULT otherwise,
                    Seek&& seek) {
    GUID format{};
    if (FAILED(seeking->GetTimeFormat(&format))) {
        return SUCCEEDED(seeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))
                   ? seek(1, TimeFormat::NativeMediaTime)
                   : otherwise;
    }
    if (format == TIME_FORMAT_MEDIA_TIME) {
        return seek(1, TimeFormat::NativeMediaTime);
    }
    if (format == TIME_FORMAT_FRAME && frameTime > 0) {
        return seek(frameTime, TimeFormat::Other);
    }
    const bool inMediaTime = SUCCEEDED(seeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME));
    if (!inMediaTime && (frameTime < 1 || FAILED(seeking->SetTimeFormat(&TIME_FORMAT_FRAME)))) {
        return otherwise;
    }
    const KeptFormat kept(seeking, &format);
    return seek(inMediaTime ? 1 : frameTime, TimeFormat::Other);
}

/// Calls `read()` with the graph in media time and restores the format; does nothing when
/// the graph refuses media time.
template <class Read> void InMediaTime(IMediaSeeking* seeking, Read&& read) {
    GUID format{};
    const bool known = SUCCEEDED(seeking->GetTimeFormat(&format));
    if (known && format == TIME_FORMAT_MEDIA_TIME) {
        read();
    } else if (SUCCEEDED(seeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME))) {
        const KeptFormat kept(seeking, known ? &format : nullptr);
        read();
    }
}

} // namespace ymdshow
