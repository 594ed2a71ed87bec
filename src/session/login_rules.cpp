#include "session/login_rules.h"

#include <algorithm>

#include "text/qt_line.h"
#include "text/text_rules.h"
#include "text/words.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int kShortestCode = 6;
constexpr int kLongestCode = 20;
constexpr int kFrameGap = 3;
constexpr int kBelowLogin = 32;  // what the whole form is higher than its frames
constexpr int kBelowMore = 37;
constexpr int kTitleAndBorder = 25;  // counted in the above; here they are the window manager's

}  // namespace

bool IsAlphanumeric(const QString& text)
{
    const QString trimmed = Trim(text);
    return !trimmed.isEmpty() && std::all_of(trimmed.begin(), trimmed.end(), IsAsciiLetterOrDigit);
}

LoginFault CheckLogin(const QString& handle, const QString& password, const QString& code)
{
    if (Trim(handle).isEmpty()) return LoginFault::NoHandle;
    if (Trim(password).isEmpty()) return LoginFault::NoPassword;
    return CheckCode(code);
}

LoginFault CheckCode(const QString& code)
{
    if (Trim(code).size() < kShortestCode || code.size() > kLongestCode) return LoginFault::CodeLength;
    return IsAlphanumeric(code) ? LoginFault::None : LoginFault::CodeCharacters;
}

QString FaultMessage(LoginFault fault)
{
    switch (fault) {
        case LoginFault::CodeLength:
            return Defined::tr("The Meeting Code must be between 6 and 20 characters.");
        case LoginFault::CodeCharacters:
            return Defined::tr("The Meeting Code must consist of letters and numbers only.");
        default: return QString();
    }
}

QString UsablePollingInterval(const QString& stored)
{
    return LeadingNumber(stored) > 0 ? stored : u"1"_s;
}

LoginLayout PlaceFrames(const LoginFrames& f, bool more)
{
    const int aboveButtons = f.loginTop + f.loginHeight;
    const int frames = aboveButtons + f.buttonsHeight - kTitleAndBorder;
    if (!more) return {frames + kBelowLogin, aboveButtons + kFrameGap};
    return {frames + f.moreHeight + kBelowMore, f.moreTop + f.moreHeight + kFrameGap};
}

QString PasswordSentMessage(const QString& handle, const QString& masked)
{
    // A service may tell nobody whose address it has, nor that there is one.
    const bool untold = masked == u"the address on file";
    const QString address = untold ? Defined::tr("the address on file") : masked;
    return Defined::tr("The password for '%1' has been sent to '%2'.", "handle, mail address")
        .arg(InSentence(handle), InSentence(address));
}

QString HandleUnknownMessage(const QString& handle)
{
    return Defined::tr("The user '%1' could not be found. Please make sure you entered the handle correctly.")
        .arg(InSentence(handle));
}
