#include "FramePattern.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>

namespace ymfilters {

namespace {

constexpr std::uint32_t kWhite = 0xffffff;
constexpr std::uint32_t kGrey = 0x404040;
constexpr std::array<std::uint32_t, 8> kBars = {0xffffff, 0xffff00, 0x00ffff, 0x00ff00,
                                                0xff00ff, 0xff0000, 0x0000ff, 0x000000};
constexpr int kFirstBitCell = 2;
constexpr int kParityCell = kFirstBitCell + kFrameNumberBits;
constexpr int kLastCell = kPatternCells - 1;
// How far the two reference cells must be apart.
constexpr int kMinContrast = 64;

int CellEdge(int cell, int width) {
    return cell * width / kPatternCells;
}

bool IsCellWhite(int cell, std::uint32_t frame) {
    if (cell == 0 || cell == kLastCell) {
        return true;
    }
    if (cell == 1) {
        return false;
    }
    if (cell == kParityCell) {
        return std::popcount(frame) % 2 == 0;
    }
    return ((frame >> (kParityCell - 1 - cell)) & 1U) != 0;
}

} // namespace

FramePainter::FramePainter(int width, int height, int bits)
    : m_width(width), m_height(height), m_bits(bits),
      m_still(DibStride(width, bits) * static_cast<std::size_t>(height)) {
    const int barsTop = height / 8;
    const int barsBottom = height - height / 4;
    const int bars = static_cast<int>(kBars.size());
    for (int i = 0; i < bars; ++i) {
        Fill(m_still.data(), i * width / bars, barsTop, (i + 1) * width / bars, barsBottom,
             kBars[static_cast<std::size_t>(i)]);
    }
    Fill(m_still.data(), 0, barsBottom, width, height, kGrey);
}

void FramePainter::Fill(std::uint8_t* pixels, int left, int top, int right, int bottom,
                        std::uint32_t rgb) const {
    const std::size_t stride = DibStride(m_width, m_bits);
    const std::size_t step = static_cast<std::size_t>(m_bits / 8);
    for (int y = top; y < bottom; ++y) {
        std::uint8_t* at = pixels + static_cast<std::size_t>(m_height - 1 - y) * stride +
                           static_cast<std::size_t>(left) * step;
        for (int x = left; x < right; ++x, at += step) {
            at[0] = static_cast<std::uint8_t>(rgb);
            at[1] = static_cast<std::uint8_t>(rgb >> 8);
            at[2] = static_cast<std::uint8_t>(rgb >> 16);
        }
    }
}

void FramePainter::Paint(std::uint32_t frame, std::uint8_t* pixels) const {
    frame &= (1U << kFrameNumberBits) - 1;
    std::copy(m_still.begin(), m_still.end(), pixels);
    for (int cell = 0; cell < kPatternCells; ++cell) {
        Fill(pixels, CellEdge(cell, m_width), 0, CellEdge(cell + 1, m_width), m_height / 8,
             IsCellWhite(cell, frame) ? kWhite : 0);
    }
    const int left = static_cast<int>(frame % static_cast<std::uint32_t>(m_width)) * 4 % m_width;
    const int right = std::min(left + m_width / 16, m_width);
    Fill(pixels, left, m_height - m_height / 4, right, m_height, kWhite);
}

int ReadFrameNumber(int width, int height, const Brightness& brightness) {
    if (width < kMinPatternWidth || height < kMinPatternHeight) {
        return -1;
    }
    const auto read = [&](int cell) {
        return brightness((CellEdge(cell, width) + CellEdge(cell + 1, width)) / 2, height / 16);
    };
    const int white = read(0);
    const int black = read(1);
    if (std::abs(white - black) < kMinContrast) {
        return -1;
    }
    const auto isWhite = [&](int cell) {
        const int value = read(cell);
        return std::abs(value - white) < std::abs(value - black);
    };
    std::uint32_t frame = 0;
    for (int bit = 0; bit < kFrameNumberBits; ++bit) {
        frame = frame << 1 | (isWhite(kFirstBitCell + bit) ? 1U : 0U);
    }
    if (!isWhite(kLastCell) || isWhite(kParityCell) != IsCellWhite(kParityCell, frame)) {
        return -1;
    }
    return static_cast<int>(frame);
}

int ReadFrameNumber(int width, int height, int bits, bool isBottomUp, const std::uint8_t* pixels) {
    if (bits != 24 && bits != 32) {
        return -1;
    }
    const std::size_t stride = DibStride(width, bits);
    return ReadFrameNumber(width, height, [&](int x, int y) {
        const int row = isBottomUp ? height - 1 - y : y;
        const std::uint8_t* const at =
            pixels + static_cast<std::size_t>(row) * stride +
            static_cast<std::size_t>(x) * static_cast<std::size_t>(bits / 8);
        return (at[0] + at[1] + at[2]) / 3;
    });
}

} // namespace ymfilters
