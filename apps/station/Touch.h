// The touch test: where its targets are, and how far from them the panel was touched.
#pragma once

#include <array>

#include "apps/station/Commands.h"

namespace Station {

/// The size of a screen in pixels.
struct ScreenSize {
    int width;
    int height;
};

/// A place on the screen in pixels from its top left, or what the panel reports as one.
struct Point {
    int x;
    int y;
};

/// In the order of the targets: top left, top right, bottom right, bottom left, centre.
using Points = std::array<Point, TOUCHES>;

/// The middles of the targets that a board shows `margin` pixels from the edges of its screen.
Points TouchTargets(const ScreenSize& screen, int margin);

/// The points of a reply; `values` are its bytes after the status. Targets that were not touched read 0,0.
Points TouchedPoints(const Bytes& values);

/// As a value of a record: x, y, x, y and so on.
Numbers ToNumbers(const Points& points);

/// Judges whether each target was touched at most `tolerance` pixels from its middle.
void ExpectTouches(const Points& targets, int tolerance, const Bytes& values, Finding& finding);

}  // namespace Station
