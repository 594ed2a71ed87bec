#pragma once
// What is exported, in which format, under which names. Rules: bytes and names out, no window.

#include <QByteArray>
#include <QStringList>
#include <optional>
#include <vector>

#include "contract/picture_reader.h"
#include "whiteboard/history.h"

enum class BoardFormat { Png, Pdf, Svg };
enum class Boards { AsItStands, AllOfTheHistory };

/// "png", "pdf", "svg".
QString EndingOf(BoardFormat format);
std::optional<BoardFormat> FormatNamed(const QString& ending);

/// One file, but one for each board where the format has no pages. Throws std::runtime_error.
std::vector<QByteArray> BoardFiles(const Board& board, const WBHistory& history, Boards which,
                                   BoardFormat format, const QString& title, const PictureReader& pictures);

/// `path` for one file; else "name-01.png", "name-02.png" of "name.png".
QStringList NamesFor(const QString& path, std::size_t count);

/// Writes each whole or not at all. Several never take the place of a file that is there: nothing is written
/// then. Throws std::runtime_error. Returns the names.
QStringList SaveBoardFiles(const QString& path, const std::vector<QByteArray>& files);
