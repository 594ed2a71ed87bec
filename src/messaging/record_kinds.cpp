#include "messaging/record_kinds.h"

const RecordRow* RowOf(QStringView message)
{
    if (!message.startsWith(u"[[")) return nullptr;
    for (const RecordRow& row : kRecordRows)
        if (message.startsWith(row.tag)) return &row;
    return nullptr;
}

bool IsBoardRecord(QStringView message)
{
    const RecordRow* row = RowOf(message);
    return row && row->channel == Road::Board;
}
