// The LV2 UI: the effect's own panel (AEffEditor) opened inside the host's
// X11 window, run by the host's idle calls. It reaches the effect through
// instance-access and turns what the panel does into port writes, so the
// host's controls, its automation and the sound agree. A host without
// instance-access gets no UI from here (it shows its generic controls).
#include <X11/Xlib.h>
#include <lv2/core/lv2.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/ui/ui.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include "AEffEditor.h"
#include "GraphicEQLink.h"
#include "Lv2Ids.h"

namespace {

constexpr int kParams = 33;

class Ui final : public GraphicEQLinkListener {
public:
    Ui(GraphicEQLink* link, LV2UI_Write_Function write, LV2UI_Controller controller)
        : m_link(link), m_write(write), m_controller(controller)
    {
        for (int i = 0; i < kParams; ++i)
            m_hostValue[i] = m_link->PortValue(i);
    }

    // Only the UI that opened the panel owns the listener and the panel: a
    // second UI refused on the same instance must leave both alone.
    ~Ui()
    {
        if (!m_open)
            return;
        m_link->SetListener(nullptr);
        m_link->Editor()->close();
    }

    bool Open(void* parent, LV2UI_Resize* resize, LV2UI_Widget* widget)
    {
        AEffEditor* editor = m_link->Editor();
        ERect* rect = nullptr;
        if (editor->isOpen() || !editor->getRect(&rect) || !rect)
            return false;
        const int w = rect->right - rect->left, h = rect->bottom - rect->top;
        if (!editor->open(parent))
            return false;
        m_open = true;
        m_link->SetListener(this);
        *widget = reinterpret_cast<LV2UI_Widget>(ViewWindow(reinterpret_cast<uintptr_t>(parent)));
        if (resize && resize->ui_resize)
            resize->ui_resize(resize->handle, w, h);
        return true;
    }

    void PortEvent(uint32_t port, uint32_t size, uint32_t format, const void* buffer)
    {
        // The effect follows the host's values through the plug-in's run();
        // here the UI only learns what the host holds.
        if (port < static_cast<uint32_t>(kParams) && format == 0 && size == sizeof(float) && buffer)
            m_hostValue[port] = *static_cast<const float*>(buffer);
    }

    int Idle()
    {
        m_link->Editor()->idle();
        return 0;
    }

    // GraphicEQLinkListener: called from the panel, on this thread.
    void ParameterAutomated(int index, float) override
    {
        if (index >= 0 && index < kParams)
            Write(index, m_link->PortValue(index));
    }

    void ProgramChanged() override
    {
        for (int i = 0; i < kParams; ++i) {
            const float v = m_link->PortValue(i);
            if (v != m_hostValue[i])
                Write(i, v);
        }
    }

private:
    void Write(int index, float value)
    {
        m_hostValue[index] = value;
        m_write(m_controller, static_cast<uint32_t>(index), sizeof value, 0, &value);
    }

    // The panel's own window, a child the editor made in parent: hosts that
    // embed through a toolkit size and map the widget they are given. The
    // parent itself when no child can be found.
    static uintptr_t ViewWindow(uintptr_t parent)
    {
        uintptr_t found = parent;
        Display* dpy = XOpenDisplay(nullptr);
        if (!dpy)
            return found;
        Window root = 0, up = 0;
        Window* children = nullptr;
        unsigned count = 0;
        if (XQueryTree(dpy, static_cast<Window>(parent), &root, &up, &children, &count) && count)
            found = children[count - 1];  // the topmost, the panel just made
        if (children)
            XFree(children);
        XCloseDisplay(dpy);
        return found;
    }

    GraphicEQLink* m_link;
    LV2UI_Write_Function m_write;
    LV2UI_Controller m_controller;
    float m_hostValue[kParams];
    bool m_open = false;
};

LV2UI_Handle Instantiate(const LV2UI_Descriptor*, const char* pluginUri, const char*,
                         LV2UI_Write_Function write, LV2UI_Controller controller,
                         LV2UI_Widget* widget, const LV2_Feature* const* features)
{
    if (!pluginUri || std::strcmp(pluginUri, GRAPHICEQ_LV2_URI) || !write || !widget)
        return nullptr;
    void* parent = nullptr;
    void* instance = nullptr;
    LV2UI_Resize* resize = nullptr;
    for (int i = 0; features && features[i]; ++i) {
        if (!std::strcmp(features[i]->URI, LV2_UI__parent))
            parent = features[i]->data;
        else if (!std::strcmp(features[i]->URI, LV2_INSTANCE_ACCESS_URI))
            instance = features[i]->data;
        else if (!std::strcmp(features[i]->URI, LV2_UI__resize))
            resize = static_cast<LV2UI_Resize*>(features[i]->data);
    }
    // Without the effect or a window to live in there is no panel; the host
    // falls back to its own controls.
    if (!parent || !instance)
        return nullptr;
    Ui* ui = new (std::nothrow) Ui(static_cast<GraphicEQLink*>(instance), write, controller);
    if (ui && !ui->Open(parent, resize, widget)) {
        delete ui;
        ui = nullptr;
    }
    return ui;
}

void Cleanup(LV2UI_Handle h) { delete static_cast<Ui*>(h); }

void PortEvent(LV2UI_Handle h, uint32_t port, uint32_t size, uint32_t format, const void* buffer)
{
    static_cast<Ui*>(h)->PortEvent(port, size, format, buffer);
}

int Idle(LV2UI_Handle h) { return static_cast<Ui*>(h)->Idle(); }

const void* ExtensionData(const char* uri)
{
    static const LV2UI_Idle_Interface idle = {Idle};
    if (!std::strcmp(uri, LV2_UI__idleInterface))
        return &idle;
    return nullptr;
}

const LV2UI_Descriptor kDescriptor = {
    GRAPHICEQ_LV2_UI_URI, Instantiate, Cleanup, PortEvent, ExtensionData,
};

}  // namespace

extern "C" LV2_SYMBOL_EXPORT const LV2UI_Descriptor* lv2ui_descriptor(uint32_t index)
{
    return index == 0 ? &kDescriptor : nullptr;
}
