#include "media/YuvToRgb.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define YMD_HAS_SSE2 1
#endif

namespace ymfilters {

namespace {

// A sample, shifted, times a coefficient keeps its upper 16 bits: kFraction of them are a fraction.
constexpr int kSampleShift = 7;
constexpr int kFraction = 4;
constexpr double kScale = 1 << (16 - kSampleShift + kFraction);
constexpr int kRounding = 2; ///< makes up for what the products lose

struct Factors {
    std::int16_t black;
    std::int16_t y;
    std::int16_t redOfV;
    std::int16_t greenOfU;
    std::int16_t greenOfV;
    std::int16_t blueOfU;
};

Factors FactorsFor(const int* coefficients, bool isFullRange) {
    const auto scaled = [](double factor) {
        return static_cast<std::int16_t>(std::lround(factor * kScale));
    };
    // The coefficients are those of the limited range.
    const auto chroma = [&](int coefficient) {
        return scaled(coefficient / 65536.0 * (isFullRange ? 224.0 / 255 : 1));
    };
    return {static_cast<std::int16_t>(isFullRange ? 0 : 16),
            scaled(isFullRange ? 1 : 255.0 / 219),
            chroma(coefficients[0]),
            chroma(-coefficients[2]),
            chroma(-coefficients[3]),
            chroma(coefficients[1])};
}

int Product(int sample, int factor) {
    return (sample * (1 << kSampleShift) * factor) >> 16;
}

std::uint8_t Level(int sum) {
    return static_cast<std::uint8_t>(std::clamp((sum + kRounding) >> kFraction, 0, 255));
}

#if defined(YMD_HAS_SSE2)

__m128i Products(__m128i bytes, int offset, int factor) {
    const __m128i samples = _mm_sub_epi16(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()),
                                          _mm_set1_epi16(static_cast<short>(offset)));
    return _mm_mulhi_epi16(_mm_slli_epi16(samples, kSampleShift),
                           _mm_set1_epi16(static_cast<short>(factor)));
}

/// The levels of 16 pixels from their luma and the chroma of the 8 pairs.
__m128i Levels(__m128i left, __m128i right, __m128i chroma) {
    const __m128i rounding = _mm_set1_epi16(kRounding);
    const __m128i both = _mm_add_epi16(chroma, rounding);
    left = _mm_add_epi16(left, _mm_unpacklo_epi16(both, both));
    right = _mm_add_epi16(right, _mm_unpackhi_epi16(both, both));
    return _mm_packus_epi16(_mm_srai_epi16(left, kFraction), _mm_srai_epi16(right, kFraction));
}

int ConvertVectors(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int width,
                   const Factors& factors, std::uint8_t* out) {
    int x = 0;
    for (; x <= width - 16; x += 16) {
        const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + x));
        const __m128i blue = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(u + x / 2));
        const __m128i red = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(v + x / 2));
        const __m128i left = Products(luma, factors.black, factors.y);
        const __m128i right = Products(_mm_srli_si128(luma, 8), factors.black, factors.y);
        const __m128i b = Levels(left, right, Products(blue, 128, factors.blueOfU));
        const __m128i g = Levels(left, right,
                                 _mm_add_epi16(Products(blue, 128, factors.greenOfU),
                                               Products(red, 128, factors.greenOfV)));
        const __m128i r = Levels(left, right, Products(red, 128, factors.redOfV));
        const __m128i opaque = _mm_set1_epi8(-1);
        const __m128i bgLeft = _mm_unpacklo_epi8(b, g);
        const __m128i bgRight = _mm_unpackhi_epi8(b, g);
        const __m128i raLeft = _mm_unpacklo_epi8(r, opaque);
        const __m128i raRight = _mm_unpackhi_epi8(r, opaque);
        auto* const to = reinterpret_cast<__m128i*>(out + std::ptrdiff_t{x} * 4);
        _mm_storeu_si128(to, _mm_unpacklo_epi16(bgLeft, raLeft));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi16(bgLeft, raLeft));
        _mm_storeu_si128(to + 2, _mm_unpacklo_epi16(bgRight, raRight));
        _mm_storeu_si128(to + 3, _mm_unpackhi_epi16(bgRight, raRight));
    }
    return x;
}

#else

int ConvertVectors(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, int,
                   const Factors&, std::uint8_t*) {
    return 0;
}

#endif

/// One row, 4 bytes a pixel.
void ConvertRow(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, int width,
                const Factors& factors, std::uint8_t* out) {
    for (int x = ConvertVectors(y, u, v, width, factors, out); x < width; ++x) {
        const int luma = Product(y[x] - factors.black, factors.y);
        const int blue = u[x / 2] - 128;
        const int red = v[x / 2] - 128;
        std::uint8_t* const to = out + std::ptrdiff_t{x} * 4;
        to[0] = Level(luma + Product(blue, factors.blueOfU));
        to[1] = Level(luma + Product(blue, factors.greenOfU) + Product(red, factors.greenOfV));
        to[2] = Level(luma + Product(red, factors.redOfV));
        to[3] = 0xff;
    }
}

} // namespace

bool IsYuvToRgbFormat(AVPixelFormat format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUV422P;
}

void YuvToRgb(const AVFrame& picture, const int* coefficients, bool isFullRange, int pixelBytes,
              std::uint8_t* rows, int stride) {
    const Factors factors = FactorsFor(coefficients, isFullRange);
    const auto format = static_cast<AVPixelFormat>(picture.format);
    const int chromaShift = av_pix_fmt_desc_get(format)->log2_chroma_h;
    std::vector<std::uint8_t> line(pixelBytes == 3 ? std::size_t{4} * picture.width : 0);
    for (int row = 0; row < picture.height; ++row) {
        const auto at = [&](int plane, int shift) {
            return picture.data[plane] + std::ptrdiff_t{row >> shift} * picture.linesize[plane];
        };
        std::uint8_t* const out = rows + std::ptrdiff_t{row} * stride;
        ConvertRow(at(0, 0), at(1, chromaShift), at(2, chromaShift), picture.width, factors,
                   line.empty() ? out : line.data());
        for (std::size_t x = 0; x < line.size() / 4; ++x) {
            std::copy_n(&line[4 * x], 3, out + 3 * x);
        }
    }
}

} // namespace ymfilters
