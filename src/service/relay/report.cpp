#include "service/relay/report.h"

#include <array>
#include <boost/json.hpp>
#include <cstdio>
#include <ctime>

#include "text/one_line.h"

namespace zephyl {
namespace json = boost::json;
namespace {

constexpr double kKibi = 1024;

json::value Delay(const AttendeeFacts& attendee)
{
    if (!attendee.delay) return nullptr;
    return static_cast<double>(attendee.delay->count()) / 1000;
}

json::value OrNull(const std::string& text)
{
    return text.empty() ? json::value(nullptr) : json::value(OneLine(text));
}

json::object Of(const AttendeeFacts& attendee)
{
    return {{"handle", OneLine(attendee.handle)},   {"log_name", OneLine(attendee.logName)},
            {"state", OneLine(attendee.state)},     {"relay", OrNull(attendee.relay)},
            {"address", OneLine(attendee.address)}, {"protocol", OneLine(attendee.protocol)},
            {"delay_ms", Delay(attendee)},          {"unread_bytes", attendee.unreadBytes}};
}

json::object Of(const MeetingFacts& meeting)
{
    json::array attendees;
    for (const AttendeeFacts& one : meeting.attendees) attendees.push_back(Of(one));
    return {{"code", OneLine(meeting.code)},
            {"id", OneLine(meeting.id)},
            {"keeper", OrNull(meeting.keeper)},
            {"told", meeting.told},
            {"open", meeting.open},
            {"talk_bytes", meeting.log.talk},
            {"board_bytes", meeting.log.board},
            {"memory_bytes", meeting.log.memory},
            {"disk_refuses", meeting.log.refused},
            {"attendees", std::move(attendees)}};
}

json::object Of(const Ban& ban)
{
    json::object one{{ban.of == Ban::Of::Address ? "address" : "handle", OneLine(ban.shown)}};
    one["until"] = ban.until ? json::value(ban.until) : json::value(nullptr);
    return one;
}

json::value Of(const AccountsHealth& accounts)
{
    if (accounts.where.empty()) return nullptr;
    json::object one{{"database", OneLine(accounts.where)}, {"problem", nullptr}};
    if (accounts.problem.empty()) return one;
    one["problem"] = OneLine(accounts.problem);
    one["away_seconds"] = accounts.awaySeconds;
    return one;
}

json::object Of(const RelayFacts& relay)
{
    json::object one{{"name", OneLine(relay.name)},
                     {"address", OneLine(relay.address)},
                     {"state", relay.state},
                     {"own", relay.own},
                     {"answered", relay.answered}};
    if (!relay.answered) return one;
    one["version"] = OneLine(relay.version);
    one["uptime_seconds"] = relay.uptime.count();
    one["connections"] = relay.connections;
    one["memory_bytes"] = relay.memory;
    one["ailment"] = OrNull(relay.ailment);
    return one;
}

json::object Of(const EngineFacts& engine)
{
    json::object one{{"server", OrNull(engine.server)},
                     {"servers", engine.servers},
                     {"connected", engine.connected},
                     {"problem", OrNull(engine.problem)},
                     {"answered", engine.answered}};
    if (!engine.answered) return one;
    one["entries"] = engine.entries;
    one["bytes"] = engine.bytes;
    one["limit_bytes"] = engine.limitBytes;
    one["copies"] = engine.copies;
    one["copies_behind"] = engine.copiesBehind;
    return one;
}

json::value Of(const ClusterFacts& cluster)
{
    if (cluster.name.empty() && cluster.advertise.empty()) return nullptr;
    json::array others, relays;
    for (const std::string& one : cluster.others) others.emplace_back(OneLine(one));
    for (const RelayFacts& one : cluster.relays) relays.push_back(Of(one));
    return json::object{{"name", OneLine(cluster.name)},
                        {"advertise", OneLine(cluster.advertise)},
                        {"others", std::move(others)},
                        {"relays", std::move(relays)},
                        {"log", cluster.shares ? json::value(Of(cluster.engine)) : json::value(nullptr)}};
}

std::string Bytes(double bytes)
{
    constexpr std::array units{"B", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    for (; bytes >= kKibi && unit + 1 < units.size(); ++unit) bytes /= kKibi;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

std::string Moment(std::int64_t seconds)
{
    const std::time_t at = seconds;
    std::tm parts{};
    char text[32];
    ::gmtime_r(&at, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts);
    return text;
}

std::string Span(std::int64_t seconds)
{
    constexpr std::int64_t day = 86'400, hour = 3600, minute = 60;
    char text[64];
    std::snprintf(text, sizeof text, "%lld d %02lld:%02lld", static_cast<long long>(seconds / day),
                  static_cast<long long>(seconds % day / hour),
                  static_cast<long long>(seconds % hour / minute));
    return text;
}

double Number(const json::value& value)
{
    return value.to_number<double>();
}

std::string TextOf(const json::value& value)
{
    return OneLine(value.as_string());
}

std::string ConnectionsText(const json::value& count)
{
    const auto number = count.to_number<std::uint64_t>();
    return std::to_string(number) + (number == 1 ? " connection" : " connections");
}

std::string AttendeeLine(const json::object& one)
{
    constexpr std::size_t state = 10, protocol = 10, address = 42;
    char delay[32] = "-";
    if (!one.at("delay_ms").is_null())
        std::snprintf(delay, sizeof delay, "%.1f ms", Number(one.at("delay_ms")));
    const double unread = Number(one.at("unread_bytes"));
    const auto orDash = [](const std::string& text) { return text.empty() ? std::string("-") : text; };
    return "    " + Padded(TextOf(one.at("handle")), kHandleColumns) +
           Padded(TextOf(one.at("state")), state) + Padded(orDash(TextOf(one.at("protocol"))), protocol) +
           Padded(orDash(TextOf(one.at("address"))), address) + delay +
           (one.at("relay").is_null() ? "" : ", at " + TextOf(one.at("relay"))) +
           (unread > 0 ? ", " + Bytes(unread) + " unread" : "") + "\n";
}

std::string MeetingLines(const json::object& meeting)
{
    const json::array& attendees = meeting.at("attendees").as_array();
    std::string text = "\nmeeting " + TextOf(meeting.at("code"));
    const json::value& keeper = meeting.at("keeper");
    if (!keeper.is_null()) text += " at " + TextOf(keeper);
    text += ": ";
    if (!meeting.at("told").as_bool())
        return text +
               (keeper.is_null() ? "no relay keeps it at the moment\n" : "that relay has not said more\n");
    if (!meeting.at("open").as_bool()) return text + "nobody has asked for it since the start\n";
    text += std::to_string(attendees.size()) + (attendees.size() == 1 ? " attendee" : " attendees") +
            ", kept " + Bytes(Number(meeting.at("talk_bytes"))) + " of talk and " +
            Bytes(Number(meeting.at("board_bytes"))) + " of board, " +
            Bytes(Number(meeting.at("memory_bytes"))) + " in memory" +
            (!meeting.at("disk_refuses").as_bool() ? ""
             : keeper.is_null()                    ? "; its disk takes nothing"
                                                   : "; its servers take nothing, and it waits") +
            "\n";
    for (const json::value& one : attendees) text += AttendeeLine(one.as_object());
    return text;
}

std::string AccountsLine(const json::value& accounts)
{
    if (accounts.is_null()) return {};
    const json::value& problem = accounts.at("problem");
    return "accounts in " + TextOf(accounts.at("database")) +
           (problem.is_null() ? "\n"
                              : ", away for " + std::to_string(accounts.at("away_seconds").as_int64()) +
                                    " s: " + TextOf(problem) + "\n");
}

std::string RelayLine(const json::object& relay)
{
    constexpr std::size_t name = 22, address = 30, state = 18;
    std::string line =
        "    " + Padded(TextOf(relay.at("name")), name) + Padded(TextOf(relay.at("address")), address);
    if (!relay.at("answered").as_bool()) return line + TextOf(relay.at("state")) + "\n";
    line += Padded(TextOf(relay.at("state")), state) + TextOf(relay.at("version")) + ", up " +
            Span(relay.at("uptime_seconds").to_number<std::int64_t>()) + ", " +
            ConnectionsText(relay.at("connections"));
    if (relay.at("ailment").is_null()) return line + "\n";
    constexpr std::string_view ofItself = "this relay ";
    std::string ailment = TextOf(relay.at("ailment"));
    if (ailment.starts_with(ofItself)) ailment.erase(0, ofItself.size());
    return line + ": " + ailment + "\n";
}

std::string LogLine(const json::value& log)
{
    if (log.is_null()) return {};
    const auto count = [&](const char* name) { return log.at(name).to_number<std::uint64_t>(); };
    std::string line = "meetings in " +
                       (log.at("server").is_null() ? "no server" : TextOf(log.at("server"))) + ", of " +
                       std::to_string(count("servers"));
    if (log.at("answered").as_bool()) {
        line += ": " + std::to_string(count("entries")) + " entries, " + Bytes(Number(log.at("bytes")));
        if (count("limit_bytes") > 0) line += " of " + Bytes(Number(log.at("limit_bytes")));
        line += ", copies: " + std::to_string(count("copies"));
        if (count("copies_behind") > 0) line += ", behind or away: " + std::to_string(count("copies_behind"));
    }
    return line + (log.at("problem").is_null() ? "\n" : "; " + TextOf(log.at("problem")) + "\n");
}

std::string ClusterLine(const json::value& cluster)
{
    if (cluster.is_null()) return {};
    std::string line = "relay " + TextOf(cluster.at("name")) + ", for clients at " +
                       TextOf(cluster.at("advertise")) + "; others:";
    const json::array& others = cluster.at("others").as_array();
    for (const json::value& one : others) line += ' ' + TextOf(one);
    line += others.empty() ? " none\n" : "\n";
    for (const json::value& one : cluster.at("relays").as_array()) line += RelayLine(one.as_object());
    return line + LogLine(cluster.at("log"));
}

std::string BanLine(const json::object& ban)
{
    const auto* address = ban.if_contains("address");
    const json::value& until = ban.at("until");
    return "banned: " + TextOf(address ? *address : ban.at("handle")) +
           (until.is_null() ? "" : " until " + Moment(until.as_int64())) + "\n";
}

}  // namespace

std::string Padded(std::string text, std::size_t columns)
{
    std::size_t shown = 0;
    for (const char c : text) shown += (c & 0xc0) != 0x80;
    text.append(shown < columns ? columns - shown : 1, ' ');
    return text;
}

const char* PressureWord(Pressure pressure)
{
    switch (pressure) {
        case Pressure::DetachLagging: return "those who lag most are cut off";
        case Pressure::RefuseLogins: return "nobody more is let in";
        case Pressure::ShedLive: return "live pictures are dropped";
        case Pressure::None: break;
    }
    return "enough";
}

std::string StatusJson(const ServiceFacts& facts)
{
    json::array meetings, bans;
    for (const auto* const those : {&facts.meetings, &facts.cluster.elsewhere})
        for (const MeetingFacts& one : *those) meetings.push_back(Of(one));
    for (const Ban& one : facts.bans) bans.push_back(Of(one));
    const json::object status{
        {"version", facts.version},
        {"address", facts.address},
        {"fingerprint", facts.fingerprint},
        {"metrics", facts.metrics},
        {"certificate_ends", facts.certificateEnds},
        {"started", facts.startedAt},
        {"uptime_seconds", facts.uptime.count()},
        {"connections", facts.connections},
        {"connections_before_login", facts.beforeLogin},
        {"memory_bytes", facts.memory},
        {"memory_limit_bytes", facts.memoryMost},
        {"memory", PressureWord(facts.pressure)},
        {"log_memory_bytes", facts.logMemory},
        {"accounts", Of(facts.accounts)},
        {"cluster", Of(facts.cluster)},
        {"bans", std::move(bans)},
        {"meetings", std::move(meetings)},
    };
    return JsonWithEscapes(json::serialize(status)) + "\n";
}

std::string StatusText(const std::string& text)
{
    const json::value status = json::parse(text);
    const auto number = [&](const char* name) { return Number(status.at(name)); };
    const double most = number("memory_limit_bytes");
    const json::array& meetings = status.at("meetings").as_array();
    std::string out = "zephyld " + TextOf(status.at("version")) + " at " + TextOf(status.at("address")) +
                      ", up " + Span(status.at("uptime_seconds").to_number<std::int64_t>()) + "\n" +
                      TextOf(status.at("fingerprint")) + ", certificate until " +
                      Moment(status.at("certificate_ends").to_number<std::int64_t>()) + "\nmemory " +
                      Bytes(number("memory_bytes")) + (most > 0 ? " of " + Bytes(most) : "") + " (" +
                      TextOf(status.at("memory")) + "), logs in memory " + Bytes(number("log_memory_bytes")) +
                      "\n" + ConnectionsText(status.at("connections")) + ", " +
                      std::to_string(status.at("connections_before_login").to_number<std::size_t>()) +
                      " without a login; " + std::to_string(meetings.size()) +
                      (meetings.size() == 1 ? " meeting\n" : " meetings\n");
    out += AccountsLine(status.at("accounts"));
    out += ClusterLine(status.at("cluster"));
    for (const json::value& ban : status.at("bans").as_array()) out += BanLine(ban.as_object());
    for (const json::value& meeting : meetings) out += MeetingLines(meeting.as_object());
    return out;
}

}  // namespace zephyl
