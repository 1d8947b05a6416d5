#pragma once

#include <cstddef>
#include <vector>

namespace ymfilters {

/// Plays interleaved sound faster or slower at its own pitch: pieces of it, each laid where it
/// continues the one before best.
class TimeStretch {
public:
    TimeStretch(int channels, int rate, double speed);

    /// Takes samples and appends those that are ready: 1 / speed as many in the long run.
    void Process(const float* samples, std::size_t count, std::vector<float>& out);

    /// Appends the rest.
    void Finish(std::vector<float>& out);

private:
    bool Step(std::vector<float>& out);
    std::size_t BestMatch(std::size_t from, std::size_t to) const;

    const std::size_t m_channels;
    const double m_speed;
    const std::size_t m_hop;    ///< samples that a piece adds
    const std::size_t m_search; ///< how far from its place a piece may begin
    std::vector<float> m_input;
    std::size_t m_dropped = 0;  ///< samples that came before m_input
    std::size_t m_received = 0; ///< samples in all
    std::size_t m_made = 0;
    std::vector<float> m_tail; ///< what follows the last piece; a hop
};

} // namespace ymfilters
