// A settings file that a person or another program has edited: nothing in it is lost by reading and writing,
// and what is set can be read back.

#include <cstdint>
#include <cstdlib>

#include "settings/reg_text.h"

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray file(reinterpret_cast<const char*>(data), qsizetype(size));
    RegText text(file);
    const bool utf16 = file.startsWith("\xff\xfe");
    if (!utf16 && text.Write() != file) std::abort();
    const QString key = u"HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Data"_s;
    const QString value = QString::fromUtf8(file.right(64)).remove(QChar(0));
    text.SetText(key, u"Fuzzed"_s, value);
    const RegText again(text.Write());
    const auto read = again.Read(key, u"fuzzed"_s);
    if (!read || DataText(read->data) != value) std::abort();
    for (const QString& sub : again.Subkeys(u"HKEY_CURRENT_USER\\Software"_s)) (void)again.Values(sub);
    return 0;
}
