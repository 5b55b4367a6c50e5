#pragma once
// A fader drawn from a face bitmap and a thumb bitmap (and, for horizontal
// faders, an optional fill drawn up to the thumb). The travel points are the
// thumb centre at the minimum and at the maximum, relative to the fader's
// top-left corner; a click or drag puts the thumb centre under the pointer.
#include "CZNTBitmap.h"

class CWnd;

class CZNTBitmapSliderDC {
public:
    CZNTBitmapSliderDC() = default;

    void Make(CRect& rect, CRect& invalidate, CWnd* parent, CZNTBitmap* background, CZNTBitmap* fill,
              CZNTBitmap* thumb, float minimum, float maximum, CPoint start, CPoint end, unsigned id, int vertical,
              bool logarithmic, bool reversed, bool hideThumb, bool snap, ZNTValueCallback callback, void* user);
    void Enable(bool on) { m_bEnabled = on; }
    // Clamps; notifies only a change, but draws (and invalidates) always.
    void SetValue(float value, CDC* dc, bool notify);
    // True when the value changed.
    bool SetValueByPoint(CPoint pt);
    float GetValue() const { return m_fValue; }
    void GetRect(CRect* rect) const { *rect = m_rect; }
    void SetNewRect(CRect& rect, CRect& invalidate);

    // The button-down hit test: captures the mouse and starts a drag.
    bool PtInSwitch(CPoint pt);
    void OnMouseMove(CPoint pt, CDC* dc);
    void OnLButtonUp(CPoint pt, CDC* dc);
    void DrawSlider(CDC* dc);

    bool IsDragging() const { return m_bDragging; }
    // The thumb's top (vertical) or left (horizontal) edge for the current
    // value, relative to the fader's corner, as DrawSlider places it.
    int ThumbOffset() const;

private:
    float m_fMin = 0.0f, m_fMax = 1.0f;
    CPoint m_start, m_end;
    unsigned m_nID = 0;
    int m_nVertical = 1;
    CZNTBitmap* m_pBackground = nullptr;
    CZNTBitmap* m_pThumb = nullptr;
    CZNTBitmap* m_pFill = nullptr;
    bool m_bDragging = false;
    float m_fValue = 0.0f;
    bool m_bHideThumb = false;
    bool m_bLog = false;
    double m_dLogSpan = 0.0;
    double m_dPixelsPerDecade = 0.0;
    bool m_bReversed = false;
    bool m_bSnap = false;
    int m_nBackWidth = 0, m_nBackHeight = 0;
    CRect m_rect;
    CWnd* m_pParent = nullptr;
    ZNTValueCallback m_pCallback = nullptr;
    void* m_pUser = nullptr;
    bool m_bEnabled = false;
    CRect m_invalidate;
};
