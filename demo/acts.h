#pragma once
// What two people do in a meeting, for everything that is shown to somebody.

#include "demo/stage.h"

namespace stage {

std::vector<QPoint> Curve(QPoint from, int width, double height);
/// Ann begins a meeting at the service that the first of them starts, and Bob joins her.
void Meet(Desk& ann, Desk& bob);
void Talk(Desk& ann, Desk& bob);
/// A stroke, a box and a text; throws when the boards differ.
void Draw(Desk& ann, Desk& bob);
void ShowVideo(Desk& ann, Desk& bob);
void ShareWindow(Desk& ann, Desk& bob);

}  // namespace stage
