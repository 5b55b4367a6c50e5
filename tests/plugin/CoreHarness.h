#pragma once
// The effect object called directly: a host callback that records what the
// effect sends and answers the directory question, and an editor object,
// linked in place of the panel-less one, that records the panel hooks and
// can pretend to have a panel or register itself as a real editor does.
#include <string>
#include <vector>

#include "AEffEditor.h"
#include "AGraEQ.h"

struct Sent {
    VstInt32 opcode, index;
    float opt;
};
inline std::vector<Sent> g_sent;
inline std::string g_hostDirectory;  // empty: the host answers null

inline VstIntPtr CoreHost(AEffect*, VstInt32 opcode, VstInt32 index, VstIntPtr, void*, float opt)
{
    g_sent.push_back({opcode, index, opt});
    if (opcode == audioMasterGetDirectory && !g_hostDirectory.empty())
        return reinterpret_cast<VstIntPtr>(g_hostDirectory.c_str());
    return opcode == audioMasterVersion ? 2400 : 0;
}

inline size_t SentCount(VstInt32 opcode)
{
    size_t n = 0;
    for (const Sent& s : g_sent)
        n += s.opcode == opcode;
    return n;
}

class RecordingEditor : public AEffEditor {
public:
    explicit RecordingEditor(AGraEQ* effectObject) : AEffEditor(effectObject), fx(effectObject) {}
    ~RecordingEditor() override { ++destroyed; }

    bool HasPanel() const override { return panel; }
    // Also records what the effect held when the panel was told: the hook
    // runs first for host changes, last for entry-field changes.
    void UpdateControl(int index, float value) override { events.push_back({index, value, fx->getParameter(index)}); }
    void UpdateModify() override { events.push_back({-1, 0.0f, 0.0f}); }
    void ShowMessage(const char* text) override { messages.push_back(text ? text : ""); }

    struct Event {
        int index;  // -1: the modified mark
        float value, effectValueThen;
    };
    AGraEQ* fx;
    bool panel = false;
    std::vector<Event> events;
    std::vector<std::string> messages;
    static inline int destroyed = 0;
    static inline bool registerWithEffect = false;  // call setEditor, as an editor with a view does
};
