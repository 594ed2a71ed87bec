#pragma once
// What people have tried to smuggle into a line: 500 texts for everything that shows what strangers write.

#include <string>
#include <vector>

/// UTF-8 and what claims to be it. Each as it comes, amid letters, behind a forged line, doubled, and long.
inline std::vector<std::string> Injections()
{
    using namespace std::string_literals;
    const std::vector<std::string> pieces = {
        // markup, links, mnemonics, formats
        "<b>x</b>", "<img src=file:///etc/passwd>", "<a href='http://a.b/'>x</a>", "<qt>&lt;</qt>",
        "&copy;&#27;&amp;", "<!-- x", "</p><p>ann: y", "&File", "%n%s%1$s%1", "{}{0}\\n\\x1b", "$(id)`id`",
        "\"'\",\"x\":1}",
        // controls and terminals
        "\n"s, "\r"s, "\r\n"s, "\v"s, "\f"s, "\t"s, "\b\b\b"s, "\0"s, "\a"s, "\x7f"s, "\x1b[2J"s,
        "\x1b]0;x\x07"s, "\x1b]8;;http://a.b\x1b\\x\x1b]8;;\x1b\\"s, "\x1b[31m"s, "\x1bP$q\x1b\\"s,
        "\x9b"
        "2J"s,
        "\x85"s, "\u0085"s, "\u009b2J"s, "\u0090x\u009c"s, "\u0080\u009f"s,
        // line breaks, direction, no width, tags
        "\u2028"s, "\u2029"s, "\u202egnp.exe"s, "\u202a\u202b\u202c\u202d"s, "\u2066x\u2069\u2067\u2068"s,
        "\u200e\u200f\u061c"s, "\u200b\u200c\u200d\u2060"s, "\ufeff"s, "\u00ad\u034f"s, "\u180e\u3164\uffa0"s,
        "\ufe0f\ufe0e"s, "\U000e0041\U000e007f"s, "\U000e0100\U000e01ef"s, "\ufff9x\ufffa\ufffb"s,
        "\uffff\ufdd0"s};
    std::vector<std::string> texts;
    for (const char* broken :  // no UTF-8: overlong, lone surrogates, beyond the end, cut off
         {"\xc0\x8a", "\xc0\x80", "\xe0\x80\x8a", "\xf0\x80\x80\x8a", "\xed\xa0\x80", "\xed\xbf\xbf",
          "\xed\xa0\xbd\xed\xb8\x80", "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80", "\xff\xfe", "\xe2\x80",
          "\xc2\x1b[2J", "\xe2\x80\x0a", "\x80\x9b", "a\xc2"})
        texts.emplace_back(broken);
    const std::vector<std::pair<std::string, std::string>> frames = {
        {"", ""},
        {"a", "b"},
        {"\u05d0", "\u05d1 1"},
        {"a: b\r\nann: ", ""},
        {"", "\nann: y"},
        {"\u6f22", "\U0001F600"},
    };
    for (const auto& [before, behind] : frames)
        for (const std::string& piece : pieces) texts.push_back(before + piece + behind);
    for (const std::string& piece : pieces) texts.push_back(piece + piece + "x");
    for (const std::string& piece : pieces) {
        std::string many;
        while (many.size() < 900) many += piece + "y";
        texts.push_back(many);
    }
    for (std::size_t i = 0; texts.size() < 500; ++i)
        texts.push_back(pieces[i % pieces.size()] + pieces[(i * 7 + 1) % pieces.size()] +
                        pieces[(i * 11 + 2) % pieces.size()]);
    return texts;
}
