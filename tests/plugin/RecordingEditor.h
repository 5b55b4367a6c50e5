#pragma once
// An editor object for tests of the effect core: linked in place of the
// panel-less one, it records the panel hooks the effect calls and can
// pretend to have a panel or to register itself as a real editor does.
#include <string>
#include <vector>

#include "AEffEditor.h"
#include "AGraEQ.h"

struct EditorOptions {
    bool registerWithEffect = false;  // call setEditor, as an editor with a view does
};
extern EditorOptions g_editorOptions;

class RecordingEditor : public AEffEditor {
public:
    explicit RecordingEditor(AGraEQ* effect) : AEffEditor(effect), fx(effect) {}
    ~RecordingEditor() override { ++destroyed; }

    bool HasPanel() const override { return panel; }
    void UpdateControl(int index, float value) override
    {
        // What the effect held when the panel was told: the hook runs first
        // for host changes, last for entry-field changes.
        events.push_back({"control", index, value, fx->getParameter(index)});
    }
    void UpdateModify() override { events.push_back({"modify", -1, 0.0f, 0.0f}); }
    void ShowMessage(const char* text) override { messages.push_back(text ? text : ""); }

    struct Event {
        std::string what;
        int index;
        float value;
        float effectValueThen;
    };
    AGraEQ* fx;
    bool panel = false;
    std::vector<Event> events;
    std::vector<std::string> messages;
    static int destroyed;
};
