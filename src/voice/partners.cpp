#include "voice/partners.h"

#include <QString>

#include "cipher/code_page.h"

namespace voice {

QByteArray HandleOf(const QByteArray& text)
{
    const qsizetype bar = text.lastIndexOf('|');
    return bar < 0 ? QByteArray() : text.mid(bar + 1);
}

std::set<std::string> Partners::Among(const std::vector<std::string>& handles) const
{
    std::set<std::string> partners;
    for (std::size_t i = 1; i < handles.size(); ++i)
        if (mAsked.contains(ToCodePage(QString::fromStdString(handles[i])))) partners.insert(handles[i]);
    return partners;
}

}  // namespace voice
