// disk: has the board mount a USB disk.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Disk : public CommandCheck {
public:
    explicit Disk(int index)
        : CommandCheck(UART::CMD_EXT_DEVICE_TEST, {DEVICE_DISK, static_cast<unsigned char>(index)}),
          m_name("disk " + std::to_string(index))
    {
    }
    [[nodiscard]] std::string Description() const override { return "Mount USB " + m_name; }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{30}; }
    void Explain(const Bytes& /*values*/, Bench& /*bench*/, Finding& finding) const override
    {
        finding.message = m_name + " mounts";
    }
    void ExplainFailure(const Bytes& /*values*/, Finding& finding) const override
    {
        finding.message = m_name + " does not mount: check that a FAT-formatted USB disk is plugged in";
    }

private:
    std::string m_name;
};

}  // namespace

std::unique_ptr<Check> MakeDisk(Parameters& parameters)
{
    return std::make_unique<Disk>(parameters.Integer("disk", 0, DISKS - 1).value_or(0));
}

}  // namespace Station
