#pragma once
// picVideo: the own camera's picture, scaled to the box.

#include <QFrame>
#include <QImage>

class VideoPreview : public QFrame {
public:
    explicit VideoPreview(QWidget* parent);
    /// Null: no picture.
    void Show(const QImage& picture);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage mPicture;
};
