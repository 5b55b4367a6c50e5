#pragma once
// The dialog in which the user picks the program slot the current settings
// are saved under, and names the program.
#include "CDialog.h"
#include "CString.h"
#include "StdControls.h"

class AGraEQ;

class CPresetSaveDlg : public CDialog {
public:
    enum { IDD = 5040, IDC_PGM_COMBO = 1120, IDC_PGM_NAME = 5000 };

    CPresetSaveDlg(CWnd* pParent, AGraEQ* effect);

    BOOL OnInitDialog() override;
    void DoDataExchange(CDataExchange* pDX) override;
    void OnOK() override;
    afx_msg void OnSelPGMCombo();
    DECLARE_MESSAGE_MAP()

    // Read by the owner after DoModal returns IDOK: the chosen slot (0-based)
    // and the name in Shift-JIS, at most 23 bytes.
    CComboBox m_combo;
    int m_nSelect = 0;
    CString m_strName;
    AGraEQ* m_pEffect = nullptr;

private:
    // The name of slot i in UTF-8.
    CString ProgramName(int i) const;
};
