#pragma once

// What passes between the project's source and the project's decoders beside the standard
// interfaces. Other makers' filters never ask for it.

#include <memory>

#include <unknwn.h>

#include "media/FFmpeg.h"

namespace ymfilters {

/// What the container says of a stream.
struct StreamParameters {
    ParametersPtr codec;
    LONGLONG frameTime = 0;       ///< of a picture, average, in 100 ns; 0 when it is not known
    AVRational pixelAspect{0, 1}; ///< of one pixel; 0 when it is not known
    int rotation = 0;             ///< clockwise, in degrees: 0, 90, 180 or 270
};

/// The media time of a segment, as it applies to a sample.
struct SampleSegment {
    LONGLONG start = 0; ///< media time that has the stream time `base`
    LONGLONG stop = 0;  ///< media time of the first instant that is not played
    LONGLONG base = 0;  ///< stream time; above 0 after a segment that was not flushed
    double rate = 1;

    /// The stream time of a media time.
    LONGLONG StreamTime(LONGLONG time) const {
        const LONGLONG passed = time - start;
        return base +
               (rate == 1 ? passed : static_cast<LONGLONG>(static_cast<double>(passed) / rate));
    }
    friend bool operator==(const SampleSegment&, const SampleSegment&) = default;
};

/// Of an output pin of the source.
struct DECLSPEC_UUID("6b0c0e2a-4f35-4b0e-9b52-6d7e3a51c220") IStreamPin : public IUnknown {
    /// The stream that the pin delivers now.
    virtual std::shared_ptr<const StreamParameters> STDMETHODCALLTYPE Stream() = 0;
};

/// Of a sample of the source.
struct DECLSPEC_UUID("6b0c0e2a-4f35-4b0e-9b52-6d7e3a51c221") IPacketSample : public IUnknown {
    /// The sample's packet, its times and duration in 100 ns of media time (0 is the file's
    /// start). Null for a gap: nothing comes before the sample's stop time. The sample's own.
    virtual const AVPacket* STDMETHODCALLTYPE Packet() = 0;

    /// The stream that the packet is of; another object when another stream begins.
    virtual std::shared_ptr<const StreamParameters> STDMETHODCALLTYPE Stream() = 0;

    virtual SampleSegment STDMETHODCALLTYPE Segment() = 0;

    /// Nothing before this media time is shown or heard: the segment's start, or the place of a
    /// switch between streams.
    virtual LONGLONG STDMETHODCALLTYPE Target() = 0;
};

} // namespace ymfilters

#if defined(__MINGW32__)
__CRT_UUID_DECL(ymfilters::IStreamPin, 0x6b0c0e2a, 0x4f35, 0x4b0e, 0x9b, 0x52, 0x6d, 0x7e, 0x3a,
                0x51, 0xc2, 0x20)
__CRT_UUID_DECL(ymfilters::IPacketSample, 0x6b0c0e2a, 0x4f35, 0x4b0e, 0x9b, 0x52, 0x6d, 0x7e, 0x3a,
                0x51, 0xc2, 0x21)
#endif
