#include "YMMedia/StreamFacts.h"

#include <cmath>
#include <utility>

#include "MediaInfoBinding/MediaInfoFile.h"
#include "MediaInfoBinding/Values.h"
#include "Text/Text.h"
#include "YMMedia/Picture.h"

namespace ymdshow {
namespace {

using mediainfo::MediaInfoFile;
using mediainfo::StreamKind;

/// The parameters of one stream.
class Stream {
public:
    Stream(const MediaInfoFile& file, StreamKind kind, std::size_t index)
        : m_file(file), m_kind(kind), m_index(index) {}

    std::string Text(const char* parameter) const { return m_file.Get(m_kind, m_index, parameter); }
    std::string Format() const { return text::LowerAscii(Text("Format")); }
    std::int32_t Count(const char* parameter) const { return mediainfo::Count(Text(parameter)); }
    std::int64_t Duration(const char* parameter) const {
        return mediainfo::Duration(Text(parameter));
    }
    PictureSize Size(const char* width, const char* height, PictureCorrections corrections) const {
        const PictureSize size{Count(width), Count(height)};
        return CorrectedPictureSize(size, corrections.fix1088Height, corrections.evenVideoSize);
    }
    std::int64_t FrameTime() const {
        const std::string rate = Text("FrameRate");
        return mediainfo::FrameTime(rate.empty() ? Text("FrameRate_Nominal") : rate);
    }

    /// The number is rounded to three places; the text is exact where the ratio is a
    /// standard one, and overrules a number that contradicts it.
    float DisplayAspectRatio() const {
        const float number = mediainfo::Decimal(Text("DisplayAspectRatio"));
        const float ratio = mediainfo::ColonRatio(Text("DisplayAspectRatio/String"));
        return number > 0.0F && ratio > 0.0F && std::fabs(number - ratio) > 0.01F ? ratio : number;
    }

private:
    const MediaInfoFile& m_file;
    StreamKind m_kind;
    std::size_t m_index;
};

bool IsComplete(PictureSize size) {
    return size.width >= 1 && size.height >= 1;
}

float DistanceFrom(float aspectRatio, PictureSize size) {
    return std::fabs(static_cast<float>(size.width) / static_cast<float>(size.height) -
                     aspectRatio);
}

/// The size whose shape is nearer to the display aspect ratio, the original one when both
/// are as near; without a ratio the current one.
PictureSize Nearer(PictureSize original, PictureSize current, float aspectRatio) {
    return aspectRatio > 0.0F &&
                   DistanceFrom(aspectRatio, original) <= DistanceFrom(aspectRatio, current)
               ? original
               : current;
}

/// Chooses between the size the stream was made with and the size it is stored with; each
/// may be missing in part.
PictureSize ChooseSize(PictureSize original, PictureSize current, float aspectRatio) {
    if (IsComplete(current) && (original.width >= 1 || original.height >= 1)) {
        // A missing half of the original size is the current one's.
        const PictureSize filled{original.width >= 1 ? original.width : current.width,
                                 original.height >= 1 ? original.height : current.height};
        return Nearer(filled, current, aspectRatio);
    }
    if (IsComplete(original)) {
        return original;
    }
    return {current.width >= 1 ? current.width : original.width,
            current.height >= 1 ? current.height : original.height};
}

VideoInfo ReadVideo(const Stream& stream, PictureCorrections corrections) {
    VideoInfo info;
    info.format = stream.Format();
    const PictureSize original = stream.Size("Width_Original", "Height_Original", corrections);
    const PictureSize current = stream.Size("Width", "Height", corrections);
    info.displayAspectRatio = stream.DisplayAspectRatio();
    const PictureSize size = ChooseSize(original, current, info.displayAspectRatio);
    info.width = size.width;
    info.height = size.height;
    info.rotation = mediainfo::Decimal(stream.Text("Rotation"));
    info.avgFrameTime = stream.FrameTime();
    info.duration = stream.Duration("Duration");
    info.sourceDuration = stream.Duration("Source_Duration");
    return info;
}

/// An image has no display aspect ratio of its own: the record's stays unknown.
VideoInfo ReadImage(const Stream& stream, PictureCorrections corrections) {
    VideoInfo info;
    info.format = stream.Format();
    info.duration = stream.Duration("Duration");
    const PictureSize size = stream.Size("Width", "Height", corrections);
    info.width = size.width;
    info.height = size.height;
    info.avgFrameTime = stream.FrameTime();
    return info;
}

AudioInfo ReadAudio(const Stream& stream) {
    AudioInfo info;
    info.format = stream.Format();
    info.duration = stream.Duration("Duration");
    info.sourceDuration = stream.Duration("Source_Duration");
    info.samplingRate = mediainfo::SamplingRate(stream.Text("SamplingRate"));
    info.channels = static_cast<std::uint32_t>(stream.Count("Channels"));
    info.bitDepth = static_cast<std::uint32_t>(stream.Count("BitDepth"));
    return info;
}

/// A numbered sequence of files is opened by its first one, whose duration is not the
/// sequence's.
bool IsSequence(const Stream& general) {
    const std::string first = general.Text("CompleteName");
    const std::string last = general.Text("CompleteName_Last");
    return !last.empty() && last != first;
}

} // namespace

FactsResult ReadStreamFacts(const std::wstring& path, PictureCorrections corrections,
                            StreamFacts& facts) {
    MediaInfoFile file;
    if (!file.IsCreated()) {
        return FactsResult::NoLibrary;
    }
    file.Option("ParseSpeed", std::string("0"));
    file.Option("Complete", std::string());
    if (!file.Open(path)) {
        return FactsResult::NotOpened;
    }
    StreamFacts read;
    const std::size_t videos = file.Count(StreamKind::Video);
    const std::size_t images = file.Count(StreamKind::Image);
    read.audio.resize(file.Count(StreamKind::Audio));
    read.video.resize(videos + images);

    const Stream general(file, StreamKind::General, 0);
    read.format = general.Format();
    read.duration = general.Duration("Duration");
    if (IsSequence(general)) {
        read.duration = 0; // taken from the graph later
    }
    for (std::size_t i = 0; i < videos; ++i) {
        read.video[i] = ReadVideo(Stream(file, StreamKind::Video, i), corrections);
    }
    for (std::size_t i = 0; i < images; ++i) {
        read.video[videos + i] = ReadImage(Stream(file, StreamKind::Image, i), corrections);
    }
    for (std::size_t i = 0; i < read.audio.size(); ++i) {
        read.audio[i] = ReadAudio(Stream(file, StreamKind::Audio, i));
    }
    read.report = text::Trim(file.Inform());
    facts = std::move(read);
    return FactsResult::Read;
}

} // namespace ymdshow
