#pragma once

#include "media/AudioOutput.h"
#include "media/DecoderFilter.h"
#include "media/TimeStretch.h"

namespace ymfilters {

/// Decodes every audio stream to PCM as the renderer takes it. Sound begins at the target's sample
/// and ends at the stop's; at another rate it keeps its pitch.
class AudioDecoder final : public DecoderFilter {
public:
    AudioDecoder();

protected:
    bool OutputType(unsigned index, ymdshow::MediaType& type) override;
    HRESULT CheckOutputType(const AM_MEDIA_TYPE& type) override;
    ALLOCATOR_PROPERTIES OutputNeeds(const AM_MEDIA_TYPE& type) override;

    HRESULT OnFrame(FramePtr frame) override;
    HRESULT OnDrained() override;
    HRESULT OnGap(LONGLONG from, LONGLONG to) override;
    void OnStart() override;
    void OnFlush() override;
    void OnPlace() override;

private:
    LONGLONG TimeOf(const AVFrame& frame);
    HRESULT Play(const AVFrame& frame, int first, int count, LONGLONG time);
    HRESULT EndRun();
    void BeginRun(LONGLONG time);
    HRESULT Send();
    HRESULT SendPart(std::size_t& sent);

    // Streaming alone.
    std::optional<SoundFormat> m_format; ///< of the output's connection
    SoundConverter m_converter;
    std::optional<TimeStretch> m_stretch;

    // The frames' times: of the first one since the count began, and samples since.
    LONGLONG m_countStart = AV_NOPTS_VALUE;
    LONGLONG m_count = 0;
    int m_countRate = 0;

    // A run is sound without a gap that goes out: the time of its start, and its samples.
    bool m_isInRun = false;
    bool m_isRunsFirst = false;
    REFERENCE_TIME m_runStart = 0;
    LONGLONG m_runCount = 0;

    std::vector<BYTE> m_bytes; ///< to be sent
    std::vector<BYTE> m_plain; ///< floats before they are stretched
    std::vector<float> m_stretched;
};

} // namespace ymfilters
