#pragma once

#include <QString>

namespace zephyl::link {

/// A sentence for people, where it is made: the event log and the command line keep it. Windows translate it;
/// all of them stand in text/said.cpp.
inline QString English(const char* sentence)
{
    return QString::fromUtf8(sentence);
}

}  // namespace zephyl::link
