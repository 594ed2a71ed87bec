#pragma once
// Traces windows as they become visible, with the places of their named controls, for scripts and tests.

#include <QJsonObject>

class QWidget;
struct ProcessState;

/// Named, visible controls of `window` with their places on the screen: [x, y, width, height] in device
/// pixels.
QJsonObject ControlPlaces(const QWidget& window);

/// From now on `window` traces "dialog" {name, title, activates, controls} when it is first painted after a
/// showing, "active" {name} when the window manager gives it the keys, "controls" {name, controls} when they
/// have moved, and "dialog_closed" {name}. Does nothing without a trace. Call once for each window; the
/// window owns what this makes.
void TraceWindow(ProcessState& state, QWidget* window);
