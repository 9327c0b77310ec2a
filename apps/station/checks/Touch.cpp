// touch: has somebody touch five targets on the board's display, and looks at how far from them the panel was touched.
#include <array>
#include <cmath>
#include <sstream>

#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

/// In pixels from the top left.
struct Point {
    int x;
    int y;
};

/// In the order of the targets.
using Points = std::array<Point, TOUCHES>;
constexpr std::array<const char*, TOUCHES> NAMES = {"top left", "top right", "bottom right", "bottom left", "centre"};

struct ScreenSize {
    int width = 0;
    int height = 0;
};

/// "800x480"
std::optional<ScreenSize> ParseScreen(const std::string& text)
{
    constexpr int MOST = 32767;  // of a coordinate in the reply
    std::istringstream words(text);
    ScreenSize size;
    char separator = 0;
    const bool isRead =
        (words >> size.width >> separator >> size.height) && words.peek() == std::istringstream::traits_type::eof();
    const bool isSize =
        separator == 'x' && size.width > 0 && size.height > 0 && size.width <= MOST && size.height <= MOST;
    return isRead && isSize ? std::optional(size) : std::nullopt;
}

std::string ScreenRule(const std::string& text)
{
    return ParseScreen(text) ? "" : "expected the size of the screen in pixels, such as 800x480";
}

/// The middles of the targets.
Points Targets(const ScreenSize& screen, int margin)
{
    constexpr int TO_MIDDLE = TOUCH_IMAGE_SIZE / 2;
    const int left = margin + TO_MIDDLE;
    const int right = screen.width - margin - TOUCH_IMAGE_SIZE + TO_MIDDLE;
    const int bottom = screen.height - margin - TOUCH_IMAGE_SIZE + TO_MIDDLE;
    const Point centre = {(screen.width - TOUCH_IMAGE_SIZE) / 2 + TO_MIDDLE,
                          (screen.height - TOUCH_IMAGE_SIZE) / 2 + TO_MIDDLE};
    return {{{left, left}, {right, left}, {right, bottom}, {left, bottom}, centre}};
}

/// The points of a reply; targets that were not touched read 0,0.
Points Touched(const Bytes& values)
{
    const auto coordinate = [&values](std::size_t at) {
        return static_cast<std::int16_t>(values[at] << 8 | values[at + 1]);
    };
    Points points{};
    for (std::size_t i = 0; i < points.size(); ++i) {
        points[i] = {coordinate(4 * i), coordinate(4 * i + 2)};
    }
    return points;
}

std::string Text(const Point& point)
{
    return std::to_string(point.x) + ',' + std::to_string(point.y);
}

class Touch : public CommandCheck {
public:
    Touch(const ScreenSize& screen, int margin, int tolerance)
        : CommandCheck(UART::CMD_TOUCH_TEST, {static_cast<unsigned char>(margin)}),
          m_targets(Targets(screen, margin)),
          m_tolerance(tolerance)
    {
    }
    [[nodiscard]] std::string Description() const override { return "Have the operator touch five targets"; }
    void Draw(Screen& screen) const override { screen = {"targets", 1}; }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{300}; }
    [[nodiscard]] std::string Task() const override
    {
        return "Touch the five targets on the display, each in its middle, as they appear.";
    }
    void Explain(const Bytes& values, Bench& /*bench*/, Finding& finding) const override
    {
        const Points touched = Touched(values);
        double furthest = 0;
        std::string off;
        for (std::size_t i = 0; i < touched.size(); ++i) {
            const double distance = std::hypot(touched[i].x - m_targets[i].x, touched[i].y - m_targets[i].y);
            furthest = std::max(furthest, distance);
            finding.values.push_back({NAMES[i], Text(touched[i]), "px", {}});
            finding.values.push_back(
                {std::string(NAMES[i]) + " off by", std::round(distance * 10) / 10, "px", {{}, m_tolerance, {}}});
            if (!finding.values.back().IsWithin()) {
                off += std::string(off.empty() ? "" : "; ") + NAMES[i] + ' ' + Text(touched[i]) + ", expected " +
                       Text(m_targets[i]) + ": off by " + std::to_string(std::lround(distance)) + " px";
            }
        }
        finding.result = off.empty() ? Result::Pass : Result::Fail;
        finding.message = off.empty() ? "5 points within " + std::to_string(std::lround(std::ceil(furthest))) + " px"
                                      : off + ": check the touch panel's calibration, and the plan's screen size";
    }
    void ExplainFailure(const Bytes& values, Finding& finding) const override
    {
        std::size_t count = 0;
        for (const Point& point : Touched(values)) {
            count += point.x != 0 || point.y != 0 ? 1 : 0;
        }
        finding.message = "the touch test failed after " + std::to_string(count) +
                          " of 5 touches: check the display and the touch "
                          "panel, and see the board's system log";
    }

private:
    Points m_targets;
    double m_tolerance;  // pixels
};

}  // namespace

std::unique_ptr<Check> MakeTouch(Parameters& parameters)
{
    constexpr int TOLERANCE = 20;
    const auto screen = ParseScreen(parameters.RequiredText("screen", ScreenRule));
    const int margin = parameters.Integer("margin", 0, 255).value_or(TOUCH_MARGIN);
    const int tolerance = parameters.Integer("tolerance", 0, 1000).value_or(TOLERANCE);
    const int least = 2 * margin + TOUCH_IMAGE_SIZE;
    if (screen && (screen->width < least || screen->height < least)) {
        parameters.Report("screen", "the targets do not fit: with a margin of " + std::to_string(margin) +
                                        " pixels a screen has at least " + std::to_string(least) + " each way");
    }
    return std::make_unique<Touch>(screen.value_or(ScreenSize{}), margin, tolerance);
}

}  // namespace Station
