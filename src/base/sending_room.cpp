#include "base/sending_room.h"

#include "base/meeting_screens.h"
#include "text/words.h"

bool SendingMustWait(ProcessState& state)
{
    if (!state.gMessenger || !state.gMessenger->SendingIsTight()) return false;
    if (state.ports.prompts) state.ports.prompts->Beep();
    if (state.gMeetingForm)
        state.gMeetingForm->Panels().Note(Ours::tr("Much is waiting to be sent: wait a moment."));
    return true;
}
