#include "base/save_whole.h"

#include <QSaveFile>
#include <stdexcept>

void SaveWhole(const QString& path, const QByteArray& bytes, ReadableBy who)
{
    QSaveFile file(path);
    const auto check = [&](bool good) {
        if (good) return;
        QString reason = file.errorString();
        if (file.error() == QFileDevice::ResourceError)
            reason += QStringLiteral(". Make room there, then try again");
        throw std::runtime_error(QStringLiteral("%1: %2").arg(path, reason).toStdString());
    };
    check(file.open(QIODevice::WriteOnly));
    if (who == ReadableBy::Owner)
        check(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    for (qint64 done = 0; done < bytes.size();) {  // a short write gives its reason when asked for the rest
        const qint64 count = file.write(bytes.constData() + done, bytes.size() - done);
        check(count > 0);
        done += count;
    }
    check(file.commit());
}
