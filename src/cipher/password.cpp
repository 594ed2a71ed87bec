#include "cipher/password.h"

#include "base/text_rules.h"
#include "cipher/skipjack.h"

namespace {
constexpr char16_t kPasswordKey[] = u"49D439536B3216FDAEEB";
}

QString EncipherPassword(const QString& password)
{
    return SkipJack(kPasswordKey).EncryptHex(SkipJack::StringToHex(password));
}

QString DecipherPassword(const QString& stored)
{
    return Trim(SkipJack::HexToString(SkipJack(kPasswordKey).DecryptHex(stored)));
}
