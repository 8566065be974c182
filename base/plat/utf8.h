#pragma once

#include "base/plat/String.h"

namespace plat {

// Strict UTF-8 (RFC 3629): no overlong forms, no surrogates, and no
// non-characters. An `end` of null means up to the NUL.

bool isUtf8Continuation(char byte);
// 2 to 4 for a lead byte of that many leading one bits, 1 for any other byte.
int utf8SequenceLength(unsigned char first);

// Decodes a multi-byte sequence: `first` is its lead byte, the cursor stands
// just behind it, `available` counts the bytes that may be read, the lead byte
// included; 4 will do for a NUL-terminated text. Returns the value with the cursor
// behind the sequence, or -1 with it behind those bytes of the sequence that are
// there.
int decodeUtf8Char(unsigned char first, const char** cursor, int available);
// Writes 1 to 4 bytes, no NUL, and returns their number. Throws plat::Exception
// "Unicode out of range" for 0x110000 and above.
int encodeUtf8Char(unsigned codePoint, char* out);

bool isValidUtf8(const char* begin, const char* end = nullptr);
// A copy with every invalid sequence replaced by U+FFFD. With maxBytes >= 0 it
// ends before the character that would take it past maxBytes.
String fixUtf8(const char* begin, const char* end = nullptr, int maxBytes = -1);
// U+20AC is 0x80; what Latin-1 lacks becomes "?", and so does every invalid
// sequence. With a length, NULs are characters like others. outLength may be null.
String utf8ToLatin1(const char* text, int length = -1, int* outLength = nullptr);
String latin1ToUtf8(const char* text, int length = -1, int* outLength = nullptr);
// Columns on a terminal, by wcwidth() in the locale of the process, up to the
// first invalid sequence.
int utf8DisplayWidth(const char* begin, const char* end = nullptr);
// Brings the range into the text and moves it inwards to character boundaries;
// returns the text's length. A length of -1 is the rest of the text.
int utf8ClampRange(const char* text, int* start, int* length);
// Printable rendering for logs: "^I" for a tab, "M-..." for invalid bytes, each
// behind the escape character, which itself is doubled.
String escapeUtf8(const char* text, char escapeChar);

}  // namespace plat
