#include "service/relay/config.h"

#include <toml++/toml.h>
#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <sstream>

#include "service/relay/identity.h"
#include "service/relay/relay.h"

namespace zephyl {
namespace {

using std::chrono::milliseconds;

// A whole number with its range; `set` gets what was given.
struct NumberKey {
    const char* name;
    std::int64_t least, most;
    void (*set)(RelayOptions&, std::int64_t);
    std::int64_t byDefault;
    const char* comment;
};
struct TextKey {
    const char* name;
    void (*set)(RelayOptions&, const std::string&);
    const char* byDefault;
    const char* comment;
};

constexpr std::array kNumbers{
    NumberKey{"threads", 0, 256,
              [](RelayOptions& o, std::int64_t v) { o.threads = static_cast<unsigned>(v); }, 0,
              "Threads that serve connections. 0: as many as the machine has cores."},
    NumberKey{"grace_seconds", 0, 600,
              [](RelayOptions& o, std::int64_t v) { o.times.grace = milliseconds(v * 1000); }, 60,
              "Seconds that a seat outlives its connection. Until then nobody sees the attendee leave\n"
              "and nothing sent to them is lost. 0: leave at once."},
    NumberKey{"away_seconds", 0, 86'400,
              [](RelayOptions& o, std::int64_t v) { o.times.away = milliseconds(v * 1000); }, 600,
              "Seconds after that in which an attendee who comes back goes on where they had read."},
    NumberKey{"keep_empty_seconds", 0, 86'400,
              [](RelayOptions& o, std::int64_t v) { o.times.keepEmpty = milliseconds(v * 1000); }, 600,
              "Seconds that a meeting which everybody has left can still be joined."},
    NumberKey{
        "connections_per_address", 1, 10'000,
        [](RelayOptions& o, std::int64_t v) { o.bounds.connectionsPerAddress = static_cast<std::size_t>(v); },
        20, "Connections from one address that have not logged in (ten times as many just after a start)."},
    NumberKey{"connections_before_login", 1, 100'000,
              [](RelayOptions& o, std::int64_t v) {
                  o.bounds.connectionsBeforeLogin = static_cast<std::size_t>(v);
              },
              1000, "Connections in all that have not logged in."},
    NumberKey{"seats_per_meeting", 2, kSeatsPerMeeting,
              [](RelayOptions& o, std::int64_t v) { o.bounds.seatsPerMeeting = static_cast<std::size_t>(v); },
              kSeatsPerMeeting, "People in one meeting."},
    NumberKey{"board_kept_mebibytes", 16, 4096,
              [](RelayOptions& o, std::int64_t v) { o.bounds.boardKept = static_cast<std::size_t>(v) << 20; },
              256, "What is kept of one meeting's board for newcomers. The oldest goes first."},
};

void SetLevel(RelayOptions& options, const std::string& level)
{
    constexpr std::array known{"debug", "info", "warn", "error", "off"};
    if (std::find(known.begin(), known.end(), level) == known.end())
        throw StartError("log_level is debug, info, warn, error or off");
    options.logLevel = level;
}

constexpr std::array kTexts{
    TextKey{"listen", [](RelayOptions& o, const std::string& v) { ReadListen(v, o); }, "127.0.0.1:7420",
            "Where clients connect: HOST:PORT. Port 0 takes a free one."},
    TextKey{"data", [](RelayOptions& o, const std::string& v) { o.data = v; }, "",
            "The data folder. Empty: zephyl under $XDG_DATA_HOME, else under ~/.local/share."},
    TextKey{"key", [](RelayOptions& o, const std::string& v) { o.key = v; }, "",
            "Private key and certificate chain (PEM), both or neither. Empty: made at the first start."},
    TextKey{"certificate", [](RelayOptions& o, const std::string& v) { o.certificate = v; }, "", nullptr},
    TextKey{"log_level", SetLevel, "info", "debug, info, warn, error or off."},
};

std::string Where(const std::string& name, const toml::node& node)
{
    return name + ":" + std::to_string(node.source().begin.line) + ": ";
}

void Take(const NumberKey& key, const toml::node& node, RelayOptions& options)
{
    const auto value = node.value_exact<std::int64_t>();
    if (!value || *value < key.least || *value > key.most)
        throw StartError(std::string(key.name) + " is a whole number from " + std::to_string(key.least) +
                         " to " + std::to_string(key.most));
    key.set(options, *value);
}

void Take(const TextKey& key, const toml::node& node, RelayOptions& options)
{
    const auto value = node.value_exact<std::string>();
    if (!value) throw StartError(std::string(key.name) + " is a text in quotes");
    if (!value->empty()) key.set(options, *value);
}

template <class Keys>
bool TakeFrom(const Keys& keys, std::string_view name, const toml::node& node, RelayOptions& options)
{
    for (const auto& key : keys) {
        if (name != key.name) continue;
        Take(key, node, options);
        return true;
    }
    return false;
}

void PutComment(std::ostream& out, const char* comment)
{
    std::istringstream lines(comment ? comment : "");
    for (std::string line; std::getline(lines, line);) out << "# " << line << "\n";
}

}  // namespace

void ReadConfigText(const std::string& text, const std::string& name, RelayOptions& options)
{
    toml::table table;
    try {
        table = toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        throw StartError(name + ":" + std::to_string(error.source().begin.line) + ": " +
                         std::string(error.description()));
    }
    for (const auto& [key, node] : table) {
        try {
            if (TakeFrom(kNumbers, key.str(), node, options) || TakeFrom(kTexts, key.str(), node, options))
                continue;
        } catch (const StartError& error) {
            throw StartError(Where(name, node) + error.what());
        }
        throw StartError(Where(name, node) + "there is no key \"" + std::string(key.str()) + "\"");
    }
    if (options.key.empty() != options.certificate.empty())
        throw StartError(name + ": key and certificate belong together");
}

void ReadConfig(const std::filesystem::path& file, RelayOptions& options)
{
    std::ifstream in(file);
    std::ostringstream text;
    in.peek();  // nothing to copy is a failure to the stream, an empty file is none here
    if (!in.is_open() || in.bad() || (!in.eof() && !(text << in.rdbuf())))
        throw StartError("cannot read the configuration " + file.string());
    ReadConfigText(text.str(), file.string(), options);
}

std::string SampleConfig()
{
    std::ostringstream out;
    for (const TextKey& key : kTexts) {
        PutComment(out, key.comment);
        out << key.name << " = \"" << key.byDefault << "\"\n\n";
    }
    for (const NumberKey& key : kNumbers) {
        PutComment(out, key.comment);
        out << key.name << " = " << key.byDefault << "\n\n";
    }
    return out.str();
}

}  // namespace zephyl
