#include "CPresetSaveDlg.h"

#include <cstring>

#include "AGraEQ.h"
#include "WinStr.h"

namespace {

// The dialog's template: the program list, the name field, OK and Cancel.
void RegisterTemplate()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    DialogTemplate t;
    t.id = CPresetSaveDlg::IDD;
    t.caption = "Save Program";
    t.width = 300;
    t.height = 118;
    t.items = {
        {DialogItemTemplate::kStatic, 0xFFFF, {12, 14, 80, 30}, "Program:", 0},
        {DialogItemTemplate::kComboBox, CPresetSaveDlg::IDC_PGM_COMBO, {86, 10, 288, 32}, "", CBS_DROPDOWNLIST},
        {DialogItemTemplate::kStatic, 0xFFFF, {12, 48, 80, 64}, "Name:", 0},
        {DialogItemTemplate::kEdit, CPresetSaveDlg::IDC_PGM_NAME, {86, 44, 288, 66}, "", ES_AUTOHSCROLL},
        {DialogItemTemplate::kDefButton, IDOK, {128, 80, 204, 106}, "Save", BS_DEFPUSHBUTTON},
        {DialogItemTemplate::kButton, IDCANCEL, {212, 80, 288, 106}, "Cancel", BS_PUSHBUTTON},
    };
    AfxRegisterDialogTemplate(t);
}

}  // namespace

BEGIN_MESSAGE_MAP(CPresetSaveDlg, CDialog)
    ON_CBN_SELCHANGE(CPresetSaveDlg::IDC_PGM_COMBO, OnSelPGMCombo)
END_MESSAGE_MAP()

CPresetSaveDlg::CPresetSaveDlg(CWnd* pParent, AGraEQ* effect) : CDialog(IDD, pParent), m_pEffect(effect)
{
    RegisterTemplate();
}

void CPresetSaveDlg::DoDataExchange(CDataExchange* pDX)
{
    CDialog::DoDataExchange(pDX);
    DDX_Control(pDX, IDC_PGM_COMBO, m_combo);
}

CString CPresetSaveDlg::ProgramName(int i) const
{
    char sjis[32] = {};
    if (m_pEffect)
        m_pEffect->getProgramNameIndexed(0, i, sjis);
    char utf8[32 * 3 + 1] = {};
    CheckSJISAndToUFT8(sjis, utf8, sizeof utf8);
    return CString(utf8);
}

BOOL CPresetSaveDlg::OnInitDialog()
{
    CDialog::OnInitDialog();
    for (int i = 0; i < 32; ++i) {
        CString item;
        item.Format("%d:%s", i + 1, (const char*)ProgramName(i));
        m_combo.AddString(item);
    }
    const int current = m_pEffect ? m_pEffect->getProgram() : 0;
    m_combo.SetCurSel(current);
    SetDlgItemText(IDC_PGM_NAME, ProgramName(current));
    return TRUE;
}

void CPresetSaveDlg::OnSelPGMCombo()
{
    const int slot = m_combo.GetCurSel();
    if (slot >= 0 && slot < 32)
        SetDlgItemText(IDC_PGM_NAME, ProgramName(slot));
}

void CPresetSaveDlg::OnOK()
{
    m_nSelect = m_combo.GetCurSel();
    CString typed;
    GetDlgItemText(IDC_PGM_NAME, typed);
    // The legacy encoding, cut to 23 bytes without leaving half a character.
    // A name with no Shift-JIS form is stored as it was typed, cut the same way.
    const char* sjis = UTF8ToSJSINS(typed);
    char name[64] = {};
    std::strncpy(name, sjis ? sjis : (const char*)typed, sizeof name - 1);
    TruncateSJIS(name, 23);
    m_strName = name;
    CDialog::OnOK();
}
