#pragma once
// What the login dialog accepts, and where its frames stand. Pure.

#include <QString>

/// Letters A to Z in either case and digits only; blanks at the ends do not count. An empty text is not.
bool IsAlphanumeric(const QString& text);

enum class LoginFault { None, NoHandle, NoPassword, CodeLength, CodeCharacters };

/// The first thing that keeps the dialog open. All three as typed.
LoginFault CheckLogin(const QString& handle, const QString& password, const QString& code);
/// The part of it that concerns the meeting code.
LoginFault CheckCode(const QString& code);
/// The message for a fault; "": a beep says it all.
QString FaultMessage(LoginFault fault);

/// "HTTP Polling Interval" as it must be stored for HTTP: the stored text, or "1" where that is not positive.
QString UsablePollingInterval(const QString& stored);

/// The frames of the dialog, in pixels.
struct LoginFrames {
    int loginTop, loginHeight, moreTop, moreHeight, buttonsHeight;
};
struct LoginLayout {
    int interiorHeight, buttonsTop;
};
LoginLayout PlaceFrames(const LoginFrames& frames, bool more);

/// What "Send Password!" says.
QString PasswordSentMessage(const QString& handle, const QString& address);
QString HandleUnknownMessage(const QString& handle);
