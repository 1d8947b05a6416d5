// A media item's path: what it is taken from, and what a new one does to what was loaded.

#include "media_fixture.h"

using namespace media_tests;

namespace {

class MediaPath : public MediaTest {};

TEST_F(MediaPath, UrlGivesProtocolAndExtension) {
    const struct {
        const char* path;
        const char* protocol;
        const char* extension;
    } cases[] = {
        {"Scheme://host/a.B/c", "scheme", "b/c"},
        {"RTSP://Host/Cam1", "rtsp", ""},
        {"a:B://c.d", "a", "d"},
        {"://x", "", ""},
        {"u://host/x.MP4?q=1.5", "u", "5"},
        {"u://host/x.MP4?q", "u", "mp4?q"},
        {"u://x.", "u", ""},
        {"u://.hidden", "u", "hidden"},
        // A byte from 129 on takes the next one with it, whatever that is.
        {"u://x\x81.a", "u", ""},
        {"u://x.a\x81.b", "u", "a\x81.b"},
        {"u://x\x80.a", "u", "a"},
        {"u://x\x81\x81.a", "u", "a"},
        {"u://x\x81\x81\x81.a", "u", ""},
        {"u://x.a\xFF", "u", "a\xFF"},
        {"u://\xB5\xE7\xD3\xB0.MKV", "u", "mkv"},
    };
    Media media(nullptr);
    for (const auto& item : cases) {
        SCOPED_TRACE(item.path);
        EXPECT_EQ(media.SetMediaPath(item.path), 1);
        EXPECT_EQ(media.GetMediaPath(), item.path);
        EXPECT_TRUE(media.IsMediaPathURL());
        EXPECT_EQ(media.m_urlProtocol, item.protocol);
        EXPECT_EQ(media.GetFileExt(), item.extension);
    }
}

TEST_F(MediaPath, FileNeedsToExist) {
    ScratchDirectory scratch;
    const struct {
        const wchar_t* name;
        const char* extension;
    } cases[] = {
        {L"plain.Avi", "avi"},
        {L"dir.old\\movie", "old\\movie"},
        {L"\u7535\u5F71.MKV", "mkv"}, // within code page 936 only
        {L"no dot", ""},
    };
    for (const auto& item : cases) {
        const std::string path = Gbk(scratch.Touch(item.name).wstring());
        Media media(kPath, nullptr); // whose protocol goes
        log.Clear();
        EXPECT_EQ(media.SetMediaPath(path), 1) << path;
        EXPECT_EQ(media.GetMediaPath(), path);
        EXPECT_FALSE(media.IsMediaPathURL());
        EXPECT_EQ(media.m_urlProtocol, "");
        EXPECT_EQ(media.GetFileExt(), item.extension);
        EXPECT_TRUE(log.Has("4 ymdshow::CMedia::SetMediaPath: SetMediaPath : *"));
    }
    Media media(nullptr);
    EXPECT_EQ(media.SetMediaPath(Gbk((scratch.Path() / "missing.avi").wstring())), 0);
    EXPECT_EQ(media.SetMediaPath(Gbk(scratch.Path().wstring())), 1); // a directory passes
}

TEST_F(MediaPath, LogsWithSourceAndFunction) {
    const Media without("", nullptr);
    EXPECT_EQ(log.Lines(), Lines());
    const Media media(kPath, nullptr);
    EXPECT_EQ(media.GetMediaPath(), kPath);
    ASSERT_EQ(log.Lines(),
              Lines({std::string("4 ymdshow::CMedia::SetMediaPath: SetMediaPath : ") + kPath,
                     "8 ymdshow::CMedia::_ReadInfoByMediaIfo: Load MediaInfo DLL Failed"}));
    for (const LogCapture::Record& record : log.Records()) {
        EXPECT_TRUE(record.source.ends_with("YMMedia")) << record.source;
    }
}

TEST_F(MediaPath, RefusedPathChangesNothingElse) {
    Media media(nullptr);
    Loaded(media);
    for (const char* path : {"", "C:\\no\\such.avi"}) {
        EXPECT_EQ(media.SetMediaPath(path), 0);
        EXPECT_EQ(media.GetMediaPath(), kPath);
        EXPECT_EQ(media.GetFileExt(), "mkv");
        EXPECT_EQ(media.m_urlProtocol, "test");
        EXPECT_EQ(media.IsReadyForPlay(), 1);
    }
    EXPECT_FALSE(media.IsMediaPathURL()); // this flag is the refused path's
    EXPECT_EQ(log.Lines(), Lines());
    EXPECT_JOURNAL({});
}

TEST_F(MediaPath, MediaInformationGoesWithItsPath) {
    Media media(nullptr);
    ASSERT_EQ(media.SetMediaPath(kPath), 1);
    media.m_hasMediaInfo = true;
    media.m_mediaInfo = "a report";
    EXPECT_EQ(media.SetMediaPath("C:\\no\\such.avi"), 0);
    EXPECT_EQ(media.GetMediaInfo(), "a report");
    EXPECT_EQ(media.SetMediaPath("test://other"), 1);
    EXPECT_EQ(media.GetMediaInfo(), "");
    EXPECT_FALSE(media.m_hasMediaInfo);
}

} // namespace
