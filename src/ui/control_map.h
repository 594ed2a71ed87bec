#pragma once
// Traces windows as they become visible, with the places of their named controls, for scripts and tests.

class QWidget;
struct ProcessState;

/// From now on `window` traces "dialog" {name, title, controls} when it is first painted after a showing,
/// "controls" {name, controls} when they have moved, and "dialog_closed" {name}. Does nothing without a
/// trace. Call once for each window; the window owns what this makes.
void TraceWindow(ProcessState& state, QWidget* window);
