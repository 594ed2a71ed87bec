#pragma once

#include "platform/machine.h"

class LinuxLocalHost final : public LocalHost {
public:
    std::optional<QString> Name() const override;
    std::optional<QStringList> Resolve(const QString& name) const override;
    QStringList Interfaces() const override;
};
