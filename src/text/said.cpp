#include "text/said.h"

#include <QCoreApplication>
#include <QStringList>
#include <optional>

namespace {

/// More telling ones stand in front of those that would take them, too.
constexpr const char* kSentences[] = {
    // the state of the connection
    QT_TRANSLATE_NOOP("Said", "Not in a meeting"),
    QT_TRANSLATE_NOOP("Said", "Cut off, trying again: %1"),
    QT_TRANSLATE_NOOP("Said", "Receiving the board: %1 %"),
    QT_TRANSLATE_NOOP("Said", "The connection is back."),
    QT_TRANSLATE_NOOP("Said", "Back in the meeting."),
    QT_TRANSLATE_NOOP("Said", "%1 (and %2 more remarks)"),
    QT_TRANSLATE_NOOP("Said", "At the relay %1: %2"),
    QT_TRANSLATE_NOOP("Said", "%1, round trip %2 ms, %3 bytes sent, %4 bytes received"),
    QT_TRANSLATE_NOOP("Said", "%1, %2 bytes sent, %3 bytes received"),
    QT_TRANSLATE_NOOP("Said", "TLS over TCP"),
    QT_TRANSLATE_NOOP("Said", "HTTP inside TLS"),
    QT_TRANSLATE_NOOP("Said", "TLS over TCP; live pictures by UDP (lost: %1 % up and %2 % down)"),
    QT_TRANSLATE_NOOP("Said", "TLS over TCP; own live pictures by UDP (lost: %1 % up and %2 % down)"),
    QT_TRANSLATE_NOOP("Said", "TLS over TCP; live pictures of others by UDP (lost: %1 % up and %2 % down)"),
    QT_TRANSLATE_NOOP("Said", "TLS over TCP; live pictures, too: UDP does not pass"),
    QT_TRANSLATE_NOOP("Said", "Much is waiting to be sent: it goes out by itself."),
    QT_TRANSLATE_NOOP("Said", "The voice companion finds no way to the meeting: %1"),
    QT_TRANSLATE_NOOP(
        "Said", "Something is missing: it was too long ago for the service to keep it. Ask the others."),
    QT_TRANSLATE_NOOP("Said", "Something may be missing: this client was away for too long. Ask the others."),
    QT_TRANSLATE_NOOP("Said", "The service did not hear that the meeting was left: %1"),
    // what was not delivered
    QT_TRANSLATE_NOOP("Said", "Not delivered: %1."),
    QT_TRANSLATE_NOOP("Said", "%1; %2"),
    QT_TRANSLATE_NOOP("Said", "1 line to %1"),
    QT_TRANSLATE_NOOP("Said", "%1 lines to %2"),
    QT_TRANSLATE_NOOP("Said", "1 drawing to %1"),
    QT_TRANSLATE_NOOP("Said", "%1 drawings to %2"),
    QT_TRANSLATE_NOOP("Said", "everyone"),
    // why a service was not reached, or is no more
    QT_TRANSLATE_NOOP(
        "Said",
        "The service %1 cannot be reached: %2. Check its address and your network, then try again. "
        "Where a network lets only web traffic out, \"HTTP\" among the advanced options may get "
        "through."),
    QT_TRANSLATE_NOOP(
        "Said", "The service %1 cannot be reached: %2. Check its address and your network, then try again."),
    QT_TRANSLATE_NOOP(
        "Said",
        "The service %1 cannot be reached through the proxy %2: %3. Check both addresses and your "
        "network, then try again."),
    QT_TRANSLATE_NOOP(
        "Said",
        "The proxy cannot be understood: it is written as http://HOST:PORT, with NAME:PASSWORD@ "
        "before the host where it asks for them."),
    QT_TRANSLATE_NOOP("Said", "the service does not know this connection any more"),
    QT_TRANSLATE_NOOP("Said", "the service has too many connections from here that have not logged in"),
    QT_TRANSLATE_NOOP("Said", "it answers with HTTP status %1"),
    QT_TRANSLATE_NOOP("Said", "no messaging service answers"),
    QT_TRANSLATE_NOOP("Said", "the proxy asks for a name and a password, or does not take those given"),
    QT_TRANSLATE_NOOP("Said",
                      "the proxy lets nobody through to there (HTTP status 403); many allow port 443 only"),
    QT_TRANSLATE_NOOP("Said", "the proxy answers with HTTP status %1"),
    QT_TRANSLATE_NOOP("Said", "the proxy closed the connection"),
    QT_TRANSLATE_NOOP("Said", "what answers there is no proxy"),
    QT_TRANSLATE_NOOP("Said",
                      "The service of this computer cannot be used: %1. Name another one under \"Service:\", "
                      "or try again."),
    QT_TRANSLATE_NOOP("Said", "The service %1 changed its key just now. Try again."),
    QT_TRANSLATE_NOOP("Said",
                      "The key of the service %1 was not accepted, so nothing was sent. Compare it with what "
                      "the service's operator gave you, then try again."),
    QT_TRANSLATE_NOOP(
        "Said",
        "The key of the service %1 is not the one that was accepted before. Nothing was sent: somebody else "
        "may pretend to be it. Ask its operator whether the key was changed. It is now %2."),
    QT_TRANSLATE_NOOP("Said", "The key of the service has changed."),
    QT_TRANSLATE_NOOP(
        "Said",
        "\"%1\" is not the address of a service: that is HOST or HOST:PORT, or nothing for this computer."),
    QT_TRANSLATE_NOOP("Said", "it does not answer"),
    QT_TRANSLATE_NOOP("Said", "The service does not answer. Try again in a moment."),
    QT_TRANSLATE_NOOP("Said",
                      "The service speaks another version. Update this program, or ask its operator to "
                      "update the service."),
    QT_TRANSLATE_NOOP("Said", "The service ended the session. Log in again."),
    QT_TRANSLATE_NOOP("Said", "The service refused and does not say why. Ask its operator."),
    QT_TRANSLATE_NOOP("Said",
                      "The service is busy, or has seen too many wrong tries. Try again in a minute."),
    QT_TRANSLATE_NOOP("Said", "There is no session."),
    QT_TRANSLATE_NOOP("Said", "the service closed the connection"),
    QT_TRANSLATE_NOOP("Said", "the service does not answer"),
    QT_TRANSLATE_NOOP("Said", "the service takes nothing"),
    QT_TRANSLATE_NOOP("Said", "the connection is lost"),
    QT_TRANSLATE_NOOP("Said", "nothing heard for 15 seconds"),
    QT_TRANSLATE_NOOP("Said", "nothing was heard behind the return"),
    QT_TRANSLATE_NOOP("Said", "this computer slept"),
    QT_TRANSLATE_NOOP("Said", "nobody answers there"),
    QT_TRANSLATE_NOOP("Said", "no answer"),
    QT_TRANSLATE_NOOP("Said", "it does not answer the TLS handshake"),
    QT_TRANSLATE_NOOP("Said", "it has no address"),
    QT_TRANSLATE_NOOP("Said", "its name is not answered for"),
    QT_TRANSLATE_NOOP("Said", "it runs, but does not answer"),
    QT_TRANSLATE_NOOP("Said", "it was started, but does not answer"),
    QT_TRANSLATE_NOOP("Said", "the program zephyld is not found"),
    QT_TRANSLATE_NOOP("Said", "zephyld was started and says nothing"),
    QT_TRANSLATE_NOOP("Said", "cannot run zephyld: %1"),
    QT_TRANSLATE_NOOP("Said", "Connection refused"),
    QT_TRANSLATE_NOOP("Said", "Connection reset by peer"),
    QT_TRANSLATE_NOOP("Said", "Broken pipe"),
    QT_TRANSLATE_NOOP("Said", "No route to host"),
    QT_TRANSLATE_NOOP("Said", "Network is unreachable"),
    QT_TRANSLATE_NOOP("Said", "Connection timed out"),
    QT_TRANSLATE_NOOP("Said", "Name or service not known"),
    QT_TRANSLATE_NOOP("Said", "Temporary failure in name resolution"),
    // what a service refuses
    QT_TRANSLATE_NOOP("Said",
                      "The handle or the password is wrong: type both again. Where people choose their "
                      "handles themselves, this one may be taken: choose another one."),
    QT_TRANSLATE_NOOP("Said", "This handle is logged in from another place. Leave there first."),
    QT_TRANSLATE_NOOP("Said",
                      "This handle has logged in from another place. Log in again to come back here."),
    QT_TRANSLATE_NOOP("Said", "This handle may not enter the meeting. Ask the service's operator."),
    QT_TRANSLATE_NOOP("Said", "The meeting code is in use. Join that meeting, or choose another code."),
    QT_TRANSLATE_NOOP("Said", "No meeting has this code. Check it, or start the meeting."),
    QT_TRANSLATE_NOOP("Said", "The meeting has ended. Start it anew, or join another one."),
    QT_TRANSLATE_NOOP("Said", "The meeting is full. Meet under another code."),
    QT_TRANSLATE_NOOP("Said", "You were removed from the meeting."),
    QT_TRANSLATE_NOOP("Said", "The operator of the service has banned you."),
    QT_TRANSLATE_NOOP("Said", "The operator of the service has closed this meeting."),
    QT_TRANSLATE_NOOP("Said", "The password was changed."),
    QT_TRANSLATE_NOOP("Said", "The account was removed."),
    QT_TRANSLATE_NOOP("Said", "This handle may not enter meetings any more."),
    QT_TRANSLATE_NOOP("Said", "the service restarts"),
    QT_TRANSLATE_NOOP("Said", "too much was sent"),
    QT_TRANSLATE_NOOP("Said", "This service sends no mail. Ask its operator for a new password."),
    QT_TRANSLATE_NOOP(
        "Said", "The service has no mail address for this handle. Ask its operator for a new password."),
    QT_TRANSLATE_NOOP(
        "Said",
        "The service could not send the mail. Try again later, or ask its operator for a new password."),
    QT_TRANSLATE_NOOP("Said",
                      "The mail server has not taken the mail yet. Look into your mailbox in a few minutes, "
                      "before you ask again."),
    QT_TRANSLATE_NOOP(
        "Said",
        "A password was mailed a short while ago, or too many are asked for. Look into your mailbox; another "
        "one can be asked for in %1 min."),
    QT_TRANSLATE_NOOP("Said", "That is longer than a handle, a password and a host name can be. Shorten it."),
    QT_TRANSLATE_NOOP("Said",
                      "The password has characters that Windows-1252 does not know. Choose another one."),
    // cameras, video files and windows
    QT_TRANSLATE_NOOP("Said", "The camera %1 has been unplugged."),
    QT_TRANSLATE_NOOP("Said", "The camera %1 stopped working."),
    QT_TRANSLATE_NOOP("Said", "The video file can no longer be read."),
    // what an error box says of a procedure
    QT_TRANSLATE_NOOP("Said", "There is no meeting to send to."),
    // invitations, and letting others in
    QT_TRANSLATE_NOOP(
        "Said",
        "The key of the service %1 is not the one that the invitation names. Nothing was sent: somebody else "
        "may pretend to be it. Ask whoever invited you for a new invitation. The key there is %2."),
    QT_TRANSLATE_NOOP("Said", "Too much is waiting to be sent. Try again when some of it has gone."),
    QT_TRANSLATE_NOOP("Said",
                      "Another meeting on this computer is open to others already. Leave that one first."),
    QT_TRANSLATE_NOOP("Said", "This computer does not let a program listen on the network just now."),
    QT_TRANSLATE_NOOP("Said",
                      "Only a meeting at this computer's own service can be opened to the local network."),
    QT_TRANSLATE_NOOP("Said", "The meeting is not open to others any more."),
};

/// The arguments when `text` is `sentence` with something at each %1, %2, ...; empty ones count.
std::optional<QStringList> Arguments(const QString& sentence, const QString& text)
{
    QStringList found;
    qsizetype at = 0, from = 0;
    for (int number = 1;; ++number) {
        const QString place = u'%' + QString::number(number);
        const qsizetype next = sentence.indexOf(place, from);
        const QString fixed = sentence.mid(from, next < 0 ? -1 : next - from);
        const bool last = next < 0;
        if (number == 1) {
            if (last ? text != fixed : !text.startsWith(fixed)) return std::nullopt;
            at = fixed.size();
        } else {
            const qsizetype there = last ? text.size() - fixed.size() : text.indexOf(fixed, at);
            if (there < at || !text.endsWith(last ? fixed : QString())) return std::nullopt;
            found += text.mid(at, there - at);
            at = there + fixed.size();
        }
        if (last) return found;
        from = next + place.size();
    }
}

QString SaidWithin(const QString& english, int depth);

QString With(const QString& sentence, const QStringList& arguments, int depth)
{
    // Behind each other they would find places in what was put in before.
    QString whole;
    for (qsizetype i = 0; i < sentence.size(); ++i) {
        const int number = sentence[i] == u'%' && i + 1 < sentence.size() ? sentence[i + 1].digitValue() : -1;
        if (number < 1 || number > arguments.size()) {
            whole += sentence[i];
        } else {
            whole += SaidWithin(arguments[number - 1], depth);
            ++i;
        }
    }
    return whole;
}

/// A service may send what has as many parts as it likes.
QString SaidWithin(const QString& english, int depth)
{
    constexpr int kDeepest = 40;
    if (depth < kDeepest)
        for (const char* sentence : kSentences)
            if (const auto arguments = Arguments(QLatin1String(sentence), english))
                return With(QCoreApplication::translate("Said", sentence), *arguments, depth + 1);
    return english;
}

}  // namespace

QString Said(const QString& english)
{
    return SaidWithin(english, 0);
}
