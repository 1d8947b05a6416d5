#pragma once

#include "media/FFmpeg.h"

namespace ymfilters {

/// Whether YuvToRgb has this format: 8 bits, chroma at half the width.
bool IsYuvToRgbFormat(AVPixelFormat format);

/// A picture as BGR rows of 3 or 4 bytes a pixel, of the same size. `coefficients` are those that
/// sws_getCoefficients gives. Much faster than the scaler where that is exact, and exact to one
/// level, where the scaler's fast way is not.
void YuvToRgb(const AVFrame& picture, const int* coefficients, bool isFullRange, int pixelBytes,
              std::uint8_t* rows, int stride);

} // namespace ymfilters
