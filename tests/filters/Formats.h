#pragma once

// The media types that the modules speak.

#include <windows.h>

#include <dshow.h>

#include "BaseClasses/MediaType.h"

namespace ymfilters {

/// A bottom-up RGB picture of 24 or 32 bits.
struct PictureFormat {
    int width;
    int height;
    int bits;
    bool isBottomUp = true;
};

/// The picture of an RGB24 or RGB32 type; false for any other.
bool ReadPictureFormat(const AM_MEDIA_TYPE& type, PictureFormat& out);

/// A video type of a subtype and size; the frame time is in 100 ns units. False when
/// memory is short.
bool MakeVideoType(const GUID& subtype, const PictureFormat& picture, LONGLONG frameTime,
                   ULONG sampleSize, ymdshow::MediaType& out);

/// The WAVEFORMATEX of 16-bit PCM sound; null for any other type.
const WAVEFORMATEX* ReadPcmFormat(const AM_MEDIA_TYPE& type);

bool MakePcmType(int samplingRate, int channels, ymdshow::MediaType& out);

} // namespace ymfilters
