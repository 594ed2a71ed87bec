#include "whiteboard/records.h"

#include <gtest/gtest.h>

#include <functional>

#include "whiteboard/shapes.h"

using namespace Qt::StringLiterals;

namespace {

/// Rows are written with "/" for the separator.
QString Payload(const char* row)
{
    return QString::fromUtf8(row).replace(u'/', u"|\u00A5|"_s);
}

template <class T>
int BadField(const Read<T>& read)
{
    return read.error ? read.error->field : -1;
}

}  // namespace

TEST(PenRecord, KeepsWhatCameBeforeTheDamage)
{
    const struct {
        const char* payload;
        int segments;
        int badField;
    } rows[] = {
        {"3/1/2/3.5/4/255", 1, -1},            // whole
        {"3", 0, -1},                          // a width alone is a legal stroke
        {" 3 / 1 /+2/1e2/-.5/ 255 ", 1, -1},   // blanks, signs and exponents are numbers
        {"3/1/2/3/4/255/9", 1, 7},             // second segment cut short
        {"3/1/2/3/4/255/1/2/3/4/5/9", 2, 12},  // third
        {"3/1/2/3/4/255/", 1, 6},              // an empty field is no number
        {"3/1/x/3/4/255", 0, 2},
        {"3/1.2.5/2/3/4/5", 0, 1},
        {"32767", 0, -1},
        {"32767.5", 0, 0},
        {"32768", 0, 0},
        {"-32768.5", 0, -1},
        {"-32769", 0, 0},
        {"", 0, 0},
        {"1/3.4e38/0/0/0/0", 1, -1},
        {"1/3.5e38/0/0/0/0", 0, 1},  // 32-bit floats
        {"1/0/0/0/0/2147483647", 1, -1},
        {"1/0/0/0/0/2147483648", 0, 5},
        {"1/0/0/0/0/-1", 1, -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.payload);
        const auto read = ReadPen(Payload(row.payload));
        EXPECT_EQ(int(read.value.segments.size()), row.segments);
        EXPECT_EQ(BadField(read), row.badField);
    }
    EXPECT_EQ(ReadPen(Payload("1/0/0/0/0/-1")).value.segments[0].colour, 0xffffffu);  // low 24 bits
    EXPECT_EQ(ReadPen(Payload("2.5")).value.width, 2);                                // ties to even
    EXPECT_EQ(Describe(*ReadPen(u"40000"_s).error), u"field 0 (\"40000\") is outside -32768..32767"_s);
    EXPECT_EQ(Describe(*ReadPen(Payload("1/2")).error), u"field 2 is missing"_s);  // a sentence
}

TEST(Records, NameTheFirstFieldThatIsBadOrMissing)
{
    const auto box = [](const QString& p) { return BadField(ReadShape(RecordKind::Box, p)); };
    const auto circle = [](const QString& p) { return BadField(ReadShape(RecordKind::Circle, p)); };
    const auto text = [](const QString& p) { return BadField(ReadText(p)); };
    const auto pointer = [](const QString& p) { return BadField(ReadPointer(p)); };
    const auto resize = [](const QString& p) { return BadField(ReadResize(p)); };
    const auto scroll = [](const QString& p) { return BadField(ReadScroll(p)); };
    const struct {
        std::function<int(const QString&)> read;
        const char* payload;
        int badField;
    } rows[] = {
        {box, "1/2/3/4.5/5/6", -1},
        {box, "1/2/3/4/5", 5},
        {box, "1/2/3/4/y/6", 4},
        {box, "1/2/3/4/5/6/extra", -1},
        {circle, "1/2.5/3/4/5/6", -1},
        {circle, "1/2147483648/3/4/5/6", 1},
        {circle, "1/2/3/4", 4},
        {text, "1/2/True/0/Arial/10/false/-3/255/hi", -1},  // truth as word or as number
        {text, "1/2/yes/0/Arial/10/false/0/255/hi", 2},
        {text, "1/2/True/False/Arial", 5},
        {text, "1/2/True/False/Arial/10/False/False/255", 9},
        {text, "1/2/0/0//10/0/0/0/", -1},
        {pointer, "1.5/2.5", -1},
        {pointer, "1/2/3", 3},
        {pointer, "1", 1},
        {pointer, "40000/2", 0},
        {pointer, "1/2/x/4", 2},
        {pointer, "", 0},
        {resize, "2/0/0/1/1", -1},
        {resize, "2", 1},
        {resize, "0/0/0/1", 4},
        {resize, "x/0/0/1/1", 0},
        {resize, "0/0/0/1e39/1", 3},
        {scroll, "120", -1},
        {scroll, "32768", 0},
        {scroll, "1/2", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.payload);
        EXPECT_EQ(row.read(Payload(row.payload)), row.badField);
    }
}

TEST(Records, KeepPartsInFrontOfTheDamage)
{
    const auto pointer = ReadPointer(Payload("40000.5/2/3/4"));
    EXPECT_EQ(pointer.value.first->x, 40000.5f);  // moved there, then refused
    EXPECT_TRUE(pointer.value.points.empty());
    const auto rounded = ReadPointer(Payload("0.5/1.5/2.5/3.5")).value.points;
    EXPECT_TRUE(rounded[0].x == 0 && rounded[1].y == 4);
    EXPECT_EQ(ReadResize(Payload("0/0/0/x")).value.state, 0);
}

TEST(Records, ReadBackWhatTheyWrite)
{
    const PenRecord pen{32, {{120, 120.5f, -0.25f, 1e6f, 0xffffff}, {1, 2, 3, 4, 0}}};
    const QString penText = WritePen(pen);
    EXPECT_EQ(penText, u"[[ZUM_WB_PEN]]"_s + Payload("32/120/120.5/-0.25/1000000/16777215/1/2/3/4/0"));
    EXPECT_EQ(WriteShape({RecordKind::Box, 1, 2.5f, 3, 4, 5, 255}),
              u"[[ZUM_WB_BOX]]"_s + Payload("1/2.5/3/4/5/255"));
    EXPECT_EQ(WriteShape({RecordKind::Circle, 1, -2, 3, 4, 5, 255}),
              u"[[ZUM_WB_CIRCLE]]"_s + Payload("1/-2/3/4/5/255"));
    for (const Shape& shape : Shapes()) {
        const QString text = WriteShape({shape.kind, 3, 1, -2, 30000, 4, 255});
        EXPECT_EQ(WriteShape(ReadShape(shape.kind, FindRecord(text)->payload).value), text);
    }
    const BoardPoint path[] = {{0.5f, 1}, {2, 3}};
    EXPECT_EQ(WritePointer(path), u"[[ZUM_WB_POINTER]]"_s + Payload("0.5/1/2/3"));
    const TextRecord line{100, 50, {u"Arial"_s, 10.5f, true, false, false, true}, 255, u"h\u00A5|i"_s};
    const QString lineText = WriteText(line);
    EXPECT_EQ(lineText,
              u"[[ZUM_WB_TEXT]]"_s + Payload("100/50/True/False/Arial/10.5/False/True/255/h\u00A5|i"));

    const auto found = FindRecord(lineText);
    ASSERT_TRUE(found && found->kind == RecordKind::Text);
    EXPECT_EQ(WriteText(ReadText(found->payload).value), lineText);
    EXPECT_EQ(WritePen(ReadPen(FindRecord(penText)->payload).value), penText);
    EXPECT_EQ(RecordName(RecordKind::HScroll), u"HSCROLL"_s);
    for (const QString& none : {u""_s, u"[[zum_wb_pen]]1"_s, u" [[ZUM_WB_PEN]]1"_s, u"[[ZUM_WB_PEN"_s})
        EXPECT_FALSE(FindRecord(none)) << none.toStdString();
}
