#include "media/VideoOutput.h"

#include <dvdmedia.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <span>
#include <type_traits>

namespace ymfilters {

namespace {

constexpr LONG kMostPixels = 16384; ///< a side

struct Subtype {
    GUID guid;
    AVPixelFormat format;
    WORD bits; ///< per pixel
    DWORD compression;
    bool isChromaSwapped = false;
};

constexpr Subtype Yuv(const char (&name)[5], AVPixelFormat format, WORD bits, bool isSwapped) {
    const DWORD tag = MAKEFOURCC(name[0], name[1], name[2], name[3]);
    const GUID guid = {tag, 0, 0x10, {0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71}};
    return {guid, format, bits, tag, isSwapped};
}
constexpr Subtype kP010 = Yuv("P010", AV_PIX_FMT_P010LE, 24, false);
constexpr Subtype kNv12 = Yuv("NV12", AV_PIX_FMT_NV12, 12, false);
constexpr Subtype kYv12 = Yuv("YV12", AV_PIX_FMT_YUV420P, 12, true);
constexpr Subtype kYuy2 = Yuv("YUY2", AV_PIX_FMT_YUYV422, 16, false);
constexpr Subtype kRgb32 = {
    {0xe436eb7e, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}},
    AV_PIX_FMT_BGR0,
    32,
    BI_RGB};
constexpr Subtype kRgb24 = {
    {0xe436eb7d, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}},
    AV_PIX_FMT_BGR24,
    24,
    BI_RGB};

constexpr Subtype kOrder420[] = {kNv12, kYv12, kYuy2, kRgb32, kRgb24};
constexpr Subtype kOrder422[] = {kYuy2, kNv12, kYv12, kRgb32, kRgb24};
constexpr Subtype kOrderRgb[] = {kRgb32, kRgb24, kNv12, kYv12, kYuy2};
constexpr Subtype kOrderDeep[] = {kP010, kNv12, kYv12, kYuy2, kRgb32, kRgb24};
constexpr Subtype kOrderDeep422[] = {kP010, kYuy2, kNv12, kYv12, kRgb32, kRgb24};

std::span<const Subtype> OrderFor(AVPixelFormat format) {
    const AVPixFmtDescriptor* const known = av_pix_fmt_desc_get(format);
    if (known == nullptr) {
        return kOrder420;
    }
    const auto has = [&](std::uint64_t flag) { return (known->flags & flag) != 0; };
    const bool is422 = known->log2_chroma_w == 1 && known->log2_chroma_h == 0;
    if (!has(AV_PIX_FMT_FLAG_RGB) && known->comp[0].depth > 8) {
        return is422 ? std::span<const Subtype>(kOrderDeep422) : kOrderDeep;
    }
    const bool isGrey = known->nb_components == 1;
    const bool is444 = known->log2_chroma_w == 0 && known->log2_chroma_h == 0 && !isGrey;
    if (has(AV_PIX_FMT_FLAG_RGB) || has(AV_PIX_FMT_FLAG_PAL) || has(AV_PIX_FMT_FLAG_ALPHA) ||
        is444) {
        return kOrderRgb;
    }
    return is422 ? kOrder422 : kOrder420;
}

const Subtype* FindSubtype(const GUID& guid) {
    const auto* const found = std::find_if(std::begin(kOrderDeep), std::end(kOrderDeep),
                                           [&](const Subtype& it) { return it.guid == guid; });
    return found != std::end(kOrderDeep) ? found : nullptr;
}

int RowBytes(const PictureLayout& layout) {
    switch (layout.format) {
    case AV_PIX_FMT_BGR0:
        return layout.rowPixels * 4;
    case AV_PIX_FMT_BGR24:
        return (layout.rowPixels * 3 + 3) & ~3;
    case AV_PIX_FMT_YUYV422:
    case AV_PIX_FMT_P010LE:
        return layout.rowPixels * 2;
    default:
        return layout.rowPixels;
    }
}

/// The colours in the form of DXVA_ExtendedFormat, which shares dwControlFlags.
DWORD ColorFlags(const PictureShape& shape) {
    const auto matrix = [&]() -> DWORD {
        switch (shape.matrix) {
        case AVCOL_SPC_BT709:
            return 1;
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            return 2;
        case AVCOL_SPC_SMPTE240M:
            return 3;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return 4;
        default:
            return shape.height > kMostSdHeight ? 1 : 2;
        }
    };
    const auto primaries = [&]() -> DWORD {
        switch (shape.primaries) {
        case AVCOL_PRI_BT709:
            return 2;
        case AVCOL_PRI_BT470M:
            return 3;
        case AVCOL_PRI_BT470BG:
            return 4;
        case AVCOL_PRI_SMPTE170M:
            return 5;
        case AVCOL_PRI_SMPTE240M:
            return 6;
        case AVCOL_PRI_BT2020:
            return 9;
        default:
            return 0;
        }
    };
    const auto transfer = [&]() -> DWORD {
        switch (shape.transfer) {
        case AVCOL_TRC_LINEAR:
            return 1;
        case AVCOL_TRC_GAMMA22:
            return 4;
        case AVCOL_TRC_BT709:
        case AVCOL_TRC_SMPTE170M:
        case AVCOL_TRC_BT2020_10:
        case AVCOL_TRC_BT2020_12:
            return 5;
        case AVCOL_TRC_SMPTE240M:
            return 6;
        case AVCOL_TRC_IEC61966_2_1:
            return 7;
        case AVCOL_TRC_GAMMA28:
            return 8;
        case AVCOL_TRC_SMPTE2084:
            return 15;
        case AVCOL_TRC_ARIB_STD_B67:
            return 16;
        default:
            return 0;
        }
    };
    constexpr DWORD kLimitedRange = 2;
    return AMCONTROL_USED | AMCONTROL_COLORINFO_PRESENT | kLimitedRange << 12 | matrix() << 15 |
           primaries() << 22 | transfer() << 27;
}

DWORD Clamped(double value) {
    return static_cast<DWORD>(std::clamp(value, 0.0, static_cast<double>(LONG_MAX)));
}

/// YUV rows hold whole pairs of pixels.
int RowPixels(const Subtype& subtype, int width) {
    return IsRgb(subtype.format) ? width : (width + 1) & ~1;
}

template <class Info>
void MakeType(const PictureShape& shape, const Subtype& subtype, const GUID& formatType,
              ymdshow::MediaType& made) {
    PictureLayout layout;
    layout.format = subtype.format;
    layout.rowPixels = RowPixels(subtype, shape.width);
    layout.rows = shape.height;
    Info info{};
    info.rcSource = info.rcTarget = {0, 0, shape.width, shape.height};
    info.AvgTimePerFrame = shape.frameTime;
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = layout.rowPixels;
    info.bmiHeader.biHeight = layout.rows;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = subtype.bits;
    info.bmiHeader.biCompression = subtype.compression;
    info.bmiHeader.biSizeImage = static_cast<DWORD>(layout.Size());
    if (shape.frameTime > 0) {
        info.dwBitRate = Clamped(static_cast<double>(layout.Size()) * 8 *
                                 static_cast<double>(kSecond) / double(shape.frameTime));
    }
    if constexpr (std::is_same_v<Info, VIDEOINFOHEADER2>) {
        int x = 0;
        int y = 0;
        av_reduce(&x, &y, std::int64_t{shape.width} * shape.pixelAspect.num,
                  std::int64_t{shape.height} * shape.pixelAspect.den, 1 << 16);
        info.dwPictAspectRatioX = static_cast<DWORD>(x);
        info.dwPictAspectRatioY = static_cast<DWORD>(y);
        if (shape.isInterlaced) {
            info.dwInterlaceFlags = AMINTERLACE_IsInterlaced | AMINTERLACE_DisplayModeBobOrWeave;
        }
        if (!IsRgb(subtype.format)) {
            info.dwControlFlags = ColorFlags(shape);
        }
    }
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Video;
    type.subtype = subtype.guid;
    type.formattype = formatType;
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = info.bmiHeader.biSizeImage;
    type.cbFormat = sizeof(info);
    type.pbFormat = reinterpret_cast<BYTE*>(&info);
    made.Assign(type);
}

template <class Info>
std::optional<PictureLayout> ReadLayout(const AM_MEDIA_TYPE& type, const Subtype& subtype,
                                        const PictureShape& shape) {
    if (type.cbFormat < sizeof(Info) || type.pbFormat == nullptr) {
        return std::nullopt;
    }
    const auto& info = *reinterpret_cast<const Info*>(type.pbFormat);
    const LONG height = info.bmiHeader.biHeight;
    const LONG rows = height < 0 ? -(height + 1) + 1 : height;
    const bool isRgb = IsRgb(subtype.format);
    PictureLayout layout;
    layout.format = subtype.format;
    layout.isChromaSwapped = subtype.isChromaSwapped;
    layout.isBottomUp = isRgb && height > 0;
    layout.hasFields = std::is_same_v<Info, VIDEOINFOHEADER2>;
    layout.rowPixels = info.bmiHeader.biWidth;
    layout.rows = rows;
    const RECT& part = IsRectEmpty(&info.rcTarget) ? info.rcSource : info.rcTarget;
    const bool isWhole = IsRectEmpty(&part) != FALSE;
    layout.width = isWhole ? shape.width : part.right;
    layout.height = isWhole ? shape.height : part.bottom;
    const bool isSane = layout.width > 0 && layout.height > 0 &&
                        layout.rowPixels <= 2 * kMostPixels && rows <= 2 * kMostPixels &&
                        layout.rowPixels >= layout.width && rows >= layout.height &&
                        (isRgb || layout.rowPixels % 2 == 0) && layout.Size() <= LONG_MAX;
    const bool isAtOrigin = isWhole || (part.left == 0 && part.top == 0);
    return isSane && isAtOrigin ? std::optional(layout) : std::nullopt;
}

} // namespace

bool IsRgb(AVPixelFormat format) {
    return format == AV_PIX_FMT_BGR0 || format == AV_PIX_FMT_BGR24;
}

PictureShape ShapeOf(const StreamParameters& stream, const AVFrame* picture, int rotation) {
    const AVCodecParameters& codec = *stream.codec;
    PictureShape shape;
    shape.width = picture != nullptr ? picture->width : codec.width;
    shape.height = picture != nullptr ? picture->height : codec.height;
    for (const AVRational aspect :
         {stream.pixelAspect, picture != nullptr ? picture->sample_aspect_ratio : AVRational{},
          codec.sample_aspect_ratio}) {
        if (aspect.num > 0 && aspect.den > 0) {
            shape.pixelAspect = aspect;
            break;
        }
    }
    shape.frameTime = stream.frameTime;
    shape.isInterlaced =
        codec.field_order != AV_FIELD_UNKNOWN && codec.field_order != AV_FIELD_PROGRESSIVE;
    shape.format = static_cast<AVPixelFormat>(codec.format);
    shape.matrix = codec.color_space;
    shape.primaries = codec.color_primaries;
    shape.transfer = codec.color_trc;
    if (rotation % 180 != 0) {
        std::swap(shape.width, shape.height);
        std::swap(shape.pixelAspect.num, shape.pixelAspect.den);
    }
    return shape;
}

bool PictureType(const PictureShape& shape, unsigned index, ymdshow::MediaType& type) {
    const std::span<const Subtype> order = OrderFor(shape.format);
    if (index >= 2 * order.size() || shape.width <= 0 || shape.height <= 0 ||
        shape.width > kMostPixels || shape.height > kMostPixels) {
        return false;
    }
    if (index % 2 == 0) {
        MakeType<VIDEOINFOHEADER2>(shape, order[index / 2], FORMAT_VideoInfo2, type);
    } else {
        MakeType<VIDEOINFOHEADER>(shape, order[index / 2], FORMAT_VideoInfo, type);
    }
    return true;
}

ymdshow::MediaType PictureTypeLike(const AM_MEDIA_TYPE& old, const PictureShape& shape) {
    ymdshow::MediaType type;
    const Subtype* const subtype = FindSubtype(old.subtype);
    if (subtype == nullptr) {
        return type;
    }
    if (old.formattype == FORMAT_VideoInfo2) {
        MakeType<VIDEOINFOHEADER2>(shape, *subtype, FORMAT_VideoInfo2, type);
    } else {
        MakeType<VIDEOINFOHEADER>(shape, *subtype, FORMAT_VideoInfo, type);
    }
    return type;
}

std::optional<PictureLayout> ReadPictureLayout(const AM_MEDIA_TYPE& type,
                                               const PictureShape& shape) {
    const Subtype* const subtype = FindSubtype(type.subtype);
    if (type.majortype != MEDIATYPE_Video || subtype == nullptr) {
        return std::nullopt;
    }
    if (type.formattype == FORMAT_VideoInfo2) {
        return ReadLayout<VIDEOINFOHEADER2>(type, *subtype, shape);
    }
    return type.formattype == FORMAT_VideoInfo ? ReadLayout<VIDEOINFOHEADER>(type, *subtype, shape)
                                               : std::nullopt;
}

std::size_t PictureLayout::Size() const {
    const auto row = static_cast<std::size_t>(RowBytes(*this));
    const auto lines = static_cast<std::size_t>(rows);
    const bool isPlanar =
        format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_P010LE;
    return row * (isPlanar ? lines + (lines + 1) / 2 : lines);
}

void PictureLayout::Planes(BYTE* data, std::array<BYTE*, 4>& planes,
                           std::array<int, 4>& strides) const {
    const int row = RowBytes(*this);
    const auto rowSize = static_cast<std::size_t>(row);
    const auto lines = static_cast<std::size_t>(rows);
    planes = {data};
    strides = {row};
    if (isBottomUp) {
        planes[0] = data + rowSize * (lines - 1);
        strides[0] = -row;
    } else if (format == AV_PIX_FMT_NV12 || format == AV_PIX_FMT_P010LE) {
        planes[1] = data + rowSize * lines;
        strides[1] = row;
    } else if (format == AV_PIX_FMT_YUV420P) {
        planes[1] = data + rowSize * lines;
        planes[2] = planes[1] + rowSize / 2 * ((lines + 1) / 2);
        strides[1] = strides[2] = row / 2;
        if (isChromaSwapped) {
            std::swap(planes[1], planes[2]);
        }
    }
}

} // namespace ymfilters
