#pragma once
// Boards as bytes of files that other programs open. Pages are as large as the board at 96 dots an inch.

#include <QByteArray>
#include <QImage>
#include <QString>
#include <span>

#include "export/page.h"

/// Throw std::runtime_error when the toolkit cannot write it.
QByteArray AsPng(const QImage& board);
/// Lines as lines, text as text in the fonts that the board names, pictures inside.
QByteArray AsSvg(const Page& page, const QString& title, const PictureReader& pictures);
/// The same, a page for each.
QByteArray AsPdf(std::span<const Page> pages, const QString& title, const PictureReader& pictures);
