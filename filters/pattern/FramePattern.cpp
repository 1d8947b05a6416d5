#include "FramePattern.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <vector>

namespace ymfilters {

namespace {

constexpr int kCells = 24;
constexpr int kFirstBitCell = 2;
constexpr int kParityCell = kCells - 2;
constexpr std::uint32_t kWhite = 0xffffff;
constexpr std::uint32_t kGrey = 0x404040;
constexpr std::array<std::uint32_t, 8> kBars = {0xffffff, 0xffff00, 0x00ffff, 0x00ff00,
                                                0xff00ff, 0xff0000, 0x0000ff, 0x000000};

bool IsCellWhite(int cell, std::uint32_t frame) {
    if (cell < kFirstBitCell || cell > kParityCell) {
        return cell != 1;
    }
    return cell == kParityCell ? std::popcount(frame) % 2 == 0
                               : (frame >> (kParityCell - 1 - cell) & 1U) != 0;
}

} // namespace

void PaintFrame(std::uint32_t frame, int width, int height, std::uint32_t* pixels) {
    std::vector<std::uint32_t> cells;
    std::vector<std::uint32_t> bars;
    const std::vector<std::uint32_t> grey(static_cast<std::size_t>(width), kGrey);
    for (int x = 0; x < width; ++x) {
        cells.push_back(IsCellWhite(x * kCells / width, frame) ? kWhite : 0);
        bars.push_back(kBars[static_cast<std::size_t>(x * 8 / width)]);
    }
    for (int y = height - 1; y >= 0; --y) {
        const auto& row = y < height / 8 ? cells : y < height - height / 4 ? bars : grey;
        pixels = std::copy(row.begin(), row.end(), pixels);
    }
}

int ReadFrameNumber(int width, int height, const Brightness& brightness) {
    if (width < 4 * kCells || height < 32) {
        return -1;
    }
    const auto read = [&](int cell) {
        return brightness((2 * cell + 1) * width / (2 * kCells), height / 16);
    };
    const int white = read(0);
    const int black = read(1);
    const auto isWhite = [&](int cell) {
        const int value = read(cell);
        return std::abs(value - white) < std::abs(value - black);
    };
    std::uint32_t frame = 0;
    for (int cell = kFirstBitCell; cell < kParityCell; ++cell) {
        frame = frame << 1 | (isWhite(cell) ? 1U : 0U);
    }
    const bool isPattern = std::abs(white - black) >= 64 && isWhite(kCells - 1) &&
                           isWhite(kParityCell) == IsCellWhite(kParityCell, frame);
    return isPattern ? static_cast<int>(frame) : -1;
}

int ReadFrameNumber(int width, int height, const std::uint32_t* pixels) {
    return ReadFrameNumber(width, height, [=](int x, int y) {
        return static_cast<int>(pixels[(height - 1 - y) * width + x] & 0xff);
    });
}

} // namespace ymfilters
