// Pop-up menus and the pop-up list they share with drop-down lists.
#include "CMenu.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "ControlPaint.h"
#include "PopupList.h"
#include "PlatformBridge.h"

namespace {

constexpr UINT kKeyLeft = 123, kKeyRight = 124, kKeyUp = 126, kKeyDown = 125, kKeyReturn = 36, kKeyEnter = 76, kKeyEscape = 53, kKeyHome = 115,
               kKeyEnd = 119;
constexpr int kRowPad = 4;       // above and below the text of a row
constexpr int kSeparatorH = 9;
constexpr int kCheckColumn = 22;  // room for the check mark
constexpr int kRightPad = 18;


bool ShowSubList(CWnd* owner, int x, int y, const std::vector<PopupItem>& items, const CFont* font,
                 std::function<void(int)> onDone);

class CPopupList : public CWnd {
public:
    CPopupList(const std::vector<PopupItem>& items, const CFont* font) : m_items(items), m_font(font)
    {
        int th = 0;
        for (const PopupItem& it : m_items) {
            int w = 0, h = 0;
            ctl::TextSize(ctl::MeasuringContext(), font, it.text.IsEmpty() ? " " : (const char*)it.text, w, h);
            m_textW = std::max(m_textW, w);
            th = std::max(th, h);
        }
        m_rowH = std::max(th, 10) + 2 * kRowPad;
    }

    int Width(int minWidth) const { return std::max(minWidth, kCheckColumn + m_textW + kRightPad); }
    int Height() const
    {
        int h = 4;
        for (const PopupItem& it : m_items) h += it.separator ? kSeparatorH : m_rowH;
        return h;
    }

    // Shows the list and takes pointer and keyboard; returns at once.
    void Start(int current, CWnd* owner, std::function<void(int)> onDone)
    {
        m_pOwner = owner;
        m_ownerHwnd = owner->GetSafeHwnd();
        m_onDone = std::move(onDone);
        m_hover = Selectable(current) ? current : -1;
        ShowWindow(SW_SHOW);
        platform::View* v = reinterpret_cast<platform::View*>(m_hWnd);
        // An override-redirect window is viewable as soon as the server has
        // mapped it; the wait only covers an owner that is not shown.
        platform::WaitViewable(v, 250);
        platform::GrabInput(v);
    }

    // Destroyed from outside (its owner went, or the display): the list
    // ends as dismissed, and the object goes once the destruction is over.
    BOOL DestroyWindow() override
    {
        BOOL r = CWnd::DestroyWindow();
        if (!m_bFinishQueued) {
            m_bFinishQueued = true;
            m_chosen = kDismissAll;
            AfxDeferToPump(this, [this] { Close(); });
        }
        return r;
    }

    BOOL IsDialogMessage(MSG* pMsg) override
    {
        // Every key of the list is the list's: nothing reaches a dialog
        // behind it.
        if (pMsg->message != WM_KEYDOWN) return FALSE;
        if (m_bSubOpen) return TRUE;  // keys that were on their way before the submenu took over
        int n = (int)m_items.size();
        switch ((UINT)pMsg->wParam) {
        case kKeyUp:
            for (int i = (m_hover < 0 ? n : m_hover) - 1; i >= 0; --i)
                if (Selectable(i)) {
                    m_hover = i;
                    break;
                }
            break;
        case kKeyDown:
            for (int i = m_hover + 1; i < n; ++i)
                if (Selectable(i)) {
                    m_hover = i;
                    break;
                }
            break;
        case kKeyHome:
            for (int i = 0; i < n; ++i)
                if (Selectable(i)) {
                    m_hover = i;
                    break;
                }
            break;
        case kKeyEnd:
            for (int i = n - 1; i >= 0; --i)
                if (Selectable(i)) {
                    m_hover = i;
                    break;
                }
            break;
        case kKeyReturn:
        case kKeyEnter:
            if (m_hover >= 0) Activate(m_hover);
            break;
        case kKeyRight:
            if (m_hover >= 0 && m_items[(size_t)m_hover].submenu) Activate(m_hover);
            break;
        case kKeyLeft:  // closes a submenu; a top-level list stays
            if (m_bSub) Finish(kClosed);
            break;
        case kKeyEscape: Finish(kClosed); break;
        default: {
            int i = AfxNextItemStartingWith(m_items, m_hover, AfxGetCurrentEventChar(),
                                            [this](int k) { return !Selectable(k); });
            if (i >= 0) m_hover = i;
            break;
        }
        }
        Invalidate();
        return TRUE;
    }

    afx_msg void OnPaint()
    {
        cairo_t* cr = static_cast<cairo_t*>(m_pPaintContext);
        if (!cr) return;
        int w = m_nClientWidth, h = m_nClientHeight;
        ctl::PaintPopupFrame(cr, w, h);
        int y = 2;
        for (int i = 0; i < (int)m_items.size(); ++i) {
            const PopupItem& it = m_items[(size_t)i];
            if (it.separator) {
                cairo_move_to(cr, 6, y + kSeparatorH / 2 + 0.5);
                cairo_line_to(cr, w - 6, y + kSeparatorH / 2 + 0.5);
                cairo_set_source_rgba(cr, 0, 0, 0, 0.15);
                cairo_set_line_width(cr, 1);
                cairo_stroke(cr);
                y += kSeparatorH;
                continue;
            }
            bool hot = i == m_hover;
            if (hot) {
                ctl::RoundedRect(cr, 3, y, w - 6, m_rowH, 3);
                ctl::SetColour(cr, ctl::kAccent);
                cairo_fill(cr);
            }
            const ctl::Rgb& fg = it.grayed ? ctl::kGreyText : hot ? ctl::kSelText : ctl::kText;
            if (it.checked) ctl::PaintCheckMark(cr, 7, y + (m_rowH - 11) / 2.0, 11, fg);
            ctl::PaintTextIn(cr, m_font, it.text, kCheckColumn, y, w - kCheckColumn - kRightPad, m_rowH, fg, false);
            if (it.submenu) {
                cairo_save(cr);
                cairo_translate(cr, w - 10, y + m_rowH / 2.0);
                cairo_rotate(cr, -M_PI / 2);
                ctl::PaintArrow(cr, 0, 0, 7, 1, fg);
                cairo_restore(cr);
            }
            y += m_rowH;
        }
    }

    afx_msg void OnMouseMove(UINT, CPoint p)
    {
        int i = Inside(p) ? RowAt(p.y) : -1;
        if (i >= 0 && Selectable(i) && i != m_hover) {
            m_hover = i;
            Invalidate();
        }
        if (i >= 0) m_moved = true;
    }

    afx_msg void OnLButtonDown(UINT, CPoint p)
    {
        if (m_bSubOpen) return;
        if (!Inside(p)) Finish(kDismissAll);  // a click anywhere else closes the list (and its parents)
    }

    afx_msg void OnLButtonUp(UINT, CPoint p)
    {
        // The release of the click that opened the list chooses nothing
        // unless the pointer was dragged onto an item.
        int i = Inside(p) && !m_bSubOpen ? RowAt(p.y) : -1;
        if (i >= 0 && Selectable(i)) Activate(i);
    }

    afx_msg void OnRButtonDown(UINT nFlags, CPoint p) { OnLButtonDown(nFlags, p); }
    afx_msg void OnRButtonUp(UINT nFlags, CPoint p) { OnLButtonUp(nFlags, p); }

    // Key input reaches the list through IsDialogMessage; these only make it
    // a window that takes the keyboard.
    afx_msg void OnKeyDown(UINT, UINT, UINT) {}
    afx_msg void OnChar(UINT, UINT, UINT) {}

    DECLARE_MESSAGE_MAP()

private:
    bool Inside(CPoint p) const { return p.x >= 0 && p.y >= 0 && p.x < m_nClientWidth && p.y < m_nClientHeight; }
    bool Selectable(int i) const
    {
        if (i < 0 || i >= (int)m_items.size()) return false;
        const PopupItem& it = m_items[(size_t)i];
        return !it.separator && !it.grayed && (!it.submenu || !it.children.empty());
    }
    int RowTop(int index) const
    {
        int y = 2;
        for (int i = 0; i < index && i < (int)m_items.size(); ++i) y += m_items[(size_t)i].separator ? kSeparatorH : m_rowH;
        return y;
    }
    // Chooses item i, or opens its submenu beside it and takes the
    // submenu's choice.
    void Activate(int i)
    {
        const PopupItem& it = m_items[(size_t)i];
        if (!it.submenu) {
            Finish(it.code >= 0 ? it.code : i);
            return;
        }
        m_bSubOpen = ShowSubList(this, m_nClientWidth - 4, RowTop(i) - 2, it.children, m_font, [this](int r) {
            m_bSubOpen = false;
            if (r >= 0 || r == kDismissAll) {
                Finish(r);
                return;
            }
            // Back from a submenu closed by Escape or Left: this list holds
            // the input again.
            platform::GrabInput(reinterpret_cast<platform::View*>(m_hWnd));
        });
    }
    int RowAt(int py) const
    {
        int y = 2;
        for (int i = 0; i < (int)m_items.size(); ++i) {
            int h = m_items[(size_t)i].separator ? kSeparatorH : m_rowH;
            if (py >= y && py < y + h) return i;
            y += h;
        }
        return -1;
    }
    // The choice is made: the list lets go of the input and disappears at
    // once, and is taken down from the pump, after the handler that chose.
    void Finish(int index)
    {
        if (m_bFinishQueued) return;
        m_bFinishQueued = true;
        m_chosen = index;
        platform::ReleaseInput(reinterpret_cast<platform::View*>(m_hWnd));
        ShowWindow(SW_HIDE);
        AfxDeferToPump(this, [this] { Close(); });
    }
    void Close()
    {
        CWnd::DestroyWindow();
        std::function<void(int)> done = std::move(m_onDone);
        CWnd* owner = m_pOwner;
        HWND ownerHwnd = m_ownerHwnd;
        int chosen = m_chosen;
        delete this;
        if (done && ownerHwnd && CWnd::FromHandle(ownerHwnd) == owner) done(chosen);
    }

public:
    static constexpr int kClosed = -1, kDismissAll = -2;
    bool m_bSub = false;  // a submenu of another list
    bool m_bSubOpen = false;  // one of its submenus runs

private:
    std::vector<PopupItem> m_items;
    const CFont* m_font;
    int m_textW = 0;
    int m_rowH = 20;
    int m_hover = -1;
    int m_chosen = -1;
    bool m_moved = false;
    bool m_bFinishQueued = false;
    CWnd* m_pOwner = nullptr;
    HWND m_ownerHwnd = nullptr;
    std::function<void(int)> m_onDone;
};

BEGIN_MESSAGE_MAP(CPopupList, CWnd)
    ON_WM_PAINT()
    ON_WM_MOUSEMOVE()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONUP()
    ON_WM_RBUTTONDOWN()
    ON_WM_RBUTTONUP()
    ON_WM_KEYDOWN()
    ON_WM_CHAR()
END_MESSAGE_MAP()

}  // namespace

namespace {

bool ShowList(CWnd* owner, int x, int y, int xAlign, int minWidth, const std::vector<PopupItem>& items, int current,
              const CFont* font, bool sub, std::function<void(int)> onDone)
{
    if (!owner || !owner->GetSafeHwnd() || items.empty()) return false;
    auto* list = new CPopupList(items, font);
    list->m_bSub = sub;
    int w = list->Width(minWidth), h = list->Height();
    if (xAlign == 1) x -= w / 2;
    if (xAlign == 2) x -= w;
    CRect r(x, y, x + w, y + h);
    if (!list->Create(nullptr, "", WS_POPUP, r, owner, 0)) {
        delete list;
        return false;
    }
    list->Start(current, owner, std::move(onDone));
    return true;
}

bool ShowSubList(CWnd* owner, int x, int y, const std::vector<PopupItem>& items, const CFont* font,
                 std::function<void(int)> onDone)
{
    return ShowList(owner, x, y, 0, 0, items, -1, font, true, std::move(onDone));
}

}  // namespace

bool AfxShowPopupList(CWnd* owner, int x, int y, int xAlign, int minWidth, const std::vector<PopupItem>& items,
                      int current, const CFont* font, std::function<void(int)> onDone)
{
    return ShowList(owner, x, y, xAlign, minWidth, items, current, font, false, std::move(onDone));
}

int AfxRunPopupList(CWnd* owner, int x, int y, int xAlign, int minWidth, const std::vector<PopupItem>& items,
                    int current, const CFont* font)
{
    int result = -1;
    bool done = false;
    HWND ownerHwnd = owner ? owner->GetSafeHwnd() : nullptr;
    if (!AfxShowPopupList(owner, x, y, xAlign, minWidth, items, current, font, [&](int r) {
            result = r;
            done = true;
        }))
        return -1;
    AfxPumpUntil([&] { return done || CWnd::FromHandle(ownerHwnd) != owner; });
    return done ? result : -1;
}

// --- CMenu ------------------------------------------------------------------------------

CMenu::CMenu() = default;
CMenu::~CMenu() { DestroyMenu(); }

BOOL CMenu::CreatePopupMenu()
{
    m_hMenu = reinterpret_cast<HMENU>(this);
    m_items.clear();
    return TRUE;
}

BOOL CMenu::DestroyMenu()
{
    BOOL had = m_hMenu != nullptr;
    m_hMenu = nullptr;
    m_items.clear();
    return had;
}

CMenu* CMenu::FromHandle(HMENU hMenu) { return reinterpret_cast<CMenu*>(hMenu); }

BOOL CMenu::AppendMenu(UINT nFlags, UINT_PTR nIDNewItem, LPCTSTR lpszNewItem)
{
    Item it;
    it.flags = nFlags;
    it.text = CString(lpszNewItem);
    if (nFlags & MF_POPUP)
        it.sub = FromHandle(reinterpret_cast<HMENU>(nIDNewItem));
    else
        it.id = (UINT)nIDNewItem;
    m_items.push_back(it);
    return TRUE;
}

CMenu::Item* CMenu::FindItem(UINT nID, UINT nFlags)
{
    if (nFlags & MF_BYPOSITION) return nID < m_items.size() ? &m_items[nID] : nullptr;
    for (Item& it : m_items)
        if (!(it.flags & (MF_POPUP | MF_SEPARATOR)) && it.id == nID) return &it;
    return nullptr;
}

UINT CMenu::CheckMenuItem(UINT nIDCheckItem, UINT nCheck)
{
    Item* it = FindItem(nIDCheckItem, nCheck);
    if (!it) return (UINT)-1;
    UINT old = it->flags & MF_CHECKED;
    it->flags = (it->flags & ~MF_CHECKED) | (nCheck & MF_CHECKED);
    return old;
}

UINT CMenu::EnableMenuItem(UINT nIDEnableItem, UINT nEnable)
{
    Item* it = FindItem(nIDEnableItem, nEnable);
    if (!it) return (UINT)-1;
    UINT old = it->flags & (MF_GRAYED | MF_DISABLED);
    it->flags = (it->flags & ~(MF_GRAYED | MF_DISABLED)) | (nEnable & (MF_GRAYED | MF_DISABLED));
    return old;
}

UINT CMenu::GetMenuItemID(int nPos) const
{
    if (nPos < 0 || nPos >= (int)m_items.size()) return (UINT)-1;
    const Item& it = m_items[(size_t)nPos];
    if (it.flags & MF_POPUP) return (UINT)-1;
    return (it.flags & MF_SEPARATOR) ? 0 : it.id;
}

std::vector<PopupItem> CMenu::ListItems(int depth) const
{
    std::vector<PopupItem> items(m_items.size());
    for (size_t i = 0; i < m_items.size(); ++i) {
        const Item& it = m_items[i];
        items[i].text = it.text;
        items[i].checked = (it.flags & MF_CHECKED) != 0;
        items[i].grayed = (it.flags & (MF_GRAYED | MF_DISABLED)) != 0;
        items[i].separator = (it.flags & MF_SEPARATOR) != 0;
        items[i].submenu = (it.flags & MF_POPUP) != 0;
        items[i].code = (int)(it.id & 0x7FFFFFFF);
        // A menu that contains itself is shown eight levels deep, no more.
        if (items[i].submenu && it.sub && depth < 8) items[i].children = it.sub->ListItems(depth + 1);
    }
    return items;
}

BOOL CMenu::TrackPopupMenuAsync(UINT nFlags, int x, int y, CWnd* pWnd, std::function<void(UINT)> onDone, LPCRECT)
{
    if (!m_hMenu || !pWnd || m_items.empty()) return FALSE;
    std::vector<PopupItem> items = ListItems(0);
    int align = (nFlags & TPM_CENTERALIGN) ? 1 : (nFlags & TPM_RIGHTALIGN) ? 2 : 0;
    return AfxShowPopupList(pWnd, x, y, align, 0, items, -1, nullptr, [pWnd, nFlags, onDone](int chosen) {
        UINT id = chosen < 0 ? 0 : (UINT)chosen;
        HWND target = pWnd->GetSafeHwnd();
        // The command arrives after the menu has gone, as on Windows.
        if (id && !(nFlags & TPM_RETURNCMD)) pWnd->SendMessage(WM_COMMAND, id, 0);
        if (onDone && CWnd::FromHandle(target) == pWnd) onDone(id);
    });
}

BOOL CMenu::TrackPopupMenu(UINT nFlags, int x, int y, CWnd* pWnd, LPCRECT lpRect)
{
    UINT chosen = 0;
    bool done = false;
    HWND target = pWnd ? pWnd->GetSafeHwnd() : nullptr;
    if (!TrackPopupMenuAsync(nFlags, x, y, pWnd, [&](UINT id) {
            chosen = id;
            done = true;
        }, lpRect))
        return FALSE;
    AfxPumpUntil([&] { return done || CWnd::FromHandle(target) != pWnd; });
    if (nFlags & TPM_RETURNCMD) return (BOOL)chosen;
    return chosen != 0;
}
