#pragma once
// Numbered PNG resources compiled into the library. The table is generated
// at build time from resources/bitmaps/<id>.png by tools/embed_resources.
struct WinResource {
    int id;
    const unsigned char* data;
    unsigned size;
};

extern const WinResource g_winBitmapResources[];
extern const unsigned g_winBitmapResourceCount;
