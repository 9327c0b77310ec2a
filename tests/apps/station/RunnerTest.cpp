// Runs on a board that answers well, badly, late or not at all: no unit passes that was not tested, none is blamed
// wrongly, and no minute is wasted.
#include <array>
#include <chrono>
#include <fstream>
#include <regex>
#include <utility>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <termios.h>
#include <unistd.h>

#include "FakeBoard.h"
#include "apps/station/report/JUnit.h"
#include "apps/station/report/Json.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

using namespace Station;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr unsigned char INPUTS = UART::CMD_GPI_TEST;
constexpr unsigned char CONFIRM = UART::CMD_CONFIRM_TEST_MODE;

std::string HostOfTests()
{
    std::array<char, 256> name{};
    gethostname(name.data(), name.size());
    return name.data();
}

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
    const RunRecord repeated = RunPlan(BadInputs(Damage, 1), READ_INPUTS);
    EXPECT_EQ(CountRepeated(repeated), 1);
    EXPECT_EQ(repeated.link.traffic.size(), 4U) << "asked before the checks, and after what was lost";

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
            for (int i = 0; i < 32; ++i) {
                board.Send(MakeErrorFrame(1));
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
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
    const auto other = [](FakeBoard& board, const Bytes& /*received*/) {
        board.Send(MakeFrame(1, UART::CMD_RAM_TEST, {0}));
    };
    const Dead dead[] = {{other, "a reply to another command came: check that nobody else uses the port"},
                         {echo, "what is sent comes back: check the serial cable"},
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
        if (questions == 1) {
            return Refuse(board, received);
        }
        for (int i = 0; i < 20; ++i) {
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
    EXPECT_EQ(run.link.attempts, 4);
    EXPECT_GE(run.link.duration.count(), 3) << "asked once a second";
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
    EXPECT_EQ(run.link.traffic.size(), 4U) << "the answer before the checks, and two questions";
    const auto alone = [isDead = false](FakeBoard& board, const Bytes& received) mutable {
        isDead = isDead || received[2] == UART::CMD_TOUCH_TEST || received[2] == INPUTS;
        isDead ? void() : FakeBoard::Healthy(board, received);
    };
    EXPECT_THAT(RunPlan(alone, READ_INPUTS).problem, StartsWith("the board no longer answers"))
        << "also the last check";
    const std::string touch = "[[check]]\nkind = 'touch'\nscreen = '800x480'\ntimeout = 0.2\n";
    EXPECT_EQ(Reason(RunPlan(alone, touch)), "touch") << "it is deaf until somebody touches";
    EXPECT_THAT(Reason(RunPlan(alone, touch + CONFIRM_CHECK)),
                StartsWith("touch; the board no longer answers since touch"));
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
    EXPECT_FALSE(noLabel.couldRun);
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

/// Tells each thing that it is told.
class Listener : public RecordSink {
public:
    void OnBegin(const RunRecord& run) override { events.push_back("begin " + run.planName); }
    void OnCheck(const std::string& name) override { events.push_back("check " + name); }
    void OnTraffic(const Traffic& entry) override { events.emplace_back(1, "><~"[static_cast<int>(entry.kind)]); }
    void OnWait(const std::string& name, Seconds waited, Seconds limit) override
    {
        EXPECT_LE(waited.count(), 100);
        const std::string event = "wait " + name + ' ' + NumberText(limit.count());
        if (events.back() != event) {
            events.push_back(event);
        }
    }
    void OnJudged(const RunRecord& /*run*/, const CheckRecord& check) override { events.push_back(Told(check)); }
    void OnEnd(const RunRecord& run) override { events.emplace_back(Word(run.verdict)); }

    std::vector<std::string> events;
};

TEST(Runs, TellEachThingAsItHappens)
{
    const FakeBoard board([isLate = true](FakeBoard& self, const Bytes& received) mutable {
        if (received[2] != INPUTS || !std::exchange(isLate, false)) {
            FakeBoard::Healthy(self, received);
        }
    });
    const Plan plan = PlanOf("boot_timeout = 20\n[before]\ncommand = ['true']\n" + READ_INPUTS + CONFIRM_CHECK);
    RunOptions options;
    options.port = board.Port();
    options.skip = {"confirm"};
    FakeOperator nobody;
    FakeRecords records;
    Listener listener;
    const std::atomic<bool> never{false};
    const RunRecord run = Runner(plan, options, nobody, {records, listener}, never).Run();
    EXPECT_THAT(listener.events,
                ElementsAre("begin Test plan", "check before", "check link", "wait waiting for the board to boot 20",
                            ">", "<", "check inputs", ">", "wait inputs 0.4", ">", "<",
                            "PASS: 3F 00, as expected (at attempt 2)", ">", "<", "PASSED, NOT COUNTED"));
    EXPECT_GE(run.checks.at(0).duration.count(), 0.4);
    EXPECT_LE(run.link.duration + run.checks[0].duration, run.end - run.start);
}

/// Without what is another one each time.
std::string Normalised(std::string text)
{
    const std::pair<const char*, const char*> volatiles[] = {
        {R"~("(id|start|end|port|host|sha256|file)": "[^"]+")~", R"~("$1": "*")~"},
        {R"~("(duration_s|time_s)": [0-9.e-]+)~", R"~("$1": 0)~"},
        {R"~((name="(run|host|port|plan SHA-256)" value|time|timestamp)="[^"]+")~", R"~($1="*")~"}};
    for (const auto& [pattern, replacement] : volatiles) {
        text = std::regex_replace(text, std::regex(pattern), replacement);
    }
    return text;
}

TEST(Records, HoldAllOfARun)
{
    const FakeBoard board([isFirst = true](FakeBoard& self, const Bytes& received) mutable {
        if (received[2] == INPUTS && std::exchange(isFirst, false)) {
            return self.Send({1, 2, 3});
        }
        received[2] == UART::CMD_COMM_TEST ? self.Reply(received, {1, 3}) : FakeBoard::Healthy(self, received);
    });
    const Plan plan =
        PlanOf("name = \"Test plan\"\nversion = '7'\n" + READ_INPUTS + "[[check]]\nkind = 'loopback'\nhint = 'Plug'\n" +
               "[[check]]\nkind = 'loopback'\nname = 'spare'\noptional = true\n" +
               "[[check]]\nkind = 'pwm'\nsetting = 1\n" + CONFIRM_CHECK);
    RunOptions options;
    options.unit = "U1";
    options.people = "Ann";
    options.station = "1.2.3";
    options.words = {"run", "--skip"};
    options.skip = {"confirm"};
    const RunRecord run = RunPlan(board, plan, options);
    EXPECT_EQ(run.host, HostOfTests());
    EXPECT_EQ(run.port, board.Port());
    EXPECT_EQ(run.planSha256.size(), 64U);
    EXPECT_LT(run.start, run.end);
    EXPECT_EQ(Normalised(ToJson(run)), Support::Content(std::string(RECORDS) + "run.json"));
    EXPECT_EQ(Normalised(ToJUnit(run)), Support::Content(std::string(RECORDS) + "run.xml"));
}

/// So that each byte arrives as it was sent.
TEST(SerialPortTest, IsSetUpRawAndGivesUpOnALineThatTakesNothing)
{
    const FakeBoard board(FakeBoard::Healthy);
    const int other = open(board.Port().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    board.Send({1, 2, 3});
    board.AwaitUnread(3);
    SerialPort port(board.Port(), {});
    EXPECT_EQ(port.Read(std::chrono::milliseconds(0)), Bytes()) << "what came before is not the answer to anything";
    termios settings = {};
    tcgetattr(other, &settings);
    EXPECT_EQ(settings.c_iflag, tcflag_t{IGNPAR});
    EXPECT_EQ(settings.c_cflag & (CLOCAL | CREAD), tcflag_t{CLOCAL | CREAD});
    EXPECT_EQ(settings.c_oflag | settings.c_lflag, 0U);
    EXPECT_EQ(settings.c_cc[VMIN], 1);
    ASSERT_EQ(tcflow(other, TCOOFF), 0);
    EXPECT_THROW(port.Write({1}), PortError);
    tcflow(other, TCOON);
    close(other);
}

TEST(LinkTest, ALineThatIsNotQuietIsTold)
{
    const std::atomic<bool> never{false};
    const FakeBoard board([](FakeBoard& self, const Bytes& /*received*/) {
        while (!self.IsOver()) {
            self.Send({1});
            self.AwaitUnread(0);
        }
    });
    SerialPort port(board.Port(), {});
    Link link(port, 1, never);
    Transcript transcript;
    EXPECT_TRUE(link.AwaitQuiet(Seconds{5}, transcript));
    EXPECT_TRUE(transcript.Entries().empty());
    port.Write({1});
    EXPECT_FALSE(link.AwaitQuiet(Seconds{0.3}, transcript));
    EXPECT_GT(transcript.NoiseSize(), 0U);
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
