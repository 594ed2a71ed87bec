#include "ui/video_preview.h"

#include <QPainter>

#include "text/words.h"

VideoPreview::VideoPreview(QWidget* parent) : QFrame(parent)
{
    setFrameStyle(QFrame::Panel | QFrame::Sunken);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void VideoPreview::Show(const QImage& picture)
{
    mPicture = picture;
    update();
}

void VideoPreview::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    if (mPicture.isNull()) {
        painter.fillRect(rect(), QColor(0x40, 0x44, 0x4a));
        painter.setPen(QColor(0xb8, 0xbc, 0xc2));
        painter.drawText(contentsRect(), Qt::AlignCenter, Ours::tr("No picture", "of the camera"));
    } else {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(contentsRect(), mPicture);
    }
    painter.end();
    QFrame::paintEvent(event);
}
