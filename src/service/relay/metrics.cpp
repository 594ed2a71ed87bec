#include "service/relay/metrics.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>

#include "service/relay/counters.h"
#include "service/relay/report.h"

namespace zephyl {
namespace {

/// One family after the other, each with its samples. The forms differ in where "_total" stands.
class Page {
public:
    explicit Page(MetricsForm form) : mOpen(form == MetricsForm::OpenMetrics) {}

    Page& Gauge(const std::string& name, const char* help) { return Family(name, name, "gauge", help); }
    /// `name` without "_total".
    Page& Counter(const std::string& name, const char* help)
    {
        return Family(mOpen ? name : name + "_total", name + "_total", "counter", help);
    }
    Page& Histogram(const std::string& name, const char* help, const Durations& durations)
    {
        Family(name, name, "histogram", help);
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < durations.counts.size(); ++i) {
            sum += durations.counts[i];
            const std::string bound = i < Durations::kBounds.size() ? Text(Durations::kBounds[i]) : "+Inf";
            Line(name + "_bucket", "le=\"" + bound + "\"", Text(static_cast<double>(sum)));
        }
        Line(name + "_sum", "", Text(static_cast<double>(durations.microseconds) / 1e6));
        Line(name + "_count", "", Text(static_cast<double>(sum)));
        return *this;
    }
    template <class Number>
    Page& Is(Number value, const std::string& labels = {})
    {
        Line(mSample, labels, Text(static_cast<double>(value)));
        return *this;
    }
    std::string Whole() && { return std::move(mPage) + "# EOF\n"; }

private:
    Page& Family(const std::string& family, const std::string& sample, const char* type, const char* help)
    {
        mSample = sample;
        mPage += "# HELP " + family + " " + help + "\n# TYPE " + family + " " + type + "\n";
        return *this;
    }
    void Line(const std::string& name, const std::string& labels, const std::string& value)
    {
        mPage += name + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
    }
    static std::string Text(double value)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.15g", value);
        return text;
    }

    const bool mOpen;
    std::string mSample, mPage;
};

/// What is put between the quotes of a label.
std::string Label(const std::string& name, const std::string& value)
{
    std::string text = name + "=\"";
    for (const char c : value) {
        if (c == '\\' || c == '"') text += '\\';
        text += c == '\n' ? ' ' : c;
    }
    return text + "\"";
}

std::size_t OpenDescriptors()
{
    std::error_code none;
    const std::filesystem::directory_iterator all("/proc/self/fd", none), end;
    return static_cast<std::size_t>(std::distance(all, end));
}

void PutProcess(Page& page, const ServiceFacts& facts)
{
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    rlimit most{};
    ::getrlimit(RLIMIT_NOFILE, &most);
    page.Counter("process_cpu_seconds", "Processor time used.")
        .Is(seconds(used.ru_utime) + seconds(used.ru_stime));
    page.Gauge("process_resident_memory_bytes", "Memory in use.").Is(facts.memory);
    page.Gauge("process_open_fds", "Descriptors in use.").Is(OpenDescriptors());
    page.Gauge("process_max_fds", "Descriptors that there may be.").Is(most.rlim_cur);
    page.Gauge("process_start_time_seconds", "When the service was started, since 1970.").Is(facts.startedAt);
}

void PutMeetings(Page& page, const ServiceFacts& facts)
{
    std::map<std::string, std::size_t> byProtocol{{"http", 0}, {"tcp", 0}, {"udp", 0}},
        byState{{"present", 0}, {"cut off", 0}, {"away", 0}};
    std::size_t open = 0, talk = 0, board = 0, refusing = 0, unread = 0;
    for (const MeetingFacts& meeting : facts.meetings) {
        open += meeting.open;
        talk += meeting.log.talk;
        board += meeting.log.board;
        refusing += meeting.log.refused;
        for (const AttendeeFacts& one : meeting.attendees) {
            ++byState[one.state];
            if (!one.protocol.empty()) ++byProtocol[one.protocol];
            unread += one.unreadBytes;
        }
    }
    page.Gauge("zephyl_meetings", "Meetings that can be joined.").Is(facts.meetings.size());
    page.Gauge("zephyl_meetings_open", "Meetings that somebody has asked for since the start.").Is(open);
    page.Gauge("zephyl_meetings_disk_refuses", "Meetings whose disk takes nothing; they go on in memory.")
        .Is(refusing);
    page.Gauge("zephyl_attendees", "People in meetings, by what their connection is.");
    for (const auto& [state, count] : byState) page.Is(count, Label("state", state));
    page.Gauge("zephyl_attendees_connected", "People in meetings with a connection, by its protocol.");
    for (const auto& [protocol, count] : byProtocol) page.Is(count, Label("protocol", protocol));
    page.Gauge("zephyl_unread_bytes", "What waits for attendees.").Is(unread);
    page.Gauge("zephyl_log_bytes", "What is kept of meetings, by channel.");
    page.Is(talk, Label("channel", "talk")).Is(board, Label("channel", "board"));
    page.Gauge("zephyl_log_memory_bytes", "What stands in memory of it.").Is(facts.logMemory);
}

void PutCluster(Page& page, const ClusterFacts& cluster)
{
    if (!cluster.shares) return;
    std::map<std::string, std::size_t> byState{{"in touch", 0}, {"gone", 0}};
    for (const RelayFacts& one : cluster.relays) ++byState[one.state];
    page.Gauge("zephyl_relays", "Relays that this one knows of, itself among them.");
    for (const auto& [state, count] : byState) page.Is(count, Label("state", state));
    const EngineFacts& engine = cluster.engine;
    page.Gauge("zephyl_log_servers_connected", "1: one of the servers that keep the meetings is connected.")
        .Is(engine.connected ? 1 : 0);
    page.Gauge("zephyl_log_servers_answer", "1: enough of them are there, so that they take something.")
        .Is(engine.answered ? 1 : 0);
    if (!engine.answered) return;
    page.Gauge("zephyl_log_servers_entries", "Entries that stand there, of all meetings.").Is(engine.entries);
    page.Gauge("zephyl_log_servers_bytes", "The same in bytes.").Is(engine.bytes);
    page.Gauge("zephyl_log_servers_limit_bytes", "How many there may be; 0: what the disks take.")
        .Is(engine.limitBytes);
    page.Gauge("zephyl_log_servers_copies_behind",
               "Of the copies those that are away, or have not caught up.")
        .Is(engine.copiesBehind);
}

}  // namespace

const char* MetricsType(MetricsForm form)
{
    return form == MetricsForm::OpenMetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                            : "text/plain; version=0.0.4; charset=utf-8";
}

std::string Metrics(const ServiceFacts& facts, const Counters& counters, MetricsForm form)
{
    Page page(form);
    page.Gauge("zephyl_build_info", "The service's version.").Is(1, Label("version", facts.version));
    PutMeetings(page, facts);
    page.Gauge("zephyl_connections", "Connections.").Is(facts.connections);
    page.Gauge("zephyl_connections_before_login", "Connections that have not logged in.")
        .Is(facts.beforeLogin);
    page.Counter("zephyl_connections_taken", "Connections that were taken.").Is(counters.connections.load());
    page.Counter("zephyl_connections_refused", "Connections that were turned away, by reason.")
        .Is(counters.banned.load(), Label("reason", "banned"))
        .Is(counters.tooMany.load(), Label("reason", "too many"));
    page.Counter("zephyl_logins", "Logins, by what was answered.")
        .Is(counters.loginsOk.load(), Label("result", "ok"))
        .Is(counters.loginsWrong.load(), Label("result", "wrong"))
        .Is(counters.loginsLater.load(), Label("result", "later"))
        .Is(counters.loginsBanned.load(), Label("result", "banned"));
    page.Counter("zephyl_received_bytes", "Bytes of frames from clients.").Is(counters.receivedBytes.load());
    page.Counter("zephyl_sent_bytes", "Bytes of frames to clients.").Is(counters.sentBytes.load());
    page.Counter("zephyl_posts", "Lines, records and pictures that clients sent.").Is(counters.posts.load());
    page.Counter("zephyl_live_frames", "Camera and window pictures that clients sent.")
        .Is(counters.liveFrames.load());
    page.Counter("zephyl_voice_packets", "Packets of voice that clients sent, of 20 ms each.")
        .Is(counters.voice.load());
    page.Histogram("zephyl_round_trip_seconds", "To a client and back, as pings were answered.",
                   counters.delays);
    page.Gauge("zephyl_memory_limit_bytes", "Memory that the service may use; 0: no limit.")
        .Is(facts.memoryMost);
    page.Gauge(
            "zephyl_memory_pressure",
            "0: enough. 1: live pictures are dropped. 2: nobody more is let in. 3: who lags most is cut off.")
        .Is(static_cast<int>(facts.pressure));
    page.Gauge("zephyl_accounts_away", "1: the database of the accounts does not answer; nobody can log in.")
        .Is(facts.accounts.problem.empty() ? 0 : 1);
    PutCluster(page, facts.cluster);
    page.Gauge("zephyl_bans", "Bans that hold.").Is(facts.bans.size());
    page.Gauge("zephyl_certificate_end_time_seconds", "When the certificate ends, since 1970.")
        .Is(facts.certificateEnds);
    PutProcess(page, facts);
    return std::move(page).Whole();
}

std::string Ailment(const ServiceFacts& facts)
{
    if (facts.pressure >= Pressure::RefuseLogins) return PressureWord(facts.pressure);
    if (!facts.accounts.problem.empty()) return "the accounts' database is away";
    if (facts.cluster.shares && facts.cluster.relays.front().state != std::string("in touch"))
        return std::string("this relay takes nobody: ") + facts.cluster.relays.front().state;
    const bool refused = std::any_of(facts.meetings.begin(), facts.meetings.end(),
                                     [](const MeetingFacts& one) { return one.log.refused; });
    if (refused)
        return facts.cluster.shares ? "the servers of the meetings take nothing" : "the disk takes nothing";
    return "";
}

}  // namespace zephyl
