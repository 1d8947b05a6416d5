#pragma once

#include <windows.h>

#include <dshow.h>

#include <vector>

#include "BaseClasses/MediaType.h"
#include "media/PacketSample.h"

namespace ymfilters {

/// The media types under which a stream is offered, the best first: the standard ones of its
/// codec, for a codec without one MEDIASUBTYPE_MediaCodec. Empty for a stream that nobody takes.
std::vector<ymdshow::MediaType> TypesOf(const StreamParameters& stream);

/// What a decoder needs to know of a connection, from its type alone; no codec when the type is
/// not one that a decoder here takes.
StreamParameters ParametersOf(const AM_MEDIA_TYPE& type);

/// The bit stream filter that brings the packets of `stream` into the form that a type of its
/// list promises; null when they have it.
const AVBitStreamFilter* FilterFor(const StreamParameters& stream, const AM_MEDIA_TYPE& type);

} // namespace ymfilters
