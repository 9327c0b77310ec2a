// Runs on a board that answers well, badly, late or not at all: no unit passes that was not tested, none is blamed
// wrongly, and no minute is wasted.
#include <chrono>
#include <fstream>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

using namespace Station;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr unsigned char INPUTS = UART::CMD_GPI_TEST;
constexpr unsigned char CONFIRM = UART::CMD_CONFIRM_TEST_MODE;

const std::string READ_INPUTS = "[[check]]\nkind = 'inputs'\nexpect = [0x3F, 0]\ntimeout = 0.4\n";
const std::string CONFIRM_CHECK = "[[check]]\nkind = 'confirm'\n";
const Bytes NOISE = {0x5A, 0x01, 0xFF, 0x5A, 0x00, 0x5A};

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

/// Answers the first so many questions for the inputs badly, everything else well.
FakeBoard::Answer BadInputs(FakeBoard::Answer bad, int times = 1000)
{
    return [bad = std::move(bad), left = times](FakeBoard& board, const Bytes& received) mutable {
        const bool isBad = received[2] == INPUTS && left-- > 0;
        (isBad ? bad : FakeBoard::Answer(FakeBoard::Healthy))(board, received);
    };
}

/// Result and words, and what went over the line: sent (>), received (<), noise (~).
std::string TrafficOf(const CheckRecord& record)
{
    std::string text = Told(record) + " ";
    for (const Traffic& entry : record.traffic) {
        text += "><~"[static_cast<int>(entry.kind)];
    }
    return text;
}

CheckRecord Inputs(FakeBoard::Answer bad, int times = 1000)
{
    return RunPlan(BadInputs(std::move(bad), times), READ_INPUTS).checks.at(0);
}

FakeBoard::Answer After(const Bytes& bytes)
{
    return [bytes](FakeBoard& board, const Bytes& received) {
        board.Send(bytes);
        FakeBoard::Healthy(board, received);
    };
}

TEST(Runs, FindTheReplyInTheByteStream)
{
    const auto dribble = [](FakeBoard& board, const Bytes& received) {
        for (const unsigned char byte : MakeFrame(1, received[2], {0, 0x3F, 0x00})) {
            board.Send({byte});
            board.AwaitUnread(0);
        }
    };
    EXPECT_EQ(TrafficOf(Inputs(dribble)), "PASS: 3F 00, as expected ><");
    EXPECT_EQ(TrafficOf(Inputs(After(NOISE))), "PASS: 3F 00, as expected >~<");
    EXPECT_EQ(TrafficOf(Inputs(After(MakeFrame(1, UART::CMD_RTC_TEST, {1})))), "PASS: 3F 00, as expected ><<")
        << "late";
}

TEST(Runs, RepeatWhatWasLostAndSayWhatCameInstead)
{
    EXPECT_EQ(TrafficOf(Inputs(Silent, 1)), "PASS: 3F 00, as expected (at attempt 2) >><");
    EXPECT_EQ(TrafficOf(Inputs(Refuse, 1)), "PASS: 3F 00, as expected (at attempt 2) ><><");
    EXPECT_EQ(TrafficOf(Inputs(Damage, 1)), "PASS: 3F 00, as expected (at attempt 2) >~><");
    EXPECT_EQ(CountRepeated(RunPlan(BadInputs(Damage, 1), READ_INPUTS)), 1);

    EXPECT_EQ(TrafficOf(Inputs(Silent)),
              "FAIL: no answer within 0.4 s: check that the board is switched on, the serial cable, "
              "and the board's test application >>");
    EXPECT_THAT(TrafficOf(Inputs(Refuse)),
                StartsWith("FAIL: the board answered with the error frame: check the serial cable"));
    EXPECT_THAT(TrafficOf(Inputs(Damage)), StartsWith("FAIL: the reply was damaged on the line"));
    const auto other = [](FakeBoard& board, const Bytes& /*received*/) {
        board.Send(MakeFrame(1, UART::CMD_RAM_TEST, {0}));
    };
    EXPECT_THAT(TrafficOf(Inputs(other)), StartsWith("FAIL: no answer within 0.4 s, but a reply to CMD_RAM_TEST"));
    const auto garbage = [](FakeBoard& board, const Bytes& /*received*/) { board.Send({1, 2, 3, 4, 5}); };
    EXPECT_THAT(TrafficOf(Inputs(garbage)),
                StartsWith("FAIL: no answer within 0.4 s, but 5 bytes that are no reply: check the speed"));
    const auto wrongType = [](FakeBoard& board, const Bytes& received) {
        board.Send(MakeFrame(3, received[2], {0, 0x3F}));
    };
    EXPECT_THAT(TrafficOf(Inputs(wrongType)), StartsWith("FAIL: the reply's board type is 3, expected 1"));
    EXPECT_THAT(Told(RunPlan(FakeBoard::Healthy, "[[check]]\nkind = 'command'\ncode = 0x55\nretries = 0\n")),
                ElementsAre(StartsWith("FAIL: the board does not know command 0x55")));
}

TEST(Runs, TakeNoLateReplyForTheNextChecks)
{
    // The board works off what it got twice: its second reply, that disk 0 mounts, comes when more is asked for.
    const auto late = [requests = 0](FakeBoard& board, const Bytes& received) mutable {
        const bool isDisk = received[2] == UART::CMD_EXT_DEVICE_TEST;
        if ((isDisk || requests == 2) && ++requests == 3) {
            board.Send(MakeFrame(1, UART::CMD_EXT_DEVICE_TEST, {0}));
        }
        if (!isDisk) {
            FakeBoard::Healthy(board, received);
        } else if (requests > 1) {
            board.Reply(received, {received[4]});
        }
    };
    const std::string disk = "[[check]]\nkind = 'disk'\ntimeout = 0.4\n";
    EXPECT_THAT(Told(RunPlan(late, disk + disk + "disk = 1\nname = 'other'\n")),
                ElementsAre(HasSubstr("(at attempt 2)"), StartsWith("FAIL: disk 1 does not mount")));
}

TEST(Runs, WaitUntilTheErrorFramesStopBeforeTheySendAgain)
{
    // As the real board does after a long stretch of noise: error frames come on for a while, and what is sent then is
    // lost.
    std::chrono::steady_clock::time_point end;
    const auto deaf = [&end, isFirst = true](FakeBoard& board, const Bytes& received) mutable {
        if (received[2] == INPUTS && isFirst) {
            isFirst = false;
            for (int i = 0; i < 8; ++i) {
                board.Send(MakeErrorFrame(1));
                std::this_thread::sleep_for(std::chrono::milliseconds(40));
            }
            end = std::chrono::steady_clock::now();
            return;
        }
        const bool isEarly =
            received[2] == INPUTS && std::chrono::steady_clock::now() - end < std::chrono::milliseconds(50);
        isEarly ? Refuse(board, received) : FakeBoard::Healthy(board, received);
    };
    EXPECT_THAT(Told(RunPlan(deaf, READ_INPUTS)), ElementsAre("PASS: 3F 00, as expected (at attempt 2)"));
}

TEST(Runs, KeepOnlySoMuchOfAFlood)
{
    const auto flood = [](FakeBoard& board, const Bytes& /*received*/) {
        for (int i = 0; i < 60; ++i) {
            board.Send(Bytes(2000, 0x11));
            board.AwaitUnread(0);
        }
    };
    const CheckRecord record = Inputs(flood, 1);
    std::size_t kept = 0;
    std::size_t dropped = 0;
    for (const Traffic& entry : record.traffic) {
        kept += entry.kind == Traffic::Kind::Noise ? entry.bytes.size() : 0;
        dropped += entry.dropped;
    }
    EXPECT_EQ(kept, Transcript::MOST_NOISE);
    EXPECT_GT(dropped, 0U);
    EXPECT_THAT(Told(record), HasSubstr(std::to_string(dropped) + " more bytes of noise came and were not kept"));

    const auto others = [](FakeBoard& board, const Bytes& received) {
        for (int i = 0; i < 5000; ++i) {
            board.Send(MakeFrame(1, UART::CMD_RAM_TEST, {0}));
            board.AwaitUnread(0);
        }
        FakeBoard::Healthy(board, received);
    };
    const CheckRecord replies =
        RunPlan(BadInputs(others, 1), "[[check]]\nkind = 'inputs'\nexpect = [0x3F, 0]\ntimeout = 600\n").checks.at(0);
    EXPECT_THAT(Told(replies), StartsWith("PASS: 3F 00, as expected"));
    EXPECT_LE(replies.traffic.size(), Transcript::MOST_ENTRIES + Transcript::MOST_NOISE / UART::UART_FRAME_LEN + 2);
}

TEST(Runs, EndSoonWhereNoBoardAnswers)
{
    struct Dead {
        FakeBoard::Answer answer;
        const char* told;
    };
    const auto garbage = [](FakeBoard& board, const Bytes& /*received*/) { board.Send({1, 2, 3}); };
    const auto slow = [](FakeBoard& board, const Bytes& received) {
        for (const unsigned char byte : MakeFrame(1, received[2], {0})) {
            board.Send({byte});
            for (int i = 0; i < 100 && !board.IsOver(); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            if (board.IsOver()) {
                return;
            }
        }
    };
    const auto echo = [](FakeBoard& board, const Bytes& received) { board.Send(received); };
    const Dead dead[] = {{echo, "what is sent comes back: check the serial cable"},
                         {Silent, "check that it is switched on, the serial cable, and the speed, 115200 bit/s"},
                         {garbage, "bytes came that are no reply: check the speed, 115200 bit/s"},
                         {Refuse, "it answers with error frames: check the plan's board_type"},
                         {slow, "bytes came that are no reply: check the speed"}};
    for (const Dead& board : dead) {
        const FakeBoard fake(board.answer);
        const RunRecord run = RunPlan(fake, PlanOf(READ_INPUTS));
        EXPECT_EQ(run.link.attempts, 2) << "of two seconds each";
        EXPECT_EQ(run.verdict, Verdict::CouldNotRun);
        EXPECT_TRUE(run.checks.empty());
        EXPECT_THAT(run.problem, StartsWith("no board answers on " + fake.Port() + ": "));
        EXPECT_THAT(run.problem, HasSubstr(board.told));
        EXPECT_FALSE(run.link.traffic.empty());
    }
}

TEST(Runs, EndSoonWhereTheBoardIsThereButDoesNotAnswer)
{
    const auto others = [](FakeBoard& board, const Bytes& received) {
        received[2] == CONFIRM ? FakeBoard::Healthy(board, received)
                               : board.Send(MakeFrame(1, UART::CMD_RAM_TEST, {0}));
    };
    const std::string first = READ_INPUTS + "retries = 0\n";
    const std::string second = first + "name = 'second'\n";
    const std::string third = first + "name = 'third'\n";
    const RunRecord run = RunPlan(others, first + second + third);
    EXPECT_EQ(run.checks.size(), 2U);
    EXPECT_EQ(run.verdict, Verdict::Fail);
    EXPECT_EQ(Reason(run), "inputs, second; the board is there, but answered none of the last 2 checks");
    EXPECT_EQ(RunPlan(others, first + CONFIRM_CHECK + second + third).checks.size(), 4U) << "it answered in between";
    const std::string optional = "optional = true\n";
    EXPECT_EQ(RunPlan(others, first + optional + second + optional + third + optional + CONFIRM_CHECK).verdict,
              Verdict::Pass);

    const auto endless = [](FakeBoard& board, const Bytes& received) {
        while (received[2] == INPUTS && !board.IsOver()) {
            Refuse(board, received);
            board.AwaitUnread(0);
        }
        FakeBoard::Healthy(board, received);
    };
    EXPECT_EQ(RunPlan(endless, READ_INPUTS).checks.at(0).attempts, 1) << "a repetition would be lost as well";
}

TEST(Runs, WaitForABoardThatBoots)
{
    const auto booting = [questions = 0](FakeBoard& board, const Bytes& received) mutable {
        if (++questions > 3) {
            return FakeBoard::Healthy(board, received);
        }
        for (int i = 0; i < 16; ++i) {
            board.Send(Bytes(2000, 0x11));
            board.AwaitUnread(0);
        }
    };
    const RunRecord run = RunPlan(booting, "boot_timeout = 20\n" + CONFIRM_CHECK);
    EXPECT_EQ(run.verdict, Verdict::Pass);
    std::size_t kept = 0;
    for (const Traffic& entry : run.link.traffic) {
        kept += entry.kind == Traffic::Kind::Noise ? entry.bytes.size() : 0;
    }
    EXPECT_EQ(kept, Transcript::MOST_NOISE) << "over all questions";
    EXPECT_GT(run.link.attempts, 3);
}

TEST(Runs, EndWhenTheBoardDies)
{
    const auto dies = [isDead = false](FakeBoard& board, const Bytes& received) mutable {
        isDead = isDead || received[2] == INPUTS;
        if (!isDead) {
            FakeBoard::Healthy(board, received);
        }
    };
    const RunRecord run = RunPlan(dies, READ_INPUTS + CONFIRM_CHECK + "[[check]]\nkind = 'loopback'\n");
    EXPECT_EQ(run.checks.size(), 1U);
    EXPECT_EQ(run.verdict, Verdict::Fail);
    EXPECT_THAT(run.problem, StartsWith("the board no longer answers since inputs"));
    const auto hangsUp = [](FakeBoard& board, const Bytes& received) {
        received[2] == INPUTS ? board.HangUp() : FakeBoard::Healthy(board, received);
    };
    const RunRecord gone = RunPlan(hangsUp, CONFIRM_CHECK + READ_INPUTS + "[[check]]\nkind = 'loopback'\n");
    EXPECT_THAT(Told(gone), ElementsAre("PASS: ok", HasSubstr(" is gone: ")));
    EXPECT_EQ(gone.checks[1].result, Result::Aborted);
    EXPECT_EQ(gone.verdict, Verdict::CouldNotRun);
}

TEST(Verdicts, NothingButACompleteRunPasses)
{
    const std::string two = READ_INPUTS + CONFIRM_CHECK;
    const auto verdict = [&](FakeBoard::Answer answer, const std::string& toml,
                             std::optional<bool> yes = std::nullopt) {
        const RunRecord run = RunPlan(std::move(answer), toml, yes);
        return std::string(Word(run.verdict)) + ": " + Reason(run);
    };
    EXPECT_EQ(verdict(FakeBoard::Healthy, two), "PASS: ");
    EXPECT_EQ(verdict(FakeBoard::Replying(INPUTS, {2}), two), "FAIL: inputs") << "not supported is no PASS";
    EXPECT_EQ(verdict(FakeBoard::Replying(INPUTS, {2}), READ_INPUTS + "optional = true\n" + CONFIRM_CHECK), "PASS: ");
    EXPECT_EQ(verdict(FakeBoard::Healthy, CONFIRM_CHECK + "ask = 'Lit?'\n"),
              "PASSED, NOT COUNTED: not carried out: confirm");
    EXPECT_EQ(verdict(FakeBoard::Healthy, CONFIRM_CHECK + "ask = 'Lit?'\n", true), "PASS: ");
    EXPECT_EQ(verdict(FakeBoard::Healthy, CONFIRM_CHECK + "ask = 'Lit?'\n", false), "FAIL: confirm");

    const FakeBoard board(FakeBoard::Healthy);
    RunOptions only;
    only.only = {"confirm"};
    const RunRecord partial = RunPlan(board, PlanOf(two), only);
    EXPECT_EQ(partial.verdict, Verdict::NotCounted);
    EXPECT_EQ(Reason(partial), "1 of 2 checks were left out");
    RunOptions skip;
    skip.skip = {"inputs"};
    EXPECT_EQ(RunPlan(board, PlanOf(two), skip).verdict, Verdict::NotCounted);
}

TEST(Verdicts, StopOnFailEndsTheRunAndHintsAreGiven)
{
    const std::string toml = READ_INPUTS + "hint = 'Check the wires.'\n" + CONFIRM_CHECK;
    const RunRecord run = RunPlan(FakeBoard::Replying(INPUTS, {1}), "stop_on_fail = true\n" + toml);
    ASSERT_EQ(run.checks.size(), 1U);
    EXPECT_EQ(run.checks[0].hint, "Check the wires.");
    EXPECT_EQ(run.verdict, Verdict::Fail);
    EXPECT_EQ(RunPlan(FakeBoard::Replying(INPUTS, {1}), toml).checks.size(), 2U);
}

TEST(Verdicts, ProgramsBeforeAndAfterCount)
{
    const std::string log = Support::TemporaryPath("after");
    const auto with = [&](const std::string& before, const std::string& after) {
        return RunPlan(FakeBoard::Healthy, "[before]\ncommand = ['" + before + "']\n[after]\ncommand = ['sh', '-c', '" +
                                               after + "']\n" + CONFIRM_CHECK);
    };
    EXPECT_EQ(with("true", "echo $TESTMODE_VERDICT $TESTMODE_PLAN >" + log).verdict, Verdict::Pass);
    EXPECT_EQ(Support::Content(log), "PASS Test plan\n");
    std::remove(log.c_str());
    const RunRecord noPower = with("false", "true");
    EXPECT_EQ(noPower.verdict, Verdict::CouldNotRun);
    EXPECT_TRUE(noPower.checks.empty());
    const RunRecord noLabel = with("true", "exit 1");
    EXPECT_EQ(noLabel.verdict, Verdict::CouldNotRun);
    EXPECT_THAT(noLabel.problem, HasSubstr("the program after the verdict failed: sh ended with exit code 1"));
    const RunRecord failed = RunPlan(FakeBoard::Replying(INPUTS, {1}), "[after]\ncommand = ['false']\n" + READ_INPUTS);
    EXPECT_EQ(failed.verdict, Verdict::Fail) << "the unit has failed all the same";
    EXPECT_THAT(Reason(failed), StartsWith("inputs; the program after the verdict failed: false"));
}

TEST(Verdicts, GeneralTimeLimitsDoNotShortenWhatWaitsForAPerson)
{
    const auto patient = [](FakeBoard& board, const Bytes& received) {
        if (received[2] == UART::CMD_TOUCH_TEST) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
        }
        FakeBoard::Healthy(board, received);
    };
    const FakeBoard board(patient);
    RunOptions options;
    options.timeout = Seconds(0.1);
    EXPECT_EQ(RunPlan(board, PlanOf("[[check]]\nkind = 'touch'\nscreen = '800x480'\n"), options).verdict,
              Verdict::Pass);
    const RunRecord silent = RunPlan(
        [](FakeBoard& fake, const Bytes& received) {
            if (received[2] == CONFIRM) {
                FakeBoard::Healthy(fake, received);
            }
        },
        "[[check]]\nkind = 'touch'\nscreen = '800x480'\ntimeout = 0.2\n");
    EXPECT_THAT(Told(silent), ElementsAre(HasSubstr("until somebody does, it answers no other command")));
    EXPECT_EQ(silent.checks[0].attempts, 1) << "a repetition would begin a second test behind the first";
}

TEST(SerialPortTest, RefusesWhatIsNoFreeSerialPort)
{
    EXPECT_THROW(SerialPort("/nonexistent/port", {}), PortError);
    EXPECT_THROW(SerialPort("/dev/null", {}), PortError);
    const FakeBoard board(FakeBoard::Healthy);
    const SerialPort first(board.Port(), {});
    EXPECT_THROW(SerialPort(board.Port(), {}), PortError) << "two stations on one line";
}

}  // namespace
