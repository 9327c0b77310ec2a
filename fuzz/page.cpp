// The operator's page: every answer is well-formed and safe, none is a fault of the station's own, and nothing happens
// that the page itself has not asked for.
#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "apps/station/page/BenchApi.h"
#include "apps/station/page/RecordsApi.h"
#include "apps/station/plan/PlanFile.h"
#include "bench/station/SampleRun.h"
#include "fuzz/Fuzz.h"

namespace {

using Station::Descriptor;

constexpr std::size_t PANELS = 2;

/// A station's page with a plan, records of a few runs, and no board: what it would do is counted.
class Page {
public:
    Page()
    {
        std::filesystem::create_directories(m_folder);
        Station::Records records(m_file);
        const auto sink = records.NewSink();
        for (int unit = 0; unit < 4; ++unit) {
            Keep(*sink, SampleRun("SN-" + std::to_string(unit), 3, unit % 2 == 0));
        }
        const auto count = [this](std::size_t place) {
            Fuzz::Expect(place < PANELS, "a panel that there is");
            ++m_actions;
            return place;
        };
        AddBench(m_server, m_state, PANELS,
                 {[count](const std::string&, std::optional<std::size_t> place) { return count(place.value_or(0)); },
                  count});
        AddRecords(m_server, {m_file, ""});
        m_server.Start();
    }

    [[nodiscard]] std::string Address() const { return m_server.Address().Text(); }
    [[nodiscard]] int Actions() const { return m_actions; }

    /// All that is answered to these bytes, or the beginning of a stream.
    [[nodiscard]] std::string Answer(const std::string& bytes) const
    {
        const Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(m_server.Address().port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const linger atOnce = {1, 0};  // no port stays in use after the connection
        setsockopt(client.Get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
        Fuzz::Expect(connect(client.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0,
                     "a connection");
        send(client.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        shutdown(client.Get(), SHUT_WR);
        std::string answer;
        std::array<char, 4096> piece{};
        ssize_t got = 1;
        while (got > 0 && answer.find("\nevent: ") == std::string::npos) {
            got = recv(client.Get(), piece.data(), piece.size(), 0);
            answer.append(piece.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        }
        return answer;
    }

private:
    const std::string m_folder =
        std::filesystem::temp_directory_path() / ("testmode-fuzz-page-" + std::to_string(getpid()));
    const std::string m_file = m_folder + "/records.db";
    const Station::Plan m_plan = Station::ReadPlan(PLAN, {});
    Station::PageState m_state{m_plan, {"/dev/ttyS0", "/dev/ttyS1"}, {}};
    std::atomic<int> m_actions{0};
    Station::Server m_server{{"127.0.0.1", 0}, {}};
};

std::string Replaced(std::string text, char letter, const std::string& by)
{
    for (std::size_t at = text.find(letter); at != std::string::npos; at = text.find(letter, at + by.size())) {
        text.replace(at, 1, by);
    }
    return text;
}

/// In small letters, and with each %41 as the letter that it stands for.
std::string Small(const std::string& text)
{
    std::string small;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isCode = text[at] == '%' && at + 2 < text.size() && std::isxdigit(text[at + 1]) != 0;
        const int letter = isCode ? std::stoi(text.substr(at + 1, 2), nullptr, 16) : text[at];
        small += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        at += isCode ? 2 : 0;
    }
    return small;
}

void ExpectWellFormed(const std::string& answer)
{
    const std::size_t end = answer.find("\r\n\r\n");
    Fuzz::Expect(answer.rfind("HTTP/1.1 ", 0) == 0 && end != std::string::npos, "an answer, not " + answer);
    const std::string head = answer.substr(0, end);
    Fuzz::Expect(head.find("\r\nContent-Security-Policy: default-src 'none'") != std::string::npos,
                 "safety in " + head);
    Fuzz::Expect(answer[9] != '5' || answer.compare(9, 3, "503") == 0, "no fault of the station's: " + answer);
    const bool isPlain = end + 4 < answer.size() && head.find("\r\nContent-Encoding: ") == std::string::npos;
    if (isPlain && head.find("\r\nContent-Type: application/json") != std::string::npos) {
        Fuzz::Expect(nlohmann::json::accept(answer.substr(end + 4)), "JSON, not " + answer.substr(end + 4));
    }
}

}  // namespace

/// The bytes of a request. Each @ in them stands for the page's own address, each # for the length of the body.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Page& page = *new Page;
    const std::string raw = Replaced(std::string(data, data + size), '@', page.Address());
    const std::size_t end = raw.find("\r\n\r\n");
    const std::size_t body = end == std::string::npos ? 0 : raw.size() - end - 4;
    const std::string request = Replaced(raw, '#', std::to_string(body));
    const int before = page.Actions();
    const std::string answer = page.Answer(request);
    const std::string interim = "HTTP/1.1 100 Continue\r\n\r\n";
    const std::string last = answer.substr(answer.rfind(interim, 0) == 0 ? interim.size() : 0);
    if (!last.empty()) {
        ExpectWellFormed(last);
    }
    const std::string small = Small(request);
    const bool isOwn = small.rfind("post ", 0) == 0 && small.find("origin:") != std::string::npos &&
                       small.find("http://") != std::string::npos &&
                       small.find("application/json") != std::string::npos;
    Fuzz::Expect(page.Actions() == before || isOwn, "nothing done that the page has not asked for");
    return 0;
}
