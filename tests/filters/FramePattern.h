#pragma once

// The picture of the test clip. The top eighth of it is a band of 24 equal cells that
// says which frame it is: a white cell, a black cell, the frame number in 20 bits with the
// highest first (white is 1), a parity cell that makes the number of white bits odd, a
// white cell. Below stand eight colour bars, and in the lowest quarter a white bar moves
// right by four pixels a frame on grey. A reader needs the picture whole, at any size of
// 96 pixels or more, scaled or captured from a screen, inverted or not.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace ymfilters {

constexpr int kPatternCells = 24;
constexpr int kFrameNumberBits = 20;
constexpr int kMinPatternWidth = 4 * kPatternCells;
constexpr int kMinPatternHeight = 32;

/// Bytes of a row of a DIB.
constexpr std::size_t DibStride(int width, int bits) {
    return (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 31) / 32 * 4;
}

/// Draws frames of one size as bottom-up DIBs of 24 or 32 bits.
class FramePainter {
public:
    FramePainter(int width, int height, int bits);

    std::size_t Size() const { return m_still.size(); }

    /// `pixels` has room for Size() bytes.
    void Paint(std::uint32_t frame, std::uint8_t* pixels) const;

private:
    void Fill(std::uint8_t* pixels, int left, int top, int right, int bottom,
              std::uint32_t rgb) const;

    int m_width;
    int m_height;
    int m_bits;
    std::vector<std::uint8_t> m_still; // the parts that do not move
};

/// What a pixel's brightness is, 0 to 255, in a picture whose top left is (0, 0).
using Brightness = std::function<int(int x, int y)>;

/// The frame number in a picture, -1 when it holds none.
int ReadFrameNumber(int width, int height, const Brightness& brightness);

/// The same for a DIB of 24 or 32 bits.
int ReadFrameNumber(int width, int height, int bits, bool isBottomUp, const std::uint8_t* pixels);

} // namespace ymfilters
