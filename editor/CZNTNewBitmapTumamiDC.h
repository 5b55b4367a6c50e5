#pragma once
// A rotary knob drawn from a vertical strip of frames (frame 0 the minimum,
// the last the maximum). Dragging turns it by the pointer's direction from
// the knob's centre, measured clockwise from straight down.
#include "CZNTBitmap.h"

class CWnd;

class CZNTNewBitmapTumamiDC {
public:
    CZNTNewBitmapTumamiDC() = default;

    void Make(CRect& rect, CRect& invalidate, CWnd* parent, CZNTBitmap* strip, float minimum, float maximum,
              unsigned id, int frames, float minAngle, float maxAngle, int reserved, bool logarithmic,
              ZNTValueCallback callback, void* user);
    // Clamps; an unchanged value does nothing at all.
    void SetValue(float value, CDC* dc, bool notify);
    // The drag mapping: the value follows the pointer's angle.
    void SetValue(CPoint pt);
    float GetValue() const { return m_fValue; }
    unsigned GetIndexValue() const;
    void GetRect(CRect* rect) const { *rect = m_rect; }
    void SetNewRect(CRect& rect, CRect& invalidate);

    bool PtInTumami(CPoint pt);
    void OnMouseMove(CPoint pt, CDC* dc);
    void OnLButtonUp(CPoint pt, CDC* dc);
    void Draw(CDC* dc);

    double GetAngle() const { return m_dAngle; }
    bool IsDragging() const { return m_bDragging; }

private:
    void InvalidateOwner();

    unsigned m_nID = 0;
    CZNTBitmap* m_pStrip = nullptr;
    CWnd* m_pParent = nullptr;
    float m_fMin = 0.0f, m_fMax = 1.0f;
    float m_fValue = 65535.0f;
    CRect m_rect;
    float m_fMinAngle = 0.0f, m_fMaxAngle = 0.0f;
    int m_nReserved = 0;
    double m_dAngle = 0.0;
    float m_fDragRef = 65535.0f;
    float m_fStep = 1.0f;
    bool m_bLog = false;
    bool m_bDragging = false;
    ZNTValueCallback m_pCallback = nullptr;
    void* m_pUser = nullptr;
    CRect m_invalidate;
};
