#include "cipher/password.h"

#include "cipher/code_page.h"
#include "cipher/skipjack.h"
#include "text/text_rules.h"

namespace {

constexpr char16_t kPasswordKey[] = u"49D439536B3216FDAEEB";
constexpr QChar kLostMark = u'?';  // behind the digits

}  // namespace

QString EncipherPassword(const QString& password)
{
    const QString digits = SkipJack(kPasswordKey).EncryptHex(SkipJack::StringToHex(password));
    return SurvivesCodePage(password) ? digits : digits + kLostMark;
}

QString DecipherPassword(const QString& stored)
{
    if (PasswordWasLost(stored)) return QString();
    return Trim(SkipJack::HexToString(SkipJack(kPasswordKey).DecryptHex(stored)));
}

bool PasswordWasLost(const QString& stored)
{
    return stored.endsWith(kLostMark);
}
