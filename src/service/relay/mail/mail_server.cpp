#include "service/relay/mail/mail_server.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <sstream>

#include "files/careful_file.h"
#include "service/relay/mail/mail_address.h"
#include "service/relay/private_folder.h"
#include "service/relay/this_computer.h"

namespace zephyl {
namespace {

using Tls = MailOptions::Tls;

constexpr std::size_t kSecretBytes = 4096;
constexpr long kRefused = 400;  // from this reply on
constexpr std::chrono::seconds kGoodbye{1};

bool IsHost(const std::string& host)
{
    in6_addr v6{};
    if (::inet_pton(AF_INET6, host.c_str(), &v6) == 1) return true;
    return !host.empty() && std::all_of(host.begin(), host.end(), [](unsigned char c) {
        return std::isalnum(c) || c == '.' || c == '-';
    });
}

bool PlainLine(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' ' && c != 0x7f; });
}

void Require(bool good, const std::string& otherwise)
{
    if (!good) throw StartError("mail: " + otherwise);
}

struct EasyEnd {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct ListEnd {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// The way of a letter, as libcurl's calls back tell it.
struct Way {
    using Clock = std::chrono::steady_clock;

    const std::atomic<bool>& stop;
    std::string_view rest;
    bool ended = false;  // all of it was handed over
    std::optional<Clock::time_point> taken;
};

std::size_t Read(char* to, std::size_t size, std::size_t count, void* from)
{
    auto& way = *static_cast<Way*>(from);
    const std::size_t part = std::min(size * count, way.rest.size());
    std::memcpy(to, way.rest.data(), part);
    way.rest.remove_prefix(part);
    way.ended = part == 0;
    return part;
}

std::size_t Hear(char* reply, std::size_t size, std::size_t count, void* of)
{
    auto& way = *static_cast<Way*>(of);
    if (way.ended && !way.taken && std::string_view(reply, size * count).starts_with("250"))
        way.taken = Way::Clock::now();
    return size * count;
}

std::size_t Forget(char*, std::size_t size, std::size_t count, void*)
{
    return size * count;
}

/// Once it has the letter, a server need not be waited for.
int Over(void* of, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    const auto& way = *static_cast<const Way*>(of);
    return way.stop || (way.taken && Way::Clock::now() - *way.taken > kGoodbye);
}

/// One conversation with the server.
class Conversation {
public:
    Conversation(const MailOptions& options, const std::string& password, std::chrono::milliseconds limit)
        : mEasy(curl_easy_init())
    {
        if (!mEasy) throw std::runtime_error("libcurl does not start");
        const bool v6 = options.server.find(':') != std::string::npos;
        std::string url = options.tls == Tls::FromTheStart ? "smtps://" : "smtp://";
        url += v6 ? "[" + options.server + "]" : options.server;
        url += ":" + std::to_string(options.port ? options.port : UsualPort(options.tls));
        Set(CURLOPT_URL, url.c_str());
        Set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
        Set(CURLOPT_PROXY, "");  // whatever the environment says: mail goes straight to its server
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_ERRORBUFFER, mProblem.data());
        Set(CURLOPT_TIMEOUT_MS, long(limit.count()));
        Set(CURLOPT_CONNECTTIMEOUT_MS, long(limit.count()));
        // Each wait has an end, the last one for a goodbye too, and none is left to the destructor.
        Set(CURLOPT_SERVER_RESPONSE_TIMEOUT, long(std::chrono::ceil<std::chrono::seconds>(limit).count()));
        Set(CURLOPT_FORBID_REUSE, 1L);
        Set(CURLOPT_QUICK_EXIT, 1L);
        Set(CURLOPT_WRITEFUNCTION, &Forget);
        Set(CURLOPT_USE_SSL, long(options.tls == Tls::None ? CURLUSESSL_NONE : CURLUSESSL_ALL));
        Set(CURLOPT_SSLVERSION, long(CURL_SSLVERSION_TLSv1_2));
        Set(CURLOPT_SSL_VERIFYPEER, 1L);
        Set(CURLOPT_SSL_VERIFYHOST, 2L);
        if (!options.authorities.empty()) {
            Set(CURLOPT_CAINFO, options.authorities.c_str());
            Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
        }
        if (options.user.empty()) return;
        Set(CURLOPT_USERNAME, options.user.c_str());
        Set(CURLOPT_PASSWORD, password.c_str());
    }

    template <class Value>
    void Set(CURLoption option, Value value)
    {
        if (curl_easy_setopt(mEasy.get(), option, value) != CURLE_OK)
            throw std::runtime_error("libcurl refuses an option");
    }
    CURLcode Run() { return curl_easy_perform(mEasy.get()); }
    /// Of the server, the last one; 0: none.
    long Reply() const
    {
        long code = 0;
        curl_easy_getinfo(mEasy.get(), CURLINFO_RESPONSE_CODE, &code);
        return code;
    }
    std::string Problem(CURLcode code) const
    {
        const std::string problem = mProblem[0] ? mProblem.data() : curl_easy_strerror(code);
        if (code != CURLE_WEIRD_SERVER_REPLY || Reply() == 0) return problem;
        return problem + ": " + std::to_string(Reply());  // libcurl names it at other steps only
    }

private:
    static unsigned UsualPort(Tls tls) { return tls == Tls::StartTls ? 587 : tls == Tls::None ? 25 : 465; }

    std::unique_ptr<CURL, EasyEnd> mEasy;
    std::array<char, CURL_ERROR_SIZE> mProblem{};
};

std::string Secret(const MailOptions& options)
{
    if (options.passwordFile.empty()) return {};
    std::string line;
    try {
        std::istringstream file(files::ReadNamed(options.passwordFile, kSecretBytes, files::Owner::Private));
        std::getline(file, line);
    } catch (const files::FileProblem& problem) {
        throw StartError(std::string("mail: cannot read the password: ") + problem.what());
    }
    if (line.ends_with('\r')) line.pop_back();
    Require(!line.empty(), "there is no password in " + options.passwordFile.string());
    Require(PlainLine(line), "the password in " + options.passwordFile.string() + " has control characters");
    return line;
}

void RequireReadable(const std::filesystem::path& file)
{
    try {
        constexpr std::size_t kMost = 16 * 1024 * 1024;
        files::ReadNamed(file, kMost, files::Owner::Anybody);
    } catch (const files::FileProblem& problem) {
        throw StartError(std::string("mail: cannot read the authorities: ") + problem.what());
    }
}

}  // namespace

void CheckMail(const MailOptions& options)
{
    if (!options.On()) {
        Require(options.user.empty() && options.passwordFile.empty() && options.from.empty() &&
                    options.authorities.empty() && options.port == 0,
                "server is missing");
        return;
    }
    Require(IsHost(options.server), "server is a host name or an address, without a port");
    Require(!options.from.empty(), "from is missing: the address that the mail comes from");
    const auto fault = MailAddressFault(options.from);
    Require(!fault, "from: " + fault.value_or(""));
    Require(options.user.empty() == options.passwordFile.empty(), "user and password_file belong together");
    Require(PlainLine(options.user), "user has control characters");
    Require(options.tls != Tls::None || NamesThisComputer(options.server),
            "tls = \"none\" is for a server on this computer only (localhost, 127.0.0.1, ::1): anybody on "
            "the way "
            "to " +
                options.server + " could read the passwords. Use starttls or tls");
}

MailServer::MailServer(const MailOptions& options) : mOptions(options)
{
    CheckMail(options);
    mPassword = Secret(options);
    if (!options.authorities.empty()) RequireReadable(options.authorities);
    static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
    Require(started == CURLE_OK, "libcurl does not start");
}

MailServer::Outcome MailServer::Send(const std::string& from, const std::string& to,
                                     const std::string& letter, std::chrono::milliseconds limit,
                                     const std::atomic<bool>& stop) const
{
    Conversation talk(mOptions, mPassword, limit);
    const std::unique_ptr<curl_slist, ListEnd> recipients(curl_slist_append(nullptr, to.c_str()));
    Way way{stop, letter, false, {}};
    talk.Set(CURLOPT_MAIL_FROM, from.c_str());
    talk.Set(CURLOPT_MAIL_RCPT, recipients.get());
    talk.Set(CURLOPT_UPLOAD, 1L);
    talk.Set(CURLOPT_READFUNCTION, &Read);
    talk.Set(CURLOPT_READDATA, &way);
    talk.Set(CURLOPT_HEADERFUNCTION, &Hear);
    talk.Set(CURLOPT_HEADERDATA, &way);
    talk.Set(CURLOPT_NOPROGRESS, 0L);
    talk.Set(CURLOPT_XFERINFOFUNCTION, &Over);
    talk.Set(CURLOPT_XFERINFODATA, &way);
    const CURLcode code = talk.Run();
    if (code == CURLE_OK || way.taken) return {Taken::Yes, {}};
    const bool unclear = way.ended && talk.Reply() < kRefused;
    return {unclear ? Taken::Perhaps : Taken::No, talk.Problem(code)};
}

std::optional<std::string> MailServer::Fault(std::chrono::milliseconds limit) const
{
    Conversation talk(mOptions, mPassword, limit);
    talk.Set(CURLOPT_CUSTOMREQUEST, "NOOP");
    talk.Set(CURLOPT_NOBODY, 1L);
    const CURLcode code = talk.Run();
    if (code == CURLE_OK) return std::nullopt;
    return talk.Problem(code);
}

std::optional<std::string> MailFault(const MailOptions& options, std::chrono::milliseconds limit)
{
    if (!options.On()) return std::nullopt;
    try {
        return MailServer(options).Fault(limit);
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace zephyl
