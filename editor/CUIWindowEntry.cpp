// The panel's typed entry, program-copy menu and save dialog.
#include <cstdlib>

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
    // The menu runs on its own: this returns to the host at once, the
    // chosen program arrives as a command, and the button comes up after.
    if (!menu.TrackPopupMenuAsync(TPM_RIGHTBUTTON, 93, 14, this, [this](UINT) { ReleaseCopyButton(); }))
        ReleaseCopyButton();
}

void CUIWindow::ReleaseCopyButton()
{
    if (!m_hWnd)
        return;
    CClientDC dc(this);
    m_copy.LButtonUp(&dc);
}

void CUIWindow::OnSelCopyPg(UINT id)
{
    if (AGraEQ* fx = Effect())
        fx->CopyPgFrom(static_cast<int>(id) - kCopyCommand);
    InvalidateRect(&m_rcModified, TRUE);
    if (m_pEditor)
        m_pEditor->DeliverChanges(true);
}

void CUIWindow::RunSaveDialog()
{
    AGraEQ* fx = Effect();
    if (!fx || m_pSaveDlg)
        return;
    // The dialog runs on its own: this returns to the host at once, the
    // panel takes no input until the dialog ends, and the save follows then.
    m_pSaveDlg = std::make_unique<CPresetSaveDlg>(nullptr, fx);
    if (!m_pSaveDlg->DoModalAsync([this](INT_PTR result) { OnSaveDialogEnd(result); }))
        m_pSaveDlg.reset();
}

void CUIWindow::OnSaveDialogEnd(INT_PTR result)
{
    const std::unique_ptr<CPresetSaveDlg> dlg = std::move(m_pSaveDlg);
    AGraEQ* fx = Effect();
    if (result != IDOK || !fx || !dlg)
        return;
    fx->SaveProgram(dlg->m_nSelect, dlg->m_strName);
    if (m_pEditor)
        m_pEditor->DeliverChanges(true);
}
