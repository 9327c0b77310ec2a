// The touch test: where its targets are, and how far from them the panel was touched.
#include "apps/station/Touch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Station {

namespace {

constexpr std::array<const char*, std::tuple_size_v<Points>> NAMES = {"top-left", "top-right", "bottom-right",
                                                                      "bottom-left", "centre"};

/// In pixels.
double Distance(const Point& one, const Point& other)
{
    return std::hypot(one.x - other.x, one.y - other.y);
}

std::string Text(const Point& point)
{
    return std::to_string(point.x) + ',' + std::to_string(point.y);
}

}  // namespace

Points TouchTargets(const ScreenSize& screen, int margin)
{
    constexpr int TO_MIDDLE = TOUCH_IMAGE_SIZE / 2;
    const int left = margin + TO_MIDDLE;
    const int top = left;
    const int right = screen.width - margin - TOUCH_IMAGE_SIZE + TO_MIDDLE;
    const int bottom = screen.height - margin - TOUCH_IMAGE_SIZE + TO_MIDDLE;
    const Point centre = {(screen.width - TOUCH_IMAGE_SIZE) / 2 + TO_MIDDLE,
                          (screen.height - TOUCH_IMAGE_SIZE) / 2 + TO_MIDDLE};
    return {{{left, top}, {right, top}, {right, bottom}, {left, bottom}, centre}};
}

Points TouchedPoints(const Bytes& values)
{
    const auto coordinate = [&values](std::size_t at) {
        return static_cast<std::int16_t>(values[at] << 8 | values[at + 1]);
    };
    Points points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = {coordinate(4 * i), coordinate(4 * i + 2)};
    }
    return points;
}

Numbers ToNumbers(const Points& points)
{
    Numbers numbers;
    for (const Point& point : points) {
        numbers.insert(numbers.end(), {point.x, point.y});
    }
    return numbers;
}

void ExpectTouches(const Points& targets, int tolerance, const Bytes& values, Finding& finding)
{
    const Points touched = TouchedPoints(values);
    double furthest = 0;
    std::string off;
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const double distance = Distance(touched[i], targets[i]);
        furthest = std::max(furthest, distance);
        if (distance > tolerance) {
            off += std::string(off.empty() ? "" : "; ") + NAMES[i] + ' ' + Text(touched[i]) + " expected " +
                   Text(targets[i]) + ": off by " + std::to_string(std::lround(distance)) + " px";
        }
    }
    finding.good = off.empty();
    finding.words = finding.good ? std::to_string(targets.size()) + " points within " +
                                       std::to_string(std::lround(std::ceil(furthest))) + " px"
                                 : off + ": check the touch panel's calibration, and --screen";
    finding.values.emplace_back("expected", ToNumbers(targets));
}

}  // namespace Station
