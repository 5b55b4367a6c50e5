// The effect object called directly, as the editor calls it: the
// editor-side setters and their automation, the panel hooks, metering and
// the program operations the panel offers.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "CoreHarness.h"
#include "EditorFactory.h"

AEffEditor* CreateGraphicEQEditor(AGraEQ* effect)
{
    auto* e = new RecordingEditor(effect);
    if (RecordingEditor::registerWithEffect)
        effect->setEditor(e);
    return e;
}

namespace {

class EffectCore : public ::testing::Test {
protected:
    void SetUp() override
    {
        RecordingEditor::registerWithEffect = false;
        g_hostDirectory.clear();
        fx = std::make_unique<AGraEQ>(CoreHost);
        fx->open();
        editor = static_cast<RecordingEditor*>(fx->GetEditorObject());
        ASSERT_NE(editor, nullptr);
        g_sent.clear();
    }
    std::string Display(VstInt32 index)
    {
        char text[32] = {};
        fx->getParameterDisplay(index, text);
        return text;
    }
    int Engine(bool (CGraphicEQ::*get)(int, int*), int band)
    {
        int v = 0;
        (fx->GetEngine()->*get)(band, &v);
        return v;
    }
    bool EngineActive()
    {
        bool a = false;
        fx->GetEngine()->get_Activate(&a);
        return a;
    }
    std::unique_ptr<AGraEQ> fx;
    RecordingEditor* editor = nullptr;
};

TEST_F(EffectCore, OnlyEditorSideSettersAutomate)
{
    fx->setParameter(5, 0.75f);
    fx->setProgram(2);
    fx->setProgram(0);
    EXPECT_TRUE(g_sent.empty()) << "host changes are never reported back";

    fx->setParameterFormUI(6, 1.0f);
    ASSERT_EQ(g_sent.size(), 1u);
    EXPECT_EQ(g_sent[0].opcode, audioMasterAutomate);
    EXPECT_EQ(g_sent[0].index, 6);
    EXPECT_EQ(g_sent[0].opt, 1.0f);
    EXPECT_EQ(fx->GetBank(AGraEQ::kCurrentBank)[0].fValue[6], 1.0f);
    EXPECT_EQ(Engine(&CGraphicEQ::get_Gain, 3), 12 << 16);

    // An entry field sends the automation and then endEdit, no beginEdit.
    g_sent.clear();
    fx->setParameterFromDiaplay(7, -6.0f);
    ASSERT_EQ(g_sent.size(), 2u);
    EXPECT_EQ(g_sent[0].opcode, audioMasterAutomate);
    EXPECT_EQ(g_sent[0].index, 7);
    EXPECT_FLOAT_EQ(g_sent[0].opt, 0.25f);
    EXPECT_EQ(g_sent[1].opcode, audioMasterEndEdit);
    EXPECT_EQ(g_sent[1].index, 7);
    EXPECT_EQ(Engine(&CGraphicEQ::get_Gain, 4), -6 * 65536);

    // Nothing is stored or reported for indices the map does not have.
    g_sent.clear();
    for (VstInt32 bad : {-1, 33, 1 << 20}) {
        fx->setParameter(bad, 0.5f);
        fx->setParameterFormUI(bad, 0.5f);
        fx->setParameterFromDiaplay(bad, 0.5f);
    }
    EXPECT_TRUE(g_sent.empty());
}

TEST_F(EffectCore, EntryFieldsPanelValuesAndTheSwitch)
{
    // +9 dB typed into Output: the field keeps 9.0, the value is that of
    // amplitude 2.0, the engine gets +6 dB.
    fx->setParameterFromDiaplay(kParamOutput, 9.0f);
    EXPECT_EQ(Display(kParamOutput), "9.0");
    EXPECT_FLOAT_EQ(fx->getParameter(kParamOutput), 1.0f);
    int level = 0;
    fx->GetEngine()->get_OutputLevel(&level);
    EXPECT_EQ(level, 6 << 16);
    fx->setParameterFromDiaplay(kParamInput, -6.0f);
    EXPECT_NEAR(fx->getParameter(kParamInput), (0.5f - 0.001f) / 0.999f, 1e-6f);
    fx->setParameterFromDiaplay(kParamInput, -1000.0f);
    EXPECT_NEAR(fx->getParameter(kParamInput), 0.0f, 1e-6f) << "amplitude 0.001, the bottom";
    fx->setParameterFromDiaplay(kParamQFirst + 2, 12.5f);
    EXPECT_EQ(Display(kParamQFirst + 2), "12.5");
    EXPECT_EQ(Engine(&CGraphicEQ::get_Q, 2), static_cast<int>(12.5 * 65536));

    // The panel's values are biased half a step away from zero, so its
    // truncation to one decimal rounds.
    fx->setParameter(kParamGainFirst, 0.25f);  // -6 dB
    EXPECT_FLOAT_EQ(fx->getParameterDisplayVal(kParamGainFirst), -6.05f);
    EXPECT_EQ(fx->getParameterDisplayVal(33) + fx->getParameterDisplayVal(-1), 0.0f);

    // ON/OFF from an entry field is only passed on, never applied.
    g_sent.clear();
    fx->setParameterFromDiaplay(kParamActive, 0.0f);
    EXPECT_EQ(fx->getParameter(kParamActive), 1.0f);
    EXPECT_TRUE(EngineActive());
    ASSERT_FALSE(g_sent.empty());
    EXPECT_EQ(g_sent[0].opt, 0.0f);
    // The switch truncates (0.7 is off) although the conversion rounds.
    fx->setParameter(kParamActive, 0.7f);
    EXPECT_FALSE(EngineActive());
}

TEST_F(EffectCore, PanelHooksOnlyWithAPanel)
{
    fx->setParameter(3, 1.0f);
    fx->setProgram(1);
    fx->suspend();
    fx->resume();
    EXPECT_TRUE(editor->events.empty());

    editor->panel = true;
    fx->setParameter(4, 1.0f);
    ASSERT_EQ(editor->events.size(), 1u);
    EXPECT_EQ(editor->events[0].index, 4);
    EXPECT_EQ(editor->events[0].effectValueThen, 0.5f) << "host changes reach the panel first";
    editor->events.clear();
    fx->setParameterFromDiaplay(4, 0.0f);
    ASSERT_EQ(editor->events.size(), 1u);
    EXPECT_EQ(editor->events[0].effectValueThen, 0.5f) << "entry changes reach the panel last";
    editor->events.clear();
    fx->setParameterFormUI(4, 0.1f);
    EXPECT_TRUE(editor->events.empty()) << "the control that moved needs no update";

    fx->suspend();
    fx->resume();
    ASSERT_EQ(editor->events.size(), 2u);
    EXPECT_EQ(editor->events[0].value, 0.0f);
    EXPECT_EQ(editor->events[1].value, 1.0f);
    editor->events.clear();
    fx->setProgram(2);
    ASSERT_EQ(editor->events.size(), 34u);  // 33 controls, then the modified mark
    EXPECT_EQ(editor->events.back().index, -1);
}

TEST_F(EffectCore, AnEditorThatRegistersIsAnnouncedAndDeletedOnce)
{
    EXPECT_EQ(fx->getAeffect()->flags & effFlagsHasEditor, 0);
    EXPECT_EQ(fx->getEditor(), nullptr);
    const int before = RecordingEditor::destroyed;
    fx.reset();
    EXPECT_EQ(RecordingEditor::destroyed, before + 1);

    RecordingEditor::registerWithEffect = true;
    auto withEditor = std::make_unique<AGraEQ>(CoreHost);
    EXPECT_NE(withEditor->getAeffect()->flags & effFlagsHasEditor, 0);
    EXPECT_EQ(withEditor->getEditor(), withEditor->GetEditorObject());
    withEditor.reset();
    EXPECT_EQ(RecordingEditor::destroyed, before + 2);
}

TEST_F(EffectCore, ProcessCounterAndMeters)
{
    // 0xFFFF before the first block, so the first one (even empty) wraps to 0.
    EXPECT_EQ(fx->GetProcessCounter(), 0xFFFF);
    double* none[2] = {nullptr, nullptr};
    fx->processDoubleReplacing(none, none, 0);
    EXPECT_EQ(fx->GetProcessCounter(), 0);
    // The engine's meters and over-level flag (read and reset), passed on.
    std::vector<float> l(256, 0.9f), r(256, 0.9f);
    float* io[2] = {l.data(), r.data()};
    float inL, inR, outL, outR;
    fx->setParameter(kParamGainFirst, 1.0f);
    fx->processReplacing(io, io, 256);
    fx->GetVU(&inL, &inR, &outL, &outR);
    EXPECT_TRUE(inL == 0.9f && inR == 0.9f && outL > 1.0f) << "a 25 Hz boost lifts a DC step";
    EXPECT_EQ(fx->GetClip(), 1);
    EXPECT_EQ(fx->GetClip(), 0);
}

TEST_F(EffectCore, ProgramOperations)
{
    const AGraEQProgram* cur = fx->GetBank(AGraEQ::kCurrentBank);
    const AGraEQProgram* init = fx->GetBank(AGraEQ::kInitialBank);
    char name[] = "Renamed";
    fx->setProgramName(name);
    EXPECT_FALSE(fx->IsProgramChanged()) << "names do not count";
    fx->setParameter(10, 0.9f);
    EXPECT_TRUE(fx->IsProgramChanged());

    fx->ProgramToInitial();
    EXPECT_FALSE(fx->IsProgramChanged());
    EXPECT_EQ(fx->getParameter(10), 0.5f);
    EXPECT_EQ(SentCount(audioMasterUpdateDisplay), 1u);

    // Copy program 3's values and name into the current one.
    fx->setProgram(3);
    fx->setParameter(12, 0.0f);
    char three[] = "Three";
    fx->setProgramName(three);
    fx->setProgram(1);
    fx->CopyPgFrom(3);
    EXPECT_EQ(fx->getParameter(12), 0.0f);
    EXPECT_STREQ(cur[1].szName, "Three");
    EXPECT_TRUE(fx->IsProgramChanged());
    fx->CopyPgFrom(-1);
    fx->CopyPgFrom(32);
    EXPECT_EQ(fx->getProgram(), 1);
    fx->ProgramToAllInitial();
    EXPECT_EQ(std::memcmp(cur, init, 5120), 0);
    EXPECT_EQ(fx->getParameter(12), 0.5f);

    // Saving moves the edit into the chosen slot, which becomes current and
    // saved; the slot left behind loses its edits.
    fx->setProgram(2);
    fx->setParameter(8, 0.8f);
    g_sent.clear();
    EXPECT_TRUE(fx->SaveProgram(5, "Mine"));
    EXPECT_EQ(fx->getProgram(), 5);
    EXPECT_EQ(fx->getParameter(8), 0.8f);
    EXPECT_STREQ(cur[5].szName, "Mine");
    EXPECT_EQ(std::memcmp(&cur[5], &init[5], 156), 0);
    EXPECT_FALSE(fx->IsProgramChanged());
    EXPECT_EQ(cur[2].fValue[8], 0.5f) << "the slot left behind loses its edits";
    EXPECT_EQ(cur[0].nCurrentProgram, 5);
    EXPECT_EQ(SentCount(audioMasterUpdateDisplay), 1u);

    EXPECT_FALSE(fx->SaveProgram(32, "No"));
    EXPECT_FALSE(fx->SaveProgram(-1, "No"));
    EXPECT_EQ(fx->getProgram(), 5);
    // Twelve two-byte characters: the 23rd byte would split one, 22 remain.
    std::string twelve;
    for (int i = 0; i < 12; ++i)
        twelve += "\x89\xB9";
    fx->SaveProgram(5, twelve.c_str());
    EXPECT_EQ(cur[5].szName, twelve.substr(0, 22));
    fx->SaveProgram(5, nullptr);
    EXPECT_STREQ(cur[5].szName, "");
}

}  // namespace
