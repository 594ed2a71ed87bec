#pragma once
// What the files of the session share.

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <stdexcept>
#include <string>

#include "service/link/opening.h"
#include "service/link/session.h"

namespace zephyl::link {

/// How long a goodbye is waited for when the time for what was under way is over.
inline constexpr std::chrono::milliseconds kLastWord{500};
/// How often the figures of the connection are told anew.
inline constexpr int kDetailsEverySeconds = 5;
inline constexpr std::chrono::seconds kRemarkStays{8};
inline constexpr qsizetype kRemarkLength = 1000;
/// Bytes of a newcomer's board that are not worth a word.
inline constexpr std::uint64_t kNearlyAll = 64 * 1024;

/// One sentence for people; "" for "ok".
std::string RefusalText(Result result);
/// Of a password that is not mailed now.
std::string MailLaterText(std::chrono::milliseconds wait);
/// "Not delivered: 2 lines to bob, 1 drawing to everyone."; "" for none.
QString UndeliveredText(const std::vector<OutboxEntryPtr>& entries);

}  // namespace zephyl::link
