#include "CZNTBitmap.h"

#include <cstdint>

bool CZNTBitmap::LoadResourceBitmap(char* name, void**)
{
    const int id = static_cast<int>(reinterpret_cast<uintptr_t>(name) & 0xFFFF);
    return Attach(LoadBitmap0(id, "com.graphiceq.plugin")) != FALSE;
}

unsigned CZNTBitmap::Width() const
{
    int w = 0;
    GetBitmapSize0(GetSafeHandle(), &w, nullptr, nullptr);
    return static_cast<unsigned>(w);
}

unsigned CZNTBitmap::Height() const
{
    int h = 0;
    GetBitmapSize0(GetSafeHandle(), nullptr, &h, nullptr);
    return static_cast<unsigned>(h);
}
