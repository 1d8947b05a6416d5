#include "media/Demuxer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/display.h>
}

namespace ymfilters {

namespace {

/// A jump of the time stamps by more than this is a new count, not a gap.
constexpr LONGLONG kJump = 10 * kSecond;

/// An audio decoder needs this much before the place where it is to be right.
constexpr LONGLONG kAudioPreroll = kSecond / 5;

/// Decoding of the first picture begins at most this much before its time.
constexpr LONGLONG kFirstLead = 10 * kSecond;

/// Bytes that are read in search of a key frame.
constexpr std::int64_t kMostAhead = 16 << 20;

/// What FFmpeg has said on this thread since the text was set; null lets it go.
thread_local std::string* g_said = nullptr;

void TakeLog(void* object, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR || g_said == nullptr) {
        return;
    }
    char line[512];
    int isFirst = 0;
    av_log_format_line2(object, level, format, arguments, line, sizeof(line), &isFirst);
    std::string_view text(line);
    if (const std::size_t end = text.find_last_not_of(" \r\n"); end != std::string_view::npos) {
        text = text.substr(0, end + 1);
        if (text.starts_with('[')) { // "[mov,mp4 @ 0x1234] ..."
            const std::size_t close = text.find("] ");
            text = close == std::string_view::npos ? text : text.substr(close + 2);
        }
        if (g_said->size() < 400 && g_said->find(text) == std::string::npos) {
            (*g_said += text) += "; ";
        }
    }
}

void ListenToLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_callback(&TakeLog);
        avformat_network_init();
    });
}

/// A one-letter protocol is a drive.
bool IsUrl(const std::wstring& name) {
    const std::size_t colon = name.find(L"://");
    return colon != std::wstring::npos && colon > 1;
}

LONGLONG Scaled(std::int64_t value, AVRational base) {
    return av_rescale_q(value, base, kMediaTime);
}

std::string Tagged(AVDictionary* tags, const char* key) {
    const AVDictionaryEntry* const entry = av_dict_get(tags, key, nullptr, 0);
    return entry != nullptr ? entry->value : "";
}

/// Clockwise.
int Rotation(const AVStream& stream) {
    const auto* const matrix = reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    const double angle = matrix != nullptr ? -av_display_rotation_get(matrix) : 0;
    if (!(angle > -720 && angle < 720)) { // no rotation at all
        return 0;
    }
    const int quarters = static_cast<int>(std::lround(angle / 90));
    return (quarters % 4 + 4) % 4 * 90;
}

bool IsText(AVCodecID codec) {
    const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec);
    return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_TEXT_SUB) != 0;
}

} // namespace

Demuxer::Demuxer() {
    ListenToLog();
}

Demuxer::~Demuxer() {
    Interrupt(true); // closing may send a farewell
}

int Demuxer::IsInterrupted(void* demuxer) {
    const auto& self = *static_cast<const Demuxer*>(demuxer);
    const ULONGLONG deadline = self.m_deadline;
    return self.m_isInterrupted || (deadline != 0 && GetTickCount64() > deadline) ? 1 : 0;
}

int Demuxer::Open(const std::wstring& name, int timeout, std::wstring& reason) {
    std::string said;
    g_said = &said;
    m_timeout = timeout;
    m_deadline = GetTickCount64() + static_cast<ULONGLONG>(timeout);
    int result = OpenStreams(name, reason);
    g_said = nullptr;
    if (result == AVERROR_EXIT && !m_isInterrupted) {
        result = AVERROR(ETIMEDOUT);
    }
    m_deadline = 0;
    if (result < 0 && reason.empty()) {
        reason = FromUtf8(said.c_str()) + ErrorText(result);
    }
    return result;
}

int Demuxer::OpenStreams(const std::wstring& name, std::wstring& reason) {
    m_isRemote = IsUrl(name) && !name.starts_with(L"file:");
    m_format.reset(avformat_alloc_context());
    if (m_format == nullptr) {
        return AVERROR(ENOMEM);
    }
    m_format->interrupt_callback = {&Demuxer::IsInterrupted, this};
    AVDictionary* options = nullptr;
    // A local name is never taken for a protocol of FFmpeg's own.
    std::string url = ToUtf8(name);
    if (!IsUrl(name)) {
        url.insert(0, "file:");
    } else if (url.starts_with("http")) {
        av_dict_set(&options, "reconnect", "1", 0);
        av_dict_set(&options, "reconnect_delay_max", "4", 0);
    }
    AVFormatContext* format = m_format.release(); // freed when the call fails
    const int opened = avformat_open_input(&format, url.c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0) {
        return opened;
    }
    m_format.reset(format);
    if (std::strcmp(format->iformat->name, "tty") == 0) {
        reason = L"the file is plain text";
        return AVERROR_INVALIDDATA;
    }
    const int found = avformat_find_stream_info(format, nullptr);
    if (found < 0 || IsInterrupted(this) != 0) {
        return found < 0 ? found : AVERROR_EXIT;
    }
    FindStreams();
    const auto plays = [](const MediaStream& stream) { return stream.kind != StreamKind::Text; };
    if (std::none_of(m_streams.begin(), m_streams.end(), plays)) {
        reason = L"the file has no pictures and no sound that can be played";
        return AVERROR_STREAM_NOT_FOUND;
    }
    return 0;
}

void Demuxer::FindStreams() {
    AVFormatContext& format = *m_format;
    m_startTime = format.start_time != AV_NOPTS_VALUE ? format.start_time * 10 : 0;
    m_duration = format.duration > 0 && format.duration < INT64_MAX / 20 ? format.duration * 10 : 0;
    m_isDurationEstimated = format.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    m_isAdaptive = std::strcmp(format.iformat->name, "hls") == 0 ||
                   std::strcmp(format.iformat->name, "dash") == 0;
    const bool hasBytes = format.pb != nullptr && (format.iformat->flags & AVFMT_NOFILE) == 0;
    const bool isUnseekable = (format.ctx_flags & AVFMTCTX_UNSEEKABLE) != 0;
    m_isSeekable = !isUnseekable &&
                   (hasBytes && !m_isAdaptive ? (format.pb->seekable & AVIO_SEEKABLE_NORMAL) != 0
                                              : m_duration > 0);
    m_size = hasBytes && !m_isRemote ? avio_size(format.pb) : 0;
    m_progress.resize(format.nb_streams);
    for (const char* tag : {"title", "artist", "rating", "comment", "copyright"}) {
        m_tags[tag] = FromUtf8(Tagged(format.metadata, tag).c_str());
    }
    for (unsigned i = 0; i < format.nb_streams; ++i) {
        AVStream& stream = *format.streams[i];
        const AVCodecParameters& codec = *stream.codecpar;
        const bool isPicture = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (codec.codec_type == AVMEDIA_TYPE_VIDEO && !isPicture && codec.width > 0 &&
            codec.height > 0 && codec.codec_id != AV_CODEC_ID_NONE) {
            AddStream(stream, StreamKind::Video);
        } else if (codec.codec_type == AVMEDIA_TYPE_AUDIO && codec.sample_rate > 0 &&
                   codec.ch_layout.nb_channels > 0 && codec.codec_id != AV_CODEC_ID_NONE) {
            AddStream(stream, StreamKind::Audio);
        } else if (codec.codec_type == AVMEDIA_TYPE_SUBTITLE && IsText(codec.codec_id)) {
            AddStream(stream, StreamKind::Text);
        } else {
            stream.discard = AVDISCARD_ALL;
        }
    }
    const auto choose = [&](AVMediaType type, int related) {
        const int best = av_find_best_stream(&format, type, -1, related, nullptr, 0);
        for (MediaStream& stream : m_streams) {
            stream.isDefault = stream.isDefault || stream.index == best;
        }
        return best;
    };
    choose(AVMEDIA_TYPE_AUDIO, choose(AVMEDIA_TYPE_VIDEO, -1));
    choose(AVMEDIA_TYPE_SUBTITLE, -1);
}

void Demuxer::AddStream(AVStream& stream, StreamKind kind) {
    auto parameters = std::make_shared<StreamParameters>();
    parameters->codec.reset(avcodec_parameters_alloc());
    if (parameters->codec == nullptr ||
        avcodec_parameters_copy(parameters->codec.get(), stream.codecpar) < 0) {
        return;
    }
    if (kind == StreamKind::Video) {
        const AVRational rate = av_guess_frame_rate(m_format.get(), &stream, nullptr);
        if (rate.num > 0 && rate.den > 0) {
            parameters->frameTime = av_rescale(kSecond, rate.den, rate.num);
        }
        parameters->pixelAspect = av_guess_sample_aspect_ratio(m_format.get(), &stream, nullptr);
        parameters->rotation = Rotation(stream);
    }
    MediaStream added;
    added.index = stream.index;
    added.kind = kind;
    added.parameters = std::move(parameters);
    added.language = Tagged(stream.metadata, "language");
    added.title = Tagged(stream.metadata, "title");
    m_streams.push_back(std::move(added));
}

std::wstring Demuxer::Tag(const std::string& key) const {
    const auto tag = m_tags.find(key);
    return tag != m_tags.end() ? tag->second : std::wstring();
}

void Demuxer::Select(const std::vector<int>& streams, int reference) {
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        const bool isUsed =
            std::find(streams.begin(), streams.end(), static_cast<int>(i)) != streams.end();
        m_format->streams[i]->discard = isUsed ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    m_reference = reference;
}

int Demuxer::Read(AVPacket& packet) {
    if (!m_ahead.empty()) {
        av_packet_move_ref(&packet, m_ahead.front().get());
        m_ahead.pop_front();
        return 0;
    }
    return ReadPacket(packet);
}

int Demuxer::ReadPacket(AVPacket& packet) {
    // A damaged place is stepped over, as long as something follows.
    constexpr int kMostFailures = 100;
    for (int failures = 0;;) {
        m_deadline = m_isRemote ? GetTickCount64() + static_cast<ULONGLONG>(m_timeout) : 0;
        const int result = av_read_frame(m_format.get(), &packet);
        m_deadline = 0;
        if (result >= 0) {
            const int index = packet.stream_index;
            if (index < static_cast<int>(m_progress.size()) &&
                m_format->streams[index]->discard != AVDISCARD_ALL) {
                ToMediaTime(packet);
                return 0;
            }
            av_packet_unref(&packet);
        } else if (result == AVERROR_EXIT) {
            return m_isInterrupted ? result : AVERROR(ETIMEDOUT);
        } else if (result == AVERROR_EOF) {
            // Some demuxers take a failure of the transport for the end.
            const int failed = m_format->pb != nullptr ? m_format->pb->error : 0;
            if (failed < 0 && failed != AVERROR_EOF && m_isRemote) {
                return failed == AVERROR_EXIT ? AVERROR(ETIMEDOUT) : failed;
            }
            if (!HasGrown()) {
                return result;
            }
        } else if ((result != AVERROR_INVALIDDATA && result != AVERROR(EAGAIN)) ||
                   ++failures > kMostFailures) {
            return result == AVERROR_INVALIDDATA ? AVERROR_EOF : result;
        }
    }
}

/// A file that is still being written goes on behind what was its end.
bool Demuxer::HasGrown() {
    if (m_isRemote || m_format->pb == nullptr) {
        return false;
    }
    const std::int64_t size = avio_size(m_format->pb);
    if (size <= m_size) {
        return false;
    }
    m_size = size;
    ClearErrors();
    return true;
}

void Demuxer::ClearErrors() {
    if (m_format->pb != nullptr) {
        m_format->pb->eof_reached = 0;
        m_format->pb->error = 0;
    }
}

void Demuxer::ToMediaTime(AVPacket& packet) {
    const AVStream& stream = *m_format->streams[packet.stream_index];
    const auto convert = [&](std::int64_t& value) {
        if (value != AV_NOPTS_VALUE) {
            value = Scaled(value, stream.time_base) - m_startTime;
        }
    };
    convert(packet.pts);
    convert(packet.dts);
    packet.duration = packet.duration > 0 ? Scaled(packet.duration, stream.time_base) : 0;
    packet.time_base = kMediaTime;
    MendDiscontinuity(stream, packet);
}

void Demuxer::MendDiscontinuity(const AVStream& stream, AVPacket& packet) {
    const std::int64_t time = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
    if (time == AV_NOPTS_VALUE) {
        return;
    }
    LONGLONG& next = m_progress[static_cast<std::size_t>(packet.stream_index)].next;
    const bool mayJump = (m_format->iformat->flags & AVFMT_TS_DISCONT) != 0 &&
                         stream.codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE;
    // Another stream that goes on in time tells a gap of this one from a new count.
    const auto isNear = [&](const Progress& other) {
        return other.next != AV_NOPTS_VALUE && std::llabs(time + m_offset - other.next) <= kJump;
    };
    if (mayJump && next != AV_NOPTS_VALUE &&
        std::none_of(m_progress.begin(), m_progress.end(), isNear)) {
        m_offset = next - time;
    }
    next = time + m_offset + packet.duration;
    packet.pts += packet.pts != AV_NOPTS_VALUE ? m_offset : 0;
    packet.dts += packet.dts != AV_NOPTS_VALUE ? m_offset : 0;
}

int Demuxer::Seek(LONGLONG time, LONGLONG* keyFrame) {
    *keyFrame = time;
    // A container's index may count in decoding times, or have none: what came out is looked at,
    // and if it lies behind the target, the next try begins earlier.
    const bool isVideo = m_reference >= 0 &&
                         m_format->streams[m_reference]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    const LONGLONG latest = time - Preroll();
    for (LONGLONG back = isVideo ? 0 : kAudioPreroll;; back = back * 4 + kSecond) {
        const LONGLONG from = std::max<LONGLONG>(time - back, 0);
        const int result = SeekContainer(from);
        if (result < 0 || !isVideo) {
            return result;
        }
        for (std::int64_t bytes = 0;;) {
            PacketPtr packet(av_packet_alloc());
            const int read = packet != nullptr ? ReadPacket(*packet) : AVERROR(ENOMEM);
            if (read < 0 && read != AVERROR_EOF) {
                return read;
            }
            bytes += packet->size;
            const bool isEnd = read < 0 || bytes > kMostAhead;
            const bool isKey = !isEnd && packet->stream_index == m_reference &&
                               (packet->flags & AV_PKT_FLAG_KEY) != 0;
            const std::int64_t found = !isKey                          ? 0
                                       : packet->pts != AV_NOPTS_VALUE ? packet->pts
                                       : packet->dts != AV_NOPTS_VALUE ? packet->dts
                                                                       : from;
            if (read >= 0) {
                m_ahead.push_back(std::move(packet));
            }
            if (isKey && (found <= latest || from == 0)) {
                *keyFrame = found;
                return back > kSecond ? SkipToKey(latest, bytes, *keyFrame) : 0;
            }
            if (isEnd && from == 0) {
                return 0;
            }
            if (isEnd || isKey) {
                break;
            }
        }
    }
}

/// The search has gone far back: on to the last key frame at or before `latest`, so that what lies
/// before it need not be decoded.
int Demuxer::SkipToKey(LONGLONG latest, std::int64_t bytes, LONGLONG& keyFrame) {
    while (bytes < kMostAhead) {
        PacketPtr packet(av_packet_alloc());
        const int read = packet != nullptr ? ReadPacket(*packet) : AVERROR(ENOMEM);
        if (read < 0) {
            return read == AVERROR_EOF ? 0 : read;
        }
        bytes += packet->size;
        const bool isOfReference = packet->stream_index == m_reference;
        const bool isPast = isOfReference && packet->dts != AV_NOPTS_VALUE && packet->dts > latest;
        const bool isBetter = isOfReference && (packet->flags & AV_PKT_FLAG_KEY) != 0 &&
                              packet->pts != AV_NOPTS_VALUE && packet->pts <= latest;
        if (isBetter) {
            keyFrame = packet->pts;
            std::erase_if(m_ahead,
                          [&](const PacketPtr& one) { return one->stream_index == m_reference; });
        }
        m_ahead.push_back(std::move(packet));
        if (isPast) {
            break;
        }
    }
    return 0;
}

/// What the sound that is read has to be decoded for before it is right, as its codec says.
LONGLONG Demuxer::Preroll() const {
    LONGLONG longest = 0;
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        const AVStream& stream = *m_format->streams[i];
        const AVCodecParameters& codec = *stream.codecpar;
        if (stream.discard != AVDISCARD_ALL && codec.sample_rate > 0 && codec.seek_preroll > 0) {
            longest = std::max(longest, av_rescale(codec.seek_preroll, kSecond, codec.sample_rate));
        }
    }
    return std::min(longest, kAudioPreroll);
}

int Demuxer::SeekContainer(LONGLONG time) {
    m_ahead.clear();
    m_offset = 0;
    std::fill(m_progress.begin(), m_progress.end(), Progress{});
    ClearErrors();
    AVFormatContext* const format = m_format.get();
    m_deadline = m_isRemote ? GetTickCount64() + static_cast<ULONGLONG>(m_timeout) : 0;
    int result = -1;
    // A search by decoding times, which begin before the first picture's, has to begin there, too.
    for (const LONGLONG lead : {time > 0 ? 0 : kFirstLead, LONGLONG{0}}) {
        const LONGLONG place = time + m_startTime - lead;
        if (m_reference >= 0 && result < 0 && !m_isInterrupted) {
            const AVRational base = format->streams[m_reference]->time_base;
            const std::int64_t target = av_rescale_q_rnd(place, kMediaTime, base, AV_ROUND_DOWN);
            result = av_seek_frame(format, m_reference, target, AVSEEK_FLAG_BACKWARD);
        }
    }
    if (result < 0 && !m_isInterrupted) {
        const std::int64_t target = (time + m_startTime) / 10;
        result = avformat_seek_file(format, -1, INT64_MIN, target, target, 0);
    }
    if (result < 0 && !m_isInterrupted && (format->iformat->flags & AVFMT_NO_BYTE_SEEK) == 0 &&
        m_size > 0) {
        const std::int64_t bytes = m_duration > 0 ? av_rescale(m_size, time, m_duration) : 0;
        result = av_seek_frame(format, -1, std::min(bytes, m_size), AVSEEK_FLAG_BYTE);
    }
    m_deadline = 0;
    return std::min(result, 0);
}

} // namespace ymfilters
