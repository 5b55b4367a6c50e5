#include "CZNTBitmapSwitch2DC.h"

void CZNTBitmapSwitch2DC::Make(CRect& rect, CWnd* parent, CZNTBitmap* off, CZNTBitmap* on, unsigned id,
                               CRect& second, bool latch, CZNTBitmap* mask, ZNTValueCallback callback, void* user)
{
    m_rect = rect;
    m_pParent = parent;
    m_pOff = off;
    m_pOn = on;
    m_nID = id;
    m_secondRect = second;
    m_bLatch = latch;
    m_pMask = mask;
    m_pCallback = callback;
    m_pUser = user;
    m_bPressed = false;
    m_nValue = 0;
    m_bSelect = false;
    m_bEnabled = true;
    m_pDisable = nullptr;
}

void CZNTBitmapSwitch2DC::SetNewRect(CRect& rect, CRect& second)
{
    m_rect = rect;
    m_secondRect = second;
}

void CZNTBitmapSwitch2DC::SetValue(int value, bool notify)
{
    if (Ignoring() || value == m_nValue)
        return;
    m_nValue = value;
    if (notify && m_pCallback)
        m_pCallback(static_cast<int>(m_nID), static_cast<float>(value), m_pUser);
}

void CZNTBitmapSwitch2DC::LButtonDown(CDC* dc)
{
    if (Ignoring())
        return;
    m_bPressed = true;
    DrawSwitch(dc);
}

void CZNTBitmapSwitch2DC::LButtonUp(CDC* dc)
{
    if (Ignoring() || !m_bPressed)
        return;
    m_bPressed = false;
    DrawSwitch(dc);
}

void CZNTBitmapSwitch2DC::DrawSwitch(CDC* dc)
{
    if (!dc || !m_pOff)
        return;
    CDC mem;
    mem.CreateCompatibleDC(dc);
    const int x = m_rect.left, y = m_rect.top;
    const int frameHeight = static_cast<int>(m_pOff->Height()) / 2;
    // The image with the mask: invert in, cut the switch's shape, invert back;
    // where the mask is white the background stays.
    auto masked = [&](CZNTBitmap* image, int w, int h, int row) {
        CBitmap* old = mem.SelectObject(image);
        dc->BitBlt(x, y, w, h, &mem, 0, row, SRCINVERT);
        mem.SelectObject(m_pMask);
        dc->BitBlt(x, y, w, h, &mem, 0, row, SRCAND);
        mem.SelectObject(image);
        dc->BitBlt(x, y, w, h, &mem, 0, row, SRCINVERT);
        mem.SelectObject(old);
    };
    if (m_bEnabled) {
        CZNTBitmap* image = m_nValue != 0 ? m_pOn : m_pOff;
        const int row = m_bPressed ? frameHeight : 0;
        if (m_pMask) {
            masked(image, static_cast<int>(m_pOff->Width()), frameHeight, row);
        } else if (image) {
            CBitmap* old = mem.SelectObject(image);
            dc->BitBlt(x, y, static_cast<int>(image->Width()), static_cast<int>(image->Height()) / 2, &mem, 0, row,
                       SRCCOPY);
            mem.SelectObject(old);
        }
    } else if (m_pDisable) {
        const int w = static_cast<int>(m_pDisable->Width()), h = static_cast<int>(m_pDisable->Height());
        if (m_pMask) {
            masked(m_pDisable, w, h, 0);
        } else {
            CBitmap* old = mem.SelectObject(m_pDisable);
            dc->BitBlt(x, y, w, h, &mem, 0, 0, SRCCOPY);
            mem.SelectObject(old);
        }
    } else if (m_pMask) {
        // No disable image: the three blits run with the (absent) disable
        // image selected, at the size of the released frame.
        masked(m_pDisable, static_cast<int>(m_pOff->Width()), frameHeight, 0);
    } else {
        CBitmap* old = mem.SelectObject(m_pOff);
        dc->BitBlt(x, y, static_cast<int>(m_pOff->Width()), frameHeight, &mem, 0, 0, SRCCOPY);
        mem.SelectObject(old);
    }
}
