// program: runs a program of the user's that measures or drives something at the station.
#include "apps/station/checks/Program.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <nlohmann/json.hpp>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/station/Descriptor.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

using Clock = std::chrono::steady_clock;
using Environment = std::map<std::string, std::string>;

constexpr const char* INTERRUPTED = "interrupted";
constexpr std::size_t MOST_OUTPUT = std::size_t{64} * 1024;
constexpr off_t MOST_ERRORS = off_t{16} * 1024 * 1024;  // they are kept in memory
constexpr std::chrono::milliseconds SLICE{20};          // between two looks at the clock, the stop flag and the program
constexpr std::chrono::seconds DEATH_WAIT{2};           // of a program that was killed; one of another user's cannot be

std::vector<std::string> Variables(const Environment& added)
{
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (added.count(text.substr(0, text.find('='))) == 0) {
            variables.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        variables.push_back(std::string(name).append("=").append(value));
    }
    return variables;
}

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                   [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

/// A running program, and what it prints. It has a session of its own, and so no terminal. Whatever is left of its
/// process group ends with this object.
class Process {
public:
    Process(const Program& program, const Environment& environment) : m_errors(memfd_create("stderr", MFD_CLOEXEC))
    {
        int ends[2] = {};
        if (!m_errors.IsValid() || pipe2(ends, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot run " + program.command[0]);
        }
        m_output.emplace(ends[0]);
        const Descriptor theirs(ends[1]);
        fcntl(m_output->Get(), F_SETFL, O_NONBLOCK);
        if (const int error = Spawn(program, environment, theirs.Get()); error != 0) {
            throw std::system_error(error, std::generic_category(), "cannot run " + program.command[0]);
        }
    }
    ~Process() { Kill(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] bool HasEnded() const
    {
        siginfo_t end = {};
        waitid(P_PID, static_cast<id_t>(m_pid), &end, WEXITED | WNOHANG | WNOWAIT);
        return end.si_pid == m_pid;
    }
    /// Ends what is left of its group, while its number is still taken. False when it runs on all the same: it belongs
    /// to another user, or hangs in the kernel. Once.
    bool Kill()
    {
        const pid_t pid = std::exchange(m_pid, -1);
        if (pid < 0) {
            return true;
        }
        kill(-pid, SIGKILL);
        bool hasEnded = waitpid(pid, &m_status, WNOHANG) == pid;
        for (const Clock::time_point end = Clock::now() + DEATH_WAIT; !hasEnded && Clock::now() < end;) {
            std::this_thread::sleep_for(SLICE);
            hasEnded = waitpid(pid, &m_status, WNOHANG) == pid;
        }
        return hasEnded;
    }
    /// After its end: the exit code, or minus the signal that ended it.
    [[nodiscard]] int ExitCode() const { return WIFSIGNALED(m_status) ? -WTERMSIG(m_status) : WEXITSTATUS(m_status); }
    /// Takes what it has printed since.
    void Take()
    {
        char bytes[4096];
        ssize_t count = 1;
        while (m_printed.size() <= MOST_OUTPUT && count > 0) {
            count = read(m_output->Get(), bytes, sizeof bytes);
            m_printed.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    }
    [[nodiscard]] const std::string& Printed() const { return m_printed; }
    /// More than it may print, on either of its outputs.
    [[nodiscard]] bool IsFlooding() const { return m_printed.size() > MOST_OUTPUT || ErrorSize() > MOST_ERRORS; }
    /// The last line on its standard error.
    [[nodiscard]] std::string LastError() const
    {
        std::string text(MOST_OUTPUT, '\0');
        const off_t start = std::max<off_t>(ErrorSize() - static_cast<off_t>(text.size()), 0);
        const ssize_t count = pread(m_errors.Get(), text.data(), text.size(), start);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        text.erase(text.find_last_not_of("\r\n \t") + 1);
        return text.substr(text.find_last_of('\n') + 1);
    }

private:
    [[nodiscard]] off_t ErrorSize() const
    {
        struct stat status {};
        fstat(m_errors.Get(), &status);
        return status.st_size;
    }
    int Spawn(const Program& program, const Environment& environment, int output)
    {
        std::vector<std::string> words = program.command;
        std::vector<std::string> variables = Variables(environment);
        sigset_t signals;
        sigfillset(&signals);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, m_errors.Get(), STDERR_FILENO);
        if (!program.folder.empty()) {
            posix_spawn_file_actions_addchdir_np(&actions, program.folder.c_str());
        }
        const int error = posix_spawnp(&m_pid, words[0].c_str(), &actions, &attributes, Pointers(words).data(),
                                       Pointers(variables).data());
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        return error;
    }

    std::optional<Descriptor> m_output;
    Descriptor m_errors;  // a file in memory
    pid_t m_pid = -1;
    int m_status = 0;
    std::string m_printed;
};

/// Waits until it has ended; why it has to be ended before, or nothing.
std::string Await(Process& process, Seconds timeout, const std::atomic<bool>& stop)
{
    const Clock::time_point end = Clock::now() + std::chrono::duration_cast<Clock::duration>(timeout);
    while (true) {
        const bool hasEnded = process.HasEnded();
        process.Take();
        if (process.IsFlooding()) {
            return "prints more than 64 KiB, or more than 16 MiB of errors";
        }
        if (hasEnded) {
            return "";
        }
        if (stop) {
            return INTERRUPTED;
        }
        if (Clock::now() > end) {
            return "did not end within " + NumberText(timeout.count()) + " s";
        }
        std::this_thread::sleep_for(SLICE);
    }
}

Finding Fail(const std::string& message)
{
    return {Result::Fail, message, {}, {}};
}

/// Takes the values out of what the program printed.
Finding ReadValues(const Program& program, const std::string& printed)
{
    const auto json = nlohmann::json::parse(printed, nullptr, false);
    Finding finding = {Result::Pass, "", {}, {}};
    for (Value value : program.values) {
        if (!json.is_object() || !json.contains(value.name)) {
            return Fail(program.command[0] + " did not print a JSON object with \"" + value.name + "\"");
        }
        const auto& found = json[value.name];
        const bool isNumberExpected = value.limits.least || value.limits.most;
        if (found.is_null() || (isNumberExpected && !found.is_number())) {
            return Fail(program.command[0] + " printed " + found.dump() + " for \"" + value.name + "\", expected a " +
                        (isNumberExpected ? "number" : "value"));
        }
        if (found.is_number()) {
            value.value = found.get<double>();
        } else {
            value.value = found.is_string() ? found.get<std::string>() : found.dump();
        }
        finding.message += (finding.message.empty() ? "" : ", ") + value.name + ' ' + value.Text();
        finding.values.push_back(std::move(value));
    }
    HoldAgainstLimits(finding);
    return finding;
}

Value ReadExpectedValue(Parameters& parameters)
{
    Value value = {
        parameters.RequiredText("name", ShortText), 0.0, parameters.Text("unit", ShortText).value_or(""), {}};
    value.limits = parameters.ReadLimits();
    return value;
}

/// A check that is a program alone.
class ProgramCheck : public Check {
public:
    explicit ProgramCheck(Program program) : m_program(std::move(program)) {}
    [[nodiscard]] std::string Description() const override { return "Run " + m_program.command[0]; }

    Finding CarryOut(Bench& bench) const override
    {
        ++bench.attempts;
        return RunProgram(m_program, bench.environment, bench.link.StopFlag());
    }

private:
    Program m_program;
};

}  // namespace

Program ReadProgram(Parameters& parameters)
{
    Program program;
    program.command = parameters.TextList("command").value_or(std::vector<std::string>());
    if (program.command.empty() || program.command[0].empty()) {
        parameters.Report(parameters.Has("command") ? "command" : "",
                          "'command' is missing: the program and its arguments, as a list of texts");
    }
    program.folder = parameters.Folder();
    program.timeout =
        Seconds(parameters.Number("timeout", LEAST_TIMEOUT, MOST_SECONDS).value_or(program.timeout.count()));
    for (const auto& table : parameters.Tables("values")) {
        program.values.push_back(ReadExpectedValue(*table));
    }
    return program;
}

Finding RunProgram(const Program& program, const Environment& environment, const std::atomic<bool>& stop)
{
    try {
        Process process(program, environment);
        const std::string why = Await(process, program.timeout, stop);
        const std::string left = process.Kill() ? "" : ", and cannot be ended: it runs on, maybe as another user";
        if (why == INTERRUPTED) {
            return {Result::Aborted, why + left, {}, {}};
        }
        if (!why.empty()) {
            return Fail(program.command[0] + ' ' + why + left);
        }
        if (const int code = process.ExitCode(); code != 0) {
            const std::string error = process.LastError();
            return Fail(program.command[0] + (code > 0 ? " ended with exit code " : " was ended by signal ") +
                        std::to_string(std::abs(code)) + (error.empty() ? "" : ": " + error));
        }
        return ReadValues(program, process.Printed());
    } catch (const std::system_error& error) {
        return Fail(error.what());
    }
}

std::unique_ptr<Check> MakeProgram(Parameters& parameters)
{
    return std::make_unique<ProgramCheck>(ReadProgram(parameters));
}

}  // namespace Station
