// What devices of the simulated board have in common.
#include "sim/Device.h"

#include <utility>

#include <fcntl.h>

#include "sim/Board.h"
#include "sim/Real.h"

namespace Sim {

namespace {

constexpr auto ANY_DEVICE = "/dev/null";
constexpr auto NO_DEVICE = "/proc/self/no-such-device";

}  // namespace

DeviceFault::DeviceFault(Device& device, const char* name, const char* explanation)
    : m_name(name), m_explanation(explanation)
{
    device.m_faults.push_back(this);
}

Node::Node(std::string path, const char* fault, const char* explanation)
    : m_path(std::move(path)), m_missing(*this, fault, explanation)
{
}

std::string Node::Behind(const std::string& /*path*/) const
{
    return Standing(IsOn() && !m_missing);
}

std::string Node::Standing(bool isThere)
{
    return isThere ? ANY_DEVICE : NO_DEVICE;
}

int Node::Open(const std::string& /*path*/, int flags, mode_t /*mode*/)
{
    if (!IsOn() || m_missing) {
        return -ENOENT;
    }
    // O_PATH opens no device: the descriptor only stands for the path.
    return (flags & O_PATH) != 0 ? Real::Open(ANY_DEVICE, flags) : OpenNode(flags);
}

int Node::OpenNode(int flags)
{
    return Real::Open(ANY_DEVICE, NodeFlags(flags));
}

int Node::NodeFlags(int flags)
{
    return flags & (O_ACCMODE | O_CLOEXEC | O_NONBLOCK);
}

}  // namespace Sim
