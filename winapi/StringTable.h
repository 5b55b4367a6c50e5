#pragma once
// The string resources, generated at build time from resources/strings.txt
// ("decimal id = text" lines) and compiled in, so a copied library is
// complete. Sorted by id.
#include <cstddef>

struct StringTableEntry {
    unsigned id;
    const char* text;
};

extern const StringTableEntry g_StringTable[];
extern const size_t g_StringTableCount;

// The text of id, or null when the table has no such entry.
const char* FindStringResource(unsigned id);
