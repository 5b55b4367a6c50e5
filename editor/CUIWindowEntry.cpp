// The panel's typed entry, program-copy menu, program list and save dialog.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "AGraEQ.h"
#include "CGraphicEQEditor.h"
#include "CMenu.h"
#include "CPresetSaveDlg.h"
#include "CUIWindow.h"
#include "ParamMap.h"
#include "WinStr.h"

void CUIWindow::CreateEntry()
{
    CWindowAttr attr;
    attr.m_rect = CRect(0, 0, 10, 10);
    m_entry.MakeWindow(this, this, const_cast<char*>(""), &attr, 6, &m_entryFont, true);
    m_entry.ShowWindow(SW_HIDE);
}

// Every press starts afresh: no entry open, one decimal place.
void CUIWindow::PrepareEntry() { m_entry.m_edit.SetFloatPoint(1); }

void CUIWindow::OpenEntry(int parameter, int id, bool sign, const CRect& readout)
{
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    float minimum = 0.0f, maximum = 0.0f;
    GetParamMinMax(parameter, &minimum, &maximum);
    const float value = fx->getParameterDisplayVal(parameter);
    // The entry works in tenths.
    ShowEdit(static_cast<int>(value * 10.0f), static_cast<int>(minimum * 10.0f), static_cast<int>(maximum * 10.0f),
             sign, 4, readout, id);
}

void CUIWindow::ShowEdit(int value, int minimum, int maximum, bool sign, int size, CRect rect, int id)
{
    m_entry.SetSingnFlag(sign);
    m_entry.ChangeSize(size, sign);
    m_entry.SetNewValue(value, minimum, maximum);
    m_entry.SetWindowPos(nullptr, rect.left + 1, rect.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    m_entry.m_edit.SetSel(0, -1);
    m_entry.ShowWindow(SW_SHOW);
    m_entry.m_edit.SetFocus();
    m_nEntryTarget = id;
}

void CUIWindow::HideEdit()
{
    m_nEntryTarget = -1;
    if (m_entry.GetSafeHwnd() && m_entry.IsWindowVisible())
        m_entry.ShowWindow(SW_HIDE);
    ReleaseKeyboard();
}

// The host has its keyboard back once no entry is open: the panel itself
// takes no typing, so focusing it hands the keyboard back.
void CUIWindow::ReleaseKeyboard()
{
    if (CWnd::GetFocus() == &m_entry.m_edit && m_hWnd)
        SetFocus();
}

LRESULT CUIWindow::OnInputValReturn(WPARAM, LPARAM)
{
    char text[50] = {};
    m_entry.m_edit.GetWindowText(text, sizeof text);  // the value in tenths
    const long tenths = std::strtol(text, nullptr, 10);
    float value = static_cast<float>(tenths / 10.0);
    value += tenths >= 0 ? 0.005f : -0.005f;
    int parameter = -1;
    if (m_nEntryTarget >= 100 && m_nEntryTarget <= 149)
        parameter = m_nEntryTarget - 97;
    else if (m_nEntryTarget == kInputEntryId)
        parameter = kParamInput;
    else if (m_nEntryTarget == kOutputEntryId)
        parameter = kParamOutput;
    AGraEQ* fx = Effect();
    if (fx && IsValidParamIndex(parameter)) {
        float minimum = 0.0f, maximum = 0.0f;
        GetParamMinMax(parameter, &minimum, &maximum);
        if (value < minimum)
            value = minimum;
        if (value > maximum)
            value = maximum;
        // A typed value is a gesture of its own: the effect reports the
        // automation and the end of the edit, the panel its beginning.
        fx->beginEdit(parameter);
        fx->setParameterFromDiaplay(parameter, value);
    }
    m_nEntryTarget = -1;
    ReleaseKeyboard();
    InvalidateRect(&m_rcModified, TRUE);
    if (m_pEditor)
        m_pEditor->DeliverChanges(false);
    Invalidate(TRUE);
    UpdateWindow();
    return 0;
}

void CUIWindow::RunCopyMenu()
{
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    {
        CClientDC dc(this);
        m_copy.LButtonDown(&dc);
    }
    CMenu menu;
    menu.CreatePopupMenu();
    const int current = fx->getProgram();
    for (int i = 0; i < 32; ++i) {
        char sjis[32] = {}, utf8[32 * 3 + 1] = {};
        fx->getProgramNameIndexed(0, i, sjis);
        CheckSJISAndToUFT8(sjis, utf8, sizeof utf8);
        menu.AppendMenu(i == current ? MF_CHECKED | MF_DISABLED | MF_GRAYED : MF_STRING,
                        static_cast<UINT_PTR>(kCopyCommand + i), utf8);
    }
    menu.TrackPopupMenu(TPM_RIGHTBUTTON, 93, 14, this);
    if (m_hWnd) {
        CClientDC dc(this);
        m_copy.LButtonUp(&dc);
    }
}

void CUIWindow::OnSelCopyPg(UINT id)
{
    if (AGraEQ* fx = Effect()) {
        fx->CopyPgFrom(static_cast<int>(id) - kCopyCommand);
        AnnounceProgram();
    }
    InvalidateRect(&m_rcModified, TRUE);
    if (m_pEditor)
        m_pEditor->DeliverChanges(true);
}

void CUIWindow::ProgramText(char* text, size_t size)
{
    AGraEQ* fx = Effect();
    char sjis[32] = {}, utf8[32 * 3 + 1] = {};
    const int current = fx ? fx->getProgram() : 0;
    if (fx)
        fx->getProgramNameIndexed(0, current, sjis);
    CheckSJISAndToUFT8(sjis, utf8, sizeof utf8);
    std::snprintf(text, size, "%d  %s", current + 1, utf8);
}

void CUIWindow::DrawProgram(CDC* dc)
{
    ProgramText(m_shownProgram, sizeof m_shownProgram);
    const CSize size = dc->GetTextExtent(m_shownProgram, -1);
    const int y = m_rcProgram.top + (m_rcProgram.Height() - size.cy) / 2 + 3;
    dc->ExtTextOut(m_rcProgram.left + 4, y, ETO_CLIPPED, &m_rcProgram, m_shownProgram, 0, nullptr);
}

// The list of the 32 programs under the program display; the current one
// is checked. A choice arrives as a command (OnSelProgram).
void CUIWindow::RunProgramMenu()
{
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    CMenu menu;
    menu.CreatePopupMenu();
    const int current = fx->getProgram();
    for (int i = 0; i < 32; ++i) {
        char sjis[32] = {}, utf8[32 * 3 + 1] = {}, item[sizeof utf8 + 8] = {};
        fx->getProgramNameIndexed(0, i, sjis);
        CheckSJISAndToUFT8(sjis, utf8, sizeof utf8);
        std::snprintf(item, sizeof item, "%d  %s", i + 1, utf8);
        menu.AppendMenu(i == current ? MF_CHECKED | MF_STRING : MF_STRING, static_cast<UINT_PTR>(kProgramCommand + i),
                        item);
    }
    menu.TrackPopupMenu(TPM_RIGHTBUTTON, m_rcProgram.left, m_rcProgram.bottom, this);
}

// The current program changed as a whole on the panel (switched, copied
// into, reverted, reset): the host hears it as of its own program switch,
// every parameter's value as automation (each inside begin/end edit, so
// hosts that record touches take it), then a display update so it reads
// the program number and names again.
void CUIWindow::AnnounceProgram()
{
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    for (int p = 0; p < kNumParams; ++p) {
        fx->beginEdit(p);
        fx->setParameterAutomated(p, fx->getParameter(p));
        fx->endEdit(p);
    }
    fx->updateDisplay();
}

// A program chosen from the program display.
void CUIWindow::OnSelProgram(UINT id)
{
    AGraEQ* fx = Effect();
    const int program = static_cast<int>(id) - kProgramCommand;
    if (!fx || program < 0 || program >= 32)
        return;
    fx->setProgram(program);
    AnnounceProgram();
    InvalidateRect(&m_rcModified, TRUE);
    InvalidateRect(&m_rcProgram, TRUE);
    if (m_pEditor)
        m_pEditor->DeliverChanges(true);
}

void CUIWindow::RunSaveDialog()
{
    AGraEQ* fx = Effect();
    if (!fx)
        return;
    CPresetSaveDlg dlg(nullptr, fx);
    if (dlg.DoModal() == IDOK) {
        fx->SaveProgram(dlg.m_nSelect, dlg.m_strName);
        if (m_pEditor)
            m_pEditor->DeliverChanges(true);
    }
}
