#pragma once
// What people do in a meeting, for everything that is shown to somebody.

#include <initializer_list>

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

}  // namespace stage
