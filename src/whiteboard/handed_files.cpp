#include "whiteboard/handed_files.h"

#include <QMimeData>
#include <QSysInfo>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype kMostAddresses = 1000;

QList<QUrl> Addresses(const QMimeData& data)
{
    if (data.hasUrls()) return data.urls().first(std::min(data.urls().size(), kMostAddresses));
    // "copy" or "cut", then an address a line
    QList<QUrl> urls;
    const QList<QByteArray> lines = data.data(u"x-special/gnome-copied-files"_s).split('\n');
    for (qsizetype i = 1; i < std::min(lines.size(), kMostAddresses); ++i)
        if (!lines[i].trimmed().isEmpty()) urls += QUrl::fromEncoded(lines[i].trimmed());
    return urls;
}

bool IsHere(const QUrl& url)
{
    const QString host = url.host();
    const bool here = host.isEmpty() || host.compare(u"localhost"_s, Qt::CaseInsensitive) == 0 ||
                      host.compare(QSysInfo::machineHostName(), Qt::CaseInsensitive) == 0;
    return here && url.scheme() == u"file"_s;
}

}  // namespace

HandedFiles FilesIn(const QMimeData& data)
{
    HandedFiles handed;
    for (const QUrl& url : Addresses(data)) {
        const QString path = url.path(QUrl::FullyDecoded);
        if (IsHere(url) && path.startsWith(u'/') && !path.contains(QChar(0)))
            handed.files += path;
        else
            ++handed.elsewhere;
    }
    return handed;
}
