#include "whiteboard/history.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "whiteboard/marks.h"

namespace {

/// A history as people think of it: whole boards in a list.
struct Model {
    std::vector<QString> boards;
    int index = 0;

    void Save(const QString& board)
    {
        if (index == 11)
            boards.erase(boards.begin());
        else
            boards.resize(std::size_t(index++));
        boards.push_back(board);
    }
    void Undo() { index = std::max(1, index - 1); }
    void Redo() { index = std::min(int(boards.size()), index + 1); }
};

}  // namespace

TEST(History, AgreesWithAListOfWholeBoards)
{
    Seeded random;
    Board board;
    WBHistory history;
    Model model;
    const auto save = [&] {
        history.Save(&board, 0, 0, u"ann"_s, {});
        model.Save(board.Checksum());
    };
    save();
    for (int step = 0; step < 80; ++step) {
        switch (random() % 5) {
            case 0: history.StepBack(), model.Undo(); break;
            case 1: history.StepForward(), model.Redo(); break;
            case 2: DrawMark(board, *AnyMark(random)); [[fallthrough]];  // live, never saved by itself
            default: DrawMark(board, *AnyMark(random)), save(); continue;
        }
        if (random() % 3 == 0) DrawMark(board, *AnyMark(random));  // undo and redo take live pictures away
        history.Show(history.Index(), board);
        ASSERT_EQ(history.Index(), model.index);
        ASSERT_EQ(history.Count(), int(model.boards.size()));
        ASSERT_EQ(board.Checksum(), model.boards[std::size_t(model.index - 1)]) << "step " << step;
    }
}

TEST(History, KeepsElevenBoardsAndWhoChangedThem)
{
    Board board;
    WBHistory history;
    EXPECT_THROW(history.Show(1, board), std::out_of_range);
    history.Save(&board, 0, 0, u"ann"_s, {});
    for (int change = 1; change <= 12; ++change) {
        board.Fill({change * 100, 0, 50, 50}, 0);
        history.Save(&board, 0, 0, QString::number(change), {});
    }
    EXPECT_EQ(history.Index(), 11);
    EXPECT_EQ(history.Count(), 11);
    for (int undo = 0; undo < 11; ++undo) history.StepBack();
    EXPECT_EQ(history.Index(), 1);
    EXPECT_EQ(history.At(1).UserHandle, u"2"_s);
    history.Show(1, board);
    EXPECT_NE(board.Pixel(210, 10), 0xffffffffu);
    EXPECT_EQ(board.Pixel(310, 10), 0xffffffffu);
    EXPECT_EQ(history.PictureOf(11).pixel(1210, 10), 0xff000000u);
    for (const int bad : {0, 12, -1}) EXPECT_THROW(history.Show(bad, board), std::out_of_range);
}

TEST(History, CostsWhatWasDrawn)
{
    Board board;
    WBHistory history;
    history.Save(&board, 0, 0, u"ann"_s, {});
    EXPECT_EQ(history.DistinctTiles(), 1);  // a white board is one tile
    for (int change = 0; change < 20; ++change) {
        board.Draw(ShapeRecord{RecordKind::Box, 1, 300, 300, 330, 330.0f + float(change), 255});
        history.Save(&board, 0, 0, u"ann"_s, {});
    }
    EXPECT_LE(history.DistinctTiles(), 1 + 11 * 4);
    board.Clear();
    history.Save(&board, 0, 0, u"ann"_s, {});
    EXPECT_EQ((*history.At(11).Picture)[0], (*history.At(10).Picture)[0]);  // white stays shared
    QImage picture(640, 640, QImage::Format_RGB32);
    for (int pixel = 0; pixel < 640 * 640; ++pixel)
        picture.setPixel(pixel % 640, pixel / 640, QRgb(pixel) | 0xff000000u);
    for (int time = 0; time < 11; ++time) {
        board.Paint(picture, {0, 0});
        history.Save(&board, 0, 0, u"ann"_s, {});
    }
    EXPECT_LE(history.DistinctTiles(), 1 + 640 * 640 / (kTileSide * kTileSide));  // of the same again, one
}
