// Checks over a real pseudo-terminal, against a board that answers well, badly, late or not at all.
#include "apps/station/Runner.h"

#include <gtest/gtest.h>

#include "FakeBoard.h"
#include "apps/station/BadFrames.h"

using namespace Station;

namespace {

constexpr unsigned char INPUTS = UART::CMD_GPI_TEST;

Bytes Flipped(Bytes frame)
{
    frame[10] ^= 0x20;
    return frame;
}

/// A station at the other end of a board's line.
class Bench {
public:
    explicit Bench(FakeBoard::Answer answer) : m_board(std::move(answer)), m_port(m_board.Port(), {}) {}

    CheckRecord Check(unsigned char code = INPUTS, Seconds timeout = Seconds{20})
    {
        const Policy policy{1, timeout};
        CheckRecord record;
        RunCheck(m_link, policy, PlainCheck(code, {}), record);
        return record;
    }

    RunRecord Steps(const std::vector<Step>& steps)
    {
        RunRecord run;
        RunSteps(m_link, steps, run, [](const CheckRecord&) {});
        return run;
    }

    FakeBoard& Board() { return m_board; }
    Link& TheLink() { return m_link; }
    std::atomic<bool>& Stop() { return m_stop; }

private:
    std::atomic<bool> m_stop{false};
    FakeBoard m_board;
    SerialPort m_port;
    Link m_link{m_port, 1, m_stop};
};

/// Answers badly the first time and well from then on.
FakeBoard::Answer FirstTime(FakeBoard::Answer bad)
{
    return [bad = std::move(bad)](FakeBoard& board, const Bytes& received) {
        (board.Received() == 1 ? bad : FakeBoard::Answer(FakeBoard::Healthy))(board, received);
    };
}

void ExpectPass(const CheckRecord& record, int attempts)
{
    EXPECT_EQ(record.result, Result::Pass) << record.message;
    EXPECT_EQ(record.message, attempts == 1 ? "inputs 3F 00" : "inputs 3F 00 (2 attempts)");
    EXPECT_EQ(record.attempts, attempts);
}

std::vector<Traffic::Kind> Kinds(const CheckRecord& record)
{
    std::vector<Traffic::Kind> kinds;
    for (const Traffic& entry : record.traffic) {
        kinds.push_back(entry.kind);
    }
    return kinds;
}

constexpr Traffic::Kind SENT = Traffic::Kind::Sent;
constexpr Traffic::Kind RECEIVED = Traffic::Kind::Received;
constexpr Traffic::Kind NOISE = Traffic::Kind::Noise;
using ManyKinds = std::vector<Traffic::Kind>;

}  // namespace

TEST(RunnerTest, LeavesTheLineQuietBeforeItRepeats)
{
    // As the real board does after a stray byte: what follows at once is shifted as well.
    std::chrono::steady_clock::time_point refused;
    Bench bench([&refused](FakeBoard& board, const Bytes& received) {
        const auto now = std::chrono::steady_clock::now();
        if (board.Received() == 1 || now - refused < std::chrono::milliseconds(50)) {
            refused = now;
            board.Send(MakeErrorFrame(1));
            return;
        }
        FakeBoard::Healthy(board, received);
    });
    ExpectPass(bench.Check(), 2);
}

TEST(RunnerTest, ReplyInPieces)
{
    Bench bench([](FakeBoard& board, const Bytes& received) {
        board.SendInPieces(FakeBoard::Reply(received, {0, 0x3F, 0x00}));
    });
    const CheckRecord record = bench.Check();
    ExpectPass(record, 1);
    EXPECT_EQ(Kinds(record), (ManyKinds{SENT, RECEIVED}));
    EXPECT_EQ(record.traffic[0].bytes, MakeFrame(1, INPUTS, {}));
    EXPECT_EQ(record.traffic[1].bytes, MakeFrame(1, INPUTS, {0, 0x3F, 0x00}));
}

TEST(RunnerTest, NoiseBeforeReplyIsRecorded)
{
    const Bytes noise = {0x5A, 0x01, 0xFF, 0x5A, 0x00, 0x5A};
    Bench bench([&noise](FakeBoard& board, const Bytes& received) {
        board.Send(noise);
        FakeBoard::Healthy(board, received);
    });
    const CheckRecord record = bench.Check();
    ExpectPass(record, 1);
    EXPECT_EQ(Kinds(record), (ManyKinds{SENT, NOISE, RECEIVED}));
    EXPECT_EQ(record.traffic[1].bytes, noise);
}

TEST(RunnerTest, SilenceIsRepeatedOnce)
{
    Bench once(FirstTime([](FakeBoard&, const Bytes&) {}));
    ExpectPass(once.Check(INPUTS, Seconds{0.5}), 2);

    Bench always([](FakeBoard&, const Bytes&) {});
    const CheckRecord record = always.Check(INPUTS, Seconds{0.2});
    EXPECT_EQ(record.result, Result::Fail);
    EXPECT_EQ(record.message,
              "no answer within 0.2 s: check the serial cable and the board's test application (2 attempts)");
    EXPECT_EQ(Kinds(record), (ManyKinds{SENT, SENT}));
    EXPECT_EQ(record.status, std::nullopt);
}

TEST(RunnerTest, DamagedReplyIsRepeatedBeforeTheTimeIsUp)
{
    Bench bench(FirstTime([](FakeBoard& board, const Bytes& received) {
        board.Send(Flipped(FakeBoard::Reply(received, {0, 0x3F, 0x00})));
    }));
    const CheckRecord record = bench.Check(INPUTS, Seconds{60});
    ExpectPass(record, 2);
    EXPECT_EQ(Kinds(record), (ManyKinds{SENT, NOISE, SENT, RECEIVED}));
    EXPECT_LT(record.traffic.back().at, Seconds{30});
}

TEST(RunnerTest, DamagedReplyFollowedByGoodOneIsNotRepeated)
{
    Bench bench([](FakeBoard& board, const Bytes& received) {
        board.Send(Flipped(FakeBoard::Reply(received, {0, 1, 1})));
        FakeBoard::Healthy(board, received);
    });
    ExpectPass(bench.Check(), 1);
}

TEST(RunnerTest, ErrorFrameIsRepeatedAndToldFromConfirmation)
{
    Bench bench(FirstTime([](FakeBoard& board, const Bytes&) { board.Send(MakeErrorFrame(1)); }));
    const CheckRecord record = bench.Check(UART::CMD_CONFIRM_TEST_MODE);
    EXPECT_EQ(record.result, Result::Pass) << record.message;
    EXPECT_EQ(Kinds(record), (ManyKinds{SENT, RECEIVED, SENT, RECEIVED}));

    Bench refusing([](FakeBoard& board, const Bytes&) { board.Send(MakeErrorFrame(1)); });
    const CheckRecord refused = refusing.Check(UART::CMD_CONFIRM_TEST_MODE);
    EXPECT_EQ(refused.result, Result::Fail);
    EXPECT_EQ(refused.message,
              "the board answered with the error frame: check the serial cable and --board-type (2 attempts)");
}

TEST(RunnerTest, LateReplyToEarlierCommandIsPassedOver)
{
    Bench bench([](FakeBoard& board, const Bytes& received) {
        board.Send(MakeFrame(1, UART::CMD_RTC_TEST, {1}));
        FakeBoard::Healthy(board, received);
    });
    const CheckRecord record = bench.Check();
    ExpectPass(record, 1);
    EXPECT_EQ(Kinds(record), (ManyKinds{SENT, RECEIVED, RECEIVED}));
}

TEST(RunnerTest, PendingInputIsDiscardedAndRecorded)
{
    Bench bench(FakeBoard::Healthy);
    const Bytes stale = MakeFrame(1, INPUTS, {1});
    bench.Board().Send(stale);
    bench.Board().AwaitUnread(static_cast<int>(stale.size()));
    const CheckRecord record = bench.Check();
    ExpectPass(record, 1);
    ASSERT_EQ(Kinds(record), (ManyKinds{NOISE, SENT, RECEIVED}));
    EXPECT_EQ(record.traffic[0].bytes, stale);
}

TEST(RunnerTest, LostPortEndsRunAndKeepsWhatWasDone)
{
    Bench bench([](FakeBoard& board, const Bytes& received) {
        if (received[2] == INPUTS) {
            board.HangUp();
        } else {
            FakeBoard::Healthy(board, received);
        }
    });
    const Policy policy;
    const std::vector<Check> plan = MakePlan({});
    const RunRecord run = bench.Steps(PlanChecks(bench.TheLink(), policy, plan));
    ASSERT_EQ(run.checks.size(), 4U);
    EXPECT_EQ(run.checks[2].result, Result::Pass);
    EXPECT_EQ(run.checks[3].result, Result::Aborted);
    EXPECT_EQ(Kinds(run.checks[3]), ManyKinds{SENT});
    EXPECT_NE(run.abortReason.find("is gone"), std::string::npos) << run.abortReason;
    EXPECT_EQ(run.planned, plan.size());
    EXPECT_EQ(Overall(run), Result::Aborted);
}

TEST(RunnerTest, StopFlagEndsRunWhileItWaits)
{
    Bench bench([](FakeBoard&, const Bytes&) {});
    bench.TheLink().OnWait([&bench](Seconds, Seconds) { bench.Stop() = true; });
    const Policy policy{1, Seconds{60}};
    const std::vector<Check> plan = MakePlan({});
    const RunRecord run = bench.Steps(PlanChecks(bench.TheLink(), policy, plan));
    ASSERT_EQ(run.checks.size(), 1U);
    EXPECT_EQ(run.checks[0].result, Result::Aborted);
    EXPECT_EQ(run.checks[0].attempts, 1);
    EXPECT_EQ(run.abortReason, "interrupted");
    EXPECT_EQ(Overall(run), Result::Aborted);
}

TEST(RunnerTest, BadFramesPassOnlyWithExactlyOneErrorFrame)
{
    Bench healthy(FakeBoard::Healthy);
    const Policy policy{1, Seconds{20}};
    const RunRecord good = healthy.Steps(PlanBadFrames(healthy.TheLink(), policy));
    ASSERT_EQ(good.checks.size(), 5U);
    for (const CheckRecord& check : good.checks) {
        EXPECT_EQ(check.result, Result::Pass) << check.name << ": " << check.message;
    }

    Bench twice([](FakeBoard& board, const Bytes& received) {
        FakeBoard::Healthy(board, received);
        board.AwaitUnread(0);
        FakeBoard::Healthy(board, received);
    });
    for (const CheckRecord& check : twice.Steps(PlanBadFrames(twice.TheLink(), policy)).checks) {
        EXPECT_EQ(check.result, Result::Fail) << check.name << ": " << check.message;
    }
}

TEST(SerialPortTest, RefusesWhatIsNoFreeSerialPort)
{
    EXPECT_THROW(SerialPort("/nonexistent/port", {}), PortError);
    EXPECT_THROW(SerialPort("/dev/null", {}), PortError);
    FakeBoard board(FakeBoard::Healthy);
    SerialPort first(board.Port(), {});
    EXPECT_THROW(SerialPort(board.Port(), {}), PortError) << "two stations on one line";
}
