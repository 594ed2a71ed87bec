#pragma once
// A stranger's text, made fit for a log, a terminal, a message or a label. Pure; any thread; no locale.
//
// Whatever does not show itself where it stands is written as an escape: control characters (C0, DEL, C1),
// line and paragraph separators, the marks and isolates of writing direction, what joins or hides (zero
// width, soft hyphen, tags, variation selectors), lone surrogates, noncharacters, and bytes that are no
// UTF-8. So a text is one line, moves nothing around itself, and drives no terminal. A backslash stays as it
// is: the rule may be applied twice and changes nothing the second time.

#include <string>
#include <string_view>

/// A character that does not show itself. Surrogates (0xd800 to 0xdfff) are, what lies beyond Unicode is too.
bool IsUnseen(char32_t c);

/// "\n", "\r", "\t", "\x1b" below 0x80; "\u202e" to 0xffff; "\U000e0041" beyond.
std::string Escape(char32_t c);

/// UTF-8, or what claims to be it, as one line of UTF-8. A byte that belongs to no character (stray,
/// overlong, cut off, a coded surrogate) becomes "\xff".
std::string OneLine(std::string_view utf8);

/// JSON that a writer has made (UTF-8, whole): the same data, with everything unseen inside it as "\u202e"
/// and in pairs beyond 0xffff. Line breaks and tabs between the values stay.
std::string JsonWithEscapes(std::string_view json);
