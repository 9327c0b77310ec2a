// Carries a plan out on one unit.
#include "apps/station/run/Runner.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <unistd.h>

namespace Station {

namespace {

constexpr Seconds ANSWER_TIMEOUT{2};  // to the question whether there is a board
constexpr int ANSWER_ATTEMPTS = 2;
constexpr Seconds BOOT_INTERVAL{1};
constexpr Seconds SHORT_QUIET_WAIT{0.4};
/// So many checks in a row without an answer end a run that cannot pass any more, though the board says it is there.
constexpr int MOST_UNANSWERED = 2;

bool Contains(const std::vector<std::string>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string HostName()
{
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

Runner::Runner(const Plan& plan, RunOptions options, Operator& people, Sinks sinks, const std::atomic<bool>& stop)
    : m_plan(plan), m_options(std::move(options)), m_people(people), m_sinks(sinks), m_stop(stop)
{
    m_questions.OnEntry([this](const Traffic& entry) { m_sinks.viewer.OnTraffic(entry); });
}

RunRecord Runner::Run()
{
    const auto start = std::chrono::steady_clock::now();
    Fill();
    const bool hasBegun = Keep([this] { m_sinks.records.OnBegin(m_run); });
    m_run.isKept = hasBegun && m_sinks.records.IsKeeping();
    if (hasBegun) {
        m_sinks.viewer.OnBegin(m_run);
        OpenAndRun();
    }
    m_run.verdict = Judge(m_run);
    if (hasBegun && m_plan.after) {
        RunAfter();
    }
    m_run.end = m_run.start + std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                  std::chrono::steady_clock::now() - start);
    if (hasBegun) {
        KeepEnd();
    }
    m_sinks.viewer.OnEnd(m_run);
    return m_run;
}

/// Tells the records. A run that they cannot keep ends, and is no PASS.
bool Runner::Keep(const std::function<void()>& tell)
{
    try {
        tell();
        return true;
    } catch (const RecordError& error) {
        End(error.what());
        m_run.isKept = false;
        return false;
    }
}

/// What a failed write has left of a PASS must not come to light later: it is written over.
void Runner::KeepEnd()
{
    if (!Keep([this] { m_sinks.records.OnEnd(m_run); })) {
        m_run.verdict = Verdict::CouldNotRun;
        Keep([this] { m_sinks.records.OnEnd(m_run); });
    }
}

/// The run ends here, for a reason that is not the unit's.
void Runner::End(const std::string& problem)
{
    m_run.problem = problem;
    m_run.couldRun = false;
}

void Runner::OpenAndRun()
{
    try {
        SerialPort port(m_options.port, m_plan.line);
        Link link(port, m_plan.boardType, m_stop);
        link.OnWait([this](Seconds waited, Seconds limit) { m_sinks.viewer.OnWait(m_current, waited, limit); });
        RunPlan(link);
    } catch (const PortError& error) {
        End(error.what());
    }
    if (m_stop) {
        End("interrupted");
    }
}

void Runner::Fill()
{
    m_run.id = NewUuid();
    m_run.unit = m_options.unit;
    m_run.planFile = m_plan.file;
    m_run.planName = m_plan.name;
    m_run.planVersion = m_plan.version;
    m_run.planSha256 = m_plan.sha256;
    m_run.station = m_options.station;
    m_run.host = HostName();
    m_run.people = m_options.people;
    m_run.options = m_options.words;
    m_run.port = m_options.port;
    m_run.line = m_plan.line;
    m_run.boardType = m_plan.boardType;
    m_run.start = m_run.end = std::chrono::system_clock::now();
    m_run.planned = m_plan.entries.size();
    for (const Entry& entry : m_plan.entries) {
        if (!IsChosen(entry)) {
            m_run.leftOut.push_back(entry.name);
        }
    }
    m_environment = {{"TESTMODE_RUN", m_run.id},
                     {"TESTMODE_UNIT", m_run.unit},
                     {"TESTMODE_PORT", std::filesystem::absolute(m_run.port)},
                     {"TESTMODE_PLAN", m_plan.name}};
}

bool Runner::IsChosen(const Entry& entry) const
{
    return (m_options.only.empty() || Contains(m_options.only, entry.name)) && !Contains(m_options.skip, entry.name);
}

bool Runner::HasFailed() const
{
    return std::any_of(m_run.checks.begin(), m_run.checks.end(),
                       [](const CheckRecord& check) { return check.result == Result::Fail && !check.isOptional; });
}

bool Runner::IsOver() const
{
    return m_stop || !m_run.problem.empty() || (m_plan.stopOnFail && HasFailed());
}

void Runner::RunPlan(Link& link)
{
    if (!RunBefore() || !FindBoard(link)) {
        return;
    }
    for (const Entry& entry : m_plan.entries) {
        if (IsOver()) {
            break;
        }
        if (IsChosen(entry)) {
            Carry(link, entry);
        }
    }
}

bool Runner::RunBefore()
{
    if (m_plan.before) {
        m_sinks.viewer.OnCheck("before");
        const Finding finding = RunProgram(*m_plan.before, m_environment, m_stop);
        if (finding.result != Result::Pass) {
            End("the program before the checks failed: " + finding.message);
        }
    }
    return m_run.problem.empty();
}

/// After the verdict, whatever it is: power goes off again. When it fails, a unit that has not failed is not done.
void Runner::RunAfter()
{
    if (!Keep([this] { m_sinks.records.OnVerdict(m_run); })) {
        m_run.verdict = Verdict::CouldNotRun;
    }
    m_environment["TESTMODE_VERDICT"] = Word(m_run.verdict);
    const std::atomic<bool> never{false};
    const Finding finding = RunProgram(*m_plan.after, m_environment, never);
    if (finding.result != Result::Pass) {
        End(m_run.problem + (m_run.problem.empty() ? "" : "; ") +
            "the program after the verdict failed: " + finding.message);
        m_run.verdict = m_run.verdict == Verdict::Fail ? Verdict::Fail : Verdict::CouldNotRun;
    }
}

/// Asks until the board answers, once a second for as long as it may take to boot.
bool Runner::FindBoard(Link& link)
{
    m_current = m_run.link.name = m_run.link.kind = "link";
    m_run.link.code = UART::CMD_CONFIRM_TEST_MODE;
    const Seconds start = link.Elapsed();
    bool isAnswering = false;
    m_sinks.viewer.OnCheck(m_current);
    while (!isAnswering && link.Elapsed() - start < m_plan.bootTimeout && !m_stop) {
        m_sinks.viewer.OnWait("waiting for the board to boot", link.Elapsed() - start, m_plan.bootTimeout);
        const Seconds asked = link.Elapsed();
        isAnswering = IsAnswering(link, BOOT_INTERVAL);
        Transcript rest;
        link.Listen(isAnswering ? Seconds{0} : BOOT_INTERVAL - (link.Elapsed() - asked), rest);
    }
    for (int i = 0; !isAnswering && i < ANSWER_ATTEMPTS && !m_stop; ++i) {
        isAnswering = IsAnswering(link, ANSWER_TIMEOUT);
    }
    m_run.link.traffic = m_questions.Entries();
    m_run.link.duration = link.Elapsed() - start;
    m_run.link.result = isAnswering ? Result::Pass : Result::Fail;
    if (!isAnswering && !m_stop) {
        End("no board answers on " + m_options.port + ": " + m_run.link.message + m_options.suspicion);
    }
    return isAnswering;
}

/// One question whether the board is in test mode. Any frame of the board's is an answer.
bool Runner::IsAnswering(Link& link, Seconds timeout)
{
    // A byte that no board looks at: without it, the reply would be the same as the question, and an echo pass for it.
    Bytes question(UART::UART_BODY_LEN, 0);
    question.back() = 1;
    const Bytes frame = MakeFrame(link.BoardType(), UART::CMD_CONFIRM_TEST_MODE, question);
    const Exchange exchange = link.Transact(frame, UART::CMD_CONFIRM_TEST_MODE, timeout, m_questions);
    const bool isEcho = exchange.reply == frame;
    const bool isReply = exchange.outcome == Outcome::Reply && !isEcho;
    if (!isReply) {
        link.AwaitQuiet(SHORT_QUIET_WAIT, m_questions);
    }
    std::string& message = m_run.link.message;
    if (isEcho) {
        message = "what is sent comes back: check the serial cable, and the adapter";
    } else if (exchange.outcome == Outcome::ErrorFrame) {
        message = "it answers with error frames: check the plan's board_type, and the serial cable";
    } else if (exchange.other) {
        message = "a reply to another command came: check that nobody else uses the port";
    } else if (exchange.noise > 0) {
        message = std::to_string(exchange.noise) + " bytes came that are no reply: check the speed, " +
                  std::to_string(m_plan.line.speed) + " bit/s, and the other line settings";
    } else if (!isReply) {
        message = "check that it is switched on, the serial cable, and the speed, " +
                  std::to_string(m_plan.line.speed) + " bit/s";
    } else {
        message = "the board answers";
    }
    ++m_run.link.attempts;
    return isReply;
}

void Runner::Carry(Link& link, const Entry& entry)
{
    CheckRecord& record = m_run.checks.emplace_back();
    record.name = m_current = entry.name;
    record.kind = entry.kind;
    record.code = entry.check->Code();
    record.isOptional = entry.isOptional;
    m_sinks.viewer.OnCheck(entry.name);

    Transcript transcript;
    transcript.OnEntry([this](const Traffic& traffic) { m_sinks.viewer.OnTraffic(traffic); });
    const bool isLimited = m_options.timeout && !entry.check->WaitsForPerson();
    Bench bench = {link,
                   m_people,
                   m_state,
                   transcript,
                   m_environment,
                   m_options.retries.value_or(entry.retries),
                   isLimited ? m_options.timeout : entry.timeout};
    const Seconds start = link.Elapsed();
    Finding finding;
    try {
        link.Listen(entry.pause, transcript);
        finding = Find(entry, bench);
    } catch (const PortError& error) {
        finding.result = Result::Aborted;
        finding.message = error.what();
        End(error.what());
    }
    if (transcript.Dropped() > 0) {
        finding.message += " (" + std::to_string(transcript.Dropped()) + " more bytes of noise came and were not kept)";
    }
    record.result = finding.result;
    record.message = std::move(finding.message);
    record.hint = finding.result == Result::Fail ? entry.hint : "";
    record.values = std::move(finding.values);
    record.status = finding.status;
    record.attempts = bench.attempts;
    record.duration = link.Elapsed() - start;
    record.traffic = transcript.Entries();
    if (!Keep([&] { m_sinks.records.OnJudged(m_run, record); })) {
        return;
    }
    m_sinks.viewer.OnJudged(m_run, record);

    m_unanswered = finding.isUnanswered ? m_unanswered + 1 : 0;
    const bool mayStayDeaf = entry.check->WaitsForPerson() && &entry == &m_plan.entries.back();
    if (finding.isLinkInDoubt && !mayStayDeaf && m_run.problem.empty() && !m_stop) {
        Resume(link, entry);
    }
}

/// The board works its commands off in turn: when it answers this question, no late reply is left that the next check
/// could take for its own.
void Runner::Resume(Link& link, const Entry& entry)
{
    m_current = "link";
    const bool isAnswering = IsAnswering(link, ANSWER_TIMEOUT) || IsAnswering(link, ANSWER_TIMEOUT);
    m_run.link.traffic = m_questions.Entries();
    if (m_stop) {
        return;
    }
    if (!isAnswering) {
        m_run.problem = "the board no longer answers since " + entry.name + ": " + m_run.link.message;
    } else if (m_unanswered >= MOST_UNANSWERED && HasFailed()) {
        m_run.problem = "the board is there, but answered none of the last " + std::to_string(m_unanswered) + " checks";
    }
}

Finding Runner::Find(const Entry& entry, Bench& bench)
{
    Finding finding = entry.check->CarryOut(bench);
    if (finding.result == Result::Pass && bench.attempts > 1) {
        finding.message += " (at attempt " + std::to_string(bench.attempts) + ")";
    }
    Measure(entry, finding);
    Ask(entry, finding);
    if (finding.result == Result::Pass && !entry.isProven) {
        finding.result = Result::NotDone;
        finding.message += "; nobody can tell whether it passed: see the plan's 'ask' and 'measure'";
    }
    return finding;
}

void Runner::Measure(const Entry& entry, Finding& finding) const
{
    if (finding.result != Result::Pass || !entry.measure) {
        return;
    }
    Finding measured = RunProgram(*entry.measure, m_environment, m_stop);
    finding.result = measured.result;
    finding.message += (finding.message.empty() ? "" : "; ") + std::string("measured: ") + measured.message;
    finding.values.insert(finding.values.end(), measured.values.begin(), measured.values.end());
}

void Runner::Ask(const Entry& entry, Finding& finding)
{
    if (finding.result != Result::Pass || entry.ask.empty()) {
        return;
    }
    const std::optional<bool> answer = m_people.Ask(entry.ask);
    const std::string before = finding.message.empty() ? "" : finding.message + "; ";
    if (m_stop) {
        finding.result = Result::Aborted;
        finding.message = "interrupted";
    } else if (!answer) {
        finding.result = Result::NotDone;
        finding.message = before + "nobody answered: " + entry.ask;
    } else {
        finding.result = *answer ? Result::Pass : Result::Fail;
        finding.message = before + entry.ask + (*answer ? " Yes." : " No.");
    }
}

std::string NewUuid()
{
    std::ifstream file("/proc/sys/kernel/random/uuid");
    std::string uuid;
    if (!(file >> uuid)) {
        throw std::runtime_error("the system gives no random UUID");
    }
    return uuid;
}

}  // namespace Station
