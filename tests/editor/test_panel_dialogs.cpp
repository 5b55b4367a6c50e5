// The panel's typed entry, program-copy menu, revert indicator and preset
// save dialog, driven with real X input.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "PanelGeometry.h"
#include "PanelHost.h"

namespace {

using PanelEntry = PanelHost;

// The gain read-out of band b and the Q read-out, panel coordinates.
int ReadoutX(int b) { return 97 + 36 * b - 7 + 15; }

TEST_F(PanelEntry, TypedValuesSetTheirBandAndAreClampedToTheRange)
{
    ASSERT_TRUE(Open());
    struct Case {
        int readoutY, band, param;
        std::vector<KeySym> keys;
        std::string shown;
    };
    const Case cases[] = {
        {162, 4, 7, {XK_minus, XK_3, XK_period, XK_5}, "-3.5"},  // a gain in dB
        {295, 9, 27, {XK_9, XK_9}, "20.0"},                       // a Q above its maximum
        {162, 0, 3, {XK_1, XK_9}, "12.0"},                        // a gain above +12 dB
    };
    auto focus = [&] {
        Window w;
        int revert;
        XGetInputFocus(dpy, &w, &revert);
        return w;
    };
    const Window hostFocus = focus();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.param);
        g_log.Clear();
        Click(ReadoutX(c.band), c.readoutY);
        EXPECT_TRUE(IdleUntil([&] { return focus() != hostFocus; })) << "the entry takes the keyboard";
        for (KeySym k : c.keys) Type(k);
        Type(XK_Return);
        IdleUntil([&] { return Shown(c.param).substr(0, c.shown.size()) == c.shown; });
        EXPECT_EQ(Shown(c.param).substr(0, c.shown.size()), c.shown) << Shown(c.param);
        ASSERT_FALSE(g_log.Of(c.param).empty());
        EXPECT_FLOAT_EQ(g_log.Of(c.param).back().value, Get(c.param));
        // One gesture for the host: begin edit, the value, end edit.
        const std::vector<HostCall> calls = g_log.Calls();
        ASSERT_EQ(calls.size(), 3u);
        EXPECT_EQ(calls[0].opcode, audioMasterBeginEdit);
        EXPECT_EQ(calls[1].opcode, audioMasterAutomate);
        EXPECT_EQ(calls[2].opcode, audioMasterEndEdit);
        for (const HostCall& call : calls) EXPECT_EQ(call.index, c.param);
        EXPECT_TRUE(IdleUntil([&] { return focus() == hostFocus; })) << "and gives it back after Return";
    }
    // A click elsewhere closes an open entry without a change.
    const float before = Get(8);
    Click(ReadoutX(5), 162);
    Type(XK_7);
    Click(5, 5);
    Type(XK_Return);
    EXPECT_EQ(Get(8), before);
}

TEST_F(PanelEntry, TheCopyMenuListsThe32ProgramsAndCopiesTheChosenOne)
{
    ASSERT_TRUE(Open());
    const std::vector<char> bank = Bank();
    ASSERT_EQ(bank.size(), 5120u);
    auto record = [&](int i, int p) {
        float v;
        std::memcpy(&v, bank.data() + 160 * i + 4 * p, 4);
        return v;
    };
    Dispatch(effSetProgram, 0, 2);
    Settle();
    int rows = 0;
    WhileIdling([&](ScriptInput& in) {
        in.Click(kX + 78, kY + 19);  // the copy button
        XWindowAttributes menu;
        if (!in.FindTopLevel(win, true, menu)) return;
        const int rowH = (menu.height - 4) / 32;
        rows = rowH > 0 ? (menu.height - 4) / rowH : 0;
        // The current program's entry is greyed: a click on it chooses nothing.
        in.Click(menu.x + menu.width / 2, menu.y + 2 + rowH * 2 + rowH / 2);
        in.Click(menu.x + menu.width / 2, menu.y + 2 + rowH * 9 + rowH / 2);
    });
    EXPECT_EQ(rows, 32);
    for (int p : {3, 10, 20, 32}) EXPECT_EQ(Get(p), record(9, p)) << p;
    // The current program keeps its own name and slot.
    EXPECT_EQ(Dispatch(effGetProgram), 2);
}

TEST_F(PanelEntry, TheProgramDisplayShowsTheProgramAndItsListSwitchesAsAHostWould)
{
    using namespace panel_art;
    ASSERT_TRUE(Open());
    const std::vector<char> bank = Bank();
    ASSERT_EQ(bank.size(), 5120u);
    const int w = kProgramRight - kProgramLeft, h = kProgramBottom - kProgramTop;
    auto shown = [&] { return Region(kProgramLeft, kProgramTop, w, h); };
    // The display changes with a program switched by the host.
    const std::vector<uint32_t> first = shown();
    Dispatch(effSetProgram, 0, 4);
    EXPECT_TRUE(IdleUntil([&] { return shown() != first; }));
    const std::vector<uint32_t> fifth = shown();

    g_log.Clear();
    int rows = 0;
    WhileIdling([&](ScriptInput& in) {
        in.Click(kX + kProgramLeft + 20, kY + kProgramTop + h / 2);
        XWindowAttributes menu;
        if (!in.FindTopLevel(win, true, menu)) return;
        const int rowH = (menu.height - 4) / 32;
        rows = rowH > 0 ? (menu.height - 4) / rowH : 0;
        in.Click(menu.x + menu.width / 2, menu.y + 2 + rowH * 9 + rowH / 2);
    });
    EXPECT_EQ(rows, 32);
    ASSERT_EQ(Dispatch(effGetProgram), 9);
    for (int p = 0; p < 33; ++p) {
        float v;
        std::memcpy(&v, bank.data() + 160 * 9 + 4 * p, 4);
        EXPECT_EQ(Get(p), v) << p;
    }
    // The host heard of it as of its own switch: every parameter's new
    // value as automation inside begin/end edit, and a display update.
    std::vector<HostCall> calls = g_log.Calls();
    for (int p = 0; p < 33; ++p) {
        int state = 0;  // 1 begun, 2 automated, 3 ended
        for (const HostCall& c : calls) {
            if (c.index != p) continue;
            if (c.opcode == audioMasterBeginEdit && state == 0) state = 1;
            else if (c.opcode == audioMasterAutomate && state == 1 && c.value == Get(p)) state = 2;
            else if (c.opcode == audioMasterEndEdit && state == 2) state = 3;
        }
        EXPECT_EQ(state, 3) << p;
    }
    EXPECT_GE(g_log.updateDisplay, 1);
    EXPECT_TRUE(IdleUntil([&] { const auto now = shown(); return now != fifth && now != first; }));
}

TEST_F(PanelEntry, TheModifiedIndicatorRevertsTheProgram)
{
    ASSERT_TRUE(Open());
    const float saved = Get(12);
    Set(12, saved > 0.5f ? 0.2f : 0.8f);
    Settle();
    g_log.Clear();
    Click(236, 18);
    EXPECT_EQ(Get(12), saved);
    // The host hears the reverted value as automation, inside begin/end
    // edit, and re-reads its display.
    const std::vector<HostCall> calls = g_log.Calls();
    bool begun = false, automated = false, ended = false;
    for (const HostCall& c : calls) {
        if (c.index != 12) continue;
        if (c.opcode == audioMasterBeginEdit) begun = true;
        if (c.opcode == audioMasterAutomate && begun && c.value == saved) automated = true;
        if (c.opcode == audioMasterEndEdit && automated) ended = true;
    }
    EXPECT_TRUE(ended);
    EXPECT_GE(g_log.updateDisplay, 1);
}

TEST_F(PanelEntry, TheSaveDialogStoresTheProgramUnderTheChosenSlotAndName)
{
    ASSERT_TRUE(Open());
    Set(5, 0.875f);
    Set(22, 0.125f);
    bool shown = false;
    WhileIdling([&](ScriptInput& in) {
        in.Click(kX + 290, kY + 18);  // the save button
        XWindowAttributes dlg;
        if (!(shown = in.FindTopLevel(win, false, dlg))) return;
        // The template's client area (300 x 118) sits under the dialog's
        // caption, inside its frame.
        const int left = dlg.x + (dlg.width - 300) / 2, top = dlg.y + dlg.height - 118 - (dlg.width - 300) / 2;
        // Slot 7 (the eighth entry) from the program list.
        in.Click(left + 180, top + 21);
        XWindowAttributes list;
        if (!in.FindTopLevel(win, true, list)) return;
        const int rowH = (list.height - 4) / 32;
        in.Click(list.x + list.width / 2, list.y + 2 + rowH * 7 + rowH / 2);
        if (!in.PopUpsGone(win)) return;
        // The name, typed over the slot's own name.
        in.Click(left + 280, top + 55);
        for (int i = 0; i < 30; ++i) in.Key(XK_BackSpace);
        for (KeySym k : {XK_m, XK_y, XK_space, XK_e, XK_q, XK_space, XK_2}) in.Key(k);
        in.Key(XK_Return);
    });
    ASSERT_TRUE(shown);
    char name[64] = {};
    ASSERT_EQ(Dispatch(effGetProgramNameIndexed, 7, 0, name), 1);
    EXPECT_STREQ(name, "my eq 2");
    EXPECT_EQ(Dispatch(effGetProgram), 7);

    // The preferences bank carries it: a new instance loads it.
    const std::string prefs = std::string(getenv("XDG_CONFIG_HOME")) + "/GraphicEQ/GraEQDef.fxb";
    struct stat st;
    ASSERT_EQ(stat(prefs.c_str(), &st), 0) << prefs;
    EXPECT_EQ(st.st_size, 160 + 5120);
    auto entry = reinterpret_cast<VstPluginMainProc>(dlsym(lib, "VSTPluginMain"));
    AEffect* other = entry(PanelHostCallback);
    ASSERT_NE(other, nullptr);
    other->dispatcher(other, effOpen, 0, 0, nullptr, 0);
    char otherName[64] = {};
    other->dispatcher(other, effGetProgramNameIndexed, 7, 0, otherName, 0);
    EXPECT_STREQ(otherName, "my eq 2");
    other->dispatcher(other, effSetProgram, 0, 7, nullptr, 0);
    EXPECT_EQ(other->getParameter(other, 5), 0.875f);
    EXPECT_EQ(other->getParameter(other, 22), 0.125f);
    other->dispatcher(other, effClose, 0, 0, nullptr, 0);
}

// The host's thread while the panel's menu, dialog or message box is up:
// every idle call comes back at once, however long the user keeps it open.
constexpr long kPromptMs = 1200;  // room for a loaded machine, half the hold below
constexpr int kHoldMs = 2500;

std::string PrefsBank() { return std::string(getenv("XDG_CONFIG_HOME")) + "/GraphicEQ/GraEQDef.fxb"; }

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

// Waits until the top-level window id is no longer on the screen.
bool Closed(ScriptInput& in, Window id, int ms = 3000)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    auto shown = [&] {
        // Only a window still listed is asked about (a destroyed one would
        // be an X error).
        Window root, parent, *kids = nullptr;
        unsigned n = 0;
        bool listed = false;
        if (XQueryTree(in.d, DefaultRootWindow(in.d), &root, &parent, &kids, &n)) {
            for (unsigned i = 0; i < n; ++i) listed = listed || kids[i] == id;
            if (kids) XFree(kids);
        }
        XWindowAttributes a;
        return listed && XGetWindowAttributes(in.d, id, &a) && a.map_state == IsViewable;
    };
    for (;;) {
        if (!shown()) return true;
        if (std::chrono::steady_clock::now() > end) return false;
        ScriptInput::Wait(20);
    }
}

TEST_F(PanelEntry, TheSaveDialogNeverHoldsTheHostTakesNoPanelInputAndEndsOnEscapeOrReturn)
{
    ASSERT_TRUE(Open());
    std::remove(PrefsBank().c_str());
    const float gain = Get(3);
    for (KeySym key : {XK_Escape, XK_Return}) {
        SCOPED_TRACE(key == XK_Escape ? "Escape" : "Return");
        bool shown = false, closed = false;
        WhileIdling([&](ScriptInput& in) {
            in.Click(kX + 290, kY + 18);  // the save button
            XWindowAttributes dlg;
            Window id = 0;
            if (!(shown = in.FindTopLevel(win, false, dlg, 3000, &id))) return;
            // Into the name field first.
            const int left = dlg.x + (dlg.width - 300) / 2, top = dlg.y + dlg.height - 118 - (dlg.width - 300) / 2;
            in.Click(left + 280, top + 55);
            // The panel beside the dialog takes no clicks meanwhile (band
            // 0's gain fader, well outside the dialog).
            in.Click(kX + 105, kY + 70);
            // A window manager hands the keyboard to the dialog's own window
            // (a click on its frame does), with the pointer outside it.
            XSetInputFocus(in.d, id, RevertToParent, CurrentTime);
            ScriptInput::Wait(kHoldMs);
            in.Key(key);
            closed = Closed(in, id);
        });
        EXPECT_TRUE(shown);
        EXPECT_TRUE(closed);
        EXPECT_LT(longestIdle.count(), kPromptMs) << "an idle call held the host's thread";
        EXPECT_EQ(Get(3), gain) << "the panel took a click while the dialog was open";
        // Escape saves nothing; Return saves the current program under its
        // own slot and name, and the bank goes to the preferences.
        EXPECT_EQ(Exists(PrefsBank()), key == XK_Return);
    }
    // The panel takes input again.
    Click(105, 70);
    EXPECT_NE(Get(3), gain);
}

TEST_F(PanelEntry, ClosingTheEditorUnderAnOpenDialogOrMenuTakesItAlong)
{
    struct Case {
        int x, y;  // the save button, the copy button
        bool menu;
    };
    for (const Case& c : {Case{290, 18, false}, Case{78, 19, true}}) {
        SCOPED_TRACE(c.menu ? "menu" : "dialog");
        ASSERT_TRUE(Open());
        std::atomic<bool> open{false}, closed{false};
        bool gone = false;
        std::thread script([&] {
            ScriptInput in;
            in.Click(kX + c.x, kY + c.y);
            XWindowAttributes a;
            Window id = 0;
            const bool found = in.FindTopLevel(win, c.menu, a, 3000, &id);
            open = true;
            while (found && !closed) ScriptInput::Wait(10);
            gone = found && Closed(in, id);
        });
        while (!open) Idle(), std::this_thread::sleep_for(std::chrono::milliseconds(5));
        Dispatch(effEditClose);
        closed = true;
        script.join();
        EXPECT_TRUE(gone);
        IdleFor(100);
        // A new editor works as before.
        ASSERT_TRUE(Open());
        const float before = Get(3);
        Click(105, before > 0.5f ? 140 : 70);
        EXPECT_NE(Get(3), before);
        Dispatch(effEditClose);
    }
}

TEST_F(PanelEntry, TheCopyMenuNeverHoldsTheHostAndEscapeCopiesNothing)
{
    ASSERT_TRUE(Open());
    Dispatch(effSetProgram, 0, 2);
    Set(10, 0.9f);
    Settle();
    bool shown = false, gone = false;
    WhileIdling([&](ScriptInput& in) {
        in.Click(kX + 78, kY + 19);  // the copy button
        XWindowAttributes menu;
        if (!(shown = in.FindTopLevel(win, true, menu))) return;
        ScriptInput::Wait(kHoldMs);
        in.Key(XK_Escape);
        gone = in.PopUpsGone(win);
    });
    EXPECT_TRUE(shown);
    EXPECT_TRUE(gone);
    EXPECT_LT(longestIdle.count(), kPromptMs) << "an idle call held the host's thread";
    EXPECT_EQ(Get(10), 0.9f);
    EXPECT_EQ(Dispatch(effGetProgram), 2);
}

TEST_F(PanelEntry, AFailedSaveShowsAMessageBoxThatNeverHoldsTheHost)
{
    ASSERT_TRUE(Open());
    // A folder where the bank file should be: the save cannot replace it.
    const std::string bank = PrefsBank();
    std::remove(bank.c_str());
    ASSERT_EQ(system(("mkdir -p '" + bank + "'").c_str()), 0);
    bool boxShown = false, boxClosed = false;
    WhileIdling([&](ScriptInput& in) {
        in.Click(kX + 290, kY + 18);
        XWindowAttributes a;
        Window dialog = 0, box = 0;
        if (!in.FindTopLevel(win, false, a, 3000, &dialog)) return;
        XSetInputFocus(in.d, dialog, RevertToParent, CurrentTime);
        in.Key(XK_Return);
        if (!Closed(in, dialog)) return;
        // The box about the failed write, over the panel.
        if (!in.FindTopLevel(win, false, a, 3000, &box) || box == dialog) return;
        ScriptInput::Wait(kHoldMs);
        boxShown = in.TopLevel(win, false, a);
        XSetInputFocus(in.d, box, RevertToParent, CurrentTime);
        in.Key(XK_Return);
        boxClosed = Closed(in, box);
    });
    rmdir(bank.c_str());
    EXPECT_TRUE(boxShown);
    EXPECT_TRUE(boxClosed);
    EXPECT_LT(longestIdle.count(), kPromptMs) << "an idle call held the host's thread";
}

}  // namespace
