#include "service/relay/mail/letter.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <stdexcept>
#include <string_view>

#include "service/relay/mail/mail_address.h"

namespace zephyl {
namespace {

using std::chrono::system_clock;

constexpr std::size_t kLine = 76;  // characters of quoted-printable

std::tm Utc(system_clock::time_point at)
{
    const std::time_t seconds = system_clock::to_time_t(at);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    return parts;
}

/// English whatever the locale.
std::string MailDate(system_clock::time_point at)
{
    constexpr std::array days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::tm parts = Utc(at);
    std::array<char, 32> rest{};
    std::strftime(rest.data(), rest.size(), "%Y %H:%M:%S +0000", &parts);
    return std::string(days[std::size_t(parts.tm_wday)]) + ", " + std::to_string(parts.tm_mday) + " " +
           months[std::size_t(parts.tm_mon)] + " " + rest.data();
}

std::string QuotedPrintable(std::string_view text)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    std::size_t line = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '\n') {
            out += "\r\n";
            line = 0;
            continue;
        }
        const bool lastOfLine = i + 1 == text.size() || text[i + 1] == '\n';
        const bool plain = (c > ' ' && c < 0x7f && c != '=') || (c == ' ' && !lastOfLine);
        if (line + (plain ? 1 : 3) > kLine - 1) {
            out += "=\r\n";
            line = 0;
        }
        if (plain)
            out += char(c);
        else
            (out += '=').append({digits[c >> 4], digits[c & 15]});
        line += plain ? 1 : 3;
    }
    return out;
}

bool OneAsciiLine(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' ' && c < 0x7f; });
}

}  // namespace

Letter PasswordLetter(const std::string& from, const std::string& to, const std::string& handle,
                      const std::string& password, system_clock::time_point until)
{
    const std::tm parts = Utc(until);
    std::array<char, 16> hour{};
    std::strftime(hour.data(), hour.size(), "%H:%M", &parts);
    return {from, to, "Your password for Zephyl meetings",
            "Hello " + handle +
                ",\n\n"
                "somebody, most likely you, asked for your password. Nobody knows that one,\n"
                "so here is a new one:\n\n"
                "    " +
                password +
                "\n\n"
                "It is good until " +
                hour.data() +
                " UTC, for 15 minutes. As soon as you log in with it, it\n"
                "takes the place of your old password. \"zephyl password\" changes it to one\n"
                "of your own.\n\n"
                "If it was not you, do nothing: your old password stays as it is. Tell this\n"
                "one to nobody.\n"};
}

std::string LetterBytes(const Letter& letter, const std::string& id, system_clock::time_point now)
{
    for (const std::string& address : {letter.from, letter.to})
        if (const auto fault = MailAddressFault(address)) throw std::invalid_argument(*fault);
    if (!OneAsciiLine(letter.subject) || !OneAsciiLine(id))
        throw std::invalid_argument("a letter's subject is one line of ASCII");
    return "Date: " + MailDate(now) + "\r\nFrom: <" + letter.from + ">\r\nTo: <" + letter.to +
           ">\r\nSubject: " + letter.subject + "\r\nMessage-ID: <" + id + "@" +
           letter.from.substr(letter.from.find('@') + 1) +
           ">\r\nAuto-Submitted: auto-generated\r\nMIME-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" +
           QuotedPrintable(letter.text);
}

}  // namespace zephyl
