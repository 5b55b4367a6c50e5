#pragma once
// A bitmap loaded from the plug-in's own numbered resources, and the value-
// change callback shared by the bitmap controls built on it.
#include "CDC.h"

// Tells a control's owner that the control with this id took a new value.
// The result is ignored by the controls.
typedef bool (*ZNTValueCallback)(int id, float value, void* user);

class CZNTBitmap : public CBitmap {
public:
    CZNTBitmap() = default;
    ~CZNTBitmap() override = default;
    // name: the resource number carried in a pointer (its low 16 bits).
    // The second argument is accepted and unused.
    bool LoadResourceBitmap(char* name, void** unused = nullptr);
    bool LoadResourceBitmap(unsigned id) { return LoadResourceBitmap(reinterpret_cast<char*>((uintptr_t)id)); }
    unsigned Width() const;
    unsigned Height() const;
};
