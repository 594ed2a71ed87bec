#include "demo/photographer.h"

#include <QFile>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace stage {
namespace {

QByteArray Bytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

void Photographer::Take(const QString& name)
{
    constexpr int kLooks = 6;
    const QString file = mFolder + u'/' + name + u".png"_s;
    const QString raw = mFolder + u"/look.ppm"_s;
    QByteArray before;
    for (int look = 0; look < kLooks; ++look) {
        mDesk.LetManagerCatchUp();
        mDesk.Screenshot(raw);
        if (const QByteArray now = Bytes(raw); now == std::exchange(before, now)) break;
    }
    mDesk.Run(u"convert"_s, {raw, u"-trim"_s, u"+repage"_s, file});
    QFile::remove(raw);
    std::printf("%s\n", qPrintable(name));
    std::fflush(stdout);
}

void Photographer::Leave(const char* dialog, const char* key)
{
    mDesk.Key(QLatin1String(key));
    mDesk.Wait("dialog_closed", Is("name", QLatin1String(dialog)));
    if (mKeysReturn) mDesk.Wait("active");
}

void Photographer::TakeDialog(const char* name, const char* dialog, const char* leave)
{
    mDesk.Wait("dialog", Is("name", QLatin1String(dialog)));
    Take(QLatin1String(name));
    Leave(dialog, leave);
}

void Photographer::TakeMenu(const char* name, const QString& keys)
{
    mDesk.Key(keys);
    mDesk.Wait("menu");
    Take(QLatin1String(name));
    mDesk.Key(u"Escape"_s);
    mDesk.LetManagerCatchUp();  // a press that comes before the menu has closed is the menu's
}

void Photographer::TakeToolMenu(const char* name, const QString& button)
{
    const QRect at = mDesk.Control(button);
    mDesk.Click({at.right() - at.height() / 8, at.center().y()});
    mDesk.Wait("menu");
    Take(QLatin1String(name));
    mDesk.Key(u"Escape"_s);
    mDesk.LetManagerCatchUp();  // a press that comes before the menu has closed is the menu's
}

}  // namespace stage
