// The simulated board, as tests see it.
//
// libsimboard.so takes the place of the board's devices under an unchanged program: it defines the libc entry points
// that matter and passes on whatever it does not own. Linked into a program it does nothing until this interface is
// used; preloaded by the launcher `simboard` it is set up from the environment. All operations may be called from any
// thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <termios.h>

namespace Sim {

/// Forgets captured log lines, injected faults and applied line settings.
void Reset();

// The system log. It is always captured: a machine without a log daemon prints every line on its console.

/// A line as it reached the system log, with what the log was opened with at that moment.
struct LogLine {
    std::string identity;  ///< empty when the log was not open
    int options;
    int facility;
    int priority;
    std::string text;
};

/// The captured lines so far, which are then forgotten.
std::vector<LogLine> TakeLog();
/// True between openlog and closelog.
bool IsLogOpen();
/// From now on each line goes to the end of a file, with the time and the identity in front, and is not kept.
void LogToFile(const std::string& path);

// Faults.

/// What becomes of calls of a libc function: they are not carried out, or only in part.
struct Fault {
    std::string call;                  ///< open, close, read, write, select, tcsetattr or tcflush
    long result = -1;                  ///< what the call returns
    int error = 0;                     ///< its `errno`
    std::optional<std::size_t> limit;  ///< carry the call out, with at most so many bytes (read, write)
    int after = 0;                     ///< let so many calls through first
    int times = 1;                     ///< then hit so many

    static Fault Fails(std::string call, int error);
    static Fault Returns(std::string call, long result);
    static Fault Limits(std::string call, std::size_t bytes);
    Fault& After(int calls);
    Fault& Times(int calls);
};

/// Adds a fault. When several wait for the same function, one is used up after the other.
void Inject(const Fault& fault);

// Calls.

/// One call of a function that knows faults.
struct Call {
    std::string name;
    int fd;         ///< the descriptor it was given; -1 for open, for select the number of descriptors looked at
    long argument;  ///< open: flags; read, write: size; tcsetattr: action; tcflush: queue; else 0
    long result;
};

/// Records calls from construction to destruction; one at a time.
class Recording {
public:
    Recording();
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// The calls so far, in order; `name` selects one function.
    [[nodiscard]] std::vector<Call> Calls(const std::string& name = "") const;
};

// Serial ports.

/// The termios record last applied to any terminal: a pseudo-terminal does not keep all of it.
std::optional<termios> AppliedLine();

/// A serial port of the board, from construction to destruction: a pseudo-terminal whose far end the station opens. As
/// on a real line, nobody notices when the station comes or goes.
class SerialPort {
public:
    /// `device` is the path that the program under test opens.
    explicit SerialPort(const std::string& device);
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// The path that the station opens.
    [[nodiscard]] const std::string& StationPath() const { return m_stationPath; }

private:
    std::string m_device;
    std::string m_stationPath;
    int m_board = -1;
    int m_station = -1;
};

}  // namespace Sim
