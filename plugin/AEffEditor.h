#pragma once
// The editor object as the effect sees it. The effect owns exactly one and
// reaches both the host-facing editor operations (effEditOpen, effEditIdle,
// ...) and the panel hooks through it, so the plug-in core never depends on
// the editor's window code. Every operation has a harmless default: an
// editor object without a panel (or before its panel is open) does nothing.
#include "VstDefs.h"

class AudioEffect;

class AEffEditor {
public:
    explicit AEffEditor(AudioEffect* effectObject = nullptr) : effect(effectObject), systemWindow(nullptr) {}
    virtual ~AEffEditor() {}
    AEffEditor(const AEffEditor&) = delete;
    AEffEditor& operator=(const AEffEditor&) = delete;

    virtual AudioEffect* getEffect() { return effect; }
    // Gives the address of the editor's rectangle. Without a panel there is
    // none: rect is set to null and the answer is false.
    virtual bool getRect(ERect** rect)
    {
        if (rect)
            *rect = nullptr;
        return false;
    }
    // parent: the host's window (on Linux an X11 Window id cast to a pointer).
    virtual bool open(void* parent)
    {
        systemWindow = parent;
        return false;
    }
    virtual void close() { systemWindow = nullptr; }
    virtual bool isOpen() { return systemWindow != nullptr; }
    virtual void idle() {}
    virtual void draw(ERect* /*rect*/) {}
    virtual VstInt32 mouse(VstInt32 /*x*/, VstInt32 /*y*/) { return 0; }
    virtual VstInt32 key(VstInt32 /*keyCode*/) { return 0; }
    virtual void top() {}
    virtual void sleep() {}

    // Panel hooks, called by the effect when something changed outside the
    // panel. They must do nothing while no panel exists.
    virtual bool HasPanel() const { return false; }
    // A parameter changed (normalised value): move its control.
    virtual void UpdateControl(int /*index*/, float /*value*/) {}
    // The current program's modified state may have changed.
    virtual void UpdateModify() {}
    // A message the user must see (the default bank could not be saved).
    // Without a panel there is nowhere to show it but the host's log.
    virtual void ShowMessage(const char* text);

protected:
    AudioEffect* effect;
    void* systemWindow;
};
