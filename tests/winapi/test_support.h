#pragma once
// Helpers shared by the window-layer tests.
#include <cairo.h>
#include <dirent.h>

#include <chrono>
#include <cstdint>
#include <vector>

#include "CWnd.h"

using Clock = std::chrono::steady_clock;

struct Pixel {
    int a, r, g, b;
};

// A pixel of an ARGB32 image surface (premultiplied, as stored).
inline Pixel PixelAt(cairo_surface_t* s, int x, int y)
{
    cairo_surface_flush(s);
    uint32_t v = *reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(s) +
                                                    y * cairo_image_surface_get_stride(s) + x * 4);
    return Pixel{int(v >> 24), int((v >> 16) & 0xFF), int((v >> 8) & 0xFF), int(v & 0xFF)};
}

// Entries in a /proc/self directory (threads, file descriptors).
inline int CountEntries(const char* dir)
{
    int n = 0;
    if (DIR* d = opendir(dir)) {
        while (dirent* e = readdir(d)) n += e->d_name[0] != '.';
        closedir(d);
    }
    return n;
}

// Pumps until pred holds (false if the deadline passes first), or for ms.
template <class Pred>
bool PumpUntil(Pred pred, int ms = 3000)
{
    auto end = Clock::now() + std::chrono::milliseconds(ms);
    for (; !pred(); AfxPumpMessages(5))
        if (Clock::now() > end) return false;
    return true;
}
inline void PumpFor(int ms) { PumpUntil([] { return false; }, ms); }

inline CRect ClientRect(const CWnd& w)
{
    CRect r;
    w.GetClientRect(&r);
    return r;
}

struct Msg {
    UINT message;
    WPARAM wp;
    LPARAM lp;
};

// Records every message it is sent, then handles it as its class would.
class CRecorder : public CWnd {
public:
    std::vector<Msg> got;
    LRESULT WindowProc(UINT message, WPARAM wp, LPARAM lp) override
    {
        got.push_back({message, wp, lp});
        return CWnd::WindowProc(message, wp, lp);
    }
    std::vector<Msg> Of(std::initializer_list<UINT> kinds) const
    {
        std::vector<Msg> out;
        for (const Msg& m : got)
            for (UINT k : kinds)
                if (m.message == k) out.push_back(m);
        return out;
    }
    int Count(UINT message) const { return (int)Of({message}).size(); }
    std::vector<UINT> Kinds(size_t first) const  // of the first messages
    {
        std::vector<UINT> out;
        for (size_t i = 0; i < got.size() && i < first; ++i) out.push_back(got[i].message);
        return out;
    }
};
