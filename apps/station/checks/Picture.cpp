// picture: shows a picture on the board's display, which somebody has to look at.
#include <algorithm>
#include <iterator>

#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

struct Name {
    const char* name;
    Display selector;
    const char* description;
};

constexpr Name PICTURES[] = {
    {"black", DISPLAY_BLACK, "Clear the screen to black"},
    {"white", DISPLAY_WHITE, "Clear the screen to white"},
    {"bars", DISPLAY_COLOUR_BARS, "Show colour bars"},
    {"dim", DISPLAY_DIM, "Dim the picture"},
};

constexpr int WHOLE_WEIGHT = 256;

class Picture : public CommandCheck {
public:
    Picture(const Name& name, int weight)
        : CommandCheck(UART::CMD_LCD_BLU_TEST, {name.selector, static_cast<unsigned char>(weight)}),
          m_name(name),
          m_weight(weight)
    {
    }
    [[nodiscard]] std::string Description() const override { return m_name.description; }
    void Draw(Screen& screen) const override
    {
        if (m_name.selector == DISPLAY_DIM) {
            screen.light *= static_cast<double>(m_weight) / WHOLE_WEIGHT;
        } else {
            screen = {m_name.name, 1};
        }
    }
    [[nodiscard]] bool IsJudgedByBoard() const override { return false; }

protected:
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = std::string("shows ") + m_name.name;
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = "the display cannot be used: check /dev/fb0 and the display's driver";
    }

private:
    const Name& m_name;
    int m_weight;
};

}  // namespace

std::unique_ptr<Check> MakePicture(Parameters& parameters)
{
    constexpr int HALF = WHOLE_WEIGHT / 2;
    const std::string picture = parameters.RequiredText("picture", OneOf({"black", "white", "bars", "dim"}));
    const auto* const found =
        std::find_if(std::begin(PICTURES), std::end(PICTURES), [&](const Name& name) { return picture == name.name; });
    const int weight = picture == "dim" ? parameters.Integer("weight", 0, 255).value_or(HALF) : 0;
    return std::make_unique<Picture>(found == std::end(PICTURES) ? PICTURES[0] : *found, weight);
}

}  // namespace Station
