#include "YMMedia/Dib.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace ymdshow {

namespace {

constexpr int kLargestSide = 32768;

constexpr DWORD FourCc(char a, char b, char c, char d) {
    return static_cast<DWORD>(static_cast<std::uint8_t>(a)) |
           static_cast<DWORD>(static_cast<std::uint8_t>(b)) << 8 |
           static_cast<DWORD>(static_cast<std::uint8_t>(c)) << 16 |
           static_cast<DWORD>(static_cast<std::uint8_t>(d)) << 24;
}

std::uint8_t Clamp(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

/// BT.601, limited range.
void PutYuv(std::uint8_t* bgra, int y, int u, int v) {
    const int c = 298 * (y - 16) + 128;
    const int d = u - 128;
    const int e = v - 128;
    bgra[0] = Clamp((c + 516 * d) >> 8);
    bgra[1] = Clamp((c - 100 * d - 208 * e) >> 8);
    bgra[2] = Clamp((c + 409 * e) >> 8);
}

struct Source {
    const std::uint8_t* bits;
    std::size_t size;
    std::size_t imageSize; ///< as the header has it; 0 when it does not say
};

std::uint8_t* Row(Snapshot& picture, int y) {
    return picture.pixels.data() +
           static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.stride);
}

/// Moves the highest eight of a mask's bits into a byte.
std::uint8_t MaskedByte(DWORD value, DWORD mask) {
    if (mask == 0) {
        return 0;
    }
    unsigned low = 0;
    while ((mask >> low & 1U) == 0) {
        ++low;
    }
    const DWORD largest = mask >> low;
    return static_cast<std::uint8_t>((value & mask) / (1ULL << low) * 255ULL / largest);
}

bool DecodeRgb(const Source& source, int bits, const DWORD (&masks)[3], bool fromBottom,
               Snapshot& picture) {
    const std::size_t width = static_cast<std::size_t>(picture.width);
    const std::size_t bytes = static_cast<std::size_t>(bits / 8);
    const std::size_t stride = (width * bytes + 3) / 4 * 4;
    if (source.size < stride * static_cast<std::size_t>(picture.height)) {
        return false;
    }
    for (int y = 0; y < picture.height; ++y) {
        const int line = fromBottom ? picture.height - 1 - y : y;
        const std::uint8_t* from = source.bits + stride * static_cast<std::size_t>(line);
        std::uint8_t* to = Row(picture, y);
        for (std::size_t x = 0; x < width; ++x, from += bytes, to += 4) {
            if (bytes == 2) {
                const DWORD value = static_cast<DWORD>(from[0]) | static_cast<DWORD>(from[1]) << 8;
                to[0] = MaskedByte(value, masks[2]);
                to[1] = MaskedByte(value, masks[1]);
                to[2] = MaskedByte(value, masks[0]);
            } else {
                std::copy(from, from + 3, to);
            }
        }
    }
    return true;
}

bool DecodePacked(const Source& source, bool lumaFirst, Snapshot& picture) {
    const std::size_t pairs = (static_cast<std::size_t>(picture.width) + 1) / 2;
    const std::size_t stride = pairs * 4;
    if (source.size < stride * static_cast<std::size_t>(picture.height)) {
        return false;
    }
    const std::size_t luma = lumaFirst ? 0 : 1;
    const std::size_t chroma = lumaFirst ? 1 : 0;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* from = source.bits + stride * static_cast<std::size_t>(y);
        std::uint8_t* to = Row(picture, y);
        for (int x = 0; x < picture.width; ++x, to += 4) {
            const std::uint8_t* pair = from + static_cast<std::size_t>(x / 2) * 4;
            PutYuv(to, pair[luma + static_cast<std::size_t>(x % 2) * 2], pair[chroma],
                   pair[chroma + 2]);
        }
    }
    return true;
}

bool DecodePlanar(const Source& source, bool semiPlanar, bool blueFirst, Snapshot& picture) {
    const std::size_t height = static_cast<std::size_t>(picture.height);
    const std::size_t chromaHeight = (height + 1) / 2;
    std::size_t stride = (static_cast<std::size_t>(picture.width) + 1) / 2 * 2;
    // Rows are either tight or rounded up to four bytes; the image size tells which.
    const std::size_t rounded = (stride + 3) / 4 * 4;
    if (source.imageSize == rounded * (height + chromaHeight)) {
        stride = rounded;
    }
    if (source.size < stride * (height + chromaHeight)) {
        return false;
    }
    const std::uint8_t* chroma = source.bits + stride * height;
    const std::size_t chromaStride = semiPlanar ? stride : stride / 2;
    const std::size_t step = semiPlanar ? 2 : 1;
    const std::uint8_t* second = chroma + (semiPlanar ? 1 : chromaStride * chromaHeight);
    const std::uint8_t* u = blueFirst ? chroma : second;
    const std::uint8_t* v = blueFirst ? second : chroma;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* from = source.bits + stride * static_cast<std::size_t>(y);
        const std::size_t line = chromaStride * static_cast<std::size_t>(y / 2);
        std::uint8_t* to = Row(picture, y);
        for (int x = 0; x < picture.width; ++x, to += 4) {
            const std::size_t at = line + static_cast<std::size_t>(x / 2) * step;
            PutYuv(to, from[x], u[at], v[at]);
        }
    }
    return true;
}

bool DecodeBits(const BITMAPINFOHEADER& header, const Source& source, const DWORD (&masks)[3],
                bool topDown, Snapshot& picture) {
    switch (header.biCompression) {
    case BI_RGB:
    case BI_BITFIELDS:
        if (header.biBitCount != 16 && header.biBitCount != 24 && header.biBitCount != 32) {
            return false;
        }
        return DecodeRgb(source, header.biBitCount, masks, header.biHeight > 0 && !topDown,
                         picture);
    case FourCc('Y', 'U', 'Y', '2'):
        return DecodePacked(source, true, picture);
    case FourCc('U', 'Y', 'V', 'Y'):
        return DecodePacked(source, false, picture);
    case FourCc('Y', 'V', '1', '2'):
        return DecodePlanar(source, false, false, picture);
    case FourCc('I', '4', '2', '0'):
    case FourCc('I', 'Y', 'U', 'V'):
        return DecodePlanar(source, false, true, picture);
    case FourCc('N', 'V', '1', '2'):
        return DecodePlanar(source, true, true, picture);
    default:
        return false;
    }
}

} // namespace

bool DecodeDib(const std::uint8_t* data, std::size_t size, bool topDown, Snapshot& picture) {
    BITMAPINFOHEADER header{};
    if (data == nullptr || size < sizeof(header)) {
        return false;
    }
    std::memcpy(&header, data, sizeof(header));
    if (header.biSize < sizeof(header) || header.biSize > size || header.biWidth <= 0 ||
        header.biWidth > kLargestSide || header.biHeight == 0 ||
        std::llabs(header.biHeight) > kLargestSide) {
        return false;
    }
    DWORD masks[3] = {0x7C00, 0x03E0, 0x001F};
    std::size_t offset = header.biSize;
    if (header.biCompression == BI_BITFIELDS) {
        // A longer header has the masks at its own end, where a plain one is followed by them.
        const std::size_t at = sizeof(header);
        offset = std::max(offset, at + sizeof(masks));
        if (size < offset) {
            return false;
        }
        std::memcpy(masks, data + at, sizeof(masks));
    }
    picture.width = static_cast<int>(header.biWidth);
    picture.height = static_cast<int>(std::abs(header.biHeight));
    picture.stride = picture.width * 4;
    picture.pixels.assign(
        static_cast<std::size_t>(picture.stride) * static_cast<std::size_t>(picture.height), 255);
    return DecodeBits(header, {data + offset, size - offset, header.biSizeImage}, masks, topDown,
                      picture);
}

} // namespace ymdshow
