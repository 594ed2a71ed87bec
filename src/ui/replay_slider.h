#pragma once
// The slider of a replay: a band above it shows in colours who did what, and times stand below.

#include <QColor>
#include <QSlider>
#include <functional>

class ReplaySlider final : public QSlider {
public:
    explicit ReplaySlider(QWidget* parent);

    /// The author's number of an item, -1 where that is not known.
    std::function<int(int item)> author;
    /// When an item happened, as it is written there; "" where that is not known.
    std::function<QString(int item)> time;
    /// Of an author, on this window's paper.
    QColor ColourOf(int who) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QRect Groove() const;
    int ItemAt(int x) const;
    int PlaceOf(int item) const;
    void PaintAuthors(QPainter& painter) const;
    void PaintTimes(QPainter& painter) const;
};
