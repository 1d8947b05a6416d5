#include "media/PictureConverter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#endif

#include "media/YuvToRgb.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace ymfilters {

namespace {

/// The same without the deprecated formats that say "full range" by their name.
AVPixelFormat Plain(AVPixelFormat format) {
    switch (format) {
    case AV_PIX_FMT_YUVJ420P:
        return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
        return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
        return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
        return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
        return AV_PIX_FMT_YUV411P;
    default:
        return format;
    }
}

bool IsFullRange(const AVFrame& picture) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    return picture.color_range == AVCOL_RANGE_JPEG || Plain(format) != format;
}

const int* Coefficients(const AVFrame& picture) {
    switch (picture.colorspace) {
    case AVCOL_SPC_BT709:
        return sws_getCoefficients(SWS_CS_ITU709);
    case AVCOL_SPC_FCC:
        return sws_getCoefficients(SWS_CS_FCC);
    case AVCOL_SPC_SMPTE240M:
        return sws_getCoefficients(SWS_CS_SMPTE240M);
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
        return sws_getCoefficients(SWS_CS_BT2020);
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
        return sws_getCoefficients(SWS_CS_ITU601);
    default:
        return sws_getCoefficients(picture.height > kMostSdHeight ? SWS_CS_ITU709 : SWS_CS_ITU601);
    }
}

/// One row of U and one of V as pairs.
void Interleave(const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* pairs, int count) {
    int i = 0;
#if defined(__SSE2__) || defined(_M_X64)
    for (; i <= count - 16; i += 16) {
        const __m128i left = _mm_loadu_si128(reinterpret_cast<const __m128i*>(u + i));
        const __m128i right = _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + i));
        auto* const out = reinterpret_cast<__m128i*>(pairs + 2 * i);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(left, right));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(left, right));
    }
#endif
    for (; i < count; ++i) {
        pairs[2 * i] = u[i];
        pairs[2 * i + 1] = v[i];
    }
}

/// Makes `frame` a picture with memory of its own, unless it is one of that form already.
bool Prepare(FramePtr& frame, AVPixelFormat format, int width, int height) {
    if (frame != nullptr && frame->format == format && frame->width == width &&
        frame->height == height) {
        return true;
    }
    frame.reset(av_frame_alloc());
    if (frame == nullptr) {
        return false;
    }
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 64) < 0) {
        frame.reset();
        return false;
    }
    return true;
}

/// Each component in a plane of its own, and turning leaves the chroma's raster alone.
bool IsTurnable(AVPixelFormat format) {
    const AVPixFmtDescriptor* const known = av_pix_fmt_desc_get(format);
    if (known == nullptr || known->log2_chroma_w != known->log2_chroma_h ||
        (known->flags & (AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL)) != 0) {
        return false;
    }
    for (int i = 0; i < known->nb_components; ++i) {
        if (known->comp[i].plane != i || known->comp[i].step > 2) {
            return false;
        }
    }
    return true;
}

/// The format in which one that cannot be turned is turned.
AVPixelFormat TurnableFormat(AVPixelFormat format) {
    const AVPixFmtDescriptor* const known = av_pix_fmt_desc_get(format);
    if (known == nullptr || (known->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) {
        return AV_PIX_FMT_GBRP;
    }
    return known->comp[0].depth > 8 ? AV_PIX_FMT_YUV444P10 : AV_PIX_FMT_YUV444P;
}

template <class Sample>
void TurnPlane(const std::uint8_t* from, int fromStride, std::uint8_t* to, int toStride, int width,
               int height, int rotation) {
    constexpr int kTile = 32; // both sides of the turn stay in the cache
    for (int top = 0; top < height; top += kTile) {
        for (int left = 0; left < width; left += kTile) {
            for (int y = top; y < std::min(top + kTile, height); ++y) {
                const auto* const row =
                    reinterpret_cast<const Sample*>(from + std::ptrdiff_t{y} * fromStride);
                for (int x = left; x < std::min(left + kTile, width); ++x) {
                    const int column = rotation == 90    ? height - 1 - y
                                       : rotation == 180 ? width - 1 - x
                                                         : y;
                    const int line = rotation == 90    ? x
                                     : rotation == 180 ? height - 1 - y
                                                       : width - 1 - x;
                    reinterpret_cast<Sample*>(to + std::ptrdiff_t{line} * toStride)[column] =
                        row[x];
                }
            }
        }
    }
}

} // namespace

bool PictureConverter::Convert(const AVFrame& picture, int rotation, const PictureLayout& layout,
                               BYTE* data) {
    const AVFrame* const upright = rotation != 0 ? Turn(picture, rotation) : &picture;
    if (upright == nullptr) {
        return false;
    }
    std::array<BYTE*, 4> planes{};
    std::array<int, 4> strides{};
    layout.Planes(data, planes, strides);
    const auto format = static_cast<AVPixelFormat>(upright->format);
    const bool isSameSize = upright->width == layout.width && upright->height == layout.height;
    const bool isYuvCopy = isSameSize && !IsRgb(layout.format) && !IsFullRange(*upright);
    if (isYuvCopy && format == layout.format) {
        av_image_copy(planes.data(), strides.data(), const_cast<const uint8_t**>(upright->data),
                      upright->linesize, format, layout.width, layout.height);
        return true;
    }
    if (isYuvCopy && format == AV_PIX_FMT_YUV420P && layout.format == AV_PIX_FMT_NV12) {
        av_image_copy_plane(planes[0], strides[0], upright->data[0], upright->linesize[0],
                            layout.width, layout.height);
        for (int y = 0; y < (layout.height + 1) / 2; ++y) {
            const std::ptrdiff_t line = y;
            Interleave(upright->data[1] + line * upright->linesize[1],
                       upright->data[2] + line * upright->linesize[2],
                       planes[1] + line * strides[1], (layout.width + 1) / 2);
        }
        return true;
    }
    if (isSameSize && IsRgb(layout.format) && IsYuvToRgbFormat(Plain(format))) {
        YuvToRgb(*upright, Coefficients(*upright), IsFullRange(*upright),
                 layout.format == AV_PIX_FMT_BGR24 ? 3 : 4, planes[0], strides[0]);
        return true;
    }
    // The scaler writes whole vectors, so rows that do not end with one go through padded memory.
    constexpr int kVectorPixels = 64;
    if (layout.width % kVectorPixels == 0) {
        return Scale(*upright, layout.width, layout.height, layout.format, IsRgb(layout.format),
                     planes.data(), strides.data());
    }
    if (!Prepare(m_padded, layout.format, layout.width, layout.height) ||
        !Scale(*upright, layout.width, layout.height, layout.format, IsRgb(layout.format),
               m_padded->data, m_padded->linesize)) {
        return false;
    }
    av_image_copy(planes.data(), strides.data(), const_cast<const uint8_t**>(m_padded->data),
                  m_padded->linesize, layout.format, layout.width, layout.height);
    return true;
}

bool PictureConverter::Scale(const AVFrame& picture, int width, int height, AVPixelFormat format,
                             bool isFull, BYTE* const* planes, const int* strides) {
    const AVPixelFormat source = Plain(static_cast<AVPixelFormat>(picture.format));
    // To RGB exact to a level; slow, but what is frequent has a way of its own.
    const int flags =
        IsRgb(format) ? SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT : SWS_BICUBIC;
    m_scaler.reset(sws_getCachedContext(m_scaler.release(), picture.width, picture.height, source,
                                        width, height, format, flags, nullptr, nullptr, nullptr));
    if (m_scaler == nullptr) {
        return false;
    }
    const int* const matrix = Coefficients(picture);
    sws_setColorspaceDetails(m_scaler.get(), matrix, IsFullRange(picture) ? 1 : 0, matrix,
                             isFull ? 1 : 0, 0, 1 << 16, 1 << 16);
    return sws_scale(m_scaler.get(), picture.data, picture.linesize, 0, picture.height, planes,
                     strides) > 0;
}

const AVFrame* PictureConverter::Turn(const AVFrame& picture, int rotation) {
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const AVFrame* from = &picture;
    if (!IsTurnable(format)) {
        const bool isFull = IsFullRange(picture);
        if (!Prepare(m_planar, TurnableFormat(format), picture.width, picture.height) ||
            !Scale(picture, picture.width, picture.height,
                   static_cast<AVPixelFormat>(m_planar->format), isFull, m_planar->data,
                   m_planar->linesize)) {
            return nullptr;
        }
        m_planar->color_range = isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
        m_planar->colorspace = picture.colorspace;
        from = m_planar.get();
    }
    const bool isSideways = rotation != 180;
    const auto turnedFormat = static_cast<AVPixelFormat>(from->format);
    if (!Prepare(m_turned, turnedFormat, isSideways ? from->height : from->width,
                 isSideways ? from->width : from->height)) {
        return nullptr;
    }
    m_turned->color_range = from->color_range;
    // Untagged colours go by the height, which is another now.
    m_turned->colorspace = from->colorspace != AVCOL_SPC_UNSPECIFIED ? from->colorspace
                           : from->height > kMostSdHeight            ? AVCOL_SPC_BT709
                                                                     : AVCOL_SPC_SMPTE170M;
    const AVPixFmtDescriptor& known = *av_pix_fmt_desc_get(turnedFormat);
    for (int i = 0; i < known.nb_components; ++i) {
        const bool isChroma = (i == 1 || i == 2) && (known.flags & AV_PIX_FMT_FLAG_RGB) == 0;
        const int width = isChroma ? AV_CEIL_RSHIFT(from->width, known.log2_chroma_w) : from->width;
        const int height =
            isChroma ? AV_CEIL_RSHIFT(from->height, known.log2_chroma_h) : from->height;
        const auto turn =
            known.comp[i].step > 1 ? &TurnPlane<std::uint16_t> : &TurnPlane<std::uint8_t>;
        turn(from->data[i], from->linesize[i], m_turned->data[i], m_turned->linesize[i], width,
             height, rotation);
    }
    return m_turned.get();
}

} // namespace ymfilters
