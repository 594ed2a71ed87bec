#include "base/version.h"

QString VersionText()
{
    return QStringLiteral(QUORVIA_VERSION);
}
