#include "service/relay/cluster/nats_asker.h"

#include <boost/json.hpp>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

#include "service/relay/cluster/open_engine.h"
#include "service/relay/private_folder.h"

namespace zephyl {

struct NatsAsker::Came {
    std::mutex mutex;
    std::condition_variable news;
    const std::string front = "_INBOX." + jetstream::RandomWord() + ".", inbox = front + "all.parts";
    std::uint64_t asked = 0;
    std::map<std::string, Heard> answers;  // by subject
    std::deque<Heard> several;
    bool ended = false;

    void Take(const NatsMessage& message)
    {
        const std::lock_guard lock(mutex);
        Heard heard{std::string(message.status), std::string(message.answerTo), std::string(message.bytes)};
        if (message.subject == inbox)
            several.push_back(std::move(heard));
        else
            answers.emplace(message.subject, std::move(heard));
        news.notify_all();
    }
    void End()
    {
        const std::lock_guard lock(mutex);
        ended = true;
        news.notify_all();
    }
};

NatsAsker::NatsAsker(const NatsServer& server)
    : mCame(std::make_shared<Came>()),
      mConnection(OpenNats(
          server, [came = mCame](const NatsMessage& message) { came->Take(message); },
          [came = mCame] { came->End(); }))
{
    mConnection->Listen(mCame->front + "*");
    // By its own name: for one that a pattern names alone a server waits two seconds before it sends a copy.
    mConnection->Listen(mCame->inbox);
}

NatsAsker::~NatsAsker() = default;

std::size_t NatsAsker::MostBytes() const
{
    return mConnection->MostBytes();
}

jetstream::json::value NatsAsker::Heard::Answer() const
{
    NatsMessage message{};
    message.status = status;
    message.bytes = bytes;
    return jetstream::AnswerIn(&message);
}

std::optional<NatsAsker::Heard> NatsAsker::Ask(const std::string& subject, std::string_view bytes,
                                               std::chrono::milliseconds patience)
{
    const std::string answerTo = mCame->front + std::to_string(++mCame->asked);
    mConnection->Send(subject, answerTo, {}, bytes);
    std::unique_lock lock(mCame->mutex);
    mCame->news.wait_for(lock, patience, [&] { return mCame->ended || mCame->answers.contains(answerTo); });
    const auto answer = mCame->answers.extract(answerTo);
    return answer ? std::optional(std::move(answer.mapped())) : std::nullopt;
}

jetstream::json::value NatsAsker::AskJetStream(const std::string& what, std::string_view bytes,
                                               std::chrono::milliseconds patience)
{
    const auto heard = Ask(jetstream::kApi + what, bytes, patience);
    return heard ? heard->Answer() : jetstream::json::value(nullptr);
}

void NatsAsker::Send(const std::string& subject, std::string_view bytes)
{
    mConnection->Send(subject, {}, {}, bytes);
}

std::string NatsAsker::Inbox() const
{
    return mCame->inbox;
}

std::optional<NatsAsker::Heard> NatsAsker::Next(std::chrono::milliseconds patience)
{
    std::unique_lock lock(mCame->mutex);
    mCame->news.wait_for(lock, patience, [&] { return mCame->ended || !mCame->several.empty(); });
    if (mCame->several.empty()) return std::nullopt;
    Heard next = std::move(mCame->several.front());
    mCame->several.pop_front();
    return next;
}

std::unique_ptr<NatsAsker> AskerOf(const NatsSite& site)
{
    std::string why;
    for (const NatsServer& server : site.servers) try {
            return std::make_unique<NatsAsker>(server);
        } catch (const NatsAway& away) {
            why += (why.empty() ? "" : "; ") + server.host + ":" + server.port + ": " + away.what();
        }
    throw StartError("the servers that keep the meetings are away: " + why);
}

bool IsMissing(const jetstream::json::value& answer)
{
    constexpr std::uint64_t noSuchStream = 10059;
    const auto* const error = jetstream::Member(answer, "error");
    return error && jetstream::Number(jetstream::Member(*error, "err_code")) == noSuchStream;
}

std::string FaultIn(const jetstream::json::value& answer)
{
    const auto* const error = jetstream::Member(answer, "error");
    if (error) return jetstream::Text(jetstream::Member(*error, "description"));
    return answer.is_null() ? "JetStream does not answer" : "";
}

}  // namespace zephyl
