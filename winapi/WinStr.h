#pragma once
// Free string helpers of the Windows-style layer: case-insensitive compare,
// memory clearing, string resources and the Shift-JIS (Windows-31J, CP932)
// conversions used for program names.
#include <cstddef>

#include "WinStrTypes.h"

// Case-insensitive compare (ASCII letters only). The result is a signed
// 1-based position, not a difference: "ab" vs "ABC" gives -3, "b" vs "a" 1.
// Bytes of 0x80 and above sort below ASCII (signed comparison). Callers use
// only the sign and zero. A null pointer counts as the empty text.
int stricmp(const char* a, const char* b);

void ZeroMemory(void* p, int n);

// String resource id from the table compiled into the library. The text is
// copied into buffer (at most size - 1 bytes, always terminated). A missing
// id answers its decimal text. Returns the copied length, or all ones when
// there is no buffer to copy into.
unsigned LoadString(void* instance, unsigned id, char* buffer, int size);
unsigned LoadStringUTF8(void* instance, unsigned id, char* buffer, int size);

// True for every byte with the top bit set: callers only use it to avoid
// cutting a two-byte character at a fixed length.
bool IsDBCSLeadByte(unsigned char c);

// src unchanged when it is valid UTF-8; otherwise its UTF-8 form when it is
// valid Shift-JIS; otherwise unchanged. Returns dst. dst must hold
// strlen(src) * 3 + 1 bytes (a one-byte half-width katakana becomes three
// bytes of UTF-8); prefer the sized form below.
char* CheckSJISAndToUFT8(const char* src, char* dst);
// The same with the destination's size: the result is cut (at a character
// boundary) to fit dstSize - 1 bytes and always terminated.
char* CheckSJISAndToUFT8(const char* src, char* dst, size_t dstSize);

// The Shift-JIS form of a UTF-8 text, or null when the input is not valid
// UTF-8 or holds a character without a Shift-JIS form. The text lives in a
// per-thread buffer until the next call on the same thread: copy it at once.
char* UTF8ToSJSINS(const char* utf8);

// Cuts a Shift-JIS text in place to at most maxBytes bytes without leaving
// half of a two-byte character; returns the new length. For the 24-byte
// name field (maxBytes 23) a name whose 23rd byte would start a two-byte
// character keeps 22 bytes.
size_t TruncateSJIS(char* text, size_t maxBytes);

// True when text is well-formed UTF-8 (no overlong forms, no surrogates,
// nothing above U+10FFFF).
bool IsValidUTF8(const char* text);
