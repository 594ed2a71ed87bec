#pragma once
// The boxes of the palette and of the line widths.

#include <QAbstractButton>

/// Of a colour of the palette, in the user's language.
QString ColourName(int index);

/// One colour; the selected one has a border.
class ColourBox final : public QAbstractButton {
public:
    ColourBox(int index, QWidget* parent);
    void SetBordered(bool bordered);
    QSize sizeHint() const override { return {14, 14}; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    QColor mColour;
    bool mBordered = false;
};

/// A sample line as wide as the line it stands for.
class WidthBox final : public QAbstractButton {
public:
    WidthBox(int index, QWidget* parent);
    void SetBordered(bool bordered);
    QSize sizeHint() const override { return {24, 14}; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    int mWidth;
    bool mBordered = false;
};
