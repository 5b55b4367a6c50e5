#include "CGraphicEQEditor.h"

#include <cstdint>
#include <new>

#include "AGraEQ.h"
#include "CDialog.h"
#include "CUIWindow.h"
#include "EditorFactory.h"

// The one application object of the plug-in.
CGraphicEQApp theApp;

AEffEditor* CreateGraphicEQEditor(AGraEQ* effect)
{
    return new (std::nothrow) CGraphicEQEditor(effect);
}

CGraphicEQEditor::CGraphicEQEditor(AudioEffect* effectObject) : AEffEditor(effectObject)
{
    for (auto& v : m_pending)
        v.store(0.0f, std::memory_order_relaxed);
    m_pBackground = new (std::nothrow) CZNTBitmap;
    m_pFrame = new (std::nothrow) CWnd;
    if (effect)
        effect->setEditor(this);
}

CGraphicEQEditor::~CGraphicEQEditor()
{
    close();
    delete m_pFrame;
    m_pFrame = nullptr;
    delete m_pBackground;
    m_pBackground = nullptr;
}

bool CGraphicEQEditor::LoadBackground()
{
    if (!m_bBackgroundTried && m_pBackground) {
        m_bBackgroundTried = true;
        if (m_pBackground->LoadResourceBitmap(5000u)) {
            m_rect.top = 0;
            m_rect.left = 0;
            m_rect.bottom = static_cast<VstInt16>(m_pBackground->Height());
            m_rect.right = static_cast<VstInt16>(m_pBackground->Width());
        }
    }
    return m_pBackground && m_pBackground->GetSafeHandle();
}

bool CGraphicEQEditor::getRect(ERect** rect)
{
    LoadBackground();
    if (rect)
        *rect = &m_rect;
    return true;
}

bool CGraphicEQEditor::open(void* parent)
{
    if (m_pPanel)
        return true;
    if (!parent || !m_pFrame || !LoadBackground())
        return false;
    if (!m_pFrame->AdoptHostWindow(parent))
        return false;
    systemWindow = parent;
    // What was recorded while closed is stale: the panel starts from the
    // effect's current values.
    m_changed.store(0, std::memory_order_relaxed);
    m_modifyPending.store(false, std::memory_order_relaxed);
    m_pPanel = new (std::nothrow) CUIWindow;
    if (!m_pPanel || !m_pPanel->MakeWindow(m_pFrame, m_pBackground, this)) {
        delete m_pPanel;
        m_pPanel = nullptr;
        m_pFrame->ReleaseHostWindow();
        systemWindow = nullptr;
        return false;
    }
    m_pPanel->MoveWindow(0, 0, static_cast<int>(m_pBackground->Width()), static_cast<int>(m_pBackground->Height()),
                         TRUE);
    m_bPanelOpen.store(true, std::memory_order_release);
    return true;
}

void CGraphicEQEditor::close()
{
    systemWindow = nullptr;
    m_bPanelOpen.store(false, std::memory_order_release);
    if (m_pPanel) {
        m_pPanel->DestroyWindow();
        delete m_pPanel;
        m_pPanel = nullptr;
    }
    if (m_pFrame)
        m_pFrame->ReleaseHostWindow();
}

void CGraphicEQEditor::idle()
{
    if (!m_pPanel)
        return;
    // X events, posted messages and timer firings of the panel's windows.
    AfxPumpMessages(0);
    if (m_pPanel)
        m_pPanel->idle();
}

void CGraphicEQEditor::draw(ERect*)
{
    if (m_pPanel)
        m_pPanel->SendMessage(WM_PAINT);
}

void CGraphicEQEditor::UpdateControl(int index, float value)
{
    if (!IsValidParamIndex(index))
        return;
    m_pending[index].store(value, std::memory_order_relaxed);
    m_changed.fetch_or(uint64_t(1) << index, std::memory_order_release);
}

void CGraphicEQEditor::UpdateModify() { m_modifyPending.store(true, std::memory_order_release); }

void CGraphicEQEditor::DeliverChanges(bool draw)
{
    if (!m_pPanel)
        return;
    uint64_t changed = m_changed.exchange(0, std::memory_order_acquire);
    for (int i = 0; changed != 0; ++i, changed >>= 1)
        if (changed & 1)
            m_pPanel->UpdateControl(i, m_pending[i].load(std::memory_order_relaxed), draw);
    if (m_modifyPending.exchange(false, std::memory_order_acquire))
        m_pPanel->UpdateModify();
}

// Reached from SaveProgram, on the editor's thread. Over an open panel the
// box runs without holding the host's thread, like the panel's dialog.
void CGraphicEQEditor::ShowMessage(const char* text)
{
    if (m_pPanel && m_pPanel->GetSafeHwnd())
        AfxMessageBoxAsync(text, MB_OK, nullptr, m_pPanel);
    else
        AfxMessageBox(text, MB_OK);
}
