#pragma once
// Pop-up menus: built with AppendMenu, shown with TrackPopupMenu as an
// override-redirect window of the editor's own display connection that holds
// the pointer and keyboard until an item is chosen, Escape is pressed or the
// user clicks outside.
#include <functional>
#include <vector>

#include "CString.h"
#include "CWnd.h"

#define MF_STRING 0x0000u
#define MF_ENABLED 0x0000u
#define MF_UNCHECKED 0x0000u
#define MF_BYCOMMAND 0x0000u
#define MF_GRAYED 0x0001u
#define MF_DISABLED 0x0002u
#define MF_CHECKED 0x0008u
#define MF_POPUP 0x0010u
#define MF_BYPOSITION 0x0400u
#define MF_SEPARATOR 0x0800u

#define TPM_LEFTBUTTON 0x0000u
#define TPM_LEFTALIGN 0x0000u
#define TPM_TOPALIGN 0x0000u
#define TPM_RIGHTBUTTON 0x0002u
#define TPM_CENTERALIGN 0x0004u
#define TPM_RIGHTALIGN 0x0008u
#define TPM_VCENTERALIGN 0x0010u
#define TPM_BOTTOMALIGN 0x0020u
#define TPM_NONOTIFY 0x0080u
#define TPM_RETURNCMD 0x0100u

class CMenu : public CObject {
public:
    CMenu();
    ~CMenu() override;

    BOOL CreatePopupMenu();
    BOOL DestroyMenu();
    // With MF_POPUP, nIDNewItem is the submenu's handle (GetSafeHmenu).
    BOOL AppendMenu(UINT nFlags, UINT_PTR nIDNewItem = 0, LPCTSTR lpszNewItem = nullptr);
    UINT CheckMenuItem(UINT nIDCheckItem, UINT nCheck);    // previous state, or (UINT)-1
    UINT EnableMenuItem(UINT nIDEnableItem, UINT nEnable);  // previous state, or (UINT)-1
    int GetMenuItemCount() const { return (int)m_items.size(); }
    UINT GetMenuItemID(int nPos) const;
    HMENU GetSafeHmenu() const { return m_hMenu; }
    static CMenu* FromHandle(HMENU hMenu);

    // Shows the menu with its top-left corner at (x, y) in pWnd's client
    // coordinates and returns at once (the menu holds pointer and keyboard
    // while it is up; the calling thread goes back to its own work). When it
    // closes, the chosen item's id reaches pWnd as WM_COMMAND (not with
    // TPM_RETURNCMD), and then onDone runs with the id, or 0 when Escape or
    // a click outside dismissed it; both from the event pump. Nothing runs
    // when pWnd is destroyed first. FALSE when the menu cannot be shown
    // (onDone is then not called). The menu's items are copied: the CMenu
    // object may go at once.
    BOOL TrackPopupMenuAsync(UINT nFlags, int x, int y, CWnd* pWnd, std::function<void(UINT)> onDone,
                             LPCRECT lpRect = nullptr);
    // The same in a loop of its own until the menu closes (see
    // AfxPumpUntil): TRUE when an item was chosen (with TPM_RETURNCMD:
    // the id), 0 when dismissed.
    BOOL TrackPopupMenu(UINT nFlags, int x, int y, CWnd* pWnd, LPCRECT lpRect = nullptr);

    struct Item {
        CString text;
        UINT id = 0;
        UINT flags = 0;
        CMenu* sub = nullptr;
    };
    HMENU m_hMenu = nullptr;
    std::vector<Item> m_items;

private:
    Item* FindItem(UINT nID, UINT nFlags);
    std::vector<struct PopupItem> ListItems(int depth) const;
};
