#pragma once
// The editor's panel: fifteen gain and fifteen Q faders, input and output
// faders, the active switch, the copy button, read-outs with typed entry,
// the save button, the modified indicator and four level meters, all drawn
// from the numbered bitmaps over the background.
#include <cstdint>

#include "CDC.h"
#include "CWnd.h"
#include "CZNTBitmap.h"
#include "CZNTBitmapSliderDC.h"
#include "CZNTBitmapSwitch2DC.h"
#include "CZNTEditWnd.h"

class AGraEQ;
class CGraphicEQEditor;

class CUIWindow : public CWnd {
public:
    static constexpr int kBands = 15;
    static constexpr UINT kTimerId = 1024;
    static constexpr UINT kTimerMs = 75;
    static constexpr UINT kMsgInputReturn = 0x0A01;
    // Control ids.
    static constexpr int kGainId = 100, kQId = 115, kOutputId = 150, kInputId = 151, kActiveId = 152;
    static constexpr int kCopyId = 300, kInputEntryId = 250, kOutputEntryId = 251;
    static constexpr int kCopyCommand = 1010;
    static constexpr int kProgramCommand = 1200;  // the program list: 1200 .. 1231

    CUIWindow();
    ~CUIWindow() override;

    BOOL MakeWindow(CWnd* parent, CZNTBitmap* background, CGraphicEQEditor* editor);

    static bool ControlCallback(int id, float value, void* context);
    void ChangeControl(int id, float value);
    // A parameter changed outside the panel: its control follows (drawn
    // through a client context when draw is set and the panel has painted).
    void UpdateControl(int parameter, float value, bool draw = true);
    void UpdateModify();
    void ShowEdit(int value, int minimum, int maximum, bool sign, int size, CRect rect, int id);
    void HideEdit();
    void idle();

    void DrawGainDisp(CDC* dc, int band);
    void DrawQDisp(CDC* dc, int band);
    void DrawOutDisp(CDC* dc);
    void DrawInputDisp(CDC* dc);
    void DrawVU(CDC* dc);
    void DrawClip(CDC*) {}

    afx_msg int OnCreate(LPCREATESTRUCT cs);
    afx_msg void OnPaint();
    afx_msg void OnSize(UINT type, int cx, int cy);
    afx_msg void OnDestroy();
    afx_msg void OnLButtonDown(UINT flags, CPoint pt);
    afx_msg void OnLButtonDblClk(UINT flags, CPoint pt);
    afx_msg void OnMouseMove(UINT flags, CPoint pt);
    afx_msg void OnLButtonUp(UINT flags, CPoint pt);
    afx_msg LRESULT OnMouseWheel(WPARAM wp, LPARAM lp);
    afx_msg LRESULT OnInputValReturn(WPARAM wp, LPARAM lp);
    afx_msg void OnSelCopyPg(UINT id);
    afx_msg void OnSelProgram(UINT id);
    afx_msg void OnTimer(UINT id);
    DECLARE_MESSAGE_MAP()

    // Read access for the owner and for tests.
    CZNTBitmapSliderDC& GainFader(int band) { return m_gain[band]; }
    CZNTBitmapSliderDC& QFader(int band) { return m_q[band]; }
    CZNTBitmapSliderDC& InputFader() { return m_input; }
    CZNTBitmapSliderDC& OutputFader() { return m_output; }
    CZNTBitmapSwitch2DC& ActiveSwitch() { return m_active; }
    const CRect& GainReadout(int band) const { return m_rcGain[band]; }
    const CRect& QReadout(int band) const { return m_rcQ[band]; }
    const CRect& ProgramDisplay() const { return m_rcProgram; }
    float MeterLevel(int i) const { return m_level[i]; }
    int EntryTarget() const { return m_nEntryTarget; }
    CZNTFloatEditWnd& Entry() { return m_entry; }
    bool Painted() const { return m_bPainted; }

private:
    AGraEQ* Effect() const;
    void MakeFader(CZNTBitmapSliderDC& fader, const CRect& rect, const CRect& readout, CZNTBitmap* track,
                   CZNTBitmap* thumb, int id, int parameter, bool logarithmic);
    void DrawReadout(CDC* dc, const CRect& rect, int parameter);
    void CreateEntry();
    void PrepareEntry();
    void ReleaseKeyboard();
    void OpenEntry(int parameter, int id, bool sign, const CRect& readout);
    const CRect* ReadoutOf(int id) const;
    void RunCopyMenu();
    void RunProgramMenu();
    void AnnounceProgram();
    // The current program's number and name, as the program display shows them.
    void ProgramText(char* text, size_t size);
    void DrawProgram(CDC* dc);
    void RunSaveDialog();
    // The fader tracking the mouse, or null.
    CZNTBitmapSliderDC* TrackingFader();
    // Every fader, band gains and Qs first, then input and output.
    template <class F> void ForEachFader(F f);
    // The parameter a fader's id stands for (-1: none).
    static int ParamOfControl(int id);
    // The wheel's step in the parameter's own unit: 0.5 dB (gains), 0.5 (Q),
    // 1 dB (levels); with Shift 0.1 of each.
    static float WheelStep(int id, float value, int notches, bool fine, void* context);
    // Gesture edges reported to the host (the automation in between comes
    // from ChangeControl).
    void BeginEdit(int id);
    void EndEdit(int id);

    // Bitmaps, in load order: 5001, 5003, 5002, 5006, 5007, 5008, 5009,
    // 5010, 5011, 5013, 5012, 5014, 5015.
    CZNTBitmap m_bmp5001, m_bmpSwitchOff, m_bmpSwitchOn, m_bmp5006, m_bmpTrack, m_bmpThumb, m_bmpLevelTrack,
        m_bmpLevelThumb, m_bmpMeter, m_bmpCopyOff, m_bmpCopyOn, m_bmpSave, m_bmpModified;
    CDC m_resourceDC;
    CFont m_readoutFont;
    CFont m_entryFont;
    CWnd* m_pParentFrame = nullptr;
    CZNTBitmap* m_pBackground = nullptr;
    CGraphicEQEditor* m_pEditor = nullptr;
    CRect m_rcGain[kBands];
    CRect m_rcQ[kBands];
    CRect m_rcInput, m_rcOutput, m_rcModified, m_rcProgram;
    char m_shownProgram[96] = {};  // what the program display shows
    CZNTBitmapSliderDC m_gain[kBands];
    CZNTBitmapSliderDC m_q[kBands];
    CZNTBitmapSliderDC m_input, m_output;
    CZNTBitmapSwitch2DC m_active, m_copy;
    CZNTFloatEditWnd m_entry;
    int m_nEntryTarget = -1;
    bool m_bPainted = false;
    float m_level[4] = {-69.0f, -69.0f, -69.0f, -69.0f};
    uint16_t m_lastCounter = 0xFFFF;
};
