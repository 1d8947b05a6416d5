#pragma once

// The plain media types: RGB32 pictures, 16-bit PCM.

#include <windows.h>

#include <dshow.h>

#include "BaseClasses/MediaType.h"

namespace ymfilters {

/// An RGB32 type; the frame time is in 100 ns units.
ymdshow::MediaType VideoType(int width, int height, LONGLONG frameTime);

/// 16-bit PCM in stereo.
ymdshow::MediaType PcmType(int samplingRate);

/// The format blocks of such types; null for any other.
const VIDEOINFOHEADER* ReadVideo(const AM_MEDIA_TYPE& type);
const WAVEFORMATEX* ReadPcm(const AM_MEDIA_TYPE& type);

/// S_OK when a type is `own`, with the same format block.
HRESULT CheckSameType(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE& own);

} // namespace ymfilters
