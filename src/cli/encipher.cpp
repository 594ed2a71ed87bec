#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "cipher/code_page.h"
#include "cipher/skipjack.h"
#include "cli/commands.h"
#include "text/qt_line.h"

namespace {

QString Encipher(const SkipJack& cipher, const QString& line)
{
    if (!SurvivesCodePage(line))
        std::cerr << "zephyl: a line has characters outside Windows-1252; they become \"?\"\n";
    return cipher.EncryptHex(SkipJack::StringToHex(line));
}

/// The cipher itself takes anything for a key, the empty file, too.
QString KeyIn(const std::string& file)
{
    constexpr std::size_t digits = 20;
    const std::string key = FirstLine(file, files::Owner::Anybody);
    if (key.size() != digits || key.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        throw std::runtime_error("the first line of " + file + " is no key: 20 hexadecimal digits");
    return QString::fromStdString(key);
}

}  // namespace

int Cipher(const std::string& keyFile, CipherWay way)
{
    const SkipJack cipher(KeyIn(keyFile));
    const bool terminal = ::isatty(STDOUT_FILENO) != 0;  // into a file goes exactly what was enciphered
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line.ends_with('\r')) line.pop_back();
        const QString text = QString::fromStdString(line);
        const QString result = way == CipherWay::Encipher ? Encipher(cipher, text)
                                                          : SkipJack::HexToString(cipher.DecryptHex(text));
        std::cout << (terminal ? OneLine(result) : result).toStdString() << '\n';
    }
    return std::cout.flush() ? 0 : 1;
}
