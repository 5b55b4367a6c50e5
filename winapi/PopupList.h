#pragma once
// The pop-up list behind menus and drop-down lists: an override-redirect
// window over its owner that holds pointer and keyboard while it runs.
#include <functional>
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
    int code = -1;                    // what choosing it returns (-1: its index)
    std::vector<PopupItem> children;  // a submenu's items
};

// Shows items at (x, y) in owner's client coordinates (xAlign 0 left, 1
// centre, 2 right edge at x), at least minWidth wide, with current
// highlighted first, and returns at once: the list holds pointer and
// keyboard while it is up, and the thread goes back to whoever called.
// When it closes, onDone runs from the event pump with the chosen item's
// code (or index), or a negative number when dismissed (Escape, a click
// outside, the display going away). A submenu opens at its item (click,
// Return or Right; Left or Escape closes it again) and its choice is the
// list's. onDone is not called when owner is destroyed first (the list
// closes with it). False, and no call, when the list cannot be shown.
bool AfxShowPopupList(CWnd* owner, int x, int y, int xAlign, int minWidth, const std::vector<PopupItem>& items,
                      int current, const CFont* font, std::function<void(int)> onDone);
// The same, waiting for the choice in a loop of its own (see
// AfxPumpUntil): -1 when the list cannot be shown or owner goes.
int AfxRunPopupList(CWnd* owner, int x, int y, int xAlign, int minWidth, const std::vector<PopupItem>& items,
                    int current, const CFont* font);

// Type-ahead: the first item after `from` (wrapping round) whose text starts
// with ch, ignoring case and skipping those `skip` refuses; -1 when none.
template <class Skip>
int AfxNextItemStartingWith(const std::vector<PopupItem>& items, int from, unsigned ch, Skip skip)
{
    auto lower = [](unsigned c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
    int n = (int)items.size();
    if (n == 0) return -1;
    for (int k = 1; k <= n; ++k) {
        int i = ((from < 0 ? -1 : from) + k) % n;
        const CString& t = items[(size_t)i].text;
        if (!skip(i) && t.GetLength() > 0 && lower((unsigned char)((const char*)t)[0]) == lower(ch)) return i;
    }
    return -1;
}
