#pragma once

#include <QGroupBox>

/// A frame with its title in the upper line, so that what stands inside may begin right below: some styles
/// put the title above the frame and the frame through the contents.
class TitledFrame : public QGroupBox {
public:
    explicit TitledFrame(QWidget* parent) : QGroupBox(parent) {}

protected:
    void paintEvent(QPaintEvent* event) override;
};
