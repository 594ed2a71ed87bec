#include "export/exporting.h"

#include <QFileInfo>
#include <stdexcept>

#include "base/save_whole.h"
#include "export/board_files.h"

using namespace Qt::StringLiterals;

QString EndingOf(BoardFormat format)
{
    switch (format) {
        case BoardFormat::Png: return u"png"_s;
        case BoardFormat::Pdf: return u"pdf"_s;
        case BoardFormat::Svg: return u"svg"_s;
    }
    return {};
}

std::optional<BoardFormat> FormatNamed(const QString& ending)
{
    for (const BoardFormat format : {BoardFormat::Png, BoardFormat::Pdf, BoardFormat::Svg})
        if (ending.compare(EndingOf(format), Qt::CaseInsensitive) == 0) return format;
    return std::nullopt;
}

std::vector<QByteArray> BoardFiles(const Board& board, const WBHistory& history, Boards which,
                                   BoardFormat format, const QString& title, const PictureReader& pictures)
{
    const bool all = which == Boards::AllOfTheHistory;
    std::vector<QByteArray> files;
    if (format == BoardFormat::Png) {
        if (!all) return {AsPng(board.Image())};
        for (const int entry : DrawnEntries(history)) files.push_back(AsPng(history.PictureOf(entry)));
        return files;
    }
    const std::vector<Page> pages = all ? PagesOf(history) : std::vector<Page>{PageOf(history.Marks())};
    if (format == BoardFormat::Pdf) return {AsPdf(pages, title, pictures)};
    for (const Page& page : pages) files.push_back(AsSvg(page, title, pictures));
    return files;
}

QStringList NamesFor(const QString& path, std::size_t count)
{
    if (count == 1) return {path};
    const QFileInfo file(path);
    QString ending = file.suffix();
    if (!ending.isEmpty()) ending.prepend(u'.');
    QStringList names;
    for (std::size_t i = 1; i <= count; ++i)
        names += path.chopped(ending.size()) + u"-%1"_s.arg(i, 2, 10, QChar(u'0')) + ending;
    return names;
}

QStringList SaveBoardFiles(const QString& path, const std::vector<QByteArray>& files)
{
    const QStringList names = NamesFor(path, files.size());
    for (const QString& name : names)
        if (files.size() > 1 && QFileInfo::exists(name))
            throw std::runtime_error(u"%1 is there already. Choose another name"_s.arg(name).toStdString());
    for (std::size_t i = 0; i < files.size(); ++i) SaveWhole(names[qsizetype(i)], files[i]);
    return names;
}
