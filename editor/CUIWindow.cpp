#include "CUIWindow.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "AGraEQ.h"
#include "CGraphicEQEditor.h"
#include "PanelGeometry.h"
#include "ParamMap.h"
#include "Trace.h"

namespace {

constexpr int kMeterX[4] = {29, 38, 669, 678};
constexpr int kMeterY = 56;
constexpr float kMeterFloor = -69.0f, kMeterTop = 6.0f;
const CRect kSaveRect(270, 10, 313, 26);

// The band faders' and read-outs' column.
int BandX(int band) { return 97 + 36 * band; }

}  // namespace

BEGIN_MESSAGE_MAP(CUIWindow, CWnd)
    ON_WM_CREATE()
    ON_WM_PAINT()
    ON_WM_SIZE()
    ON_WM_DESTROY()
    ON_WM_LBUTTONDOWN()
    ON_WM_LBUTTONDBLCLK()
    ON_WM_MOUSEMOVE()
    ON_WM_LBUTTONUP()
    ON_MESSAGE(WM_MOUSEWHEEL, OnMouseWheel)
    ON_MESSAGE(CUIWindow::kMsgInputReturn, OnInputValReturn)
    ON_COMMAND_RANGE(1010, 1110, OnSelCopyPg)
    ON_COMMAND_RANGE(CUIWindow::kProgramCommand, CUIWindow::kProgramCommand + 31, OnSelProgram)
    ON_WM_TIMER()
END_MESSAGE_MAP()

CUIWindow::CUIWindow() = default;

CUIWindow::~CUIWindow()
{
    if (m_bCreated)
        DestroyWindow();
}

AGraEQ* CUIWindow::Effect() const
{
    return m_pEditor ? static_cast<AGraEQ*>(m_pEditor->getEffect()) : nullptr;
}

BOOL CUIWindow::MakeWindow(CWnd* parent, CZNTBitmap* background, CGraphicEQEditor* editor)
{
    CString cls = AfxRegisterWndClass(8, LoadCursor(nullptr, 32512u), (HBRUSH)GetStockObject(5));
    m_pEditor = editor;
    m_pBackground = background;
    m_pParentFrame = parent;
    m_readoutFont.CreatePointFont(9, "Osaka");
    m_entryFont.CreatePointFont(12, "Osaka");
    const CRect rc(0, 0, static_cast<int>(background->Width()), static_cast<int>(background->Height()));
    return Create(cls, "UIWindow", 0x50000000, rc, parent, 0);
}

void CUIWindow::MakeFader(CZNTBitmapSliderDC& fader, const CRect& rect, const CRect& readout, CZNTBitmap* track,
                          CZNTBitmap* thumb, int id, int parameter, bool logarithmic)
{
    (void)readout;
    CRect rc = rect, none;
    const int trackH = static_cast<int>(track->Height()), thumbH = static_cast<int>(thumb->Height());
    fader.Make(rc, none, this, track, nullptr, thumb, 0.0f, 1.0f, CPoint(1, trackH - thumbH / 2),
               CPoint(1, thumbH / 2), static_cast<unsigned>(id), 1, logarithmic, false, false, false,
               &CUIWindow::ControlCallback, this);
    fader.SetStepper(&CUIWindow::WheelStep, this);
    // A double-click returns to the value of a fresh (flat) program.
    static const AGraEQProgram flat;
    fader.SetDefault(flat.fValue[parameter]);
    if (AGraEQ* fx = Effect())
        fader.SetValue(fx->getParameter(parameter), nullptr, false);
}

int CUIWindow::OnCreate(LPCREATESTRUCT cs)
{
    if (CWnd::OnCreate(cs) == -1)
        return -1;
    const unsigned ids[] = {5001, 5003, 5002, 5006, 5007, 5008, 5009, 5010, 5011, 5013, 5012, 5014, 5015};
    // The two-state images: off first (5003, 5013), then on (5002, 5012).
    CZNTBitmap* bitmaps[] = {&m_bmp5001,     &m_bmpSwitchOff,  &m_bmpSwitchOn,   &m_bmp5006, &m_bmpTrack,
                             &m_bmpThumb,    &m_bmpLevelTrack, &m_bmpLevelThumb, &m_bmpMeter, &m_bmpCopyOff,
                             &m_bmpCopyOn,   &m_bmpSave,       &m_bmpModified};
    for (size_t i = 0; i < sizeof ids / sizeof ids[0]; ++i)
        bitmaps[i]->LoadResourceBitmap(ids[i]);

    m_rcModified = CRect(216, 10, 259, 26);
    m_rcProgram = CRect(panel_art::kProgramLeft, panel_art::kProgramTop, panel_art::kProgramRight,
                        panel_art::kProgramBottom);
    for (int b = 0; b < kBands; ++b) {
        const int x = BandX(b);
        m_rcGain[b] = CRect(x - 7, 154, x + 23, 170);
        m_rcQ[b] = CRect(x - 7, 287, x + 23, 303);
        MakeFader(m_gain[b], CRect(x, 56, x + 16, 151), m_rcGain[b], &m_bmpTrack, &m_bmpThumb, kGainId + b,
                  kParamGainFirst + b, false);
        MakeFader(m_q[b], CRect(x, 189, x + 16, 284), m_rcQ[b], &m_bmpTrack, &m_bmpThumb, kQId + b,
                  kParamQFirst + b, false);
    }
    m_rcInput = CRect(14, 285, 48, 301);
    m_rcOutput = CRect(651, 285, 685, 301);
    MakeFader(m_input, CRect(48, 56, 64, 279), m_rcInput, &m_bmpLevelTrack, &m_bmpLevelThumb, kInputId,
              kParamInput, true);
    MakeFader(m_output, CRect(650, 56, 666, 279), m_rcOutput, &m_bmpLevelTrack, &m_bmpLevelThumb, kOutputId,
              kParamOutput, true);

    CRect activeRect(23, 8, 52, 28), copyRect(64, 11, 93, 28), none;
    m_active.Make(activeRect, this, &m_bmpSwitchOff, &m_bmpSwitchOn, kActiveId, none, false, nullptr,
                  &CUIWindow::ControlCallback, this);
    if (AGraEQ* fx = Effect())
        m_active.SetValue(static_cast<int>(fx->getParameter(kParamActive)), false);
    m_copy.Make(copyRect, this, &m_bmpCopyOff, &m_bmpCopyOn, kCopyId, none, false, nullptr,
                &CUIWindow::ControlCallback, this);
    m_copy.SetValue(0, false);

    CreateEntry();

    m_nEntryTarget = -1;
    for (float& l : m_level)
        l = kMeterFloor;
    m_lastCounter = 0xFFFF;
    SetTimer(kTimerId, kTimerMs, nullptr);
    return 0;
}

void CUIWindow::OnDestroy()
{
    // A drag cut short by the window going still ends its gesture.
    if (CZNTBitmapSliderDC* fader = TrackingFader())
        EndEdit(static_cast<int>(fader->GetID()));
}

void CUIWindow::OnSize(UINT type, int cx, int cy)
{
    CWnd::OnSize(type, cx, cy);
    Invalidate(TRUE);
}

void CUIWindow::OnTimer(UINT id)
{
    CWnd::OnTimer(id);
    idle();
}

// --- painting ---------------------------------------------------------------------------

void CUIWindow::DrawReadout(CDC* dc, const CRect& rect, int parameter)
{
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    char text[64] = {};
    fx->getParameterDisplay(parameter, text);
    const CSize size = dc->GetTextExtent(text, -1);
    const int x = rect.left + (rect.Width() - size.cx) / 2;
    const int y = rect.top + (rect.Height() - size.cy) / 2 + 3;
    dc->ExtTextOut(x, y, ETO_CLIPPED, &rect, text, 0, nullptr);
}

void CUIWindow::DrawGainDisp(CDC* dc, int band) { DrawReadout(dc, m_rcGain[band], kParamGainFirst + band); }
void CUIWindow::DrawQDisp(CDC* dc, int band) { DrawReadout(dc, m_rcQ[band], kParamQFirst + band); }
void CUIWindow::DrawOutDisp(CDC* dc) { DrawReadout(dc, m_rcOutput, kParamOutput); }
void CUIWindow::DrawInputDisp(CDC* dc) { DrawReadout(dc, m_rcInput, kParamInput); }

void CUIWindow::DrawVU(CDC* dc)
{
    if (!m_bmpMeter.GetSafeHandle())
        return;
    const int half = static_cast<int>(m_bmpMeter.Width()) / 2, height = static_cast<int>(m_bmpMeter.Height());
    CDC mem;
    mem.CreateCompatibleDC(dc);
    CBitmap* old = mem.SelectObject(&m_bmpMeter);
    for (int i = 0; i < 4; ++i) {
        // 3 pixels per dB: +6 dB lights from row 1, -69 dB from row 226.
        int y = static_cast<int>(m_level[i] * -3.0f + 19.0f);
        if (y < 0)
            y = 0;
        CDC scratch;
        if (!scratch.CreateBitmapDC(half, height))
            continue;
        scratch.BitBlt(0, 0, half, height, &mem, 0, 0, SRCCOPY);
        if (y < height)
            scratch.BitBlt(0, y, half, height - y, &mem, half, y, SRCCOPY);
        dc->BitBlt(kMeterX[i], kMeterY, half, height, &scratch, 0, 0, SRCCOPY);
    }
    mem.SelectObject(old);
}

void CUIWindow::OnPaint()
{
    m_bPainted = true;
    // Whatever the host changed since the last idle is drawn by this paint.
    if (m_pEditor)
        m_pEditor->DeliverChanges(false);
    CPaintDC dc(this);
    CRect client;
    GetClientRect(&client);
    CDC off;
    if (off.CreateBitmapDC(client.Width(), client.Height())) {
        CDC src;
        src.CreateCompatibleDC(&dc);
        CBitmap* old = src.SelectObject(m_pBackground);
        off.BitBlt(0, 0, static_cast<int>(m_pBackground->Width()), static_cast<int>(m_pBackground->Height()), &src,
                   0, 0, SRCCOPY);
        off.InitDrawing();
        off.SetBkMode(TRANSPARENT);
        off.SetTextColor(RGB(0, 0, 0));
        CFont* oldFont = off.SelectObject(&m_readoutFont);
        for (int b = 0; b < kBands; ++b) {
            DrawGainDisp(&off, b);
            DrawQDisp(&off, b);
        }
        DrawOutDisp(&off);
        DrawInputDisp(&off);
        DrawProgram(&off);
        DrawVU(&off);
        off.SelectObject(oldFont);
        off.ExitDrawing();

        src.SelectObject(&m_bmpSave);
        off.BitBlt(270, 10, 43, 16, &src, 0, 0, SRCCOPY);
        AGraEQ* fx = Effect();
        const bool changed = fx && fx->IsProgramChanged();
        src.SelectObject(&m_bmpModified);
        off.BitBlt(216, 10, 43, 16, &src, 0, changed ? static_cast<int>(m_bmpModified.Height()) / 2 : 0, SRCCOPY);
        src.SelectObject(old);
        dc.BitBlt(0, 0, client.Width(), client.Height(), &off, 0, 0, SRCCOPY);
    }
    for (int b = 0; b < kBands; ++b) {
        m_gain[b].DrawSlider(&dc);
        m_q[b].DrawSlider(&dc);
    }
    m_input.DrawSlider(&dc);
    m_output.DrawSlider(&dc);
    m_active.DrawSwitch(&dc);
}

// --- values -----------------------------------------------------------------------------

bool CUIWindow::ControlCallback(int id, float value, void* context)
{
    if (context)
        static_cast<CUIWindow*>(context)->ChangeControl(id, value);
    return true;
}

void CUIWindow::ChangeControl(int id, float value)
{
    AGraEQ* fx = Effect();
    if (fx) {
        if (id >= 100 && id <= 149) {
            fx->setParameterFormUI(id - 97, value);
        } else if (id == kOutputId) {
            fx->setParameterFormUI(kParamOutput, value);
        } else if (id == kInputId) {
            fx->setParameterFormUI(kParamInput, value);
        } else if (id == kActiveId) {
            fx->setParameterFormUI(kParamActive, value);
            if (static_cast<int>(GetKeyState(16)) < 0) {
                fx->ProgramToFactory();
                AnnounceProgram();
            } else if (static_cast<int>(GetKeyState(17)) < 0) {
                fx->ProgramToAllFactory();
            }
        }
    }
    // The read-out follows its fader.
    if (const CRect* readout = ReadoutOf(id))
        InvalidateRect(readout, TRUE);
    InvalidateRect(&m_rcModified, TRUE);
}

const CRect* CUIWindow::ReadoutOf(int id) const
{
    if (id >= kGainId && id < kGainId + kBands)
        return &m_rcGain[id - kGainId];
    if (id >= kQId && id < kQId + kBands)
        return &m_rcQ[id - kQId];
    if (id == kInputId)
        return &m_rcInput;
    if (id == kOutputId)
        return &m_rcOutput;
    return nullptr;
}

void CUIWindow::UpdateControl(int parameter, float value, bool draw)
{
    if (!m_bPainted)
        return;
    std::unique_ptr<CClientDC> client(draw ? new CClientDC(this) : nullptr);
    CDC* dc = client.get();
    CZNTBitmapSliderDC* fader = nullptr;
    const CRect* readout = nullptr;
    if (parameter >= kParamGainFirst && parameter < kParamGainFirst + kBands) {
        fader = &m_gain[parameter - kParamGainFirst];
        readout = &m_rcGain[parameter - kParamGainFirst];
    } else if (parameter >= kParamQFirst && parameter < kParamQFirst + kBands) {
        fader = &m_q[parameter - kParamQFirst];
        readout = &m_rcQ[parameter - kParamQFirst];
    } else if (parameter == kParamInput) {
        fader = &m_input;
        readout = &m_rcInput;
    } else if (parameter == kParamOutput) {
        fader = &m_output;
        readout = &m_rcOutput;
    }
    if (fader) {
        fader->SetValue(value, dc, false);
        // The read-out shows the new value too. Without drawing now (the
        // call comes from a paint, whose area may be only a part of the
        // panel, fixed before it began) the fader is redrawn by the paint
        // to come, so a change never waits for a full repaint.
        InvalidateRect(readout, TRUE);
        if (!draw) {
            CRect area;
            fader->GetRect(&area);
            InvalidateRect(&area, TRUE);
        }
    } else if (parameter == kParamActive) {
        m_active.SetValue(NormalizeValToDWValue(kParamActive, value), false);
        if (dc)
            m_active.DrawSwitch(dc);
    }
    InvalidateRect(&m_rcModified, TRUE);
}

// The program may have changed too (a host's program switch comes here).
void CUIWindow::UpdateModify()
{
    InvalidateRect(&m_rcModified, TRUE);
    InvalidateRect(&m_rcProgram, TRUE);
}

// --- meters -----------------------------------------------------------------------------

void CUIWindow::idle()
{
    AfxTrace("CUIWindow::idle\r");
    if (m_bPainted && m_pEditor)
        m_pEditor->DeliverChanges(true);
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    // A program switched or renamed by the host shows at the next paint.
    char program[sizeof m_shownProgram];
    ProgramText(program, sizeof program);
    if (m_bPainted && std::strcmp(program, m_shownProgram) != 0)
        InvalidateRect(&m_rcProgram, TRUE);
    float before[4];
    for (int i = 0; i < 4; ++i)
        before[i] = m_level[i];
    const uint16_t counter = fx->GetProcessCounter();
    if (counter != m_lastCounter) {
        m_lastCounter = counter;
        float peak[4] = {};
        fx->GetVU(&peak[0], &peak[1], &peak[2], &peak[3]);
        for (int i = 0; i < 4; ++i) {
            // Six dB per doubling; silence (or anything not positive) is the floor.
            float db = peak[i] > 0.0f ? static_cast<float>(6.0 * std::log(peak[i]) / std::log(2.0)) : kMeterFloor;
            if (!(db >= kMeterFloor))
                db = kMeterFloor;
            if (db > kMeterTop)
                db = kMeterTop;
            m_level[i] = db;
        }
    } else {
        for (float& l : m_level)
            l = l - 0.5f < kMeterFloor ? kMeterFloor : l - 0.5f;
    }
    bool changed = false;
    for (int i = 0; i < 4; ++i)
        changed = changed || before[i] != m_level[i];
    if (changed && m_bPainted) {
        CClientDC dc(this);
        DrawVU(&dc);
    }
}

// --- mouse ------------------------------------------------------------------------------

template <class F>
void CUIWindow::ForEachFader(F f)
{
    for (int b = 0; b < kBands; ++b)
        f(m_gain[b]);
    for (int b = 0; b < kBands; ++b)
        f(m_q[b]);
    f(m_input);
    f(m_output);
}

CZNTBitmapSliderDC* CUIWindow::TrackingFader()
{
    for (int b = 0; b < kBands; ++b) {
        if (m_gain[b].IsDragging())
            return &m_gain[b];
        if (m_q[b].IsDragging())
            return &m_q[b];
    }
    if (m_input.IsDragging())
        return &m_input;
    if (m_output.IsDragging())
        return &m_output;
    return nullptr;
}

int CUIWindow::ParamOfControl(int id)
{
    if (id >= kGainId && id < kQId + kBands)
        return id - 97;
    if (id == kOutputId)
        return kParamOutput;
    if (id == kInputId)
        return kParamInput;
    return -1;
}

float CUIWindow::WheelStep(int id, float value, int notches, bool fine, void*)
{
    const int parameter = ParamOfControl(id);
    if (parameter < 0)
        return value;
    const double display = NormalizeValToInternalVal(parameter, value);
    if (parameter == kParamInput || parameter == kParamOutput) {
        // Levels step in dB; their values are amplitudes (6 dB per doubling).
        const double dB = display + notches * (fine ? 0.1 : 1.0);
        return ValToNormalizeValue(parameter, static_cast<float>(std::pow(2.0, dB / 6.0)));
    }
    const double step = fine ? 0.1 : 0.5;  // dB for the gains, plain Q for the Qs
    return ValToNormalizeValue(parameter, static_cast<float>(display + notches * step));
}

void CUIWindow::BeginEdit(int id)
{
    AGraEQ* fx = Effect();
    const int parameter = ParamOfControl(id);
    if (fx && parameter >= 0)
        fx->beginEdit(parameter);
}

void CUIWindow::EndEdit(int id)
{
    AGraEQ* fx = Effect();
    const int parameter = ParamOfControl(id);
    if (fx && parameter >= 0)
        fx->endEdit(parameter);
}

void CUIWindow::OnLButtonDown(UINT, CPoint pt)
{
    HideEdit();
    PrepareEntry();
    for (int b = 0; b < kBands; ++b) {
        if (m_rcGain[b].PtInRect(pt))
            return OpenEntry(kParamGainFirst + b, kGainId + b, true, m_rcGain[b]);
        if (m_rcQ[b].PtInRect(pt))
            return OpenEntry(kParamQFirst + b, kQId + b, false, m_rcQ[b]);
    }
    if (m_rcInput.PtInRect(pt))
        return OpenEntry(kParamInput, kInputEntryId, true, m_rcInput);
    if (m_rcOutput.PtInRect(pt))
        return OpenEntry(kParamOutput, kOutputEntryId, true, m_rcOutput);

    // A press starts a gesture; the thumb jumps to the pointer, unless Shift
    // asks for a fine drag from where it stands.
    const bool fine = static_cast<int>(GetKeyState(VK_SHIFT)) < 0;
    auto grab = [&](CZNTBitmapSliderDC& fader) {
        if (!fader.PtInSwitch(pt))
            return false;
        BeginEdit(static_cast<int>(fader.GetID()));
        CClientDC dc(this);
        if (!fine)
            fader.SetValueByPoint(pt);
        fader.DrawSlider(&dc);
        return true;
    };
    for (int b = 0; b < kBands; ++b)
        if (grab(m_gain[b]) || grab(m_q[b]))
            return;
    if (grab(m_input) || grab(m_output))
        return;
    if (m_active.PtInSwitch(pt)) {
        AGraEQ* fx = Effect();
        if (fx)
            fx->beginEdit(kParamActive);
        m_active.SetValue(m_active.GetValue() ? 0 : 1, true);
        if (fx)
            fx->endEdit(kParamActive);
        CClientDC dc(this);
        m_active.DrawSwitch(&dc);
        if (m_pEditor)
            m_pEditor->DeliverChanges(true);
        return;
    }
    if (m_copy.PtInSwitch(pt))
        RunCopyMenu();
    else if (m_rcProgram.PtInRect(pt))
        RunProgramMenu();
}

// A double-click on a fader returns it to its default; anywhere else it is
// a second click.
void CUIWindow::OnLButtonDblClk(UINT flags, CPoint pt)
{
    CZNTBitmapSliderDC* hit = nullptr;
    CRect rc;
    ForEachFader([&](CZNTBitmapSliderDC& fader) {
        fader.GetRect(&rc);
        if (!hit && rc.PtInRect(pt))
            hit = &fader;
    });
    if (!hit)
        return OnLButtonDown(flags, pt);
    HideEdit();
    const int id = static_cast<int>(hit->GetID());
    BeginEdit(id);
    CClientDC dc(this);
    hit->ResetToDefault(&dc);
    EndEdit(id);
}

void CUIWindow::OnMouseMove(UINT flags, CPoint pt)
{
    CWnd::OnMouseMove(flags, pt);
    if (CZNTBitmapSliderDC* fader = TrackingFader()) {
        CClientDC dc(this);
        fader->OnMouseMove(pt, &dc);
    }
}

void CUIWindow::OnLButtonUp(UINT, CPoint pt)
{
    if (CZNTBitmapSliderDC* fader = TrackingFader()) {
        CClientDC dc(this);
        fader->OnLButtonUp(pt, &dc);
        EndEdit(static_cast<int>(fader->GetID()));
        return;
    }
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    if (kSaveRect.PtInRect(pt)) {
        RunSaveDialog();
    } else if (m_rcModified.PtInRect(pt)) {
        fx->ProgramToInitial();
        AnnounceProgram();
        if (m_pEditor)
            m_pEditor->DeliverChanges(true);
    }
}

// One notch of the wheel over a fader: a step, as one gesture of its own.
LRESULT CUIWindow::OnMouseWheel(WPARAM wp, LPARAM lp)
{
    if (TrackingFader())
        return 0;
    const CPoint pt(lp);
    const int notches = GET_WHEEL_DELTA_WPARAM(wp) / WHEEL_DELTA;
    const bool fine = (LOWORD(wp) & MK_SHIFT) != 0;
    ForEachFader([&](CZNTBitmapSliderDC& fader) {
        CRect rc;
        fader.GetRect(&rc);
        if (notches == 0 || !rc.PtInRect(pt))
            return;
        const int id = static_cast<int>(fader.GetID());
        BeginEdit(id);
        CClientDC dc(this);
        fader.OnWheel(pt, notches, fine, &dc);
        EndEdit(id);
    });
    return 0;
}
