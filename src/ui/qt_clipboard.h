#pragma once

#include "platform/clipboard.h"

class QtClipboard final : public ClipboardPort {
public:
    void Clear() override;
    QImage Picture() override;
    void SetPicture(const QImage& picture) override;
    void SetText(const QString& text) override;
};
