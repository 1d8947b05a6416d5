// The facts of real files, read with the real library. YMD_MEDIA_DIR/mediainfo is made by
// scripts/mediainfo/media.sh.

#include <thread>

#include "unit/media_fixture.h"
#include "unit/mediainfo_text.h"

using namespace media_tests;

namespace {

const struct {
    const wchar_t* name;
    const char* facts;  ///< without durations
    const char* report; ///< a part of it
} kFiles[] = {
    {L"two_audio.mkv",
     "matroska, avc 640x360 1.778 0 333667 0 0, aac 44100000 1 0 0 0, ac-3 48000000 2 32 0 0", ""},
    {L"anamorphic.mp4", "mpeg-4, avc 720x576 1.778 0 400000 0 0", "anamorphic.mp4"},
    {L"still.jpg", "jpeg, jpeg 642x362 -1 0 0 0 0", "still.jpg"},
    {L"sequence/frame_0001.dpx", "dpx, dpx 64x48 1.333 0 0 0 0", "frame_0040.dpx"},
    {L"\u7535\u5F71/\u7247\u5B50.mp4",
     "mpeg-4, avc 640x360 1.778 0 400000 0 0, aac 48000000 2 0 0 0", "\xC6\xAC\xD7\xD3.mp4"}};

TEST(MediaInfoFiles, FactsAndSeveralThreadsFromTheFirstUseOn) {
    std::string paths[std::size(kFiles)], together[std::size(kFiles)];
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::size(kFiles); ++i) {
        paths[i] =
            Gbk(_wgetenv(L"YMD_MEDIA_DIR") + (L"/mediainfo/" + std::wstring(kFiles[i].name)));
        threads.emplace_back([&, i] {
            for (int round = 0; round < 3; ++round) {
                together[i] = Media(paths[i], nullptr).GetMediaInfo();
            }
        });
    }
    threads.clear();
    for (std::size_t i = 0; i < std::size(kFiles); ++i) {
        Media media(paths[i], nullptr);
        EXPECT_EQ(together[i], media.GetMediaInfo());
        EXPECT_NE(together[i].find(kFiles[i].report), std::string::npos) << together[i];
        std::string facts = media.m_mediaFormat;
        const auto add = [&facts](auto& infos) {
            for (auto& info : infos) {
                info.duration = info.sourceDuration = 0;
                facts += ", " + TextOf(info);
            }
        };
        add(media.m_videoInfos);
        add(media.m_audioInfos);
        EXPECT_EQ(facts, kFiles[i].facts);
        const std::int64_t duration = media.m_durationByMediaInfo;
        const bool picture = facts.starts_with("jpeg") || facts.starts_with("dpx");
        EXPECT_NEAR(static_cast<double>(duration), picture ? 0.0 : 3e7, 1e6) << facts;
        EXPECT_EQ(Media::GetMediaDurationByMediaInfo(media.GetMediaPath()), duration);
    }
}

} // namespace
