// A settings file that a person or another program has edited: nothing in it is lost by reading and writing,
// and what is set can be read back.

#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "settings/reg_text.h"

using namespace Qt::StringLiterals;

namespace {

using Kind = RegEdit::Kind;
const QString kSoftware = u"HKEY_CURRENT_USER\\Software\\"_s;

void NeedSame(const RegText& a, const QString& keyA, const RegText& b, const QString& keyB)
{
    const std::vector<RegValue> valuesA = a.Values(keyA), valuesB = b.Values(keyB);
    if (valuesA.size() != valuesB.size() || a.Subkeys(keyA) != b.Subkeys(keyB)) std::abort();
    for (std::size_t i = 0; i < valuesA.size(); ++i)
        if (valuesA[i].name != valuesB[i].name || valuesA[i].data != valuesB[i].data) std::abort();
}

/// What a key holds is the same under another name and in a copy, and nothing of it is left behind.
void MoveAbout(const RegText& text, const QString& name)
{
    const QString from = kSoftware + name, to = kSoftware + u"Fuzzed elsewhere"_s;
    RegText copied = text, moved = text, removed = text;
    try {
        copied.Make({.kind = Kind::CopyKey, .keyPath = from, .to = to});
        moved.Make({.kind = Kind::MoveKey, .keyPath = from, .to = to});
    } catch (const std::runtime_error&) {
        return;  // there is such a key
    }
    removed.Make({Kind::RemoveKey, from});
    const RegText copy(copied.Write()), move(moved.Write()), rest(removed.Write());
    NeedSame(text, from, copy, from);
    if (copy.Values(to).size() != text.Values(from).size()) std::abort();  // empty keys below are not copied
    NeedSame(text, from, move, to);
    for (const QString& other : rest.Subkeys(kSoftware.chopped(1)))
        NeedSame(text, kSoftware + other, rest, kSoftware + other);
    if (!rest.Values(from).empty() || !move.Values(from).empty()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray file(reinterpret_cast<const char*>(data), qsizetype(size));
    RegText text(file);
    const bool utf16 = file.startsWith("\xff\xfe");
    if (!utf16 && text.Write() != file) std::abort();
    for (const QString& name : text.Subkeys(kSoftware.chopped(1))) MoveAbout(text, name);
    const QString key = u"HKEY_CURRENT_USER\\Software\\Velnor\\Zephyl\\Data"_s;
    const QString value = QString::fromUtf8(file.right(64)).remove(QChar(0));
    text.SetText(key, u"Fuzzed"_s, value);
    const RegText again(text.Write());
    const auto read = again.Read(key, u"fuzzed"_s);
    if (!read || DataText(read->data) != value) std::abort();
    for (const QString& sub : again.Subkeys(u"HKEY_CURRENT_USER\\Software"_s)) (void)again.Values(sub);
    return 0;
}
