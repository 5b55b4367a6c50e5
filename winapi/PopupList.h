#pragma once
// The pop-up list behind menus and drop-down lists: an override-redirect
// window over its owner that holds pointer and keyboard while it runs.
#include <vector>

#include "CString.h"
#include "CWnd.h"

class CFont;

struct PopupItem {
    CString text;
    bool checked = false;
    bool grayed = false;
    bool separator = false;
    bool submenu = false;
};

// Shows items at (x, y) in owner's client coordinates (xAlign 0 left, 1
// centre, 2 right edge at x), at least minWidth wide, with current
// highlighted first, and runs it: the index chosen, or -1 when dismissed
// (Escape, a click outside, the owner or the display going away).
int AfxRunPopupList(CWnd* owner, int x, int y, int xAlign, int minWidth, const std::vector<PopupItem>& items,
                    int current, const CFont* font);
