#pragma once
// Every bound of the wire, once. Sizes in bytes. Client and relay include it; the relay repeats
// the first five in Welcome so that a client of another version can follow them.

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace zephyl {

inline constexpr std::uint32_t kProtocolVersion = 1;
inline constexpr std::uint16_t kDefaultPort = 7420;
inline constexpr char kAlpn[] = "zephyl/1";
inline constexpr char kHttpAlpn[] = "http/1.1";

// One frame: 32-bit length | 16-bit header length | header | body.
inline constexpr std::size_t kBodyBytes = 16 * 1024;
inline constexpr std::size_t kHeaderBytesUp = 4 * 1024;
inline constexpr std::size_t kHeaderBytesDown = 64 * 1024;
inline constexpr std::size_t kRecipientListBytes = 3 * 1024;  // a longer list becomes several posts

// Items.
inline constexpr std::size_t kTypedTextBytes = 16'384;
inline constexpr std::size_t kTextBytes = 40'960;  // enciphering doubles a text
inline constexpr std::size_t kRecordBytes = 8 * 1024 * 1024;
inline constexpr std::size_t kPictureBytes = 4 * 1024 * 1024;
inline constexpr std::size_t kLiveFrameBytes = 512 * 1024;
inline constexpr std::size_t kApplicationImageBytes = 4 * 1024 * 1024;

// Live pictures of one session: what the service takes unless its operator says otherwise.
inline constexpr std::size_t kLiveFramesEachSecond = 30;
inline constexpr std::size_t kLiveBytesEachSecond = 4 * 1024 * 1024;

// Voice. A packet is 20 ms: what Opus makes of them at 40 kbit/s, three times.
inline constexpr std::size_t kVoiceBytes = 320;
inline constexpr std::size_t kVoicePacketsEachSecond = 60;  // of one session; two seconds' at once
inline constexpr std::size_t kVoiceTogetherBytes = 1'000;   // of several packets in one datagram
inline constexpr std::uint32_t kVoiceLevelMost = 127;       // decibels below full scale: silence
inline constexpr std::size_t kVoiceWaiting = 64;  // packets towards one peer; then the newest is lost
inline constexpr std::chrono::milliseconds kVoiceStale{200};  // nobody waits for an older one
inline constexpr std::size_t kVoiceSmallMeeting = 8;          // attendees; in a larger one a receiver hears
inline constexpr std::size_t kVoiceSpeakers = 3;              // the loudest of them

// Queues.
inline constexpr std::size_t kOutboxBytes = 32 * 1024 * 1024;
inline constexpr std::size_t kBatchBytes = 64 * 1024;
inline constexpr std::size_t kTalkWindowBytes = 1024 * 1024;
inline constexpr std::size_t kBoardWindowBytes = 4 * 1024 * 1024;
inline constexpr std::size_t kTalkKeptBytes = 16 * 1024 * 1024;
inline constexpr std::size_t kBoardKeptBytes = 256 * 1024 * 1024;
inline constexpr std::size_t kLogInMemoryBytes = 32 * 1024 * 1024;
inline constexpr std::size_t kLogsInMemoryBytes = 256 * 1024 * 1024;
inline constexpr std::size_t kBeforeLoginBytes = 8 * 1024;

inline constexpr int kSeatsPerMeeting = 200;
inline constexpr int kStreamsPerHandle = 8;

// Other relays of a service, as Welcome names them: what is more or longer is not taken.
inline constexpr std::size_t kRelaysNamed = 16;
inline constexpr std::size_t kRelayAddressBytes = 262;  // a host name of 253, brackets, a port

// The same frames in numbered HTTP exchanges.
inline constexpr std::size_t kHttpHeadBytes = 8 * 1024;
inline constexpr std::size_t kHttpBodyBytes = 1024 * 1024;
inline constexpr std::chrono::seconds kHttpLongestPoll{10};
inline constexpr std::chrono::seconds kHttpLostAfter{30};  // without an exchange
inline constexpr std::size_t kHttpLiveFramesEachSecond = 5;

// When a receiver says how far it has read.
inline constexpr int kReadEveryItems = 256;
inline constexpr std::size_t kReadEveryBytes = 1024 * 1024;
inline constexpr std::chrono::seconds kReadEvery{1};

inline constexpr std::chrono::seconds kPingAfterSilence{5};
inline constexpr std::chrono::seconds kLostAfterSilence{15};
inline constexpr std::chrono::seconds kBeforeLogin{10};
inline constexpr std::chrono::seconds kCallTime{10};

}  // namespace zephyl
