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
    QT_TRANSLATE_NOOP("Said", "%1, round trip %2 ms, %3 bytes sent, %4 bytes received"),
    QT_TRANSLATE_NOOP("Said", "%1, %2 bytes sent, %3 bytes received"),
    QT_TRANSLATE_NOOP("Said", "TLS over TCP"),
    QT_TRANSLATE_NOOP("Said", "Much is waiting to be sent."),
    QT_TRANSLATE_NOOP("Said", "Something is missing: it was too long ago for the service to keep it."),
    QT_TRANSLATE_NOOP("Said", "Something may be missing: this client was away for too long."),
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
    QT_TRANSLATE_NOOP("Said", "The service %1 cannot be reached: %2"),
    QT_TRANSLATE_NOOP("Said", "The service %1 does not answer."),
    QT_TRANSLATE_NOOP("Said", "The service %1 changed its key just now."),
    QT_TRANSLATE_NOOP("Said", "The key of the service %1 was not accepted."),
    QT_TRANSLATE_NOOP(
        "Said",
        "The key of the service %1 is not the one that was accepted before. Nothing was sent. It is now %2."),
    QT_TRANSLATE_NOOP("Said", "The key of the service has changed."),
    QT_TRANSLATE_NOOP("Said", "\"%1\" is not the address of a service."),
    QT_TRANSLATE_NOOP("Said", "on this computer"),
    QT_TRANSLATE_NOOP("Said", "The service does not answer."),
    QT_TRANSLATE_NOOP("Said", "The service speaks another version."),
    QT_TRANSLATE_NOOP("Said", "The service ended the session."),
    QT_TRANSLATE_NOOP("Said", "The service refused."),
    QT_TRANSLATE_NOOP("Said", "The service is busy. Try again in a moment."),
    QT_TRANSLATE_NOOP("Said", "There is no session."),
    QT_TRANSLATE_NOOP("Said", "the service closed the connection"),
    QT_TRANSLATE_NOOP("Said", "the service does not answer"),
    QT_TRANSLATE_NOOP("Said", "the service takes nothing"),
    QT_TRANSLATE_NOOP("Said", "the connection is lost"),
    QT_TRANSLATE_NOOP("Said", "nothing heard for 15 seconds"),
    QT_TRANSLATE_NOOP("Said", "nothing was heard behind the return"),
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
    QT_TRANSLATE_NOOP("Said", "Host not found (authoritative)"),
    // what a service refuses
    QT_TRANSLATE_NOOP("Said", "The handle or the password is wrong."),
    QT_TRANSLATE_NOOP("Said", "This handle is logged in from another place."),
    QT_TRANSLATE_NOOP("Said", "This handle has logged in from another place."),
    QT_TRANSLATE_NOOP("Said", "This handle may not enter the meeting."),
    QT_TRANSLATE_NOOP("Said", "The meeting code is in use."),
    QT_TRANSLATE_NOOP("Said", "No meeting has this code."),
    QT_TRANSLATE_NOOP("Said", "The meeting has ended."),
    QT_TRANSLATE_NOOP("Said", "The meeting is full."),
    QT_TRANSLATE_NOOP("Said", "You were removed from the meeting."),
    QT_TRANSLATE_NOOP("Said", "This service has no mail."),
    QT_TRANSLATE_NOOP("Said", "That is longer than a handle, a password and a host name can be."),
    QT_TRANSLATE_NOOP("Said",
                      "The password has characters that Windows-1252 does not know. Choose another one."),
    // cameras, video files and windows
    QT_TRANSLATE_NOOP("Said", "The camera %1 has been unplugged."),
    QT_TRANSLATE_NOOP("Said", "The camera %1 stopped working."),
    QT_TRANSLATE_NOOP("Said", "The video file can no longer be read."),
    // what an error box says of a procedure
    QT_TRANSLATE_NOOP("Said", "There is no meeting to send to."),
    QT_TRANSLATE_NOOP("Said", "Too much is waiting to be sent."),
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
