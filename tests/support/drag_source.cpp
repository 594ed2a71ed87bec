// A window that is dragged from like a file manager's, or a browser's with a picture in it:
// drag_source ADDRESS...|picture:FILE  Says "ready X Y" where it can
// be pressed, "dragging" once it follows the mouse, "accepted" when the pointer is where the addresses may be
// dropped, and at the end "copy" or "none".
#include <QApplication>
#include <QDrag>
#include <QImage>
#include <QLabel>
#include <QMimeData>
#include <QTimer>
#include <QUrl>
#include <iostream>

namespace {

class Source final : public QLabel {
protected:
    void paintEvent(QPaintEvent* event) override
    {
        QLabel::paintEvent(event);
        const QPoint at = mapToGlobal(rect().center());
        if (!std::exchange(mReady, true)) std::cout << "ready " << at.x() << ' ' << at.y() << std::endl;
    }
    void mousePressEvent(QMouseEvent*) override
    {
        QList<QUrl> urls;
        auto* dragged = new QMimeData;
        for (const QString& word : QApplication::arguments().sliced(1))
            if (word.startsWith(QLatin1String("picture:")))
                dragged->setImageData(QImage(word.mid(8)));
            else
                urls += QUrl(word);
        if (!urls.isEmpty()) dragged->setUrls(urls);
        auto* drag = new QDrag(this);
        drag->setMimeData(dragged);
        connect(drag, &QDrag::actionChanged, [](Qt::DropAction now) {
            if (now == Qt::CopyAction) std::cout << "accepted" << std::endl;
        });
        QTimer::singleShot(0, [] { std::cout << "dragging" << std::endl; });
        std::cout << (drag->exec(Qt::CopyAction) == Qt::CopyAction ? "copy" : "none") << std::endl;
    }

private:
    bool mReady = false;
};

}  // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    Source source;
    source.setWindowFlags(Qt::X11BypassWindowManagerHint);
    source.setGeometry(0, 0, 40, 40);
    source.show();
    return QApplication::exec();
}
