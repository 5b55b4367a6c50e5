#pragma once
// Pop-up menus: built with AppendMenu, shown with TrackPopupMenu as an
// override-redirect window of the editor's own display connection that holds
// the pointer and keyboard until an item is chosen, Escape is pressed or the
// user clicks outside.
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
    // coordinates and runs it. The chosen item's id reaches pWnd as
    // WM_COMMAND after the menu has closed; returns TRUE when an item was
    // chosen (with TPM_RETURNCMD: the id, and nothing is sent). Escape or a
    // click outside returns 0 and sends nothing.
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
