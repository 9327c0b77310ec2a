// Plans: what is wrong with one is told with its place, and the ones that come with the station are right.
#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "apps/station/plan/Sha256.h"

using namespace Station;
using testing::HasSubstr;

namespace {

/// What is said of a plan; nothing of a good one.
std::string Problems(const std::string& toml, const Overrides& settings = {})
{
    try {
        PlanOf(toml, settings);
        return "";
    } catch (const PlanError& error) {
        return error.what();
    }
}

const std::string CHECK = "[[check]]\n";
const std::string GOOD = "[[check]]\nkind = 'confirm'\n";

struct Wrong {
    std::string toml;  // behind the line of its name
    const char* told;
};

class WrongPlan : public testing::TestWithParam<Wrong> {};

TEST_P(WrongPlan, IsRefusedWithThePlaceAndWhatIsExpected)
{
    EXPECT_THAT(Problems(GetParam().toml), HasSubstr(GetParam().told)) << GetParam().toml;
}

std::string Command(const std::string& value)
{
    return CHECK + "kind = 'command'\ncode = 6\nvalues = [{ name = 'v', " + value + " }]";
}

INSTANTIATE_TEST_SUITE_P(
    Problems, WrongPlan,
    testing::Values(
        Wrong{"[[check]\n", "plan:2:"}, Wrong{"a = 1\na = 2\n", "plan:3:"}, Wrong{"", "plan: the plan tests nothing"},
        Wrong{CHECK + "kind = 'confirm'\noptional = true\n", "plan: the plan tests nothing"},
        Wrong{"nmae = 'x'\n" + GOOD, "plan:2:1: unknown key 'nmae', did you mean 'name'?"},
        Wrong{CHECK, "plan:2:1: 'check': 'kind' is missing"},
        Wrong{CHECK + "kind = 'pnig'\n", "plan:3:8: 'kind': there is no kind 'pnig', did you mean 'ping'?"},
        Wrong{CHECK + "kind = 5\n", "plan:3:8: 'kind': expected a text, found 5"},
        Wrong{GOOD + "timeot = 1\n", "plan:4:1: unknown key 'timeot', did you mean 'timeout'?"},
        Wrong{GOOD + "timeout = 0\n", "plan:4:11: 'timeout': expected a number from 0.001 to 86400, found 0"},
        Wrong{GOOD + "timeout = 'long'\n", "'timeout': expected a number, found the text \"long\""},
        Wrong{GOOD + "retries = 1.5\n", "'retries': expected a whole number from 0 to 100, found 1.5"},
        Wrong{GOOD + "optional = 'no'\n", "'optional': expected true or false, found the text \"no\""},
        Wrong{GOOD + "pause = -1\n", "'pause': expected a number from 0 to 86400, found -1"},
        Wrong{GOOD + GOOD, "plan:4:1: a check of kind confirm: two checks are named 'confirm'"},
        Wrong{CHECK + "kind = 'ping'\n", "'host' is missing: give it here, under [settings], or with --set host=VALUE"},
        Wrong{CHECK + "kind = 'ping'\nhost = 'server'\n",
              "plan:4:8: 'host': expected an IPv4 address such as 192.168.1.10, found the text \"server\""},
        Wrong{"[settings]\nhost = 7\n" + CHECK + "kind = 'ping'\n", "plan:3:8: 'host': expected a text, found 7"},
        Wrong{"[settings]\nhots = 'x'\n" + GOOD, "plan:3:1: unknown setting 'hots', did you mean 'host'?"},
        Wrong{"serial_number = '['\n" + GOOD, "plan:2:17: 'serial_number': is no regular expression"},
        Wrong{"serial_number = '" + std::string(1001, '(') + "'\n" + GOOD,
              "'serial_number': is longer than 1000 bytes"},
        Wrong{"a." + std::string(200, '.') + "\n" + GOOD, "plan:2:1: has more than 100 dots in a line"},
        Wrong{"board_type = 256\n" + GOOD, "'board_type': expected a whole number from 0 to 255, found 256"},
        Wrong{"[line]\nspeed = 10000\n" + GOOD, "'speed': expected 9600, 19200, 38400, 57600 or 115200"},
        Wrong{"[line]\nparity = 'mark'\n" + GOOD, "'parity': expected one of none, odd, even, found the text \"mark\""},
        Wrong{CHECK + "kind = 'inputs'\n", "no check before it drives the outputs"},
        Wrong{CHECK + "kind = 'inputs'\nexpect = [1]\n", "'expect': expected a list of 2 bytes, found 1"},
        Wrong{CHECK + "kind = 'outputs'\npattern = [256]\n", "'pattern': expected numbers from 0 to 255, found 256"},
        Wrong{CHECK + "kind = 'command'\ncode = 6\ndata = "
                      "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27]\n",
              "'data': expected a list of 0 to 26 bytes, found 27"},
        Wrong{CHECK + "kind = 'command'\ncode = 'CMD_ADC_IN_TSET'\n", "did you mean CMD_ADC_IN_TEST?"},
        Wrong{CHECK + "kind = 'command'\n", "'code' is missing"}, Wrong{Command("least = 1"), "'at' is missing"},
        Wrong{Command("at = 24, type = 'u32'"), "the value reaches beyond data byte 25"},
        Wrong{Command("at = 1, least = 2, most = 1"), "'least' is above 'most'"},
        Wrong{Command("at = 1, type = 'u64'"), "expected one of u8, i8"},
        Wrong{Command("at = 1, type = 'text', most = 1"), "a text has no 'least' or 'most'"},
        Wrong{Command("at = 1, scal = 2"), "unknown key 'scal', did you mean 'scale'?"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '90x90'\n", "the targets do not fit"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '800:480'\n", "'screen': expected the size of the screen in pixels"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '0x480'\n", "expected the size of the screen"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '800x0'\n", "expected the size of the screen"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '32768x480'\n", "expected the size of the screen"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '800x32768'\n", "expected the size of the screen"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '800x480 '\n", "expected the size of the screen"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '99x100'\n", "a screen has at least 100 each way"},
        Wrong{CHECK + "kind = 'touch'\nscreen = '100x99'\n", "a screen has at least 100 each way"},
        Wrong{CHECK + "kind = 'wrong_frame'\nframe = 'command'\ncode = 6\n", "a command that the board does not know"},
        Wrong{CHECK + "kind = 'question'\n", "'ask' is missing"},
        Wrong{CHECK + "kind = 'program'\n", "'command' is missing"},
        Wrong{CHECK + "kind = 'address'\ninterface = 'eth0'\nnetwork = '10.0.0.0'\n", "expected a network such as"},
        Wrong{CHECK + "kind = 'inputs'\nexpect = [1, 2]\nmask = [0, 0]\n", "'mask': expected at least one bit"},
        Wrong{CHECK + "kind = 'read_clock'\ndeviation = -1\n", "'deviation': expected a number from 0 to 3600"},
        Wrong{GOOD + "measure = { command = ['a'], timeout = 1e300 }\n", "expected a number from 0.001 to 86400"},
        Wrong{GOOD + "measure = [{ command = ['a'] }, { command = ['b'] }]\n", "a second program is given"},
        Wrong{CHECK + "kind = 'program'\ncommand = ['']\n", "'command' is missing"},
        Wrong{CHECK + "kind = 'program'\ncommand = 'a'\n", "expected a list of texts, found the text \"a\""},
        Wrong{CHECK + "kind = 'program'\ncommand = ['a', 1]\n", "expected a list of texts, found a list"},
        Wrong{CHECK + "kind = 'outputs'\npattern = 5\n", "expected a list of 1 to 26 bytes, found 5"},
        Wrong{CHECK + "kind = 'outputs'\n", "'pattern' is missing"},
        Wrong{CHECK + "kind = 'pwm'\n", "'setting' is missing"},
        Wrong{CHECK + "kind = 'outputs'\npattern = ['a']\n", "expected numbers from 0 to 255, found the text \"a\""},
        Wrong{CHECK + "kind = 'wrong_frame'\nframe = 'cut'\ncode = 1\n", "unknown key 'code'"},
        Wrong{GOOD + "hint = ''\n", "'hint': expected a text that is not empty"},
        Wrong{GOOD + "name = '" + std::string(257, 'a') + "'\n", "'name': expected a text of 1 to 256 bytes"},
        Wrong{GOOD + "timeout = inf\n", "expected a number, found inf"},
        Wrong{GOOD + "timeout = true\n", "expected a number, found true or false"},
        Wrong{"settings = 5\n" + GOOD, "plan:2:12: 'settings': expected a table"},
        Wrong{"check = 5\n", "'check': expected a table, found 5"}));

/// A number and its bounds; a step outside of them is refused.
struct Bounded {
    std::string before;  // of the number, in TOML
    double least;
    double most;
    std::string after;
};

class Bounds : public testing::TestWithParam<Bounded> {};

TEST_P(Bounds, AreTaken)
{
    const Bounded& bounded = GetParam();
    const double least = bounded.least;
    const double most = bounded.most;
    const double step = least == LEAST_TIMEOUT ? LEAST_TIMEOUT / 2 : 1;
    const auto problems = [&bounded](double number) {
        return Problems(bounded.before + NumberText(number) + bounded.after);
    };
    EXPECT_EQ(problems(least), "");
    EXPECT_EQ(problems(most), "");
    EXPECT_THAT(problems(least - step), HasSubstr(NumberText(least) + " to " + NumberText(most)));
    EXPECT_THAT(problems(most + 1), HasSubstr(NumberText(least) + " to " + NumberText(most)));
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, Bounds,
    testing::Values(
        Bounded{"board_type = ", 0, 255, "\n" + GOOD}, Bounded{"boot_timeout = ", 0, MOST_SECONDS, "\n" + GOOD},
        Bounded{"[line]\ndata_bits = ", 5, 8, "\n" + GOOD}, Bounded{"[line]\nstop_bits = ", 1, 2, "\n" + GOOD},
        Bounded{"[line]\nspeed = ", 9600, 115200, "\n" + GOOD}, Bounded{GOOD + "retries = ", 0, 100, ""},
        Bounded{GOOD + "timeout = ", LEAST_TIMEOUT, MOST_SECONDS, ""}, Bounded{GOOD + "pause = ", 0, MOST_SECONDS, ""},
        Bounded{CHECK + "kind = 'pwm'\nsetting = ", 0, 3, ""}, Bounded{CHECK + "kind = 'disk'\ndisk = ", 0, 2, ""},
        Bounded{CHECK + "kind = 'brightness'\nbrightness = ", 0, 255, ""},
        Bounded{CHECK + "kind = 'picture'\npicture = 'dim'\nweight = ", 0, 255, ""},
        Bounded{CHECK + "kind = 'touch'\nscreen = '800x800'\nmargin = ", 0, 255, ""},
        Bounded{CHECK + "kind = 'touch'\nscreen = '32767x32767'\ntolerance = ", 0, 1000, ""},
        Bounded{CHECK + "kind = 'set_clock'\ndeviation = ", 0, 3600, ""},
        Bounded{CHECK + "kind = 'read_clock'\ndeviation = ", 0, 3600, ""},
        Bounded{CHECK + "kind = 'command'\ncode = ", 0, 255, ""},
        Bounded{CHECK + "kind = 'outputs'\npattern = [", 0, 255, "]"},
        Bounded{CHECK + "kind = 'command'\ncode = 6\nvalues = [{ name = 'v', at = ", 1, 25, " }]"},
        Bounded{CHECK + "kind = 'command'\ncode = 6\nvalues = [{ name = 'v', at = 1, type = 'bits', bit = ", 0, 7,
                " }]"},
        Bounded{CHECK + "kind = 'command'\ncode = 6\nvalues = [{ name = 'v', at = 1, type = 'bits', bit = 2, bits = ",
                1, 6, " }]"}));

TEST(Plans, TextsAreBoundedByWhatABoardTakes)
{
    const std::pair<std::string, std::size_t> texts[] = {{"kind = 'loopback'\ntext = '", 26},
                                                         {"kind = 'file'\nfile = '", 24},
                                                         {"kind = 'address'\ninterface = '", 15},
                                                         {"kind = 'command'\ncode = 6\ntext = '", 26}};
    for (const auto& [before, most] : texts) {
        const auto problems = [&before = before](const std::string& text) {
            return Problems(CHECK + before + text + "'\n");
        };
        EXPECT_EQ(problems(std::string(most - 2, 'a') + " ~"), "");
        for (const std::string& text :
             {std::string(), std::string(most + 1, 'a'), std::string("a\tb"), std::string("\u00e4")}) {
            EXPECT_THAT(problems(text),
                        HasSubstr("expected 1 to " + std::to_string(most) + " printable ASCII characters"))
                << text;
        }
    }
    const std::string both = CHECK + "kind = 'command'\ncode = 6\ntext = 'ab'\ndata = ";
    EXPECT_EQ(Problems(both + "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24]"), "");
    EXPECT_THAT(Problems(both + "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25]"),
                HasSubstr("'data' and 'text' are 27 bytes, expected at most 26"));
    const std::string network = CHECK + "kind = 'address'\ninterface = 'eth0'\nnetwork = '";
    for (const char* const good : {"10.0.0.0/1", "10.0.0.0/32"}) {
        EXPECT_EQ(Problems(network + good + "'"), "");
    }
    for (const char* const wrong :
         {"10.0.0.0/0", "10.0.0.0/33", "10.0.0.0/", "10.0.0.0/a", "10.0.0.0/024", "10.0.0/24", "host/24"}) {
        EXPECT_THAT(Problems(network + wrong + "'"), HasSubstr("expected a network")) << wrong;
    }
}

TEST(Plans, UnknownCommandsAreTheBoards)
{
    const std::string check = CHECK + "kind = 'wrong_frame'\nframe = 'command'\ncode = ";
    EXPECT_EQ(Problems(check + "0") + Problems(check + "254"), "");
    EXPECT_THAT(Problems(check + "255"), HasSubstr("one of the library's"));
    EXPECT_THAT(Problems(check + "256"), HasSubstr("from 0 to 255"));
}

TEST(Plans, WhatAPlanDoesNotSayHasItsDefault)
{
    const Plan plan = PlanOf(GOOD);
    EXPECT_EQ(plan.boardType, 1);
    EXPECT_FALSE(plan.stopOnFail);
    EXPECT_EQ(plan.bootTimeout.count(), 0);
    EXPECT_EQ(plan.version + plan.serialPattern, "");
    const Entry& entry = plan.entries.at(0);
    EXPECT_EQ(entry.name, "confirm");
    EXPECT_EQ(entry.retries, 1);
    EXPECT_EQ(entry.pause.count(), 0);
    EXPECT_FALSE(entry.isOptional || entry.timeout || entry.measure);
    EXPECT_EQ(PlanOf(GOOD + "pause = 2\n").entries[0].pause.count(), 2);
    const Plan clock = PlanOf(CHECK + "kind = 'read_clock'\npause = 1\ndeviation = 2\n");
    EXPECT_EQ(clock.entries[0].pause.count(), 3.2) << "less would not show that it stands still";
    for (const int speed : {9600, 19200, 38400, 57600, 115200}) {
        EXPECT_EQ(PlanOf("[line]\nspeed = " + std::to_string(speed) + "\n" + GOOD).line.speed, speed);
    }
    const LineSettings line =
        PlanOf("[line]\ndata_bits = 7\nstop_bits = 2\nparity = 'even'\nflow_control = 'hardware'\n" + GOOD).line;
    EXPECT_EQ(std::to_string(line.dataBits) + line.parity + std::to_string(line.stopBits) + line.flowControl,
              "7even2hardware");
}

TEST(Plans, TheNearestWordIsMeant)
{
    EXPECT_EQ(Nearest("sitting", {"knitting", "kitten", "mittens"}), "knitting");
    EXPECT_EQ(Nearest("sitting", {"kitten"}), "kitten") << "three changes";
    EXPECT_EQ(Nearest("abcd", {"xycd", "abxy"}), "xycd") << "the first of equals";
    EXPECT_EQ(Nearest("abcd", {"axyz"}), std::nullopt) << "more than half is wrong";
    EXPECT_EQ(Nearest("ab", {"abc"}), "abc");
    EXPECT_EQ(Nearest("a", {"b"}), "b");
    EXPECT_EQ(Nearest("a", {"bc"}), std::nullopt);
    EXPECT_EQ(Nearest("abcdef", {"bcdef", "abcde"}), "bcdef");
}

TEST(Plans, AllThatIsWrongIsToldAtOnceInTheOrderOfTheFile)
{
    EXPECT_EQ(Problems("boot_timeout = -1\n" + CHECK + "kind = 'pwm'\nsetting = 4\n" + CHECK + "kind = 'pnig'\n"),
              "plan:2:16: 'boot_timeout': expected a number from 0 to 86400, found -1\n"
              "plan:5:11: 'setting': expected a whole number from 0 to 3, found 4\n"
              "plan:7:8: 'kind': there is no kind 'pnig', did you mean 'ping'?");
    EXPECT_EQ(Problems(CHECK + "kind = 'ping'\n", {{"host", "here"}, {"hots", "192.0.2.1"}}),
              "plan: --set: there is no setting 'hots', did you mean 'host'?\n"
              "plan: --set host: expected an IPv4 address such as 192.168.1.10, found the text \"here\"");
}

TEST(Plans, SettingsAreSaidOnceAndReplaced)
{
    const std::string toml = "[settings]\nhost = '192.0.2.1'\ndisk = 1\n" + CHECK + "kind = 'ping'\n" + CHECK +
                             "kind = 'disk'\n" + CHECK + "kind = 'ping'\nname = 'other'\nhost = '192.0.2.9'\n";
    const auto descriptions = [&](const Overrides& settings) {
        std::vector<std::string> texts;
        for (const Entry& entry : PlanOf(toml, settings).entries) {
            texts.push_back(entry.check->Description());
        }
        return texts;
    };
    EXPECT_THAT(descriptions({}), testing::ElementsAre("Ping 192.0.2.1", "Mount USB disk 1", "Ping 192.0.2.9"));
    EXPECT_THAT(descriptions({{"host", "192.0.2.2"}, {"disk", "2"}}),
                testing::ElementsAre("Ping 192.0.2.2", "Mount USB disk 2", "Ping 192.0.2.9"));
}

TEST(Plans, ThoseThatComeWithTheStationAreRight)
{
    const Overrides settings = {{"host", "192.0.2.1"}, {"interface", "eth0"}};
    const Plan builtIn = ReadPlan("", settings);
    EXPECT_EQ(builtIn.entries.size(), 20U);
    EXPECT_TRUE(Remarks(builtIn).empty());
    EXPECT_EQ(builtIn.sha256.size(), 64U);
    for (const char* const name : {"built-in", "demo", "no-display", "own-commands"}) {
        const Plan plan = ReadPlan(std::string(PLANS) + name + ".toml", settings);
        EXPECT_TRUE(Remarks(plan).empty()) << name;
    }
    EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const auto remarks = [](const std::string& more) {
        return Remarks(PlanOf(CHECK + "kind = 'pwm'\nsetting = 1\n" + more));
    };
    EXPECT_THAT(remarks(""), testing::ElementsAre(HasSubstr("pwm will count as not carried out")));
    const std::string measured = "measure = { command = ['meter'], values = [{ name = 'duty'";
    EXPECT_THAT(remarks(measured + " }] }"),
                testing::ElementsAre(HasSubstr("pwm holds no measured value against a limit")));
    EXPECT_THAT(remarks(measured + ", most = 5 }] }"), testing::IsEmpty());
}

}  // namespace
