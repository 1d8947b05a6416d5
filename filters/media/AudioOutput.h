#pragma once

// Decoded sound as a renderer takes it: media types, conversion.

#include <windows.h>

#include <dshow.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "BaseClasses/MediaType.h"
#include "media/PacketSample.h"

namespace ymfilters {

/// Interleaved samples.
struct SoundFormat {
    AVSampleFormat format = AV_SAMPLE_FMT_S16; ///< S16, S32 or FLT; 24 bits are S32's upper ones
    int bits = 16;
    int channels = 2;
    std::uint64_t mask = 0; ///< Windows' speaker positions; 0 when they are not known
    int rate = 48000;

    int FrameBytes() const { return channels * bits / 8; }
    friend bool operator==(const SoundFormat&, const SoundFormat&) = default;
};

/// The output's types for a stream, the best first; false past the last.
bool SoundType(const StreamParameters& stream, unsigned index, ymdshow::MediaType& type);

/// Nothing for a type that is not PCM of 16, 24 or 32 bits or float.
std::optional<SoundFormat> ReadSoundFormat(const AM_MEDIA_TYPE& type);

/// Brings frames into a format: samples of 16 or 32 bits or float, interleaved.
class SoundConverter {
public:
    /// Ready for frames like this one. False when nothing is known to convert them with.
    bool Open(const AVFrame& frame, const SoundFormat& format, AVSampleFormat sampleFormat);
    bool IsOpenFor(const AVFrame& frame) const;
    void Close() { m_resampler.reset(); }

    /// Appends `count` samples of the frame, from `first` on.
    void Convert(const AVFrame& frame, int first, int count, std::vector<BYTE>& bytes);

    /// Appends what a change of the rate still holds.
    void Finish(std::vector<BYTE>& bytes);

private:
    void Run(const std::uint8_t** input, int count, std::vector<BYTE>& bytes);

    ResamplerPtr m_resampler;
    int m_inFormat = -1;
    int m_inRate = 0;
    int m_inChannels = 0;
    std::uint64_t m_inMask = 0;
    int m_outFrameBytes = 0;
    bool m_isResampling = false;
};

/// Floats as samples of a format of 16 or 32 bits; as they are for a float one.
void FromFloat(const std::vector<float>& samples, AVSampleFormat format, std::vector<BYTE>& bytes);

/// 32-bit samples cut to 24 bits, in place.
void PackTo24(std::vector<BYTE>& bytes);

} // namespace ymfilters
