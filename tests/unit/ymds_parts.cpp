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

Bytes Dib(long width, long height, WORD bits, const char* fourCc, const Bytes& pixels,
          DWORD imageSize = 0) {
    BITMAPINFOHEADER header{sizeof header, width, height, 1, bits, BI_RGB, imageSize, 0, 0, 0, 0};
    std::memcpy(&header.biCompression, fourCc, sizeof header.biCompression);
    Bytes dib(sizeof header + pixels.size());
    std::memcpy(dib.data(), &header, sizeof header);
    std::copy(pixels.begin(), pixels.end(), dib.begin() + sizeof header);
    return dib;
}

constexpr char kRgb[] = "\0\0\0";
constexpr char kMasks[] = "\3\0\0";

// Pictures of 2x2, the first 24 bits a pixel from the bottom.
const Bytes kBottomUp{0, 0, 255, 0, 0, 0, 9, 9, 255, 0, 0, 255, 255, 255, 9, 9};
const Bytes kBlueWhiteRedBlack{255, 0, 0, 255, 255, 255, 0, 0, 255, 0, 0, 0};
const Bytes kWhiteOverBlack{255, 255, 255, 255, 255, 255, 0, 0, 0, 0, 0, 0};
const Bytes kRed{0, 0, 254, 0, 0, 254, 0, 0, 254, 0, 0, 254};

TEST(YmdsDib, DecodesEveryFormatTheRightWayUp) {
    const struct {
        Bytes dib;
        Bytes expected;
        bool topDown = false;
    } cases[] = {{Dib(2, 2, 24, kRgb, kBottomUp), kBlueWhiteRedBlack},
                 {Dib(2, -2, 24, kRgb, {255, 0, 0, 255, 255, 255, 9, 9, 0, 0, 255, 0, 0, 0, 9, 9}),
                  kBlueWhiteRedBlack},
                 // Its header is wrong about the direction.
                 {Dib(2, 2, 32, kRgb, {255, 0, 0, 9, 255, 255, 255, 9, 0, 0, 255, 9, 0, 0, 0, 9}),
                  kBlueWhiteRedBlack, true},
                 {Dib(2, 2, 16, kRgb, {0, 0x7C, 0, 0, 0x1F, 0, 0xFF, 0x7F}), kBlueWhiteRedBlack},
                 {Dib(2, 2, 16, kMasks, {0, 0xF8, 0, 0, 0xE0, 0x07, 0,    0,   0x1F, 0, 0, 0, //
                                         0, 0xF8, 0, 0, 0x1F, 0,    0xFF, 0xFF}),
                  kBlueWhiteRedBlack},
                 {Dib(2, 2, 16, "YUY2", {235, 128, 235, 128, 16, 128, 16, 128}), kWhiteOverBlack},
                 {Dib(2, 2, 16, "UYVY", {128, 235, 128, 235, 128, 16, 128, 16}), kWhiteOverBlack},
                 {Dib(2, 2, 12, "YV12", {81, 81, 81, 81, 240, 90}), kRed},
                 {Dib(2, 2, 12, "I420", {81, 81, 81, 81, 90, 240}), kRed},
                 {Dib(2, 2, 12, "NV12", {81, 81, 81, 81, 90, 240}), kRed},
                 // Rows of four bytes.
                 {Dib(2, 2, 12, "YV12", {235, 235, 9, 9, 16, 16, 9, 9, 128, 9, 128, 9}, 12),
                  kWhiteOverBlack}};
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        Picture picture;
        ASSERT_TRUE(DecodeDib(test.dib.data(), test.dib.size(), test.topDown, picture));
        EXPECT_TRUE(picture.width == 2 && picture.height == 2);
        ASSERT_EQ(picture.pixels.size(), test.expected.size());
        for (std::size_t i = 0; i < test.expected.size(); ++i) {
            EXPECT_NEAR(picture.pixels[i], test.expected[i], 2) << "byte " << i;
        }
    }
}

TEST(YmdsDib, RefusesWhatDoesNotFit) {
    const Bytes good = Dib(2, 2, 24, kRgb, kBottomUp);
    Picture picture;
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(DecodeDib(good.data(), size, false, picture)) << size;
    }
    for (const Bytes& bad :
         {Dib(0, 2, 24, kRgb, kBottomUp), Dib(2, 0, 24, kRgb, kBottomUp),
          Dib(2, LONG_MIN, 24, kRgb, kBottomUp), Dib(99999, 2, 24, kRgb, kBottomUp),
          Dib(2, 2, 8, kRgb, kBottomUp), Dib(2, 2, 24, "MJPG", kBottomUp)}) {
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
        ASSERT_TRUE(event.code == code && event.param1 == code + 1 && event.param2 == code + 2);
    }
    EXPECT_FALSE(queue.Take(event));
}

TEST(YmdsText, RendersTimesResultsAndPaths) {
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
    EXPECT_EQ(To936(L"电影"), "\xB5\xE7\xD3\xB0");
    EXPECT_EQ(To936(L"한국"), std::nullopt);
}

TEST(YmdsKeys, MeanTheSameInEitherCase) {
    EXPECT_EQ(ActionOfKey('A', L'A'), Action::NextAudioTrack);
    EXPECT_EQ(ActionOfKey(VK_LEFT, 0), Action::SeekBack);
    EXPECT_EQ(ActionOfKey('X', L'x'), std::nullopt);
    // A dot, whose character is the virtual code of another key.
    EXPECT_EQ(ActionOfKey(VK_OEM_PERIOD, L'.'), Action::Step);
}

} // namespace

} // namespace ymds
