#pragma once
// A settings store in memory, by the same rules as the one in a file.

#include "platform/registry_file.h"
#include "settings/reg_text.h"

class TextRegistry : public RegistryFile {
public:
    explicit TextRegistry(const QByteArray& content = QByteArray()) : mText(content) {}

    std::optional<RegValue> Read(const QString& keyPath, const QString& name) override
    {
        return mText.Read(keyPath, name);
    }
    void WriteText(const QString& keyPath, const QString& name, const QString& text) override
    {
        mText.SetText(keyPath, name, text);
    }
    void Change(const std::vector<RegEdit>& edits) override
    {
        RegText changed = mText;
        for (const RegEdit& edit : edits) changed.Make(edit);
        mText = std::move(changed);
    }
    QByteArray Snapshot() override { return mText.Write(); }
    QStringList Subkeys(const QString& keyPath) override { return mText.Subkeys(keyPath); }
    std::vector<RegValue> Values(const QString& keyPath) override { return mText.Values(keyPath); }

private:
    RegText mText;
};
