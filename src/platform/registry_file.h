#pragma once
// The settings store as a tree of keys with typed values, compared without case. The user's store is one
// text file in registry-export form; tests hold one in memory.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

enum class RegType : quint32 { None = 0, Sz = 1, ExpandSz = 2, Binary = 3, Dword = 4, MultiSz = 7 };

/// `data` as stored: UTF-16LE with its NULs for the three text types, little endian for Dword.
struct RegValue {
    QString name;
    RegType type = RegType::None;
    QByteArray data;
};

/// One step of a change to the store. Paths are full.
struct RegEdit {
    enum class Kind {
        SetText,      // `name` below `keyPath` becomes `text`; makes missing keys on the way
        ReplaceText,  // the same, but only where the value's text is `was`, in any case
        RemoveValue,  // `name` below `keyPath`; harmless when there is none
        AddKey,       // the key, empty
        CopyKey,      // `keyPath` and all below it, once more as `to`
        MoveKey,      // the same, but under its new name only
        RemoveKey,    // with all below it; harmless when there is none
    };
    Kind kind = Kind::SetText;
    QString keyPath;
    QString name = {}, text = {}, was = {};
    QString to = {};  // a key that must not exist yet, nor must what AddKey makes
};

/// Paths are full, with "\" between keys: "HKEY_CURRENT_USER\Software\...". User-interface thread only;
/// several programs may hold the same file.
class RegistryFile {
public:
    virtual ~RegistryFile() = default;
    /// None: the key or the value does not exist. Throws std::runtime_error when the store cannot be read.
    virtual std::optional<RegValue> Read(const QString& keyPath, const QString& name) = 0;
    /// Makes missing keys on the way. On disk when it returns. Throws std::runtime_error.
    virtual void WriteText(const QString& keyPath, const QString& name, const QString& text) = 0;
    /// Makes all of these in order, of the store as it is then, or none. On disk when it returns. Throws
    /// std::runtime_error.
    virtual void Change(const std::vector<RegEdit>& edits) = 0;
    /// The user's whole store in its text form. Throws std::runtime_error when it cannot be read.
    virtual QByteArray Snapshot() = 0;
    /// Names of the direct subkeys, in the store's order; empty when the key does not exist.
    virtual QStringList Subkeys(const QString& keyPath) = 0;
    virtual std::vector<RegValue> Values(const QString& keyPath) = 0;
};
