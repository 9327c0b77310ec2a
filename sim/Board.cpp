// The simulated board as a whole: its faults, its devices by path and descriptor, and switching it on and off.
#include "sim/Board.h"

#include <array>
#include <cstdio>
#include <map>
#include <mutex>
#include <stdexcept>

#include <fcntl.h>

#include "sim/Real.h"
#include "sim/SimBoard.h"
#include "sim/devices/List.h"

namespace Sim {

#define DECLARE(device) Device& device();
SIM_DEVICES(DECLARE)
#undef DECLARE

namespace {

std::atomic<bool> g_isOn = false;

// The owner of each descriptor. Without a lock: every read of the program looks here, also in a forked child.
std::array<std::atomic<Device*>, 65536> g_owners = {};

std::mutex g_metersMutex;

std::string& TheMeters()
{
    static auto& folder = *new std::string;  // calls arrive until the process has ended
    return folder;
}

std::mutex g_redirectionsMutex;

std::map<std::string, std::string>& TheRedirections()
{
    static auto& redirections = *new std::map<std::string, std::string>;  // never destroyed: calls arrive until the end
    return redirections;
}

const std::vector<Device*>& Devices()
{
#define ADDRESS(device) &device(),
    static const auto& devices = *new std::vector<Device*>{SIM_DEVICES(ADDRESS)};  // as above
#undef ADDRESS
    return devices;
}

/// The descriptor's entry; null for one that is outside the table.
std::atomic<Device*>* Owner(int fd)
{
    return fd >= 0 && static_cast<std::size_t>(fd) < g_owners.size() ? &g_owners[static_cast<std::size_t>(fd)]
                                                                     : nullptr;
}

std::vector<DeviceFault*> AllFaults()
{
    std::vector<DeviceFault*> faults;
    for (const Device* const device : Devices()) {
        faults.insert(faults.end(), device->Faults().begin(), device->Faults().end());
    }
    return faults;
}

}  // namespace

std::vector<BoardFault> BoardFaults()
{
    std::vector<BoardFault> faults;
    for (const DeviceFault* const fault : AllFaults()) {
        faults.push_back({fault->Name(), fault->Explanation()});
    }
    return faults;
}

void Break(const std::string& name)
{
    for (DeviceFault* const fault : AllFaults()) {
        if (name == fault->Name()) {
            fault->Switch(true);
            return;
        }
    }
    throw std::invalid_argument("there is no fault " + name);
}

bool IsOn()
{
    return g_isOn;
}

void PowerOn()
{
    PowerOff();
    g_isOn = true;
    for (Device* const device : Devices()) {
        device->PowerOn();
    }
}

void PowerOff()
{
    g_isOn = false;
    for (Device* const device : Devices()) {
        device->Reset();
    }
    for (DeviceFault* const fault : AllFaults()) {
        fault->Switch(false);
    }
    const std::lock_guard lock(g_redirectionsMutex);
    TheRedirections().clear();
}

Device* FindDevice(const std::string& path)
{
    for (Device* const device : Devices()) {
        if (device->Owns(path)) {
            return device;
        }
    }
    return nullptr;
}

Device* FindDevice(int fd)
{
    const auto* const owner = Owner(fd);
    return owner != nullptr ? owner->load() : nullptr;
}

int OpenDevice(Device& device, const std::string& path, int flags, mode_t mode)
{
    const int fd = device.Open(path, flags, mode);
    return fd < 0 ? Fail(-fd) : Keep(fd, device);
}

int Keep(int fd, Device& device)
{
    auto* const owner = Owner(fd);
    if (owner == nullptr) {
        Real::Close(fd);
        return Fail(EMFILE);
    }
    *owner = &device;
    return fd;
}

void Forget(int fd)
{
    if (Device* const device = FindDevice(fd)) {
        device->Close(fd);
        *Owner(fd) = nullptr;
    }
}

void MetersTo(const std::string& folder)
{
    const std::lock_guard lock(g_metersMutex);
    TheMeters() = folder;
}

void Meter(const std::string& name, const std::string& reading)
{
    const std::lock_guard lock(g_metersMutex);
    if (TheMeters().empty()) {
        return;
    }
    const std::string text = reading + "\n";
    const int fd = Real::Open(TheMeters() + '/' + name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0 || Real::Write(fd, text.data(), text.size()) < 0) {
        std::fprintf(stderr, "simboard: cannot write %s/%s\n", TheMeters().c_str(), name.c_str());
    }
    if (fd >= 0) {
        Real::Close(fd);
    }
}

void Redirect(const std::string& path, const std::string& to)
{
    const std::lock_guard lock(g_redirectionsMutex);
    TheRedirections()[path] = to;
}

std::string Redirected(const std::string& path)
{
    const std::lock_guard lock(g_redirectionsMutex);
    for (const auto& [from, to] : TheRedirections()) {
        if (path == from || (from.back() == '/' && path.compare(0, from.size(), from) == 0)) {
            return to + path.substr(from.size());
        }
    }
    return path;
}

}  // namespace Sim
