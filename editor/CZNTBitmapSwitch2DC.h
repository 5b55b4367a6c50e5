#pragma once
// A two-state push switch drawn from bitmaps. Each image is a vertical strip
// of two frames: released on top, pressed below. Not a window: the owner
// places it, hit-tests it, forwards the button and decides its value.
#include "CZNTBitmap.h"

class CWnd;

class CZNTBitmapSwitch2DC {
public:
    CZNTBitmapSwitch2DC() = default;

    void Make(CRect& rect, CWnd* parent, CZNTBitmap* off, CZNTBitmap* on, unsigned id, CRect& second, bool latch,
              CZNTBitmap* mask, ZNTValueCallback callback, void* user);
    void SetNewRect(CRect& rect, CRect& second);
    void SetDisableBmp(CZNTBitmap* bitmap) { m_pDisable = bitmap; }
    void Enable(bool on) { m_bEnabled = on; }
    void SetSelect(bool on) { m_bSelect = on; }
    // Ignored while disabled, or while latched and on. Notifies only a change.
    void SetValue(int value, bool notify);
    int GetValue() const { return m_nValue != 0 ? 1 : 0; }
    bool PtInSwitch(CPoint pt) const { return m_rect.PtInRect(pt) != FALSE; }

    void LButtonDown(CDC* dc);
    void LButtonUp(CDC* dc);
    void LButtonDblClk(CDC* dc) { LButtonDown(dc); }
    void RButtonDown(CDC* dc) { LButtonDown(dc); }
    void RButtonUp(CDC* dc) { LButtonUp(dc); }
    void RButtonDblClk(CDC* dc) { LButtonDown(dc); }
    bool IsDown() const { return m_bPressed; }
    void DrawSwitch(CDC* dc);

    const CRect& GetRect() const { return m_rect; }

private:
    bool Ignoring() const { return !m_bEnabled || (m_bLatch && m_nValue != 0); }

    unsigned m_nID = 0;
    bool m_bPressed = false;
    bool m_bLatch = false;
    CZNTBitmap* m_pOff = nullptr;
    CZNTBitmap* m_pOn = nullptr;
    CZNTBitmap* m_pMask = nullptr;
    CZNTBitmap* m_pDisable = nullptr;
    int m_nValue = 0;
    bool m_bSelect = false;
    bool m_bEnabled = false;
    CRect m_secondRect;
    CRect m_rect;
    CWnd* m_pParent = nullptr;
    ZNTValueCallback m_pCallback = nullptr;
    void* m_pUser = nullptr;
};
