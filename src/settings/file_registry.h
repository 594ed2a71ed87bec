#pragma once
// The settings store in a text file of the user's. HKEY_LOCAL_MACHINE is looked up in the user's file first
// and then in one of the system's, which is never written.

#include "platform/linux/shared_file.h"
#include "platform/registry_file.h"
#include "settings/reg_text.h"

/// Where the store is: the user's file, and the machine's.
QString UserRegistryFile();
QString MachineRegistryFile();

class FileRegistry final : public RegistryFile {
public:
    FileRegistry(const QString& userFile, const QString& machineFile);

    std::optional<RegValue> Read(const QString& keyPath, const QString& name) override;
    void WriteText(const QString& keyPath, const QString& name, const QString& text) override;
    void Change(const std::vector<RegEdit>& edits) override;
    QByteArray Snapshot() override { return mUser.file.Read(); }
    QStringList Subkeys(const QString& keyPath) override;
    std::vector<RegValue> Values(const QString& keyPath) override;

private:
    /// A file and its text as last read; read again when another program has replaced it.
    struct Source {
        SharedFile file;
        QByteArray stamp = QByteArray();
        RegText text = RegText();
        const RegText& Text();
    };

    Source mUser, mMachine;
};
