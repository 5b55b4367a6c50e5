#pragma once
// A fader drawn from a face bitmap and a thumb bitmap (and, for horizontal
// faders, an optional fill drawn up to the thumb). The travel points are the
// thumb centre at the minimum and at the maximum, relative to the fader's
// top-left corner; a click or drag puts the thumb centre under the pointer.
//
// Gestures beyond click and drag: the wheel moves the value a step per notch;
// with Shift held the wheel moves a fine step, and a drag moves the thumb a
// tenth of the pointer's travel (once Shift has been held in a drag, the rest
// of that drag follows the pointer's motion rather than its place, so the
// thumb never jumps); ResetToDefault gives the value the owner calls default.
#include "CZNTBitmap.h"

class CWnd;

// Maps a value and a number of wheel notches (+ up, - down) to the new
// value; fine is true with Shift held.
typedef float (*ZNTStepFunc)(int id, float value, int notches, bool fine, void* user);

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
    unsigned GetID() const { return m_nID; }

    // Steps in value units for the wheel (used when no stepper is set).
    void SetSteps(float step, float fineStep) { m_fStep = step, m_fFineStep = fineStep; }
    void SetStepper(ZNTStepFunc stepper, void* user) { m_pStepper = stepper, m_pStepUser = user; }
    void SetDefault(float value) { m_fDefault = value; }
    float GetDefault() const { return m_fDefault; }
    // A wheel turn over the fader: moves the value, notifies a change, draws.
    // False (nothing done) when pt is not on the fader or it is disabled.
    bool OnWheel(CPoint pt, int notches, bool fine, CDC* dc);
    // The default value, notified when it differs, drawn.
    void ResetToDefault(CDC* dc);
    // Pointer travel per unit of thumb travel in a fine drag.
    static constexpr int kFineRatio = 10;
    // The thumb's top (vertical) or left (horizontal) edge for the current
    // value, relative to the fader's corner, as DrawSlider places it.
    int ThumbOffset() const;

private:
    // The continuous travel position (rows or columns from the fader's
    // corner) of a value, and its inverse, clamped to the range.
    double PositionOf(float value) const;
    float ValueAt(double position) const;
    void Store(float value);

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
    float m_fStep = 0.01f, m_fFineStep = 0.001f, m_fDefault = 0.0f;
    ZNTStepFunc m_pStepper = nullptr;
    void* m_pStepUser = nullptr;
    // Relative (motion-following) drag: the last pointer place and the
    // thumb's exact position, kept in double so a fine drag does not stall.
    bool m_bRelative = false;
    CPoint m_lastPt;
    double m_dPosition = 0.0;
};
