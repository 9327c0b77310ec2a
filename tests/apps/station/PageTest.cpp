// The operator's page: what it shows is the truth, nobody but its own users changes anything, and no browser holds a
// test or another browser up.
#include <filesystem>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <sstream>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include "FakeBoard.h"
#include "apps/station/Descriptor.h"
#include "apps/station/page/PageState.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

using namespace Station;
using Json = nlohmann::json;
using Support::WaitFor;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string SHORT = R"(
[[check]]
kind = 'version'
[[check]]
kind = 'picture'
picture = 'bars'
ask = 'Bars?'
[[check]]
kind = 'picture'
name = 'dim'
picture = 'dim'
weight = 64
ask = 'Dim?'
)";

/// What a browser makes of a stream.
void Follow(Json& state, const std::string& events)
{
    std::istringstream lines(events);
    for (std::string line, name; std::getline(lines, line);) {
        if (line.rfind("event: ", 0) == 0) {
            name = line.substr(7);
        }
        const Json data = line.rfind("data: ", 0) == 0 ? Json::parse(line.substr(6)) : Json();
        if (name == "state" && !data.is_null()) {
            state = data;
        } else if (data.contains("panel")) {
            Json& panel = state["panels"][data["panel"].get<std::size_t>() - 1];
            panel.update(data.value("set", Json::object()));
            if (data.contains("result")) {
                panel["results"].push_back(data["result"]);
            }
        } else if (!data.is_null()) {
            state.update(data);
        }
    }
}

void Judge(Viewer& viewer, const std::string& name)
{
    CheckRecord check;
    check.name = name;
    check.result = Result::Fail;
    check.message = "<b>\xFF</b>";
    check.values = {{"level", 3.5, "V", {1, 3, {}}}};
    viewer.OnCheck(name);
    viewer.OnWait(name, Seconds{1.5}, Seconds{5});
    viewer.OnJudged({}, check);
}

TEST(PageState, ChangesAddUpToTheStateWhicheverTheReaderMissed)
{
    PageState state(PlanOf(SHORT), {"/dev/ttyUSB0", "/dev/ttyUSB1"}, {Seconds{4}, Seconds{30}, Seconds{6}});
    EXPECT_EQ(Json::parse(state.Whole())["typical"], 6.0);
    Json followed;
    std::uint64_t number = 0;
    const auto agree = [&] {
        Follow(followed, state.Await(number, std::chrono::seconds(0)));
        const Json whole = Json::parse(state.Whole());
        for (const char* const part : {"panels", "next", "plan", "typical"}) {
            EXPECT_EQ(followed[part], whole[part]);
        }
    };
    agree();
    EXPECT_EQ(followed["plan"]["checks"][2]["screen"], Json({{"picture", "bars"}, {"light", 0.25}}));
    for (int unit = 0; unit < 2; ++unit) {
        PageState::Panel& panel = state.At(1);
        state.ShowNext(std::nullopt);
        panel.ShowUnit("A-1", "has passed before");
        agree();
        Judge(panel, "version");
        panel.OnEnd({});
        panel.ShowVerdict("A-1", 1);
        state.ShowNext(0);
        agree();
        EXPECT_EQ(followed["panels"][1]["word"], "FAIL");
        EXPECT_EQ(followed["panels"][1]["results"].size(), 1U);
    }
    for (int i = 0; i < 600; ++i) {
        Judge(state.At(0), "version");
    }
    EXPECT_THAT(state.Await(number, std::chrono::seconds(0)), HasSubstr("event: state\n"));
}

TEST(PageState, ALateClickAnswersNoOtherQuestion)
{
    PageState state(PlanOf(SHORT), {"/dev/ttyUSB0"}, {});
    PageState::Panel& panel = state.At(0);
    panel.ShowUnit("A-1", "");
    const auto open = [&] { return Json::parse(state.Whole())["panels"][0]["question"]; };
    const auto ask = [&](const std::string& text) {
        auto answer = std::async(std::launch::async, [&panel, text] { return panel.Ask(text); });
        EXPECT_TRUE(WaitFor([&] { return !open().is_null(); }));
        return answer;
    };
    auto first = ask("White?");
    const auto id = open()["id"].get<std::uint64_t>();
    EXPECT_FALSE(state.Answer(0, id + 1, true));
    EXPECT_TRUE(state.Answer(0, id, false));
    EXPECT_EQ(first.get(), false);
    auto second = ask("Black?");
    EXPECT_FALSE(state.Answer(0, id, true));
    panel.Interrupt();
    EXPECT_EQ(second.get(), std::nullopt);
    EXPECT_EQ(panel.Ask("Bars?"), std::nullopt) << "its run is being stopped";
}

/// `station serve` on one board.
class StationPage : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("XDG_STATE_HOME", m_state.c_str(), 1);
        std::ofstream(m_plan) << "name = 'Short'\nserial_number = '[A-Z]+-[0-9]+'\n" << SHORT;
        m_program.emplace(std::vector<std::string>{STATION_PROGRAM, "serve", "--plan", m_plan, "--port", m_board.Port(),
                                                   "--listen", "127.0.0.1:0", "--origin", "https://Bench.example/"});
        const std::string told = "page: http://127.0.0.1:";
        ASSERT_TRUE(WaitFor([&] { return m_program->Output().find(told) != std::string::npos; }));
        const std::string output = m_program->Output();
        m_port = std::stoi(output.substr(output.find(told) + told.size()));
    }
    void TearDown() override
    {
        m_program->Signal(SIGTERM);
        EXPECT_EQ(m_program->Finish(), 0);
        std::remove(m_plan.c_str());
        std::filesystem::remove_all(m_state);
    }

    [[nodiscard]] std::unique_ptr<Descriptor> Connect() const
    {
        auto descriptor = std::make_unique<Descriptor>(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const timeval limit{60, 0};  // seconds: whoever waits in vain fails
        setsockopt(descriptor->Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        setsockopt(descriptor->Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(m_port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(descriptor->Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        return descriptor;
    }
    static bool Send(const Descriptor& to, const std::string& text)
    {
        return send(to.Get(), text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    /// All that comes until the other end closes, or until that text has come.
    static std::string Receive(const Descriptor& from, const std::string& until = "")
    {
        std::string all;
        std::array<char, 4096> piece{};
        ssize_t count = 1;
        while (count > 0 && (until.empty() || all.find(until) == std::string::npos)) {
            count = recv(from.Get(), piece.data(), piece.size(), 0);
            all.append(piece.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return all;
    }
    [[nodiscard]] std::string Answer(const std::string& request) const
    {
        const auto descriptor = Connect();
        EXPECT_TRUE(Send(*descriptor, request));
        return Receive(*descriptor);
    }
    /// A request of the page itself, with more headers.
    [[nodiscard]] std::string Get(const std::string& path, const std::string& headers = "") const
    {
        return Answer("GET " + path + " HTTP/1.1\r\nHost: localhost:" + std::to_string(m_port) + "\r\n" + headers +
                      "\r\n");
    }
    [[nodiscard]] std::string Post(const std::string& path, const std::string& body) const
    {
        const std::string own = "127.0.0.1:" + std::to_string(m_port);
        return Post(path, body, "Host: " + own + "\r\nOrigin: http://" + own + "\r\nContent-Type: application/json");
    }
    [[nodiscard]] std::string Post(const std::string& path, const std::string& body, const std::string& headers) const
    {
        return Answer("POST " + path + " HTTP/1.1\r\n" + headers +
                      "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    [[nodiscard]] Json Panel() const
    {
        const std::string answer = Get("/api/state");
        return Json::parse(answer.substr(answer.find("\r\n\r\n") + 4))["panels"][0];
    }
    [[nodiscard]] bool AwaitQuestion(const std::string& text) const
    {
        return WaitFor([&] {
            const Json panel = Panel();
            return !panel["question"].is_null() && panel["question"]["text"] == text;
        });
    }

    std::string m_plan = Support::TemporaryPath("plan.toml");
    std::string m_state = Support::TemporaryPath("state");
    FakeBoard m_board{FakeBoard::Healthy};
    std::optional<Support::Program> m_program;
    int m_port = 0;
};

TEST_F(StationPage, TestsAUnitAndRefusesWhatALineRefuses)
{
    EXPECT_THAT(Post("/api/scan", R"({"text": "a1"})"), AllOf(HasSubstr(" 409 "), HasSubstr("no serial number")));
    EXPECT_THAT(Post("/api/scan", R"({"text": " A-1\t"})"), HasSubstr(R"({"panel":1})"));
    EXPECT_THAT(Post("/api/scan", R"({"text": "A-1"})"), HasSubstr("A-1 is under test on port 1"));
    EXPECT_THAT(Post("/api/scan", R"({"text": "A-2"})"), HasSubstr("no port is free for A-2"));
    EXPECT_THAT(Post("/api/scan", R"({"text": "A-2", "panel": 1})"), HasSubstr("port 1 is not free"));
    for (const std::string question : {"Bars?", "Dim?"}) {
        ASSERT_TRUE(AwaitQuestion(question));
        const std::string id = Panel()["question"]["id"].dump();
        EXPECT_THAT(Post("/api/answer", R"({"panel": 1, "yes": true, "question": )" + id + "}"), HasSubstr(" 200 "));
    }
    ASSERT_TRUE(WaitFor([&] { return Panel()["word"] == "PASS"; })) << Panel();

    EXPECT_THAT(Post("/api/scan", R"({"text": "A-1", "panel": 1})"), HasSubstr(" 200 "));
    ASSERT_TRUE(AwaitQuestion("Bars?"));
    EXPECT_THAT(Panel()["remark"], StartsWith("A-1 has passed before"));
    EXPECT_THAT(Post("/api/stop", R"({"panel": 1, "run": 1})"), HasSubstr("no longer under test"));
    EXPECT_THAT(Post("/api/stop", R"({"panel": 1, "run": 2})"), HasSubstr(" 200 "));
    EXPECT_TRUE(WaitFor([&] { return Panel()["word"] == "STOP"; })) << Panel();
}

TEST_F(StationPage, NobodyElseChangesAnythingOrReadsAFile)
{
    const std::string port = std::to_string(m_port);
    const std::string host = "Host: localhost:" + port;
    const std::string json = "\r\nContent-Type: application/json";
    const std::string wrong[] = {
        "Host: evil.example:" + port + "\r\nOrigin: http://evil.example:" + port + json,
        host + "\r\nHost: evil.example\r\nOrigin: http://localhost:" + port + json,
        "Host: localhost\r\nOrigin: http://localhost:" + port + json,
        host + "\r\nOrigin: http://evil.example" + json,
        host + "\r\nOrigin: null" + json,
        host + json,
        host + "\r\nOrigin: http://localhost:" + port + "\r\nContent-Type: text/plain",
        host + "\r\nOrigin: http://localhost:" + port + "\r\nSec-Fetch-Site: same-site" + json,
    };
    for (const std::string& headers : wrong) {
        EXPECT_THAT(Post("/api/scan", R"({"text": "A-1"})", headers), HasSubstr(" 403 ")) << headers;
    }
    EXPECT_THAT(
        Post("/api/scan", "", host + "\r\nOrigin: http://localhost:" + port + json + "\r\nContent-Encoding: br"),
        HasSubstr(" 415 "));
    EXPECT_EQ(Panel()["status"], "free");
    EXPECT_THAT(Get("/api/events", "Sec-Fetch-Site: cross-site\r\n"), HasSubstr(" 403 "));
    EXPECT_THAT(Post("/api/stop", "[1]", "Host: bench.example\r\nOrigin: https://bench.example" + json),
                HasSubstr("has to be a JSON object"));
    EXPECT_THAT(Post("/api/scan", R"({"text": 1})"), HasSubstr(" 400 "));
    EXPECT_THAT(Post("/api/scan", R"({"text": "A-1", "panel": 1e99})"), HasSubstr("of a wrong type"));
    EXPECT_THAT(Post("/api/scan", R"({"text": "A-1", "panel": 9})"), HasSubstr("There is no panel 9."));
    for (const std::string path : {"/../plan.toml", "/..%2f..%2fetc/passwd", "//etc/passwd", "/static/bench.html"}) {
        EXPECT_THAT(Get(path), HasSubstr(" 404 ")) << path;
    }
    for (const std::string path : {"/", "/bench.js", "/chart.min.js", "/nothing", "/api/state"}) {
        EXPECT_THAT(Get(path), AllOf(HasSubstr("default-src 'none'; script-src 'self'"), HasSubstr("nosniff"))) << path;
    }
    EXPECT_LT(Get("/page.css", "Range: bytes=0-9,0-,0-,0-\r\n").size(), 2 * Get("/page.css").size());
}

TEST_F(StationPage, AnswersAndTestsWhateverOthersSendOrDoNotRead)
{
    std::vector<std::unique_ptr<Descriptor>> others;
    const std::string port = std::to_string(m_port);
    for (int i = 0; i < 16; ++i) {  // streams of which nobody reads more than the start
        others.push_back(Connect());
        Send(*others.back(), "GET /api/events HTTP/1.1\r\nHost: localhost:" + port + "\r\n\r\n");
        ASSERT_THAT(Receive(*others.back(), "event: state"), HasSubstr("event: state"));
    }
    EXPECT_THAT(Get("/api/events"), HasSubstr("Sixteen browsers watch"));
    EXPECT_THAT(Post("/api/scan", R"({"text": "A-1"})"), HasSubstr(" 200 "));
    for (int i = 0; i < 1000; ++i) {
        others.push_back(Connect());
        Send(*others.back(), i % 2 == 0 ? "GET /bench.js HTTP/1.1\r\nHost: local" : "");
        if (i % 100 == 0) {
            EXPECT_THAT(Get("/"), HasSubstr(" 200 "));
        }
    }
    EXPECT_TRUE(AwaitQuestion("Bars?"));
    EXPECT_THAT(Receive(*others[0], "\"Bars?\""), HasSubstr("\"Bars?\"")) << "its stream was closed";

    const auto endless = Connect();
    const std::string line = "X: " + std::string(1021, 'x') + "\r\n";
    int sent = 0;
    for (Send(*endless, "GET / HTTP/1.1\r\n"); Send(*endless, line) && sent < 100'000; ++sent) {
    }
    EXPECT_LT(sent, 100'000) << "headers without an end were read on and on";
    const auto slow = Connect();
    EXPECT_TRUE(WaitFor([&] { return !Send(*slow, "G"); }, std::chrono::seconds(60)))
        << "a byte now and then is enough";
}

TEST(StationPageOptions, SayWhereItMayBeServed)
{
    const std::pair<std::vector<std::string>, const char*> wrong[] = {
        {{"--listen", "0.0.0.0:8080"}, "name each with --origin"},
        {{"--listen", "[::]:8080"}, "name each with --origin"},
        {{"--listen", "0:8080"}, "name each with --origin"},
        {{"--listen", "[::ffff:0.0.0.0]:8080"}, "name each with --origin"},
        {{"--listen", "8080"}, "expected ADDRESS:PORT"},
        {{"--listen", "127.0.0.1:65536"}, "expected ADDRESS:PORT"},
        {{"--origin", "bench.example"}, "expected scheme and host"},
        {{"--origin", "https://bench.example/page"}, "expected scheme and host"},
    };
    for (const auto& [words, told] : wrong) {
        std::vector<std::string> command = {STATION_PROGRAM, "serve", "--port", "/dev/null"};
        command.insert(command.end(), words.begin(), words.end());
        Support::Program program(command);
        EXPECT_EQ(program.Finish(), 2);
        EXPECT_THAT(program.Output(), HasSubstr(told));
    }
}

}  // namespace
