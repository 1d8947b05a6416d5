// Parts of the host program that need no graph: picture formats, the event queue, text.

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "Dib.h"
#include "Events.h"
#include "Keys.h"
#include "MediaPath.h"
#include "Text.h"

namespace ymds {

namespace {

using Bytes = std::vector<std::uint8_t>;

DWORD FourCc(const char (&text)[5]) {
    DWORD code = 0;
    std::memcpy(&code, text, sizeof(code));
    return code;
}

Bytes Dib(long width, long height, WORD bits, DWORD compression, const Bytes& pixels,
          DWORD imageSize = 0) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = bits;
    header.biCompression = compression;
    header.biSizeImage = imageSize;
    Bytes dib(sizeof(header) + pixels.size());
    std::memcpy(dib.data(), &header, sizeof(header));
    std::copy(pixels.begin(), pixels.end(), dib.begin() + sizeof(header));
    return dib;
}

// A picture of 2x2: white above black, but for RGB its left pixels are blue above red.
const Bytes kRgb24{0, 0, 255, 0, 0, 0, 0, 0, 255, 0, 0, 255, 255, 255, 0, 0};
const Bytes kWhiteOverBlack{255, 255, 255, 255, 255, 255, 0, 0, 0, 0, 0, 0};
const Bytes kRed{0, 0, 254, 0, 0, 254, 0, 0, 254, 0, 0, 254};
const Bytes kBlueWhiteRedBlack{255, 0, 0, 255, 255, 255, 0, 0, 255, 0, 0, 0};

TEST(YmdsDib, DecodesEveryFormatTheRightWayUp) {
    const struct {
        const char* name;
        Bytes dib;
        bool topDown;
        Bytes expected;
    } cases[] = {
        {"RGB24 from the bottom",
         Dib(2, 2, 24, BI_RGB, {0, 0, 255, 0, 0, 0, 9, 9, 255, 0, 0, 255, 255, 255, 9, 9}), false,
         kBlueWhiteRedBlack},
        {"RGB24 from the top",
         Dib(2, -2, 24, BI_RGB, {255, 0, 0, 255, 255, 255, 9, 9, 0, 0, 255, 0, 0, 0, 9, 9}), false,
         kBlueWhiteRedBlack},
        {"RGB32 whose header is wrong about the direction",
         Dib(2, 2, 32, BI_RGB, {255, 0, 0, 9, 255, 255, 255, 9, 0, 0, 255, 9, 0, 0, 0, 9}), true,
         kBlueWhiteRedBlack},
        {"RGB555", Dib(2, 2, 16, BI_RGB, {0, 0x7C, 0, 0, 0x1F, 0, 0xFF, 0x7F}), false,
         kBlueWhiteRedBlack},
        {"RGB565",
         Dib(2, 2, 16, BI_BITFIELDS, {0, 0xF8, 0, 0, 0xE0, 0x07, 0,    0,   0x1F, 0, 0, 0, //
                                      0, 0xF8, 0, 0, 0x1F, 0,    0xFF, 0xFF}),
         false, kBlueWhiteRedBlack},
        {"YUY2", Dib(2, 2, 16, FourCc("YUY2"), {235, 128, 235, 128, 16, 128, 16, 128}), false,
         kWhiteOverBlack},
        {"UYVY", Dib(2, 2, 16, FourCc("UYVY"), {128, 235, 128, 235, 128, 16, 128, 16}), false,
         kWhiteOverBlack},
        {"YV12", Dib(2, 2, 12, FourCc("YV12"), {81, 81, 81, 81, 240, 90}), false, kRed},
        {"I420", Dib(2, 2, 12, FourCc("I420"), {81, 81, 81, 81, 90, 240}), false, kRed},
        {"NV12", Dib(2, 2, 12, FourCc("NV12"), {81, 81, 81, 81, 90, 240}), false, kRed},
        {"YV12 with rows of four bytes",
         Dib(2, 2, 12, FourCc("YV12"), {235, 235, 9, 9, 16, 16, 9, 9, 128, 9, 128, 9}, 12), false,
         kWhiteOverBlack},
    };
    for (const auto& test : cases) {
        Picture picture;
        ASSERT_TRUE(DecodeDib(test.dib.data(), test.dib.size(), test.topDown, picture))
            << test.name;
        EXPECT_EQ(picture.width, 2);
        EXPECT_EQ(picture.height, 2);
        ASSERT_EQ(picture.pixels.size(), test.expected.size());
        for (std::size_t i = 0; i < test.expected.size(); ++i) {
            EXPECT_NEAR(picture.pixels[i], test.expected[i], 2) << test.name << " byte " << i;
        }
    }
}

TEST(YmdsDib, RefusesWhatDoesNotFit) {
    const Bytes good = Dib(2, 2, 24, BI_RGB, kRgb24);
    Picture picture;
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(DecodeDib(good.data(), size, false, picture)) << size;
    }
    for (const Bytes& bad :
         {Dib(0, 2, 24, BI_RGB, kRgb24), Dib(2, 0, 24, BI_RGB, kRgb24),
          Dib(2, LONG_MIN, 24, BI_RGB, kRgb24), Dib(99999, 2, 24, BI_RGB, kRgb24),
          Dib(2, 2, 8, BI_RGB, kRgb24), Dib(2, 2, 24, FourCc("MJPG"), kRgb24)}) {
        EXPECT_FALSE(DecodeDib(bad.data(), bad.size(), false, picture));
    }
}

TEST(YmdsEvents, KeepTheirOrderAndCountWhatDidNotFit) {
    EventQueue queue;
    Event event;
    EXPECT_FALSE(queue.Take(event));
    for (long code = 0; code < 1030; ++code) {
        EventQueue::OnEvent(nullptr, &queue, code, code + 1, code + 2);
    }
    EXPECT_EQ(queue.Lost(), 6U);
    for (long code = 0; code < 1024; ++code) {
        ASSERT_TRUE(queue.Take(event));
        ASSERT_EQ(event.code, code);
        ASSERT_EQ(event.param2, code + 2);
    }
    EXPECT_FALSE(queue.Take(event));
}

TEST(YmdsText, RendersTimesResultsAndPaths) {
    EXPECT_EQ(Clock(0), L"0:00.0");
    EXPECT_EQ(Clock(599999999), L"0:59.9");
    EXPECT_EQ(Clock(36000LL * 10000000), L"600:00.0");
    EXPECT_EQ(Clock(-5), L"0:00.0");
    EXPECT_EQ(Hex(E_FAIL), L"0x80004005");
    EXPECT_EQ(Reason(L"RenderFilter: ", E_FAIL), L"RenderFilter (0x80004005, unspecified error)");
    EXPECT_EQ(Reason(L"Run: unspecified error", E_FAIL), L"Run: unspecified error (0x80004005)");
    EXPECT_EQ(Reason(L"", S_OK), L"unknown reason");
    EXPECT_EQ(Stem(L"http://host/dir.x/a b.mp4"), L"a b");
    EXPECT_EQ(Stem(L"C:\\x.y\\name"), L"name");
    EXPECT_EQ(Stem(L".hidden"), L".hidden");
}

TEST(YmdsText, KnowsWhatCodePage936CanExpress) {
    EXPECT_EQ(To936(L"电影"), "\xB5\xE7\xD3\xB0");
    EXPECT_EQ(From936("\xB5\xE7\xD3\xB0"), L"电影");
    EXPECT_EQ(To936(L"한국"), std::nullopt);
    EXPECT_EQ(To936(L"\xD83D\xDE00"), std::nullopt);
    EXPECT_EQ(To936(L""), "");
}

TEST(YmdsKeys, MeanTheSameInEitherCase) {
    EXPECT_EQ(ActionOfKey('A', L'a'), Action::NextAudioTrack);
    EXPECT_EQ(ActionOfKey('A', L'A'), Action::NextAudioTrack);
    EXPECT_EQ(ActionOfKey(VK_LEFT, 0), Action::SeekBack);
    EXPECT_EQ(ActionOfKey(VK_OEM_4, L'['), Action::ClipStart);
    EXPECT_EQ(ActionOfKey('X', L'x'), std::nullopt);
    // A dot, whose character is the virtual code of another key.
    EXPECT_EQ(ActionOfKey(VK_OEM_PERIOD, L'.'), Action::Step);
}

} // namespace

} // namespace ymds
