#pragma once

#include <atomic>

#include "FramePattern.h"
#include "testsource/SourceStream.h"

namespace ymfilters {

/// The pictures of the clip, as RGB or as coded frames.
class VideoStream final : public SourceStream {
public:
    VideoStream(Filter& filter, std::wstring name, const Clip& clip, SharedSegment& shared);

    bool PreferredType(unsigned index, ymdshow::MediaType& type) override;

protected:
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES BufferNeeds() const override;
    LONGLONG UnitAt(LONGLONG time) const override { return m_clip.FrameAt(time); }
    LONGLONG UnitTime(LONGLONG unit) const override { return m_clip.FrameTime(unit); }
    HRESULT Fill(IMediaSample& sample, LONGLONG& next, LONGLONG stop) override;

private:
    const FramePainter m_painter;
};

/// The tones that are enabled, mixed, as 16-bit PCM. A sine's phase is its position's, so
/// that a stream sounds the same wherever it was entered.
class AudioStream final : public SourceStream {
public:
    AudioStream(Filter& filter, std::wstring name, const Clip& clip, SharedSegment& shared,
                std::vector<double> tones);

    /// One bit a tone; all are enabled at first. Heard from the next block on.
    std::atomic<unsigned> enabled{~0U};

    bool PreferredType(unsigned index, ymdshow::MediaType& type) override;

protected:
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES BufferNeeds() const override;
    LONGLONG UnitAt(LONGLONG time) const override { return time * m_clip.samplingRate / kSecond; }
    LONGLONG UnitTime(LONGLONG unit) const override {
        return (unit * kSecond + m_clip.samplingRate - 1) / m_clip.samplingRate;
    }
    HRESULT Fill(IMediaSample& sample, LONGLONG& next, LONGLONG stop) override;

private:
    LONGLONG BlockSamples() const { return m_clip.samplingRate / 20; }

    const std::vector<double> m_tones;
};

} // namespace ymfilters
