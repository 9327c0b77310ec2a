// The kinds of checks that a plan can ask for.
#include "apps/station/checks/Kinds.h"

#include <algorithm>

namespace Station {

// A new kind of check is a file of its own in this folder, which defines its function, and a line here.
#define STATION_KINDS(KIND)                                                                                            \
    KIND("version", MakeVersion)                                                                                       \
    KIND("loopback", MakeLoopback)                                                                                     \
    KIND("outputs", MakeOutputs)                                                                                       \
    KIND("inputs", MakeInputs)                                                                                         \
    KIND("pwm", MakePwm)                                                                                               \
    KIND("disk", MakeDisk)                                                                                             \
    KIND("file", MakeFile)                                                                                             \
    KIND("ping", MakePing)                                                                                             \
    KIND("address", MakeAddress)                                                                                       \
    KIND("picture", MakePicture)                                                                                       \
    KIND("brightness", MakeBrightness)                                                                                 \
    KIND("set_clock", MakeSetClock)                                                                                    \
    KIND("read_clock", MakeReadClock)                                                                                  \
    KIND("touch", MakeTouch)                                                                                           \
    KIND("confirm", MakeConfirm)                                                                                       \
    KIND("wrong_frame", MakeWrongFrame)                                                                                \
    KIND("question", MakeQuestion)                                                                                     \
    KIND("command", MakeCommand)                                                                                       \
    KIND("program", MakeProgram)

#define STATION_DECLARE(name, make) std::unique_ptr<Check> make(Parameters& parameters);
STATION_KINDS(STATION_DECLARE)

const std::vector<Kind>& Kinds()
{
#define STATION_ENTRY(name, make) {name, make},
    static const std::vector<Kind> kinds = {STATION_KINDS(STATION_ENTRY)};
    return kinds;
}

const Kind* FindKind(const std::string& name)
{
    const auto found =
        std::find_if(Kinds().begin(), Kinds().end(), [&](const Kind& kind) { return name == kind.name; });
    return found == Kinds().end() ? nullptr : &*found;
}

}  // namespace Station
