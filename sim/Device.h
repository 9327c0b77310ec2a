// A device of the simulated board, as the libc entry points and the board as a whole see it.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Sim {

class Device;

/// A fault that a device can have: a member of the device, which joins the device's list of faults. Off until Break.
class DeviceFault {
public:
    DeviceFault(Device& device, const char* name, const char* explanation);
    DeviceFault(const DeviceFault&) = delete;
    DeviceFault& operator=(const DeviceFault&) = delete;

    [[nodiscard]] const char* Name() const { return m_name; }
    [[nodiscard]] const char* Explanation() const { return m_explanation; }
    void Switch(bool isOn) { m_isOn = isOn; }
    explicit operator bool() const { return m_isOn; }

private:
    const char* m_name;
    const char* m_explanation;
    std::atomic<bool> m_isOn = false;
};

/// A device, or another part of the board that has a state and faults. Its results are those of the system's calls,
/// with the negative error number for -1. All operations may be called from any thread.
class Device {
public:
    Device() = default;
    virtual ~Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Forgets everything, and is as before the board is switched on.
    virtual void Reset() = 0;
    /// The board has been switched on; Reset came before.
    virtual void PowerOn() {}

    // By path, of a device that owns some.

    /// True when the path leads to the device.
    [[nodiscard]] virtual bool Owns(const std::string& /*path*/) const { return false; }
    /// Where calls that ask about the path, such as stat, find what they are to tell.
    [[nodiscard]] virtual std::string Behind(const std::string& path) const { return path; }
    /// The path is about to be made, removed or renamed in the file system. 0, or why it cannot.
    [[nodiscard]] virtual int BeforeChange(const std::string& /*path*/) const { return -EPERM; }
    /// A new descriptor. Flags and mode are those of `open`.
    virtual int Open(const std::string& /*path*/, int /*flags*/, mode_t /*mode*/) { return -ENXIO; }

    // By descriptor, from Open on.

    /// Nothing leaves the request to what stands behind the descriptor.
    virtual std::optional<int> Request(unsigned long /*request*/, void* /*argument*/) { return std::nullopt; }
    /// 0, or why there is nothing to read.
    virtual int BeforeRead(int /*fd*/) { return 0; }
    /// The bytes that have been read.
    virtual void AfterRead(int /*fd*/, unsigned char* /*bytes*/, std::size_t /*count*/) {}
    /// 0, or why nothing can be written.
    virtual int BeforeWrite(int /*fd*/) { return 0; }
    /// True when that has to be done for streams as well, which else read and write past the board.
    [[nodiscard]] virtual bool HandlesBytes() const { return false; }
    /// The program is about to close the descriptor.
    virtual void Close(int /*fd*/) {}

    [[nodiscard]] const std::vector<DeviceFault*>& Faults() const { return m_faults; }

private:
    friend DeviceFault;

    std::vector<DeviceFault*> m_faults;
};

/// A device node: there while the board is on and the device is not missing. The PC's own node is never reached.
class Node : public Device {
public:
    /// The fault is the one of a missing device.
    Node(std::string path, const char* fault, const char* explanation);

    [[nodiscard]] bool Owns(const std::string& path) const override { return path == Path(); }
    [[nodiscard]] std::string Behind(const std::string& path) const override;
    int Open(const std::string& path, int flags, mode_t mode) final;

    /// Where calls that ask about a node find one, or none.
    static std::string Standing(bool isThere);

protected:
    [[nodiscard]] virtual std::string Path() const { return m_path; }
    /// Opens the device, which is there.
    virtual int OpenNode(int flags);
    /// What stands behind a device is opened with these flags: neither made nor emptied.
    static int NodeFlags(int flags);

private:
    std::string m_path;
    DeviceFault m_missing;
};

}  // namespace Sim
