#pragma once
// What people do in a meeting, for everything that is shown to somebody.

#include <initializer_list>

#include "demo/sound_lab.h"
#include "demo/stage.h"

namespace stage {

std::vector<QPoint> Curve(QPoint from, int width, double height);
/// Who is there, too, and has to see it.
using Watchers = std::initializer_list<Desk*>;

/// Ann begins a meeting at the service that the first of them starts, and the others join her: she comes by
/// UDP, Bob by TCP, Eve by HTTP.
void Meet(Desk& ann, Desk& bob, Desk& eve);
void Talk(Desk& ann, Desk& bob, Watchers watchers = {});
/// A stroke, a box and a text; throws when the boards differ.
void Draw(Desk& ann, Desk& bob, Watchers watchers = {});
/// Both at the same moment, across each other; throws when the boards differ.
void Cross(Desk& ann, Desk& bob, Watchers watchers = {});
void ShowVideo(Desk& bob, Watchers watchers);
void ShareWindow(Desk& ann, Watchers watchers);

/// Before it starts: its microphone and speakers are in the lab.
void GiveSound(SoundLab& lab, Desk& desk);
/// All check "Talk", and Ann speaks until the child has ended. Comes back when the others hear her.
std::unique_ptr<Child> Speak(SoundLab& lab, Desk& ann, Watchers others);
/// The voice companion's window, by the microphone in the status bar. It is there when this comes back.
void OpenCompanion(Desk& desk);
void HideCompanion(Desk& desk);

}  // namespace stage
