#include "ui/mark_author.h"

#include "base/error_trap.h"
#include "base/meeting_screens.h"
#include "export/page.h"
#include "text/qt_line.h"
#include "text/text_rules.h"
#include "text/words.h"
#include "whiteboard/own_work.h"

void NameAuthor(ProcessState& state, BoardPoint at)
{
    Silently(state, "NameAuthor", [&] {
        const QPoint pixel(int(at.x), int(at.y));
        const MarkPtr mark = MarkAt(PageOf(SharedOf(state).History().Marks()), pixel, *state.ports.pictures);
        state.gMeetingForm->Panels().Note(mark ? Ours::tr("Drawn by %1, %2", "handle, time")
                                                     .arg(InSentence(mark->author), GeneralDate(mark->when))
                                               : Ours::tr("Nobody has drawn here."));
    });
}
