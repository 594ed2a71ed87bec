#include "reliability/saver.h"

#include <QFile>
#include <algorithm>
#include <iostream>

#include "messaging/chat_log.h"
#include "settings/file_registry.h"
#include "settings/settings.h"
#include "support/fixture.h"

using namespace Qt::StringLiterals;

namespace reliability {
namespace {

const QString kSection = u"Saved"_s;
const QString kApplication = u"Reliability"_s;
const QString kPeer = u"peer"_s;

/// Process state of a client over real files.
struct Store : Fixture {
    explicit Store(const QString& folder) : file(folder + u"/registry.reg"_s, folder + u"/machine.reg"_s)
    {
        state.ports.registry = &file;
    }
    FileRegistry file;
};

/// Long enough to be torn, and whole only as itself.
QString Text(int generation)
{
    const QString number = QString::number(generation);
    return number + u' ' + number.repeated(300 / number.size() + generation % 50);
}

QString KeyName(int key)
{
    return u"Key %1"_s.arg(key);
}

/// -1: not whole.
int GenerationOf(const QString& text)
{
    const int generation = text.section(u' ', 0, 0).toInt();
    return generation > 0 && text == Text(generation) ? generation : -1;
}

void Say(char what, int key, int generation)
{
    std::cout << what << ' ' << key << ' ' << generation << std::endl;
}

}  // namespace

int SaveForever(const QString& folder, int generation)
{
    Store store(folder);
    SaveSetting(store.state, keys::kEnableLogging, u"1"_s);
    SaveSetting(store.state, keys::kLogFileLocation, folder + u"/logs/"_s);
    SaveSetting(store.state, keys::kMaximumLogSize, u"20000"_s);  // so that it is replaced, too
    for (;; ++generation) {
        for (int key = 0; key < SavedSoFar::kKeys; ++key) {
            SaveSetting(store.state, kSection, KeyName(key), Text(generation), Scoped::No, kApplication);
            Say('s', key, generation);
        }
        AppendChatLog(store.state, kPeer, Text(generation));
        Say('l', 0, generation);
        if (!store.prompts.boxes.isEmpty()) return 1;  // a failure was reported
    }
}

void SavedSoFar::Told(const QByteArray& line)
{
    const QList<QByteArray> words = line.split(' ');
    if (words.size() != 3) return;
    const int generation = words[2].toInt();
    mNext = std::max(mNext, generation + 1);
    if (words[0] == "s") {
        mSettings[std::size_t(words[1].toInt())] = generation;
        ++settings;
    } else {
        mLine = generation;
        ++lines;
    }
}

QString SavedSoFar::SettingsFault(const QString& folder)
{
    Store store(folder);
    for (int key = 0; key < kKeys; ++key) {
        const QString text = GetSetting(store.state, kSection, KeyName(key), {}, Scoped::No, kApplication);
        int& known = mSettings[std::size_t(key)];
        if (text.isEmpty() && known == 0) continue;
        const int there = GenerationOf(text);
        if (there < 0) return u"setting %1 is torn: "_s.arg(key) + text.left(40);
        if (there < known)
            return u"setting %1 is of %2, though %3 was saved"_s.arg(key).arg(there).arg(known);
        settingsAhead += there > known;
        known = there;
        mNext = std::max(mNext, there + 1);
    }
    return {};
}

QString SavedSoFar::LogFault(const QString& folder)
{
    QFile file(folder + u"/logs/"_s + LogFileName(kPeer));
    if (!file.open(QIODevice::ReadOnly)) return mLine == 0 ? QString() : u"the log is gone"_s;
    const QByteArray whole = file.readAll();
    if (!whole.isEmpty() && !whole.endsWith("\r\n")) return u"the log ends inside a line"_s;
    int last = 0;
    for (const QByteArray& line : whole.split('\n')) {
        if (line.isEmpty()) continue;
        const int generation = GenerationOf(QString::fromLatin1(line.mid(line.indexOf('\t') + 1)).trimmed());
        if (generation < 0) return u"a line of the log is torn: "_s + QString::fromLatin1(line.left(60));
        if (generation <= last) return u"line %1 comes after %2"_s.arg(generation).arg(last);
        last = generation;
    }
    if (last < mLine) return u"line %1 is not in the log"_s.arg(mLine);
    linesAhead += last > mLine;
    mLine = last;
    mNext = std::max(mNext, last + 1);
    return {};
}

QString SavedSoFar::Fault(const QString& folder)
{
    const QString fault = SettingsFault(folder);
    return fault.isEmpty() ? LogFault(folder) : fault;
}

}  // namespace reliability
