#pragma once

// FFmpeg's libraries: their headers, owners of their objects, their errors.

#include <windows.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace ymfilters {

/// 100 ns units.
constexpr LONGLONG kSecond = 10'000'000;
constexpr AVRational kMediaTime{1, 10'000'000};

template <auto kFree> struct FreeByAddress {
    template <class Object> void operator()(Object* object) const { kFree(&object); }
};
template <auto kFree> struct FreeByPointer {
    template <class Object> void operator()(Object* object) const { kFree(object); }
};

using PacketPtr = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using FramePtr = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using FormatPtr = std::unique_ptr<AVFormatContext, FreeByAddress<avformat_close_input>>;
using CodecPtr = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using ParametersPtr = std::unique_ptr<AVCodecParameters, FreeByAddress<avcodec_parameters_free>>;
using BitstreamFilterPtr = std::unique_ptr<AVBSFContext, FreeByAddress<av_bsf_free>>;
using ResamplerPtr = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, FreeByPointer<sws_freeContext>>;

/// FFmpeg's error code in its own words.
std::wstring ErrorText(int error);

/// The HRESULT of an FFmpeg error code: a DirectShow or Windows code where there is one that
/// says the same, else E_FAIL.
HRESULT ResultOf(int error);

/// Makes a text what GetErrorInfo tells this thread of its last failure.
void TellError(const std::wstring& text);

std::wstring FromUtf8(const char* text);
std::string ToUtf8(const std::wstring& text);

} // namespace ymfilters
