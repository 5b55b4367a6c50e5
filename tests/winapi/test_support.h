#pragma once
// Helpers shared by the window-layer tests.
#include <cairo.h>
#include <dirent.h>

#include <cstdint>

struct Pixel {
    int a, r, g, b;
};

// A pixel of an ARGB32 image surface (premultiplied, as stored).
inline Pixel PixelAt(cairo_surface_t* s, int x, int y)
{
    cairo_surface_flush(s);
    const unsigned char* data = cairo_image_surface_get_data(s);
    int stride = cairo_image_surface_get_stride(s);
    uint32_t v = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
    return Pixel{int(v >> 24), int((v >> 16) & 0xFF), int((v >> 8) & 0xFF), int(v & 0xFF)};
}

// Entries in a /proc/self directory (threads, file descriptors).
inline int CountEntries(const char* dir)
{
    int n = 0;
    if (DIR* d = opendir(dir)) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') ++n;
        closedir(d);
    }
    return n;
}
