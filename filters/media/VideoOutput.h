#pragma once

// Decoded pictures as a renderer takes them: media types, the layout in a sample.

#include <windows.h>

#include <dshow.h>

#include <array>
#include <optional>

#include "BaseClasses/MediaType.h"
#include "media/PacketSample.h"

namespace ymfilters {

/// What the output's types say of a stream's pictures.
struct PictureShape {
    int width = 0; ///< as they are given out, turned
    int height = 0;
    AVRational pixelAspect{1, 1};
    LONGLONG frameTime = 0;
    bool isInterlaced = false;
    AVPixelFormat format = AV_PIX_FMT_NONE; ///< decoded; none when it is not known yet
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
};

/// The shape of a stream's pictures, or of the one that is given.
PictureShape ShapeOf(const StreamParameters& stream, const AVFrame* picture, int rotation);

/// The output's types, the best first; false past the last. None for sizes that no picture has.
bool PictureType(const PictureShape& shape, unsigned index, ymdshow::MediaType& type);

/// A type for another shape with the subtype and the kind of format block of `old`.
ymdshow::MediaType PictureTypeLike(const AM_MEDIA_TYPE& old, const PictureShape& shape);

/// How a picture lies in a sample.
struct PictureLayout {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    bool isChromaSwapped = false; ///< V before U
    bool isBottomUp = false;
    bool hasFields = false; ///< samples may say which field comes first
    int width = 0;          ///< of the picture
    int height = 0;
    int rowPixels = 0; ///< from row to row
    int rows = 0;

    std::size_t Size() const;

    /// Where the planes of a sample at `data` begin, and their rows' distance in bytes.
    void Planes(BYTE* data, std::array<BYTE*, 4>& planes, std::array<int, 4>& strides) const;
};

/// Pictures above this height without a word of their colours have those of HD.
constexpr int kMostSdHeight = 576;

bool IsRgb(AVPixelFormat format);

/// Nothing for a type that is not one of the output's. One that leaves the picture's place in its
/// rows open means the whole of `shape`.
std::optional<PictureLayout> ReadPictureLayout(const AM_MEDIA_TYPE& type,
                                               const PictureShape& shape);

} // namespace ymfilters
