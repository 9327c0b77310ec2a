// What the bench asks of the station, and what it is told.
#include "apps/station/page/BenchApi.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <type_traits>

namespace Station {

namespace {

using Json = nlohmann::json;
using httplib::DataSink;
using httplib::Request;
using httplib::Response;

constexpr int MOST_STREAMS = 16;
constexpr std::chrono::seconds BEAT{1};
/// Between two pieces of a stream. What happens meanwhile goes out together.
constexpr std::chrono::milliseconds PIECE_INTERVAL{50};

constexpr int BAD_REQUEST = 400;
constexpr int CONFLICT = 409;
constexpr int UNAVAILABLE = 503;

/// @throws RequestError unless it is an object
Json BodyOf(const Request& request)
{
    Json body = Json::parse(request.body, nullptr, false);
    if (!body.is_object()) {
        throw RequestError(BAD_REQUEST, "The body has to be a JSON object.");
    }
    return body;
}

/// @throws RequestError unless there is such a member of that type
template <class Held>
Held Member(const Json& body, const char* name)
{
    try {
        const Json& member = body.at(name);
        const bool isWhole = std::is_integral_v<Held> && !std::is_same_v<Held, bool>;
        if (!isWhole || member.is_number_integer()) {  // a fraction may be too large to be converted
            return member.get<Held>();
        }
    } catch (const Json::exception&) {  // told below, as a fraction is
    }
    throw RequestError(BAD_REQUEST, std::string("'") + name + "' is missing, or of a wrong type.");
}

/// Place of the panel that a request names.
std::size_t PlaceIn(const Json& body, std::size_t panels)
{
    const auto number = Member<std::int64_t>(body, "panel");
    if (number < 1 || number > static_cast<std::int64_t>(panels)) {
        throw RequestError(BAD_REQUEST, "There is no panel " + std::to_string(number) + ".");
    }
    return static_cast<std::size_t>(number - 1);
}

/// One browser's stream. It ends with the connection.
class Stream {
public:
    Stream(const PageState& state, std::shared_ptr<std::atomic<int>> count) : m_state(state), m_count(std::move(count))
    {
    }
    ~Stream() { --*m_count; }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    bool Send(DataSink& sink)
    {
        std::string events = m_state.Await(m_number, BEAT);
        const auto now = std::chrono::steady_clock::now();
        if (now - m_beat >= BEAT) {
            events += "event: beat\ndata: {}\n\n";
            m_beat = now;
        }
        const bool isSent = sink.write(events.data(), events.size());
        std::this_thread::sleep_for(PIECE_INTERVAL);
        return isSent;
    }

private:
    const PageState& m_state;
    std::shared_ptr<std::atomic<int>> m_count;
    std::uint64_t m_number = 0;
    std::chrono::steady_clock::time_point m_beat;
};

void Open(Response& response, const PageState& state, const std::shared_ptr<std::atomic<int>>& count)
{
    if (++*count > MOST_STREAMS) {
        --*count;
        throw RequestError(UNAVAILABLE, "Sixteen browsers watch this station already.");
    }
    const auto stream = std::make_shared<Stream>(state, count);
    response.set_content_provider("text/event-stream",
                                  [stream](std::size_t, DataSink& sink) { return stream->Send(sink); });
}

}  // namespace

void AddBench(Server& server, PageState& state, std::size_t panels, const BenchActions& actions)
{
    server.Get("/api/state", [&state](const Request&, Response& response) {
        response.set_content(state.Whole(), "application/json");
    });
    server.Get("/api/events", [&state, count = std::make_shared<std::atomic<int>>(0)](
                                  const Request&, Response& response) { Open(response, state, count); });
    server.Post("/api/scan", [panels, actions](const Request& request, Response& response) {
        const Json body = BodyOf(request);
        const auto text = Member<std::string>(body, "text");
        const auto place = body.contains("panel") ? std::optional(PlaceIn(body, panels)) : std::nullopt;
        try {
            response.set_content(Json{{"panel", actions.begin(text, place) + 1}}.dump(), "application/json");
        } catch (const std::exception& error) {
            throw RequestError(CONFLICT, error.what());
        }
    });
    server.Post("/api/answer", [&state, panels](const Request& request, Response& response) {
        const Json body = BodyOf(request);
        const std::size_t place = PlaceIn(body, panels);
        if (!state.Answer(place, Member<std::uint64_t>(body, "question"), Member<bool>(body, "yes"))) {
            throw RequestError(CONFLICT, "This question is no longer open.");
        }
        response.set_content("{}", "application/json");
    });
    server.Post("/api/stop", [&state, panels, actions](const Request& request, Response& response) {
        const Json body = BodyOf(request);
        const std::size_t place = PlaceIn(body, panels);
        const auto run = Member<std::uint64_t>(body, "run");
        if (run == 0 || run != state.UnitUnderTest(place)) {
            throw RequestError(CONFLICT, "This unit is no longer under test.");
        }
        actions.stop(place);
        response.set_content("{}", "application/json");
    });
}

}  // namespace Station
