#include "whiteboard/tools/text.h"

#include <QStringList>

#include "text/text_rules.h"
#include "whiteboard/board.h"

std::vector<TextRecord> TextLines(const Board& board, const QString& typed, BoardPoint16 at,
                                  const TextLook& look, quint32 colour)
{
    std::vector<TextRecord> lines;
    if (typed.isEmpty()) return lines;
    const int height = board.LineHeight(look);
    int y = at.y;
    for (QString line : WholeCharacters(typed).split(u'\n')) {
        if (line.endsWith(u'\r')) line.chop(1);
        lines.push_back({float(at.x), float(y), look, colour, line});
        y += height;
    }
    return lines;
}
