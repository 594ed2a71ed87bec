#pragma once
// picHide: the small arrow at the panel's right edge that hides or restores the chat bar.

#include <QAbstractButton>

class ArrowButton : public QAbstractButton {
public:
    explicit ArrowButton(QWidget* parent);
    /// Points left while the panel is open, right while it is collapsed.
    void ShowCollapsed(bool collapsed);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool mCollapsed = false;
};
