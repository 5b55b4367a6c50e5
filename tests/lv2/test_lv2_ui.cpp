// The LV2 UI as an X11 host embeds it: the panel opens in the host's window,
// asks for its size, and what the user does on it reaches the host as port
// writes -- a fader moved, a program reverted. Without instance-access there
// is no UI (the host shows its own controls).
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/ui/ui.h>

#include <chrono>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "AEffEditor.h"
#include "GraphicEQLink.h"
#include "LilvHost.h"

// Last: Xlib's macros (None, Bool, Status) would break the headers above.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

namespace {

constexpr int kX = 40, kY = 50;  // the host's window on the screen

struct Writes {
    std::vector<std::pair<uint32_t, float>> list;
    static void Write(LV2UI_Controller c, uint32_t port, uint32_t size, uint32_t format, const void* buffer)
    {
        if (format == 0 && size == sizeof(float))
            static_cast<Writes*>(c)->list.emplace_back(port, *static_cast<const float*>(buffer));
    }
    bool Has(uint32_t port) const
    {
        for (auto& w : list)
            if (w.first == port)
                return true;
        return false;
    }
    float Last(uint32_t port) const
    {
        float v = -1000.0f;
        for (auto& w : list)
            if (w.first == port)
                v = w.second;
        return v;
    }
};

struct Size {
    int w = 0, h = 0;
    static int Resize(LV2UI_Feature_Handle h, int w, int hh)
    {
        static_cast<Size*>(h)->w = w;
        static_cast<Size*>(h)->h = hh;
        return 0;
    }
};

class Lv2Ui : public ::testing::Test {
public:
    void SetUp() override
    {
        // The server may refuse a connection for a moment after the last
        // test's closed.
        for (int i = 0; i < 50 && !dpy && getenv("DISPLAY"); ++i)
            if (!(dpy = XOpenDisplay(nullptr)))
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (!dpy)
            GTEST_SKIP() << "no X display";
        int ev, err, major, minor;
        if (!XTestQueryExtension(dpy, &ev, &err, &major, &minor))
            GTEST_SKIP() << "no XTest extension";
        lib = dlopen(GRAPHICEQ_LV2_BUNDLE_PATH "/GraphicEQ_ui.so", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(lib, nullptr) << dlerror();
        auto entry = reinterpret_cast<LV2UI_DescriptorFunction>(dlsym(lib, "lv2ui_descriptor"));
        ASSERT_NE(entry, nullptr);
        desc = entry(0);
        ASSERT_NE(desc, nullptr);
        XSetWindowAttributes a;
        a.background_pixel = 0xFF00FF;
        a.override_redirect = True;
        win = XCreateWindow(dpy, DefaultRootWindow(dpy), kX, kY, 712, 316, 0, CopyFromParent, InputOutput,
                            CopyFromParent, CWBackPixel | CWOverrideRedirect, &a);
        XMapRaised(dpy, win);
        XSync(dpy, False);
    }
    void TearDown() override
    {
        if (lib)
            dlclose(lib);
        if (dpy) {
            if (win)
                XDestroyWindow(dpy, win);
            XCloseDisplay(dpy);
        }
    }

    LV2UI_Handle Instantiate(LilvInstance* instance, bool withInstanceAccess)
    {
        parentFeature = {LV2_UI__parent, reinterpret_cast<void*>(win)};
        accessFeature = {LV2_INSTANCE_ACCESS_URI, lilv_instance_get_handle(instance)};
        resizeData = {&size, &Size::Resize};
        resizeFeature = {LV2_UI__resize, &resizeData};
        const LV2_Feature* with[] = {&parentFeature, &accessFeature, &resizeFeature, nullptr};
        const LV2_Feature* without[] = {&parentFeature, &resizeFeature, nullptr};
        LV2UI_Widget widget = nullptr;
        return desc->instantiate(desc, GRAPHICEQ_URI, GRAPHICEQ_LV2_BUNDLE_PATH, &Writes::Write, &writes, &widget,
                                 withInstanceAccess ? with : without);
    }
    bool IdleUntil(const std::function<bool()>& pred, int ms = 3000)
    {
        auto idle = static_cast<const LV2UI_Idle_Interface*>(desc->extension_data(LV2_UI__idleInterface));
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        for (;;) {
            idle->idle(ui);
            XSync(dpy, False);
            if (pred())
                return true;
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    // Each step is handed to the panel (idled over) before the next.
    void Click(int x, int y)
    {
        XTestFakeMotionEvent(dpy, DefaultScreen(dpy), kX + x, kY + y, 0);
        IdleUntil([] { return false; }, 60);
        XTestFakeButtonEvent(dpy, 1, True, 0);
        IdleUntil([] { return false; }, 60);
        XTestFakeButtonEvent(dpy, 1, False, 0);
        IdleUntil([] { return false; }, 60);
    }

    Display* dpy = nullptr;
    Window win = 0;
    void* lib = nullptr;
    const LV2UI_Descriptor* desc = nullptr;
    LV2UI_Handle ui = nullptr;
    Writes writes;
    Size size;
    LV2_Feature parentFeature{}, accessFeature{}, resizeFeature{};
    LV2UI_Resize resizeData{};
};

TEST_F(Lv2Ui, WithoutInstanceAccessThereIsNoUi)
{
    LilvHost host;
    LilvEffect lv2(host, 48000.0);
    ASSERT_NE(lv2.instance, nullptr);
    EXPECT_EQ(Instantiate(lv2.instance, false), nullptr);
    GraphicEQLink* link = static_cast<GraphicEQLink*>(lilv_instance_get_handle(lv2.instance));
    EXPECT_FALSE(link->Editor()->isOpen());
    lv2.Run(256);  // and the plug-in plays on
}

TEST_F(Lv2Ui, PanelEditsReachTheHostAsPortWrites)
{
    LilvHost host;
    LilvEffect lv2(host, 48000.0);
    ASSERT_NE(lv2.instance, nullptr);
    GraphicEQLink* link = static_cast<GraphicEQLink*>(lilv_instance_get_handle(lv2.instance));
    lv2.Control("gain_1_0khz") = 6.0f;  // the host's value, taken by the next block
    lv2.Run(256);
    ASSERT_EQ(link->PortValue(11), 6.0f);

    ui = Instantiate(lv2.instance, true);
    ASSERT_NE(ui, nullptr);
    // Hosts close the UI before the plug-in instance goes.
    struct Close {
        Lv2Ui* t;
        ~Close()
        {
            if (t->ui)
                t->desc->cleanup(t->ui);
            t->ui = nullptr;
        }
    } close{this};
    EXPECT_EQ(size.w, 712);
    EXPECT_EQ(size.h, 316);
    EXPECT_TRUE(link->Editor()->isOpen());
    EXPECT_NE(Instantiate(lv2.instance, true), ui) << "a second UI on the same panel";
    IdleUntil([] { return false; }, 300);
    EXPECT_TRUE(writes.list.empty());

    // A click high on the 63 Hz gain fader: the fader jumps, the host hears it.
    Click(177, 62);
    ASSERT_TRUE(IdleUntil([&] { return writes.Has(5); })) << "no write for Gain 63Hz";
    const float raised = writes.Last(5);
    EXPECT_GT(raised, 6.0f);
    EXPECT_EQ(raised, link->PortValue(5));
    // The host writes it back into the port: the effect does not take it as
    // a new edit.
    lv2.Control("gain_63hz") = raised;
    lv2.Run(256);
    EXPECT_EQ(link->PortValue(5), raised);

    // The modified indicator reverts the program: every control the revert
    // changed is written, the host's 6 dB at 1 kHz included.
    writes.list.clear();
    Click(236, 18);
    ASSERT_TRUE(IdleUntil([&] { return writes.Has(5) && writes.Has(11); })) << "the revert wrote no ports";
    EXPECT_EQ(writes.Last(11), link->PortValue(11));
    EXPECT_NE(writes.Last(11), 6.0f);
    EXPECT_EQ(writes.Last(5), link->PortValue(5));
    EXPECT_NE(writes.Last(5), raised);
    for (auto& w : writes.list)
        EXPECT_LT(w.first, 33u);

    desc->cleanup(ui);
    ui = nullptr;
    EXPECT_FALSE(link->Editor()->isOpen());
}

}  // namespace
