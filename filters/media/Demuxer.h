#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "media/PacketSample.h"

namespace ymfilters {

enum class StreamKind { Video, Audio, Text };
constexpr std::size_t kStreamKinds = 3;

/// What a file holds that can be played.
struct MediaStream {
    int index = 0; ///< FFmpeg's
    StreamKind kind = StreamKind::Video;
    std::shared_ptr<const StreamParameters> parameters;
    std::string language; ///< ISO 639-2; empty when it is not known
    std::string title;
    bool isDefault = false; ///< the one of its kind that plays without being asked for
};

/// A file or a URL taken apart. All times are media time: 100 ns units, 0 is the file's start.
/// One thread at a time uses it, except for Interrupt.
class Demuxer {
public:
    Demuxer();
    ~Demuxer();
    Demuxer(const Demuxer&) = delete;
    Demuxer& operator=(const Demuxer&) = delete;

    /// Opens and looks at the streams; gives up after `timeout` milliseconds. 0 or FFmpeg's
    /// error, and then `reason` in words.
    int Open(const std::wstring& name, int timeout, std::wstring& reason);

    /// From any thread: what runs now, and what is called later, fails at once with
    /// AVERROR_EXIT until it is taken back.
    void Interrupt(bool isOn) { m_isInterrupted = isOn; }

    const std::vector<MediaStream>& Streams() const { return m_streams; }
    LONGLONG Duration() const { return m_duration; } ///< 0 when it is not known
    bool IsDurationEstimated() const { return m_isDurationEstimated; }
    bool IsSeekable() const { return m_isSeekable; }
    bool IsRemote() const { return m_isRemote; }

    /// Reading the streams of a kind that are not played costs next to nothing.
    bool CanReadAhead() const { return !m_isAdaptive; }
    std::wstring Tag(const std::string& key) const;

    /// Packets of other streams are left out. `reference` is the one whose key frames a seek
    /// goes to; -1 for none.
    void Select(const std::vector<int>& streams, int reference);

    /// Fills `packet`, times included. AVERROR_EOF at the end.
    int Read(AVPacket& packet);

    /// To the last key frame of the reference at or before `time`, whose own time `*keyFrame`
    /// receives. 0 or FFmpeg's error.
    int Seek(LONGLONG time, LONGLONG* keyFrame);

private:
    int OpenStreams(const std::wstring& name, std::wstring& reason);
    void FindStreams();
    void AddStream(AVStream& stream, StreamKind kind);
    int ReadPacket(AVPacket& packet);
    bool HasGrown();
    void ToMediaTime(AVPacket& packet);
    void MendDiscontinuity(const AVStream& stream, AVPacket& packet);
    int SkipToKey(LONGLONG latest, std::int64_t bytes, LONGLONG& keyFrame);
    LONGLONG Preroll() const;
    int SeekContainer(LONGLONG time);
    void ClearErrors();
    static int IsInterrupted(void* demuxer);

    /// Of a stream that is read.
    struct Progress {
        LONGLONG next = AV_NOPTS_VALUE; ///< decoding time that is expected
    };

    FormatPtr m_format;
    std::vector<MediaStream> m_streams;
    std::map<std::string, std::wstring> m_tags; ///< as they were when it was opened
    std::vector<Progress> m_progress;
    std::deque<PacketPtr> m_ahead; ///< read while looking for a key frame
    LONGLONG m_startTime = 0;      ///< the container's time of media time 0
    LONGLONG m_offset = 0;         ///< what jumps of the time stamps add up to
    LONGLONG m_duration = 0;
    std::int64_t m_size = 0; ///< bytes, as last seen
    int m_reference = -1;
    int m_timeout = 0;
    bool m_isDurationEstimated = false;
    bool m_isSeekable = false;
    bool m_isRemote = false;
    bool m_isAdaptive = false;
    std::atomic<bool> m_isInterrupted{false};
    std::atomic<ULONGLONG> m_deadline{0}; ///< GetTickCount64
};

} // namespace ymfilters
