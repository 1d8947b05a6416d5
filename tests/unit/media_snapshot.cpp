// The current picture as a value and as a file.

#include "media_play.h"

#include <cstring>

using namespace media_tests;
using ymdshow::Snapshot;

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

class MediaSnapshots : public LoadedMedia {};

TEST_F(MediaSnapshots, AreTheSameFromEveryFormat) {
    const std::pair<Bytes, Bytes> cases[] = {
        {Dib(2, 2, 24, kRgb, kBottomUp), kBlueWhiteRedBlack},
        {Dib(2, -2, 24, kRgb, {255, 0, 0, 255, 255, 255, 9, 9, 0, 0, 255, 0, 0, 0, 9, 9}),
         kBlueWhiteRedBlack},
        {Dib(2, -2, 32, kRgb, {255, 0, 0, 9, 255, 255, 255, 9, 0, 0, 255, 9, 0, 0, 0, 9}),
         kBlueWhiteRedBlack},
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
    for (const auto& [dib, expected] : cases) {
        SCOPED_TRACE(&dib - &cases[0].first);
        Graph().video.image = dib;
        Snapshot picture;
        ASSERT_TRUE(media.GetSnapshot(picture));
        ASSERT_TRUE(picture.width == 2 && picture.height == 2 && picture.stride == 8);
        ASSERT_EQ(picture.pixels.size(), 16U);
        for (std::size_t i = 0; i < 16; ++i) {
            const int wanted = i % 4 == 3 ? 255 : expected[i / 4 * 3 + i % 4];
            EXPECT_NEAR(picture.pixels[i], wanted, 2) << "byte " << i;
        }
    }
}

TEST_F(MediaSnapshots, RefuseWhatDoesNotFit) {
    const Bytes good = Dib(2, 2, 24, kRgb, kBottomUp);
    std::vector<Bytes> all{
        Dib(0, 2, 24, kRgb, kBottomUp),        Dib(2, 0, 24, kRgb, kBottomUp),
        Dib(2, LONG_MIN, 24, kRgb, kBottomUp), Dib(99999, 2, 24, kRgb, kBottomUp),
        Dib(2, 2, 8, kRgb, kBottomUp),         Dib(2, 2, 24, "MJPG", kBottomUp)};
    for (const std::size_t size : {std::size_t{0}, std::size_t{39}, good.size() - 1}) {
        all.emplace_back(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
    }
    for (const Bytes& bad : all) {
        Graph().video.image = bad;
        Snapshot picture{1, 1, 4, Bytes(4)};
        std::wstring reason;
        EXPECT_TRUE(!media.GetSnapshot(picture, &reason) && !reason.empty()) << bad.size();
    }
}

TEST_F(MediaSnapshots, ArePausedForAndSaved) {
    const ScratchDirectory scratch;
    const std::wstring path = scratch.Path() / L"\xD55C.png";
    Graph().video.image = Dib(2, 2, 24, kRgb, kBottomUp);
    Bring(State_Running);
    Graph().video.results["GetCurrentImage"] = {E_FAIL, E_FAIL};
    std::wstring reason = L"old";
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    EXPECT_TRUE(media.SaveSnapshot(path, &reason));
    EXPECT_EQ(reason, L"");
    EXPECT_TRUE(journal.InOrder({"control.Pause", "video.GetCurrentImage(*", "control.Run"}));
    EXPECT_GT(std::filesystem::file_size(path), 60U);
    EXPECT_FALSE(media.SaveSnapshot(path + L"\\no\\x.png", &reason));
    EXPECT_NE(reason, L"");
    CoUninitialize();
}

} // namespace
