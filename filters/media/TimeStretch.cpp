#include "media/TimeStretch.h"

#include <algorithm>
#include <cmath>

namespace ymfilters {

namespace {

constexpr int kHopsInASecond = 50;
constexpr int kSearchesInASecond = 100;
constexpr std::size_t kStride = 4; ///< of the samples that are compared

} // namespace

TimeStretch::TimeStretch(int channels, int rate, double speed)
    : m_channels(static_cast<std::size_t>(channels)), m_speed(speed),
      m_hop(static_cast<std::size_t>(std::max(rate / kHopsInASecond, 1))),
      m_search(static_cast<std::size_t>(rate / kSearchesInASecond)) {}

void TimeStretch::Process(const float* samples, std::size_t count, std::vector<float>& out) {
    m_input.insert(m_input.end(), samples, samples + count * m_channels);
    m_received += count;
    while (Step(out)) {
    }
    // What no piece can begin with any more.
    const auto next = static_cast<std::size_t>(static_cast<double>(m_made) * m_speed);
    const std::size_t needed = next > m_search ? next - m_search : 0;
    if (needed > m_dropped) {
        const std::size_t surplus = std::min(needed - m_dropped, m_input.size() / m_channels);
        m_input.erase(m_input.begin(),
                      m_input.begin() + static_cast<std::ptrdiff_t>(surplus * m_channels));
        m_dropped += surplus;
    }
}

void TimeStretch::Finish(std::vector<float>& out) {
    const auto wanted = static_cast<std::size_t>(static_cast<double>(m_received) / m_speed);
    while (m_made < wanted) {
        if (!Step(out)) {
            m_input.resize(m_input.size() + m_hop * m_channels);
        }
    }
    out.resize(out.size() - std::min(out.size(), (m_made - wanted) * m_channels));
    m_made = wanted;
}

bool TimeStretch::Step(std::vector<float>& out) {
    const auto place =
        static_cast<std::size_t>(std::llround(static_cast<double>(m_made) * m_speed));
    const std::size_t from = place > m_search ? std::max(place - m_search, m_dropped) : m_dropped;
    const std::size_t to = place + m_search;
    if (m_dropped + m_input.size() / m_channels < to + 2 * m_hop) {
        return false;
    }
    const bool isFirst = m_tail.empty();
    const std::size_t best = isFirst ? m_dropped : BestMatch(from, to);
    const float* const piece = m_input.data() + (best - m_dropped) * m_channels;
    const std::size_t size = m_hop * m_channels;
    for (std::size_t i = 0; i < size; ++i) {
        const float weight = static_cast<float>(i / m_channels) / static_cast<float>(m_hop);
        out.push_back(isFirst ? piece[i] : m_tail[i] + (piece[i] - m_tail[i]) * weight);
    }
    m_tail.assign(piece + size, piece + 2 * size);
    m_made += m_hop;
    return true;
}

/// The place at which the input is most like what follows the last piece.
std::size_t TimeStretch::BestMatch(std::size_t from, std::size_t to) const {
    std::size_t best = from;
    double bestLikeness = -1e30;
    for (std::size_t at = from; at <= to; ++at) {
        const float* const candidate = m_input.data() + (at - m_dropped) * m_channels;
        double product = 0;
        double power = 1e-9;
        for (std::size_t first = 0; first < m_tail.size(); first += kStride * m_channels) {
            for (std::size_t i = first; i < first + m_channels; ++i) {
                product += static_cast<double>(candidate[i]) * m_tail[i];
                power += static_cast<double>(candidate[i]) * candidate[i];
            }
        }
        const double likeness = product / std::sqrt(power);
        if (likeness > bestLikeness) {
            bestLikeness = likeness;
            best = at;
        }
    }
    return best;
}

} // namespace ymfilters
