#include "platform/linux/stream_picture.h"

#include <gtest/gtest.h>

#include <QStringList>
#include <cstring>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr auto kEnd = std::numeric_limits<quint64>::max();

/// Memory of 4 x 3 pixels whose blue is ten times the row and the column, behind a gap of eight bytes.
struct Memory {
    std::vector<uchar> bytes = std::vector<uchar>(8 + 16 * 3);
    std::size_t most = 0;  // that was asked for at once

    Memory()
    {
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x) {
                uchar* pixel = &bytes[std::size_t(8 + 16 * y + 4 * x)];
                pixel[0] = uchar(10 * y + x), pixel[1] = 100, pixel[2] = 200, pixel[3] = 7;
            }
    }
    bool operator()(quint64 at, uchar* to, std::size_t count)
    {
        most = std::max(most, count);
        if (at > bytes.size() || count > bytes.size() - at) return false;
        std::memcpy(to, bytes.data() + at, count);
        return true;
    }
};

/// Blue, row for row: "0 1 2 3/10 11 ...". "": no picture.
QString Blue(const Pixels& picture, int shift = 0)
{
    QStringList rows;
    for (int y = 0; y < picture.height; ++y) {
        QStringList row;
        for (int x = 0; x < picture.width; ++x)
            row += QString::number(
                (reinterpret_cast<const quint32*>(picture.data + y * picture.bytesPerLine)[x] >> shift) &
                0xff);
        rows += row.join(u' ');
    }
    return rows.join(u'/');
}

}  // namespace

TEST(StreamPicture, IsWhatLiesThereCutAndUpright)
{
    const StreamFrame plain{4, 3, false, 16, 8, 48, {}, 0};
    const struct {
        std::function<void(StreamFrame&)> change;
        const char* blue;
    } rows[] = {
        {[](auto&) {}, "0 1 2 3/10 11 12 13/20 21 22 23"},
        {[](auto& f) { f.stride = 0; }, "0 1 2 3/10 11 12 13/20 21 22 23"},
        {[](auto& f) { f.height = 1, f.size = 16; }, "0 1 2 3"},
        {[](auto& f) { f.width = 3, f.height = 2, f.size = 28; },
         "0 1 2/10 11 12"},  // its last row ends early
        {[](auto& f) { f.crop = QRect(1, 1, 2, 2); }, "11 12/21 22"},
        {[](auto& f) { f.crop = QRect(3, 2, 1, 1); }, "23"},
        {[](auto& f) { f.transform = 1; }, "20 10 0/21 11 1/22 12 2/23 13 3"},
        {[](auto& f) { f.transform = 2; }, "23 22 21 20/13 12 11 10/3 2 1 0"},
        {[](auto& f) { f.transform = 3; }, "3 13 23/2 12 22/1 11 21/0 10 20"},
        {[](auto& f) { f.transform = 4; }, "3 2 1 0/13 12 11 10/23 22 21 20"},
        {[](auto& f) { f.transform = 5; }, "0 10 20/1 11 21/2 12 22/3 13 23"},
        {[](auto& f) { f.transform = 5, f.crop = QRect(1, 0, 2, 2); }, "1 11/2 12"},
    };
    for (const auto& row : rows) {
        StreamFrame frame = plain;
        row.change(frame);
        Memory memory;
        EXPECT_EQ(Blue(PictureOf(frame, std::ref(memory))), QLatin1String(row.blue));
        frame.redFirst = true;
        EXPECT_EQ(Blue(PictureOf(frame, std::ref(memory)), 16), QLatin1String(row.blue));
    }
}

TEST(StreamPicture, BelievesNothingThatDoesNotFit)
{
    const StreamFrame plain{4, 3, false, 16, 8, 48, {}, 0};
    const struct {
        const char* what;
        std::function<void(StreamFrame&)> change;
    } rows[] = {
        {"no width", [](auto& f) { f.width = 0; }},
        {"no height", [](auto& f) { f.height = 0; }},
        {"wider than any screen", [](auto& f) { f.width = 16385, f.stride = 0, f.size = kEnd; }},
        {"a negative width", [](auto& f) { f.width = 0xffffffff, f.stride = 0, f.size = kEnd; }},
        {"more than memory holds", [](auto& f) { f.width = f.height = 16384, f.stride = 0, f.size = kEnd; }},
        {"rows that overlap", [](auto& f) { f.stride = 15; }},
        {"rows from below", [](auto& f) { f.stride = -16; }},
        {"rows too far apart", [](auto& f) { f.stride = std::numeric_limits<qint64>::max(), f.size = kEnd; }},
        {"fewer bytes than rows", [](auto& f) { f.size = 47; }},
        {"no bytes", [](auto& f) { f.size = 0; }},
        {"bytes that are not there", [](auto& f) { f.offset = 9; }},
        {"bytes that wrap around", [](auto& f) { f.offset = kEnd - 4; }},
        {"a crop beside it", [](auto& f) { f.crop = QRect(3, 0, 2, 1); }},
        {"a crop above it", [](auto& f) { f.crop = QRect(0, -1, 1, 2); }},
        {"a crop turned inside out", [](auto& f) { f.crop = QRect(2, 2, -1, 1); }},
        {"a turn that there is not", [](auto& f) { f.transform = 8; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        StreamFrame frame = plain;
        row.change(frame);
        Memory memory;
        EXPECT_TRUE(PictureOf(frame, std::ref(memory)).IsNull());
        EXPECT_LE(memory.most, 48u);  // nothing large was made for a lie
    }
}
