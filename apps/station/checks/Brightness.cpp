// brightness: sets the display's brightness, in the display driver's own units. Somebody has to look at it.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Brightness : public CommandCheck {
public:
    explicit Brightness(int level)
        : CommandCheck(UART::CMD_LCD_BLU_TEST, {DISPLAY_BRIGHTNESS, static_cast<unsigned char>(level)}),
          m_level(std::to_string(level))
    {
    }
    [[nodiscard]] std::string Description() const override { return "Set the display's brightness to " + m_level; }
    [[nodiscard]] bool IsJudgedByBoard() const override { return false; }

protected:
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = "set to " + m_level;
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = "the display does not take the brightness " + m_level +
                          ": check /dev/fb0, and the range of the display's driver";
    }

private:
    std::string m_level;
};

}  // namespace

std::unique_ptr<Check> MakeBrightness(Parameters& parameters)
{
    return std::make_unique<Brightness>(parameters.RequiredInteger("brightness", 0, 255));
}

}  // namespace Station
