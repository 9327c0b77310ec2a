// The simulated board, as tests see it.
//
// libsimboard.so takes the place of the board's devices under an unchanged program: it defines the libc entry points
// that matter (calls/), and passes on whatever no device of the board (devices/) owns. Linked into a test it does
// nothing until this interface is used; preloaded by the program `simboard` (launcher/) it is set up from the
// environment. All operations may be called from any thread.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <linux/rtc.h>
#include <sys/time.h>
#include <termios.h>

namespace Sim {

/// Switches the board off, and forgets what was set up and what was seen: redirections, injected faults, recorded
/// calls, log lines and applied line settings. Serial ports stay as long as their objects, and so does the log's file.
void Reset();

// The system log. It is always captured: a machine without a log daemon prints every line on its console.

/// A line as it reached the system log, with the settings that the log was open with.
struct LogLine {
    std::string identity;  ///< empty when the log was not open
    int options;
    int facility;
    int priority;
    std::string text;
};

/// Returns and clears the captured lines.
std::vector<LogLine> TakeLog();
/// True between openlog and closelog.
bool IsLogOpen();
/// From now on each line goes to the end of a file, with the time and the identity in front, and is not kept.
void LogToFile(const std::string& path);

// Faults.

/// The libc functions that can be made to fail, and are recorded. 64-bit and checked variants count as the function
/// itself, umount as umount2. A file opened with fopen while a fault waits or calls are recorded goes through read and
/// write.
inline constexpr const char* CALLS[] = {"open",    "close",    "read",    "write",        "lseek",
                                        "ioctl",   "mmap",     "munmap",  "select",       "tcsetattr",
                                        "tcflush", "mount",    "umount2", "socket",       "setsockopt",
                                        "sendto",  "recvfrom", "fopen",   "settimeofday", "pthread_create"};

/// A fault of a libc function: its calls are not carried out, or only in part.
struct Fault {
    std::string call;                  ///< one of CALLS
    long result = -1;                  ///< what the call returns
    int error = 0;                     ///< its `errno`
    std::optional<std::size_t> limit;  ///< carry the call out with at most this many bytes (read, write)
    int after = 0;                     ///< calls to let through first
    int times = 1;                     ///< calls to hit after those

    // These throw std::invalid_argument for a call that is none of CALLS.
    static Fault Fails(std::string call, int error);
    static Fault Returns(std::string call, long result);
    static Fault Limits(std::string call, std::size_t bytes);
    Fault& After(int calls);
    Fault& Times(int calls);
};

/// Adds a fault. Faults of the same function take effect one after the other. Throws std::invalid_argument when `call`
/// is none of CALLS.
void Inject(const Fault& fault);

// Calls.

/// One call of one of CALLS.
struct Call {
    std::string name;
    int fd;  ///< the descriptor it was given; for select its first argument; -1 when it takes none
    /// open, mount, umount2: flags; read, write, sendto, recvfrom, mmap, munmap: size; lseek: offset; ioctl: request;
    /// tcsetattr: action; tcflush: queue; socket: type; setsockopt: option; else 0
    std::int64_t argument;
    std::int64_t result;  ///< fopen, mmap: 0, or -1 after a failure
    std::string path;     ///< open, fopen: the path; mount: source, target, type; umount2: target; else empty
};

/// Records calls from construction to destruction; one at a time.
class Recording {
public:
    Recording();
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// The calls so far, in order. `name` selects those of one function; any that is none of CALLS throws
    /// std::invalid_argument.
    [[nodiscard]] std::vector<Call> Calls(const std::string& name = "") const;
};

// Serial ports.

/// The termios record last applied to any terminal: a pseudo-terminal keeps neither parity nor the number of data bits.
std::optional<termios> AppliedLine();

/// A serial port of the board, from construction to destruction: a pseudo-terminal whose far end the station opens. As
/// on a real line, the board does not notice when the station opens or closes it.
class SerialPort {
public:
    /// `device` is the path that the program under test opens.
    explicit SerialPort(const std::string& device);
    /// A port that an earlier process made: `boardFd` is its BoardFd.
    SerialPort(const std::string& device, int boardFd);
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// The path that the station opens.
    [[nodiscard]] const std::string& StationPath() const;
    /// The board's end, for programs that this one becomes or starts.
    [[nodiscard]] int BoardFd() const;

private:
    std::string m_device;
    std::unique_ptr<class PseudoTerminal> m_line;
};

/// From now on the program opens `to` when it opens `path`. A `path` that ends in "/" stands for all files below it.
void Redirect(const std::string& path, const std::string& to);

// The board's devices: there from PowerOn to Reset.

/// Switches the board on, or off and on again: healthy, and with all devices in their first state. There are
/// "/dev/dev_status", "/dev/rtc0", "/dev/fb0", the touch panel, USB disk 0, and the loopback plug on "/dev/ttyS1".
/// Mounting, the system clock and raw sockets are simulated also while the board is off. Captured log lines,
/// redirections and applied line settings are forgotten.
void PowerOn();

/// Switches a fault on, until the board is switched on or off. Throws std::invalid_argument for a name that BoardFaults
/// does not have.
void Break(const std::string& fault);

/// A fault of the board.
struct BoardFault {
    const char* name;
    const char* explanation;  ///< one line, which also says so when no check can tell
};

/// Every fault of the board, device by device.
std::vector<BoardFault> BoardFaults();

/// The state of the 16 outputs: bit n of byte n / 8. Each is wired to the input of its number.
std::array<unsigned char, 2> Outputs();
/// What the PWM outputs are set to, 0 to 3.
int Pwm();
/// Sets the three bytes that the status driver reports as hardware version.
void SetVersion(const std::array<unsigned char, 3>& version);

/// The records that the real-time clock was set with, in order.
std::vector<rtc_time> RtcRecords();
/// The time since 1970 that the system clock was last set to, if it was.
std::optional<std::chrono::microseconds> SystemClock();

/// Gives "/dev/fb0" a black screen of that size in pixels, 1 to MAX_SCREEN_SIDE each, instead of 800 x 480; throws
/// std::invalid_argument for any other. A program that opened it before keeps the former screen.
void SetScreenSize(int width, int height);
inline constexpr int MAX_SCREEN_SIDE = 8192;
/// A copy of the pixels on the screen, row by row from the top: 0x00RRGGBB, the top byte as the program wrote it.
std::vector<std::uint32_t> Screen();
/// The six words of the display area's record that was last accepted: 0, bits per pixel, width, height, x, y.
std::optional<std::array<std::int32_t, 6>> DisplayArea();
/// The display's brightness, 0 to 100; 100 after power-on.
int Brightness();

/// A sample of the touch panel, whose node is the path in the environment variable TSLIB_TSDEVICE or, where that is not
/// set, "/dev/touchscreen/ucb1x00".
struct TouchSample {
    int x;  ///< in pixels, as y
    int y;
    int pressure;  ///< 1 to 255; 0 lifts the finger, at no position
};
/// Moves the finger. The program can read the samples at once or, when the panel is closed, after opening it. Closing
/// the panel drops the samples that were not read.
void Touch(const std::vector<TouchSample>& samples);
/// From now on an operator touches each target as it appears. He remembers the screen when the panel is opened. While
/// the program waits in a read of the panel, he compares the screen with the one he remembers. He ignores changes
/// inside the box that he touched last. He touches the middle of the box around the other changes, and remembers the
/// screen anew.
void UseOperator();

enum class Disk { ABSENT, WHOLE, PARTITIONED, UNFORMATTED };
/// Plugs a disk in (index 0 to 2).
void PlugIn(int index, Disk disk);
/// The mounts, from target to source.
std::map<std::string, std::string> Mounts();

/// The datagrams sent through simulated raw sockets: destination, and the message after the IPv4 header.
struct Datagram {
    std::string destination;
    std::vector<unsigned char> message;
};
std::vector<Datagram> Datagrams();
/// From now on raw sockets are the machine's own, where it allows them.
void UseRealNetwork();

}  // namespace Sim
