#pragma once

#include <windows.h>

#include "media/VideoOutput.h"

namespace ymfilters {

/// Brings pictures into samples. A copy where the formats agree.
class PictureConverter {
public:
    /// Turns by `rotation`, clockwise, and fills the layout's picture. False when memory lacks
    /// or the format has no conversion.
    bool Convert(const AVFrame& picture, int rotation, const PictureLayout& layout, BYTE* data);

private:
    bool Scale(const AVFrame& picture, int width, int height, AVPixelFormat format, bool isFull,
               BYTE* const* planes, const int* strides);
    const AVFrame* Turn(const AVFrame& picture, int rotation);

    ScalerPtr m_scaler;
    FramePtr m_planar; ///< in a format that can be turned
    FramePtr m_turned;
    FramePtr m_padded;
};

} // namespace ymfilters
