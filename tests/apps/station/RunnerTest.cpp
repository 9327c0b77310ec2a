// Checks over a real pseudo-terminal, against a board that answers well, badly, late or not at all.
#include "apps/station/Runner.h"

#include <gmock/gmock.h>

#include "FakeBoard.h"

using namespace Station;

namespace {

constexpr unsigned char INPUTS = UART::CMD_GPI_TEST;
constexpr unsigned char CONFIRM = UART::CMD_CONFIRM_TEST_MODE;

const Bytes NOISE = {0x5A, 0x01, 0xFF, 0x5A, 0x00, 0x5A};

/// Answers badly the first time and well from then on.
FakeBoard::Answer FirstTime(FakeBoard::Answer bad)
{
    return [bad = std::move(bad)](FakeBoard& board, const Bytes& received) {
        (board.Received() == 1 ? bad : FakeBoard::Answer(FakeBoard::Healthy))(board, received);
    };
}

void Silent(FakeBoard& /*board*/, const Bytes& /*received*/) {}

void Refuse(FakeBoard& board, const Bytes& /*received*/)
{
    board.Send(MakeErrorFrame(1));
}

void Damage(FakeBoard& board, const Bytes& received)
{
    Bytes frame = MakeFrame(1, received[2], {0, 0x3F, 0x00});
    frame[10] ^= 0x20;
    board.Send(frame);
}

/// Sends bytes that do not belong there, and then the reply.
FakeBoard::Answer After(const Bytes& bytes)
{
    return [bytes](FakeBoard& board, const Bytes& received) {
        board.Send(bytes);
        FakeBoard::Healthy(board, received);
    };
}

void Dribble(FakeBoard& board, const Bytes& received)
{
    for (const unsigned char byte : MakeFrame(1, received[2], {0, 0x3F, 0x00})) {
        board.Send({byte});
        board.AwaitUnread(0);
    }
}

/// Result and words, and what went over the line: sent (>), received (<), noise (~).
std::string Told(const CheckRecord& record)
{
    std::string text = ::Told(record.result, record.message) + " ";
    for (const Traffic& entry : record.traffic) {
        text += "><~"[static_cast<int>(entry.kind)];
    }
    return text;
}

}  // namespace

TEST(RunnerTest, FindsTheReplyInTheByteStream)
{
    EXPECT_EQ(Told(Bench(Dribble).Check()), "PASS: inputs 3F 00 ><");
    const CheckRecord noisy = Bench(After(NOISE)).Check();
    EXPECT_EQ(Told(noisy), "PASS: inputs 3F 00 >~<");
    EXPECT_EQ(noisy.traffic[0].bytes, MakeFrame(1, INPUTS, {}));
    EXPECT_EQ(noisy.traffic[1].bytes, NOISE);
    EXPECT_EQ(noisy.traffic[2].bytes, MakeFrame(1, INPUTS, {0, 0x3F, 0x00}));
    EXPECT_EQ(Told(Bench(After(MakeFrame(1, UART::CMD_RTC_TEST, {1}))).Check()), "PASS: inputs 3F 00 ><<") << "late";
    const auto damaged = [](FakeBoard& board, const Bytes& received) {
        Damage(board, received);
        FakeBoard::Healthy(board, received);
    };
    EXPECT_EQ(Told(Bench(damaged).Check()), "PASS: inputs 3F 00 >~<");
}

TEST(RunnerTest, PendingInputIsDiscardedAndRecorded)
{
    Bench bench(FakeBoard::Healthy);
    const Bytes stale = MakeFrame(1, INPUTS, {1});
    bench.board.Send(stale);
    bench.board.AwaitUnread(static_cast<int>(stale.size()));
    const CheckRecord record = bench.Check();
    EXPECT_EQ(Told(record), "PASS: inputs 3F 00 ~><");
    EXPECT_EQ(record.traffic[0].bytes, stale);
}

TEST(RunnerTest, RepeatsOnceAfterSilenceDamageAndErrorFrame)
{
    EXPECT_EQ(Told(Bench(FirstTime(Silent)).Check(INPUTS, Seconds{0.5})), "PASS: inputs 3F 00 (2 attempts) >><");
    const CheckRecord silent = Bench(Silent).Check(INPUTS, Seconds{0.2});
    EXPECT_EQ(Told(silent), "FAIL: no answer within 0.2 s: check the serial cable and the board's test application "
                            "(2 attempts) >>");
    EXPECT_EQ(silent.status, std::nullopt);
    EXPECT_EQ(Told(Bench(FirstTime(Refuse)).Check(CONFIRM)), "PASS: ok (2 attempts) ><><");
    EXPECT_EQ(Told(Bench(Refuse).Check(CONFIRM)),
              "FAIL: the board answered with the error frame: check the serial cable and --board-type "
              "(2 attempts) ><><");
    const CheckRecord damaged = Bench(FirstTime(Damage)).Check(INPUTS, Seconds{60});
    EXPECT_EQ(Told(damaged), "PASS: inputs 3F 00 (2 attempts) >~><");
    EXPECT_LT(damaged.traffic.back().at, Seconds{30}) << "it waited until the time was up";
}

TEST(RunnerTest, DoesNotRepeatAfterSilenceWhatSomebodyIsWaitedFor)
{
    EXPECT_EQ(
        Told(Bench(Silent).Check(UART::CMD_TOUCH_TEST, Seconds{0.2})),
        "FAIL: no answer within 0.2 s: check the serial cable and the board's test application; or nobody touched "
        "the targets, or the touch panel is silent >");
    EXPECT_EQ(Bench(FirstTime(Refuse)).Check(UART::CMD_TOUCH_TEST).attempts, 2);
}

TEST(RunnerTest, LeavesTheLineQuietBeforeItRepeats)
{
    // As the real board does after a stray byte: what follows at once is shifted as well.
    std::chrono::steady_clock::time_point refused;
    const auto shifted = [&refused](FakeBoard& board, const Bytes& received) {
        const auto now = std::chrono::steady_clock::now();
        const bool refuses = board.Received() == 1 || now - refused < std::chrono::milliseconds(50);
        refused = refuses ? now : refused;
        refuses ? Refuse(board, received) : FakeBoard::Healthy(board, received);
    };
    EXPECT_EQ(Told(Bench(shifted).Check()), "PASS: inputs 3F 00 (2 attempts) ><><");
}

TEST(RunnerTest, LostPortEndsRunAndKeepsWhatWasDone)
{
    Bench bench([](FakeBoard& board, const Bytes& received) {
        received[2] == INPUTS ? board.HangUp() : FakeBoard::Healthy(board, received);
    });
    const Policy policy;
    const std::vector<Check> plan = MakePlan({});
    const RunRecord run = bench.Run(policy, plan);
    ASSERT_EQ(run.checks.size(), 4U);
    EXPECT_EQ(run.checks[2].result, Result::Pass);
    EXPECT_THAT(Told(run.checks[3]), testing::MatchesRegex("ABORTED: .* is gone.* >"));
    EXPECT_EQ(run.abortReason, run.checks[3].message);
    EXPECT_EQ(run.planned, plan.size());
    EXPECT_EQ(Overall(run), Result::Aborted);
}

TEST(RunnerTest, StopFlagEndsRunWhileItWaits)
{
    Bench bench(Silent);
    bench.link.OnWait([&bench](Seconds, Seconds) { bench.stop = true; });
    const Policy policy{1, Seconds{60}};
    const std::vector<Check> plan = MakePlan({});
    const RunRecord run = bench.Run(policy, plan);
    ASSERT_EQ(run.checks.size(), 1U);
    EXPECT_EQ(Told(run.checks[0]), "ABORTED: interrupted >");
    EXPECT_EQ(run.abortReason, "interrupted");
}

TEST(SerialPortTest, RefusesWhatIsNoFreeSerialPort)
{
    EXPECT_THROW(SerialPort("/nonexistent/port", {}), PortError);
    EXPECT_THROW(SerialPort("/dev/null", {}), PortError);
    Bench first(FakeBoard::Healthy);
    EXPECT_THROW(SerialPort(first.board.Port(), {}), PortError) << "two stations on one line";
}
