#pragma once
// The machine as tests arrange it: nothing takes time, nothing leaves the process, what happened is kept.

#include <QImage>
#include <QJsonObject>
#include <QStringList>
#include <QTemporaryDir>
#include <functional>

#include "platform/clipboard.h"
#include "platform/machine.h"
#include "settings/text_registry.h"

class FakeClock final : public Clock {
public:
    QDateTime now = QDateTime(QDate(2026, 3, 4), QTime(15, 6, 7));
    QDateTime Now() const override { return now; }
};

class FakeWaits final : public Waits {
public:
    std::vector<std::chrono::milliseconds> pauses;
    std::function<void()> during;  // runs inside each of both
    void Pause(std::chrono::milliseconds time) override
    {
        pauses.push_back(time);
        if (during) during();
    }
    void LetEventsRun() override
    {
        if (during) during();
    }
    void Hurry(std::chrono::milliseconds) override {}
};

class FakeGate final : public Gate {
public:
    int closings = 0;
    void Close() override { ++closings; }
    void Open() override { --closings; }
    bool IsOpen() const override { return closings == 0; }
};

class FakeEventLog final : public EventLog {
public:
    struct Entry {
        EventType type;
        QString message;
    };
    std::vector<Entry> entries;
    void Write(EventType type, const QString& message) override { entries.push_back({type, message}); }
};

class FakeTrace final : public Trace {
public:
    std::vector<std::pair<QString, QJsonObject>> lines;
    void Line(const char* event, const QJsonObject& fields) override
    {
        lines.emplace_back(QLatin1String(event), fields);
    }
    /// The last line of this event; an empty object when there was none.
    QJsonObject Last(const char* event) const;
};

class FakeFolders final : public Folders {
public:
    QTemporaryDir dir;
    QString Special(int folderId) const override;
    QString Program() const override { return dir.path(); }
};

class FakeLocalHost final : public LocalHost {
public:
    std::optional<QString> name = QStringLiteral("here");
    std::optional<QStringList> resolved =
        QStringList{QStringLiteral("192.0.2.1"), QStringLiteral("192.0.2.2")};
    QStringList interfaces;
    std::optional<QString> Name() const override { return name; }
    std::optional<QStringList> Resolve(const QString&) const override { return resolved; }
    QStringList Interfaces() const override { return interfaces; }
};

class FakePointer final : public ScreenPointer {
public:
    PointerShape shape = PointerShape::Default;
    void Set(PointerShape wanted) override { shape = wanted; }
    PointerShape Get() const override { return shape; }
};

class FakeEndProcess final : public EndProcess {
public:
    explicit FakeEndProcess(QStringList& journal) : mJournal(journal) {}
    [[noreturn]] void Now() override;

private:
    QStringList& mJournal;
};

/// Boxes as "icon|title|text"; dialogs answer what was arranged.
class FakePrompts final : public Prompts {
public:
    explicit FakePrompts(QStringList& journal) : mJournal(journal) {}

    QStringList boxes;
    std::vector<Cause> criticalCauses;
    int beeps = 0;
    bool trust = false;
    QStringList links;                   // asked about
    QString openFile, saveFile, folder;  // "": cancelled
    FontChoice font;
    std::function<void()> during;  // runs while a box or dialog is open

    void Beep() override { ++beeps; }
    void Box(BoxIcon icon, const QString& title, const QString& text) override;
    void CriticalBox(const QString& title, const QString& text, Cause cause) override;
    bool AskTrust(const QString& service, const QString& fingerprint, const QString& announced) override;
    bool AskLink(const QString& address, const QString&) override
    {
        links += address;
        return Open(false);
    }
    QString OpenFile(const QString&, const QString&, const QStringList&) override { return Open(openFile); }
    QString SaveFile(const QString&, const QString&, const QStringList&, const QString&) override
    {
        return Open(saveFile);
    }
    QString ChooseFolder(const QString&, const QString&) override { return Open(folder); }
    void RunForm(QDialog&, Modality) override { Open(0); }
    FontChoice SelectFont(const QString&, const FontChoice&) override { return Open(font); }

private:
    template <class T>
    T Open(const T& answer)
    {
        if (during) during();
        return answer;
    }
    QStringList& mJournal;
};

/// The store in memory, which fails when told to.
class FakeRegistry final : public TextRegistry {
public:
    QString readFailure, writeFailure;  // "": none
    std::optional<RegValue> Read(const QString& keyPath, const QString& name) override;
    void WriteText(const QString& keyPath, const QString& name, const QString& text) override;
    void Change(const std::vector<RegEdit>& edits) override;
    QByteArray Snapshot() override;
    /// Text of a value below "HKEY_CURRENT_USER\Software\Velnor\"; a null string when it is missing.
    QString Text(const QString& shortPath, const QString& name);
    void Put(const QString& shortPath, const QString& name, const QString& text);
};

class FakeClipboard final : public ClipboardPort {
public:
    QImage picture;
    int cleared = 0;
    void Clear() override { picture = QImage(), ++cleared; }
    QImage Picture() override { return picture; }
    void SetPicture(const QImage& put) override { picture = put; }
    QString text;
    void SetText(const QString& put) override { text = put; }
};
