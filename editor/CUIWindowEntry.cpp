// The panel's typed entry, program-copy menu and save dialog.
#include "AGraEQ.h"
#include "CGraphicEQEditor.h"
#include "CUIWindow.h"
#include "ParamMap.h"

void CUIWindow::CreateEntry() {}
void CUIWindow::PrepareEntry() {}

void CUIWindow::OpenEntry(int parameter, int id, bool sign, const CRect& readout)
{
    (void)parameter, (void)sign, (void)readout;
    m_nEntryTarget = id;
}

void CUIWindow::ShowEdit(int, int, int, bool, int, CRect, int id) { m_nEntryTarget = id; }

void CUIWindow::HideEdit() { m_nEntryTarget = -1; }

LRESULT CUIWindow::OnInputValReturn(WPARAM, LPARAM)
{
    m_nEntryTarget = -1;
    return 0;
}

void CUIWindow::RunCopyMenu() {}

void CUIWindow::OnSelCopyPg(UINT id)
{
    if (AGraEQ* fx = Effect())
        fx->CopyPgFrom(static_cast<int>(id) - kCopyCommand);
    InvalidateRect(&m_rcModified, TRUE);
    if (m_pEditor)
        m_pEditor->DeliverChanges(true);
}

void CUIWindow::RunSaveDialog() {}
