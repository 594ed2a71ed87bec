#include <unistd.h>

#include <iostream>

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

}  // namespace

int Cipher(const std::string& keyFile, CipherWay way)
{
    const SkipJack cipher(QString::fromStdString(FirstLine(keyFile, files::Owner::Anybody)));
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
