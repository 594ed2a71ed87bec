#include "service/relay/log/meeting_log.h"

#include <utility>

namespace zephyl {
namespace {

/// What `work` makes, or why it does not.
template <class Made, class Work>
std::pair<std::exception_ptr, Made> Tried(Work work)
{
    try {
        return {nullptr, work()};
    } catch (const std::exception&) {
        return {std::current_exception(), Made()};
    }
}

}  // namespace

void MeetingLog::OpenLater(Opened opened)
{
    auto [trouble, contents] = Tried<LogContents>([this] { return Open(); });
    opened(trouble, std::move(contents));
}

void MeetingLog::ReplayLater(Take take, ReplayDone done)
{
    const auto [trouble, replayed] = Tried<Replayed>([&] { return Replay(take); });
    done(trouble, replayed);
}

}  // namespace zephyl
