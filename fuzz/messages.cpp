// Messages of another attendee, from the marker in front to the pixels of a real board.

#include <QGuiApplication>
#include <cstdint>

#include "messaging/chat_rules.h"
#include "messaging/dispatch.h"
#include "whiteboard/client.h"

namespace {

struct Desk {
    Client ann;
    MessageKeys keys{QStringLiteral("0011"), QStringLiteral("00998877665544332211")};

    void Forget()
    {
        ann.prompts.boxes.clear(), ann.prompts.criticalCauses.clear();
        ann.waits.pauses.clear(), ann.eventLog.entries.clear(), ann.screen.scrolls.clear();
        ann.journal.clear(), ann.meeting.notes.clear(), ann.service->texts.clear();
    }
};

/// One for the whole run, as a window is: what one message leaves behind is there for the next.
Desk& TheDesk()
{
    static Desk desk;
    return desk;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    TheDesk();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Desk& desk = TheDesk();
    const QString message = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    try {
        const Decision decided =
            DecideMessage(QStringLiteral("ann"), QStringLiteral("bob"), message, desk.keys);
        if (const auto* record = std::get_if<decision::BoardRecord>(&decided))
            HandleWBMessage(desk.ann.state, QStringLiteral("bob"), record->message);
        else if (const auto* line = std::get_if<decision::ChatLine>(&decided))
            if (LineFor(QStringLiteral("ann"), QStringLiteral("bob"), line->text).text.contains(u'\n'))
                std::abort();              // another's line could be forged
    } catch (const std::runtime_error&) {  // a frame rate that is none
    }
    if (desk.ann.Entries() < 1 || desk.ann.Entries() > 11) std::abort();
    desk.Forget();
    return 0;
}
