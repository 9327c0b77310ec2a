// The operator of the simulated board's display: finds what has newly appeared on the screen.
#include "sim/devices/Operator.h"

#include <algorithm>
#include <utility>

namespace Sim {

namespace {

constexpr std::uint32_t COLOUR = 0x00FFFFFF;  // the top byte is not visible

}  // namespace

void Operator::Remember()
{
    m_remembered = LookAtScreen();
    m_found = {};
}

std::optional<Operator::Point> Operator::Look()
{
    Picture now = LookAtScreen();
    if (now.width != m_remembered.width || now.height != m_remembered.height) {  // another screen
        Remember();
        return std::nullopt;
    }
    const Box changed = Changed(now);
    if (changed.right < changed.left) {
        return std::nullopt;
    }
    m_remembered = std::move(now);
    m_found = changed;
    return Point{(changed.left + changed.right) / 2, (changed.top + changed.bottom) / 2};
}

Operator::Box Operator::Changed(const Picture& now) const
{
    Box changed = {now.width, now.height, -1, -1};
    std::size_t pixel = 0;
    for (int y = 0; y < now.height; ++y) {
        for (int x = 0; x < now.width; ++x, ++pixel) {
            const bool isFound = x >= m_found.left && x <= m_found.right && y >= m_found.top && y <= m_found.bottom;
            if (((now.pixels[pixel] ^ m_remembered.pixels[pixel]) & COLOUR) != 0 && !isFound) {
                changed = {std::min(changed.left, x), std::min(changed.top, y), std::max(changed.right, x),
                           std::max(changed.bottom, y)};
            }
        }
    }
    return changed;
}

}  // namespace Sim
