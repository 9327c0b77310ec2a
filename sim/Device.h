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

/// A fault that a device can have. It is a member of the device and adds itself to the device's list. Off until Break.
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

/// A device, or another part of the board that has a state and faults. Operations return what the system call returns,
/// with the negative error number in place of -1. Any thread may call them.
class Device {
public:
    Device() = default;
    virtual ~Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Returns to the state before the board is switched on.
    virtual void Reset() = 0;
    /// Called when the board is switched on, after Reset.
    virtual void PowerOn() {}

    // By path, for a device that owns paths.

    /// True when the path leads to the device.
    [[nodiscard]] virtual bool Owns(const std::string& /*path*/) const { return false; }
    /// The PC's path that calls such as stat examine in place of `path`.
    [[nodiscard]] virtual std::string Behind(const std::string& path) const { return path; }
    /// Called before the path is created, removed or renamed in the file system. 0, or the error that refuses it.
    [[nodiscard]] virtual int BeforeChange(const std::string& /*path*/) const { return -EPERM; }
    /// Returns a new descriptor. Flags and mode are those of `open`.
    virtual int Open(const std::string& /*path*/, int /*flags*/, mode_t /*mode*/) { return -ENXIO; }

    // By descriptor, from Open on.

    /// Answers an `ioctl` request; std::nullopt passes it on to the file behind the descriptor.
    virtual std::optional<int> Request(unsigned long /*request*/, void* /*argument*/) { return std::nullopt; }
    /// Called before a read. 0, or the error that the read fails with.
    virtual int BeforeRead(int /*fd*/) { return 0; }
    /// Called with the bytes that have been read, which it may change.
    virtual void AfterRead(int /*fd*/, unsigned char* /*bytes*/, std::size_t /*count*/) {}
    /// Called before a write. 0, or the error that the write fails with.
    virtual int BeforeWrite(int /*fd*/) { return 0; }
    /// True when the three calls above are needed for streams as well, which otherwise read and write past the board.
    [[nodiscard]] virtual bool HandlesBytes() const { return false; }
    /// Called before the program closes the descriptor.
    virtual void Close(int /*fd*/) {}

    [[nodiscard]] const std::vector<DeviceFault*>& Faults() const { return m_faults; }

private:
    friend DeviceFault;

    std::vector<DeviceFault*> m_faults;
};

/// A device node. It exists while the board is on and the device is not missing. The PC's own node is never reached.
class Node : public Device {
public:
    /// `fault` and `explanation` describe the fault of a missing device.
    Node(std::string path, const char* fault, const char* explanation);

    [[nodiscard]] bool Owns(const std::string& path) const override { return path == Path(); }
    [[nodiscard]] std::string Behind(const std::string& path) const override;
    int Open(const std::string& path, int flags, mode_t mode) final;

    /// A path for calls such as stat: of a character device, or of nothing.
    static std::string Standing(bool isThere);

protected:
    [[nodiscard]] virtual std::string Path() const { return m_path; }
    /// Opens the device, which is not missing.
    virtual int OpenNode(int flags);
    /// The flags for opening the file behind a device: without those that create or truncate it.
    static int NodeFlags(int flags);

private:
    std::string m_path;
    DeviceFault m_missing;
};

}  // namespace Sim
