#pragma once
// The editor object the host talks to (effEditGetRect, effEditOpen, ...),
// and the application object the window layer expects.
//
// Threads (the effect's contract is in AGraEQ.h): the host calls
// setParameter from its audio thread between blocks and setParameter,
// setProgram and setChunk from its other threads while the panel is open.
// The effect then calls UpdateControl / UpdateModify here, with no lock held;
// they only record what changed (the latest value and a changed bit per
// parameter, a modified flag), with atomics, never waiting and never
// touching X11 or Cairo. The editor's thread takes the recorded changes when
// it runs (host idle or the panel's timer) and moves the controls then; what
// it shows it reads back through the effect's getters, which are safe on any
// thread.
#include <atomic>
#include <cstdint>

#include "AEffEditor.h"
#include "CWnd.h"
#include "CZNTBitmap.h"
#include "ParamMap.h"

class CUIWindow;

// The application object the window layer expects, one per plug-in. It
// handles no messages of its own (its map is the base's, empty).
class CGraphicEQApp : public CWinApp {
public:
    CGraphicEQApp() : CWinApp(nullptr) {}
};

class CGraphicEQEditor : public AEffEditor {
public:
    explicit CGraphicEQEditor(AudioEffect* effectObject);
    ~CGraphicEQEditor() override;

    bool getRect(ERect** rect) override;
    bool open(void* parent) override;
    void close() override;
    bool isOpen() override { return systemWindow != nullptr; }
    void idle() override;
    void draw(ERect* rect) override;
    VstInt32 mouse(VstInt32, VstInt32) override { return 0; }
    VstInt32 key(VstInt32) override { return 0; }

    // Panel hooks: any thread; they only record.
    bool HasPanel() const override { return m_bPanelOpen.load(std::memory_order_acquire); }
    void UpdateControl(int index, float value) override;
    void UpdateModify() override;
    void ShowMessage(const char* text) override;

    // Editor thread: hands the recorded changes to the panel. With draw
    // false only the controls' values are set (a paint is about to draw).
    void DeliverChanges(bool draw);

    CUIWindow* GetPanel() const { return m_pPanel; }
    CZNTBitmap* GetBackground() { return m_pBackground; }

private:
    // The background decides the panel's size. It is decoded on the editor's
    // thread, the first time the size or the panel is needed.
    bool LoadBackground();

    ERect m_rect{};
    CZNTBitmap* m_pBackground = nullptr;
    bool m_bBackgroundTried = false;
    CWnd* m_pFrame = nullptr;
    CUIWindow* m_pPanel = nullptr;

    std::atomic<bool> m_bPanelOpen{false};
    std::atomic<uint64_t> m_changed{0};  // bit i: parameter i has a value waiting
    std::atomic<float> m_pending[kNumParams];
    std::atomic<bool> m_modifyPending{false};
};
