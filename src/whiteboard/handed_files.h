#pragma once
// Files that a file manager hands over, dragged or copied. Pure; reads no file.

#include <QStringList>

class QMimeData;

struct HandedFiles {
    QStringList files;  // paths on this computer
    int elsewhere = 0;  // addresses of other computers, of the web, of nothing; nobody fetches them
};

HandedFiles FilesIn(const QMimeData& data);
