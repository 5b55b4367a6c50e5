#include "CZNTNewBitmapTumamiDC.h"

#include <cmath>

#include "CWnd.h"

void CZNTNewBitmapTumamiDC::Make(CRect& rect, CRect& invalidate, CWnd* parent, CZNTBitmap* strip, float minimum,
                                 float maximum, unsigned id, int frames, float minAngle, float maxAngle,
                                 int reserved, bool logarithmic, ZNTValueCallback callback, void* user)
{
    m_rect = rect;
    m_invalidate = invalidate;
    m_pParent = parent;
    m_pStrip = strip;
    m_fMin = minimum;
    m_fMax = maximum;
    m_nID = id;
    m_fMinAngle = minAngle;
    m_fMaxAngle = maxAngle;
    m_nReserved = reserved;
    m_bLog = logarithmic;
    m_pCallback = callback;
    m_pUser = user;
    m_bDragging = false;
    m_fStep = (maximum - minimum) / static_cast<float>(frames - 1);
    m_fValue = 65535.0f;
    m_fDragRef = 65535.0f;
    SetValue(minimum + 0.5f * (maximum - minimum), nullptr, false);
}

void CZNTNewBitmapTumamiDC::SetNewRect(CRect& rect, CRect& invalidate)
{
    m_rect = rect;
    m_invalidate = invalidate;
}

void CZNTNewBitmapTumamiDC::InvalidateOwner()
{
    if (!m_invalidate.IsRectEmpty() && m_pParent)
        m_pParent->InvalidateRect(&m_invalidate, TRUE);
}

void CZNTNewBitmapTumamiDC::SetValue(float value, CDC* dc, bool notify)
{
    if (value < m_fMin)
        value = m_fMin;
    if (value > m_fMax)
        value = m_fMax;
    if (value == m_fValue)
        return;
    m_fValue = value;
    m_fDragRef = value;
    m_dAngle = static_cast<double>(m_fMinAngle) + (static_cast<double>(m_fMaxAngle) - m_fMinAngle) *
                                                      (static_cast<double>(value) - m_fMin) /
                                                      (static_cast<double>(m_fMax) - m_fMin);
    if (notify && m_pCallback)
        m_pCallback(static_cast<int>(m_nID), value, m_pUser);
    if (dc)
        Draw(dc);
    InvalidateOwner();
}

void CZNTNewBitmapTumamiDC::SetValue(CPoint pt)
{
    const int halfW = m_rect.Width() / 2, halfH = m_rect.Height() / 2;
    const int dx = pt.x - m_rect.left - halfW;
    const int dy = pt.y - m_rect.top - halfH;
    // The axes are mixed in this test on purpose: it is the knob's own rule.
    if (dy == halfW && dx > halfH)
        return;
    if (dx == 0 && dy == 0)
        return;
    const double minA = m_fMinAngle, maxA = m_fMaxAngle;
    double angle;
    if (dx > 0) {
        angle = std::atan2(static_cast<double>(dx), static_cast<double>(dy)) * -180.0 / 3.141592653 + 360.0;
        if (m_fDragRef == m_fMin)
            angle = minA;  // resting at the minimum: no jump across the bottom gap
    } else if (dx < 0) {
        angle = std::atan2(static_cast<double>(dx), static_cast<double>(dy)) * -180.0 / 3.141592653;
        if (m_fDragRef == m_fMax)
            angle = maxA;
    } else if (m_fDragRef == m_fMax) {
        angle = maxA;
    } else if (m_fDragRef == m_fMin) {
        angle = minA;
    } else {
        angle = dy < 0 ? 180.0 : 0.0;
    }
    if (angle < minA)
        angle = minA;
    if (angle > maxA)
        angle = maxA;
    const double span = static_cast<double>(m_fMax) - m_fMin;
    const double t = (angle - minA) / (maxA - minA);
    const double value = m_bLog ? m_fMin + span * ((std::pow(10.0, t) - 1.0) / 9.0) : m_fMin + t * span;
    m_fValue = static_cast<float>(value);
    m_dAngle = angle;
    m_fDragRef = m_fValue;
    InvalidateOwner();
    if (m_pCallback)
        m_pCallback(static_cast<int>(m_nID), m_fValue, m_pUser);
}

unsigned CZNTNewBitmapTumamiDC::GetIndexValue() const
{
    return static_cast<unsigned>(std::ceil((m_fValue - m_fMin) / m_fStep));
}

void CZNTNewBitmapTumamiDC::Draw(CDC* dc)
{
    if (!dc || !m_pStrip)
        return;
    double index;
    if (m_bLog)
        index = std::floor(std::log10((m_fValue - m_fMin) / (m_fMax - m_fMin) * 9.0f + 1.0f) / m_fStep + 0.5);
    else
        index = std::floor((m_fValue - m_fMin) / m_fStep + 0.5f);
    const int w = m_rect.Width(), h = m_rect.Height();
    CDC mem;
    mem.CreateCompatibleDC(dc);
    CBitmap* old = mem.SelectObject(m_pStrip);
    dc->BitBlt(m_rect.left, m_rect.top, w, h, &mem, 0, static_cast<int>(index) * h, SRCCOPY);
    mem.SelectObject(old);
}

bool CZNTNewBitmapTumamiDC::PtInTumami(CPoint pt)
{
    if (!m_rect.PtInRect(pt))
        return false;
    if (m_pParent)
        m_pParent->SetCapture();
    m_bDragging = true;
    return true;
}

void CZNTNewBitmapTumamiDC::OnMouseMove(CPoint pt, CDC* dc)
{
    if (!m_bDragging)
        return;
    SetValue(pt);
    Draw(dc);
}

void CZNTNewBitmapTumamiDC::OnLButtonUp(CPoint pt, CDC* dc)
{
    if (!m_bDragging)
        return;
    ReleaseCapture();
    m_bDragging = false;
    SetValue(pt);
    m_fDragRef = -1.0f;
    Draw(dc);
}
