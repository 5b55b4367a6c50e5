#include "CZNTBitmapSliderDC.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "CWnd.h"
#include "WinTypes.h"

void CZNTBitmapSliderDC::Make(CRect& rect, CRect& invalidate, CWnd* parent, CZNTBitmap* background,
                              CZNTBitmap* fill, CZNTBitmap* thumb, float minimum, float maximum, CPoint start,
                              CPoint end, unsigned id, int vertical, bool logarithmic, bool reversed, bool hideThumb,
                              bool snap, ZNTValueCallback callback, void* user)
{
    m_rect = rect;
    m_invalidate = invalidate;
    m_pParent = parent;
    m_pBackground = background;
    m_pFill = fill;
    m_pThumb = thumb;
    m_fMin = minimum;
    m_fMax = maximum;
    m_start = start;
    m_end = end;
    m_nID = id;
    m_nVertical = vertical;
    m_bLog = logarithmic;
    m_bReversed = reversed;
    m_bHideThumb = hideThumb;
    m_bSnap = snap;
    m_pCallback = callback;
    m_pUser = user;
    m_fValue = minimum;
    m_bDragging = false;
    m_bEnabled = true;
    if (logarithmic) {
        // Kept for the record; nothing reads them (a minimum of 0 makes the
        // span infinite, which is harmless for that reason).
        m_dLogSpan = std::log10(static_cast<double>(maximum)) - std::log10(static_cast<double>(minimum));
        m_dPixelsPerDecade = std::abs(start.y - end.y) / m_dLogSpan;
    }
    m_nBackWidth = background ? static_cast<int>(background->Width()) : 0;
    m_nBackHeight = background ? static_cast<int>(background->Height()) : 0;
}

void CZNTBitmapSliderDC::SetNewRect(CRect& rect, CRect& invalidate)
{
    m_rect = rect;
    m_invalidate = invalidate;
}

void CZNTBitmapSliderDC::SetValue(float value, CDC* dc, bool notify)
{
    if (value < m_fMin)
        value = m_fMin;
    if (value > m_fMax)
        value = m_fMax;
    if (value != m_fValue) {
        m_fValue = value;
        if (notify && m_pCallback)
            m_pCallback(static_cast<int>(m_nID), value, m_pUser);
    }
    if (dc)
        DrawSlider(dc);
    if (!m_invalidate.IsRectEmpty() && m_pParent)
        m_pParent->InvalidateRect(&m_invalidate, TRUE);
}

bool CZNTBitmapSliderDC::SetValueByPoint(CPoint pt)
{
    if (!m_bEnabled)
        return false;
    float value;
    if (m_nVertical) {
        const int d = pt.y - m_rect.top, a = m_start.y, b = m_end.y;
        const bool belowMin = m_bReversed ? d < a : d > a;
        const bool aboveMax = m_bReversed ? d > b : d < b;
        if (belowMin) {
            value = m_fMin;
        } else if (aboveMax) {
            value = m_fMax;
        } else if (m_bLog) {
            value = static_cast<float>(m_fMin + (static_cast<double>(m_fMax) - m_fMin) *
                                                    ((std::pow(10.0, static_cast<double>(d - a) / (b - a)) - 1.0) / 9.0));
        } else if (a == b) {
            value = m_fMin;
        } else {
            value = static_cast<float>(m_fMin + static_cast<double>(a - d) * (static_cast<double>(m_fMax) - m_fMin) /
                                                    static_cast<double>(a - b));
        }
    } else {
        // Horizontal faders map linearly whatever the logarithmic flag says.
        const int d = pt.x - m_rect.left, a = m_start.x, b = m_end.x;
        const bool belowMin = m_bReversed ? d > a : d < a;
        const bool aboveMax = m_bReversed ? d < b : d > b;
        if (belowMin)
            value = m_fMin;
        else if (aboveMax)
            value = m_fMax;
        else if (a == b)
            value = m_fMin;
        else
            value = m_fMin + static_cast<float>(d - a) * (m_fMax - m_fMin) / static_cast<float>(b - a);
    }
    if (m_bSnap)
        value = value < m_fMin + 0.5f * (m_fMax - m_fMin) ? m_fMin : m_fMax;
    if (value == m_fValue)
        return false;
    m_fValue = value;
    if (!m_invalidate.IsRectEmpty() && m_pParent)
        m_pParent->InvalidateRect(&m_invalidate, TRUE);
    if (m_pCallback)
        m_pCallback(static_cast<int>(m_nID), value, m_pUser);
    return true;
}

int CZNTBitmapSliderDC::ThumbOffset() const
{
    const int thumbW = m_pThumb ? static_cast<int>(m_pThumb->Width()) : 0;
    const int thumbH = m_pThumb ? static_cast<int>(m_pThumb->Height()) : 0;
    if (m_nVertical) {
        const int a = m_start.y, b = m_end.y;
        if (m_bLog)
            return static_cast<int>(
                       std::trunc(a + (b - a) * std::log10((m_fValue - m_fMin) / (m_fMax - m_fMin) * 9.0 + 1.0) + 0.5)) -
                   thumbH / 2;
        if (m_fMax != m_fMin)
            return static_cast<int>(
                std::trunc(a - (m_fValue - m_fMin) * static_cast<float>(a - b) / (m_fMax - m_fMin) - 0.5f * thumbH));
        return a - thumbH / 2;
    }
    const int a = m_start.x, b = m_end.x;
    if (m_fMax != m_fMin)
        return static_cast<int>(
            std::trunc(a + (m_fValue - m_fMin) * static_cast<float>(b - a) / (m_fMax - m_fMin) - 0.5f * thumbW));
    return a - thumbW / 2;
}

void CZNTBitmapSliderDC::DrawSlider(CDC* dc)
{
    if (!m_bEnabled || !dc || !m_pBackground)
        return;
    CDC off;
    if (!off.CreateBitmapDC(m_nBackWidth, m_nBackHeight))
        return;
    CDC mem;
    mem.CreateCompatibleDC(dc);
    CBitmap* old = mem.SelectObject(m_pBackground);
    const int backW = static_cast<int>(m_pBackground->Width()), backH = static_cast<int>(m_pBackground->Height());
    if (m_nVertical && (backW != m_nBackWidth || backH != m_nBackHeight))
        off.StretchBlt(0, 0, backW, m_nBackHeight, &mem, 0, 0, backW, backH, SRCCOPY);
    else
        off.BitBlt(0, 0, m_nBackWidth, m_nBackHeight, &mem, 0, 0, SRCCOPY);
    const int pos = ThumbOffset();
    if (m_pThumb) {
        const int thumbW = static_cast<int>(m_pThumb->Width()), thumbH = static_cast<int>(m_pThumb->Height());
        if (m_nVertical) {
            mem.SelectObject(m_pThumb);
            if (!m_bHideThumb)
                off.BitBlt(m_start.x, pos, thumbW, thumbH, &mem, 0, 0, SRCCOPY);
        } else {
            if (m_pFill) {
                mem.SelectObject(m_pFill);
                off.BitBlt(0, 0, pos, thumbH, &mem, 0, 0, SRCCOPY);
            }
            mem.SelectObject(m_pThumb);
            if (!m_bHideThumb)
                off.BitBlt(pos, m_start.y, thumbW, thumbH, &mem, 0, 0, SRCCOPY);
        }
    }
    dc->BitBlt(m_rect.left, m_rect.top, m_nBackWidth, m_nBackHeight, &off, 0, 0, SRCCOPY);
    mem.SelectObject(old);
}

bool CZNTBitmapSliderDC::PtInSwitch(CPoint pt)
{
    if (!m_bEnabled || !m_rect.PtInRect(pt))
        return false;
    if (m_pParent)
        m_pParent->SetCapture();
    m_bDragging = true;
    m_bRelative = false;
    m_lastPt = pt;
    return true;
}

double CZNTBitmapSliderDC::PositionOf(float value) const
{
    const double range = static_cast<double>(m_fMax) - m_fMin;
    const double t = range != 0.0 ? (static_cast<double>(value) - m_fMin) / range : 0.0;
    if (m_nVertical) {
        const double a = m_start.y, b = m_end.y;
        return m_bLog ? a + (b - a) * std::log10(t * 9.0 + 1.0) : a - t * (a - b);
    }
    return m_start.x + t * (m_end.x - m_start.x);
}

float CZNTBitmapSliderDC::ValueAt(double d) const
{
    const double a = m_nVertical ? m_start.y : m_start.x, b = m_nVertical ? m_end.y : m_end.x;
    if (a == b)
        return m_fMin;
    double t = (d - a) / (b - a);  // 0 at the minimum's end, 1 at the maximum's
    t = t < 0.0 ? 0.0 : t > 1.0 ? 1.0 : t;
    if (m_nVertical && m_bLog)
        t = (std::pow(10.0, t) - 1.0) / 9.0;
    return static_cast<float>(m_fMin + (static_cast<double>(m_fMax) - m_fMin) * t);
}

// A new value from a gesture: stored, invalidated, notified.
void CZNTBitmapSliderDC::Store(float value)
{
    if (value < m_fMin)
        value = m_fMin;
    if (value > m_fMax)
        value = m_fMax;
    if (value == m_fValue)
        return;
    m_fValue = value;
    if (!m_invalidate.IsRectEmpty() && m_pParent)
        m_pParent->InvalidateRect(&m_invalidate, TRUE);
    if (m_pCallback)
        m_pCallback(static_cast<int>(m_nID), value, m_pUser);
}

// Follows the pointer: by its place, or once Shift has been held in this
// drag, by its motion (a tenth of it while Shift is held).
static bool ShiftHeld() { return static_cast<int>(GetKeyState(VK_SHIFT)) < 0; }

void CZNTBitmapSliderDC::OnMouseMove(CPoint pt, CDC* dc)
{
    if (!m_bDragging)
        return;
    const bool fine = ShiftHeld();
    if (fine && !m_bRelative) {
        m_bRelative = true;
        m_dPosition = PositionOf(m_fValue);
    }
    if (m_bRelative) {
        const int moved = m_nVertical ? pt.y - m_lastPt.y : pt.x - m_lastPt.x;
        m_dPosition += fine ? static_cast<double>(moved) / kFineRatio : moved;
        const double a = m_nVertical ? m_start.y : m_start.x, b = m_nVertical ? m_end.y : m_end.x;
        m_dPosition = std::min(std::max(m_dPosition, std::min(a, b)), std::max(a, b));
        if (m_bEnabled) {
            float value = ValueAt(m_dPosition);
            if (m_bSnap)
                value = value < m_fMin + 0.5f * (m_fMax - m_fMin) ? m_fMin : m_fMax;
            Store(value);
        }
    } else {
        SetValueByPoint(pt);
    }
    m_lastPt = pt;
    DrawSlider(dc);
}

void CZNTBitmapSliderDC::OnLButtonUp(CPoint pt, CDC* dc)
{
    if (!m_bDragging)
        return;
    // The release point counts as a last move.
    OnMouseMove(pt, nullptr);
    ReleaseCapture();
    m_bDragging = false;
    m_bRelative = false;
    DrawSlider(dc);
}

bool CZNTBitmapSliderDC::OnWheel(CPoint pt, int notches, bool fine, CDC* dc)
{
    if (!m_bEnabled || !m_rect.PtInRect(pt) || notches == 0)
        return false;
    const float value = m_pStepper ? m_pStepper(static_cast<int>(m_nID), m_fValue, notches, fine, m_pStepUser)
                                   : m_fValue + static_cast<float>(notches) * (fine ? m_fFineStep : m_fStep);
    if (value == value)  // a stepper's NaN moves nothing
        Store(value);
    DrawSlider(dc);
    return true;
}

void CZNTBitmapSliderDC::ResetToDefault(CDC* dc)
{
    if (m_bEnabled)
        Store(m_fDefault);
    DrawSlider(dc);
}
