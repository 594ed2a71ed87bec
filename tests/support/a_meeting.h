#pragma once
// A board as people leave it: strokes, shapes, texts and a picture, an erasure, an undo.

#include <QBuffer>
#include <QImage>
#include <cmath>
#include <random>
#include <vector>

#include "contract/picture_reader.h"
#include "messaging/record_kinds.h"
#include "whiteboard/mark.h"
#include "whiteboard/records.h"

inline MarkPtr MarkOfRecord(QString record, const QString& author = QStringLiteral("ann"))
{
    record.replace(u'/', QString::fromUtf16(kFieldSeparator));
    return std::make_shared<Mark>(Mark{record, nullptr, {}, author, QDateTime(), 0});
}

inline QByteArray AJpeg(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.setPixel(x, y, qRgb(x * 255 / width, y * 255 / height, 90));
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPG", 90);
    return jpeg;
}

/// A stroke as a hand makes it.
inline QString AStroke(std::mt19937& random, int width, quint32 colour, int segments)
{
    PenRecord pen;
    pen.width = width;
    float x = float(random() % 1900), y = float(random() % 1400), turn = float(random() % 628) / 100;
    for (int i = 0; i < segments; ++i) {
        const float nx = std::round(x + 9 * std::cos(turn)), ny = std::round(y + 9 * std::sin(turn));
        pen.segments.push_back({x, y, nx, ny, colour});
        x = nx, y = ny;
        turn += float(random() % 100) / 100 - 0.5f;
    }
    return WritePen(pen);
}

/// Records with "/" between fields, in order; a picture lies between the first ten and the others.
inline std::vector<MarkPtr> AMeeting(const PictureReader& pictures)
{
    std::mt19937 random(7);
    std::vector<MarkPtr> marks;
    const auto add = [&](const char* record) { marks.push_back(MarkOfRecord(QString::fromUtf8(record))); };
    for (int i = 0; i < 12; ++i) {
        const int widths[] = {1, 3, 8, 20};
        const quint32 colours[] = {255, 0, 0xff0000, 0x008000, 0x00c0ff};
        auto mark =
            std::make_shared<Mark>(*MarkOfRecord({}, i % 2 ? QStringLiteral("bob") : QStringLiteral("ann")));
        mark->record = AStroke(random, widths[i % 4], colours[i % 5], 20 + i * 20);
        marks.push_back(mark);
    }
    const QByteArray jpeg = AJpeg(300, 200);
    const QPoint at(1700, -40);
    marks.push_back(std::make_shared<Mark>(
        Mark{{}, pictures.Read(jpeg, at.x(), at.y()), at, QStringLiteral("bob"), QDateTime(), 0}));
    add("[[ZUM_WB_BOX]]3/200/200/600.5/420/16711680");
    add("[[ZUM_WB_BOX]]1/210/210/590/410/255");
    add("[[ZUM_WB_CIRCLE]]5/700/300/1000/500/32768");
    add("[[ZUM_WB_CIRCLE]]1/1100/300/1500/700/0");
    add("[[ZUM_WB_TEXT]]230/240/False/False/Arial/24/False/False/0/Ein Rahmen");
    add("[[ZUM_WB_TEXT]]230/300/True/True/Times New Roman/20/False/True/255/Grüße, Žofie");
    add("[[ZUM_WB_TEXT]]800/900/False/False/Courier New/14/True/False/16711680/struck & \"quoted\" <b>");
    add("[[ZUM_WB_TEXT]]800/1000/False/False/No Such Font/72/False/False/32768/Large");
    add("[[ZUM_WB_PEN]]32/300/300/600/330/16777215");  // an erasure
    add("[[ZUM_WB_PEN]]9/400/700/400/700/255");        // a dot
    add("[[ZUM_WB_PEN]]40/900/1100/1400/1300/12632256");
    add("[[ZUM_WB_UNDO]]");
    add("[[ZUM_WB_PEN]]2/-50/1400/3000/1450/255");  // beyond both edges
    return marks;
}
