#pragma once
// The voice companion as a test arranges it.

#include <QStringList>

#include "platform/companion.h"

class FakeCompanion final : public CompanionPort {
public:
    bool running = false;
    QStringList journal;  // "start hidden", "1225 text", ...

    bool Running() override { return running; }
    void UseDoor(const CompanionDoor&) override {}
    void Start(CompanionShow show) override
    {
        journal +=
            show == CompanionShow::Hidden ? QStringLiteral("start hidden") : QStringLiteral("start shown");
    }
    bool Send(int number, const QByteArray& text) override
    {
        if (running) journal += QString::number(number) + QLatin1Char(' ') + QString::fromLatin1(text);
        return running;
    }
};
