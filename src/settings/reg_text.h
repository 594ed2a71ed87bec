#pragma once
// The text form of the settings store: registry-export syntax ("Windows Registry Editor Version 5.00") in
// UTF-8. Lines that are not understood, comments and layout are kept byte for byte.
// Pure; one object per thread.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

#include "platform/registry_file.h"

/// The bytes of REG_SZ data: UTF-16LE with its NUL.
QByteArray TextData(const QString& text);
/// The text of Sz and ExpandSz data without its last NUL; an odd last byte is dropped.
QString DataText(const QByteArray& data);

/// The number of Dword data: the first four bytes, little endian; missing ones are 0.
qint32 DataNumber(const QByteArray& data);

/// Whether two keys or names are one: they are compared without case.
bool SameName(const QString& a, const QString& b);

class RegText {
public:
    /// Reads any bytes, also a byte-order mark, CRLF lines, UTF-16LE files of other tools, continued hex
    /// lines and quoted text over several lines.
    explicit RegText(const QByteArray& file = QByteArray());

    /// Unchanged input gives the same bytes back (UTF-16 input: the same text in UTF-8).
    QByteArray Write() const;

    /// Where a name stands twice, the last one counts. Keys and names are compared without case.
    std::optional<RegValue> Read(const QString& keyPath, const QString& name) const;
    /// In the place of the value if there is one, else at the end of its key.
    void SetText(const QString& keyPath, const QString& name, const QString& text);
    /// One step of a change. Throws std::runtime_error, and then nothing has changed, when the key to be made
    /// exists already, or a name holds a control character.
    void Make(const RegEdit& edit);
    /// In file order. A key exists when it or a key below it has a line.
    QStringList Subkeys(const QString& keyPath) const;
    std::vector<RegValue> Values(const QString& keyPath) const;
    /// Lines that are no key, value, comment or heading: somebody has mistyped them.
    QStringList NotUnderstood() const;

private:
    struct Line {
        QByteArray raw;                 // with its line end; several lines for a continued value
        std::optional<RegValue> value;  // none: kept, not understood
    };
    struct Section {
        QString keyPath;               // "" in front of the first key
        std::vector<Line> lines = {};  // the first one is the key's own line, but in front of the first key
    };

    struct Place {
        std::size_t section, line;
    };

    void ReadLine(const QByteArray& raw);
    void RemoveValue(const QString& keyPath, const QString& name);
    bool HasKey(const QString& keyPath) const;
    Line KeyLine(const QString& keyPath) const;
    Section& AppendKey(const QString& keyPath);
    void CopyKey(const QString& from, const QString& to);
    void MoveKey(const QString& from, const QString& to);
    std::optional<Place> Find(const QString& keyPath, const QString& name) const;
    QByteArray Render(const RegValue& value) const;

    std::vector<Section> mSections;
    QByteArray mLineEnd = "\n";
};
