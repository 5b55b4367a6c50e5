// The effect object called directly, as the editor calls it: the
// editor-side setters and their automation, the panel hooks, media-type
// handling, metering and the program operations the panel offers.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AGraEQ.h"
#include "EditorFactory.h"
#include "RecordingEditor.h"

EditorOptions g_editorOptions;
int RecordingEditor::destroyed = 0;

AEffEditor* CreateGraphicEQEditor(AGraEQ* effect)
{
    auto* e = new RecordingEditor(effect);
    if (g_editorOptions.registerWithEffect)
        effect->setEditor(e);
    return e;
}

namespace {

struct Sent {
    VstInt32 opcode, index;
    float opt;
};
std::vector<Sent> g_sent;

VstIntPtr Host(AEffect*, VstInt32 opcode, VstInt32 index, VstIntPtr, void*, float opt)
{
    g_sent.push_back({opcode, index, opt});
    return opcode == audioMasterVersion ? 2400 : 0;
}

std::vector<Sent> SentOf(VstInt32 opcode)
{
    std::vector<Sent> out;
    for (const Sent& s : g_sent)
        if (s.opcode == opcode)
            out.push_back(s);
    return out;
}

class EffectCore : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_editorOptions = EditorOptions();
        fx = std::make_unique<AGraEQ>(Host);
        fx->open();
        editor = static_cast<RecordingEditor*>(fx->GetEditorObject());
        g_sent.clear();
    }
    std::string Display(VstInt32 index)
    {
        char text[32] = {};
        fx->getParameterDisplay(index, text);
        return text;
    }
    int EngineGain(int band)
    {
        int g = 0;
        fx->GetEngine()->get_Gain(band, &g);
        return g;
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
    ASSERT_NE(editor, nullptr);
    fx->setParameter(5, 0.75f);
    EXPECT_TRUE(g_sent.empty());

    fx->setParameterFormUI(6, 1.0f);
    ASSERT_EQ(g_sent.size(), 1u);
    EXPECT_EQ(g_sent[0].opcode, audioMasterAutomate);
    EXPECT_EQ(g_sent[0].index, 6);
    EXPECT_EQ(g_sent[0].opt, 1.0f);
    EXPECT_EQ(fx->getParameter(6), 1.0f);
    EXPECT_EQ(fx->GetBank(AGraEQ::kCurrentBank)[0].fValue[6], 1.0f);
    EXPECT_EQ(EngineGain(3), 786432);

    // An entry field sends the automation and then endEdit, no beginEdit.
    g_sent.clear();
    fx->setParameterFromDiaplay(7, -6.0f);
    ASSERT_EQ(g_sent.size(), 2u);
    EXPECT_EQ(g_sent[0].opcode, audioMasterAutomate);
    EXPECT_EQ(g_sent[0].index, 7);
    EXPECT_FLOAT_EQ(g_sent[0].opt, 0.25f);
    EXPECT_EQ(g_sent[1].opcode, audioMasterEndEdit);
    EXPECT_EQ(g_sent[1].index, 7);
    EXPECT_EQ(EngineGain(4), -393216);

    // Nothing is stored or reported for indices the map does not have.
    g_sent.clear();
    for (VstInt32 bad : {-1, 33, 1 << 20}) {
        fx->setParameter(bad, 0.5f);
        fx->setParameterFormUI(bad, 0.5f);
        fx->setParameterFromDiaplay(bad, 0.5f);
    }
    EXPECT_TRUE(g_sent.empty());
}

TEST_F(EffectCore, EntryFieldValues)
{
    // +9 dB typed into Output: the field keeps 9.0, the value is that of
    // amplitude 2.0, the engine gets +6 dB.
    fx->setParameterFromDiaplay(kParamOutput, 9.0f);
    EXPECT_EQ(Display(kParamOutput), "9.0");
    EXPECT_FLOAT_EQ(fx->getParameter(kParamOutput), 1.0f);
    int level = 0;
    fx->GetEngine()->get_OutputLevel(&level);
    EXPECT_EQ(level, 393216);

    fx->setParameterFromDiaplay(kParamInput, -6.0f);
    EXPECT_NEAR(fx->getParameter(kParamInput), (0.5f - 0.001f) / 0.999f, 1e-6f);
    fx->setParameterFromDiaplay(kParamInput, -1000.0f);
    EXPECT_NEAR(fx->getParameter(kParamInput), 0.0f, 1e-6f) << "amplitude 0.001, the bottom";
    fx->setParameterFromDiaplay(kParamQFirst + 2, 12.5f);
    EXPECT_EQ(Display(kParamQFirst + 2), "12.5");
    int q = 0;
    fx->GetEngine()->get_Q(2, &q);
    EXPECT_EQ(q, static_cast<int>(12.5 * 65536));

    // ON/OFF from an entry field is only passed on, never applied.
    g_sent.clear();
    fx->setParameterFromDiaplay(kParamActive, 0.0f);
    EXPECT_EQ(fx->getParameter(kParamActive), 1.0f);
    EXPECT_TRUE(EngineActive());
    ASSERT_FALSE(g_sent.empty());
    EXPECT_EQ(g_sent[0].opt, 0.0f);

    // NaN from anywhere is survived.
    const float nan = std::nanf("");
    for (VstInt32 i = 0; i < kNumParams; ++i) {
        fx->setParameterFromDiaplay(i, nan);
        fx->setParameterFormUI(i, nan);
        (void)fx->getParameterDisplayVal(i);
        Display(i);
    }
}

TEST_F(EffectCore, SwitchTruncatesWhileTheConversionRounds)
{
    fx->setParameter(kParamActive, 0.7f);
    EXPECT_FALSE(EngineActive());
    EXPECT_EQ(NormalizeValToDWValue(kParamActive, 0.7f), 1);
    fx->setParameterFormUI(kParamActive, 0.5f);
    EXPECT_FALSE(EngineActive());
    fx->setParameter(kParamActive, 1.0f);
    EXPECT_TRUE(EngineActive());
    fx->setParameter(kParamActive, std::nanf(""));
    EXPECT_FALSE(EngineActive());
}

TEST_F(EffectCore, DisplayValuesForThePanel)
{
    fx->setParameter(kParamGainFirst, 0.75f);  // +6 dB
    EXPECT_FLOAT_EQ(fx->getParameterDisplayVal(kParamGainFirst), 6.05f);
    fx->setParameter(kParamGainFirst, 0.25f);  // -6 dB
    EXPECT_FLOAT_EQ(fx->getParameterDisplayVal(kParamGainFirst), -6.05f);
    fx->setParameter(kParamActive, 0.3f);
    EXPECT_FLOAT_EQ(fx->getParameterDisplayVal(kParamActive), 0.3f);
    EXPECT_EQ(fx->getParameterDisplayVal(33), 0.0f);
    EXPECT_EQ(fx->getParameterDisplayVal(-1), 0.0f);
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
    EXPECT_EQ(editor->events[0].what, "control");
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
    EXPECT_EQ(editor->events.back().what, "modify");
}

TEST_F(EffectCore, AnEditorThatRegistersIsAnnouncedAndDeletedOnce)
{
    EXPECT_EQ(fx->getAeffect()->flags & effFlagsHasEditor, 0);
    EXPECT_EQ(fx->getEditor(), nullptr);
    const int before = RecordingEditor::destroyed;
    fx.reset();
    EXPECT_EQ(RecordingEditor::destroyed, before + 1);

    g_editorOptions.registerWithEffect = true;
    auto withEditor = std::make_unique<AGraEQ>(Host);
    EXPECT_NE(withEditor->getAeffect()->flags & effFlagsHasEditor, 0);
    EXPECT_EQ(withEditor->getEditor(), withEditor->GetEditorObject());
    withEditor.reset();
    EXPECT_EQ(RecordingEditor::destroyed, before + 2);
}

TEST_F(EffectCore, MediaTypeFollowsTheHostWithTheBlockSizeAsymmetry)
{
    CGraphicEQ* eq = fx->GetEngine();
    EXPECT_EQ(eq->GetFormat().nSamplesPerSec, 44100u);
    EXPECT_EQ(eq->GetBufferLength(), 256);

    fx->setSampleRate(48000.0f);
    EXPECT_EQ(eq->GetFormat().nSamplesPerSec, 48000u);
    EXPECT_EQ(eq->GetFormat().nAvgBytesPerSec, 384000u);
    EXPECT_EQ(eq->GetFormat().wFormatTag, 3);
    EXPECT_EQ(eq->GetFormat().nChannels, 2);
    EXPECT_EQ(eq->GetFormat().nBlockAlign, 8);
    EXPECT_EQ(eq->GetFormat().wBitsPerSample, 32);
    EXPECT_EQ(eq->GetBufferLength(), 1024) << "the base block size, not the host's";

    fx->setBlockSize(512);
    EXPECT_EQ(eq->GetBufferLength(), 512);
    EXPECT_EQ(fx->GetHostBlockSize(), 512);
    EXPECT_EQ(fx->getBlockSize(), 1024);
    fx->startProcess();
    EXPECT_EQ(eq->GetBufferLength(), 1024);
    fx->getAeffect()->dispatcher(fx->getAeffect(), effSetBlockSizeAndSampleRate, 0, 128, nullptr,
                                 96000.0f);
    fx->suspend();
    EXPECT_EQ(eq->GetBufferLength(), 128);
    EXPECT_EQ(eq->GetFormat().nSamplesPerSec, 48000u);

    // Every new format gets the current parameter values again.
    fx->resume();
    fx->setParameter(kParamGainFirst + 14, 1.0f);
    fx->setSampleRate(22050.0f);
    EXPECT_EQ(EngineGain(14), 0) << "past Nyquist";
    fx->setSampleRate(44100.0f);
    EXPECT_EQ(EngineGain(14), 786432);
    fx->suspend();
    EXPECT_FALSE(EngineActive());
    fx->startProcess();
    EXPECT_FALSE(EngineActive()) << "suspended stays off until resume";
}

TEST_F(EffectCore, ProcessCounterAndMeters)
{
    auto fresh = std::make_unique<AGraEQ>(Host);
    EXPECT_EQ(fresh->GetProcessCounter(), 0xFFFF);
    std::vector<float> l(256, 0.5f), r(256, -0.25f);
    float* io[2] = {l.data(), r.data()};
    fresh->processReplacing(io, io, 256);
    EXPECT_EQ(fresh->GetProcessCounter(), 0);
    double* none[2] = {nullptr, nullptr};
    fresh->processDoubleReplacing(none, none, 0);
    EXPECT_EQ(fresh->GetProcessCounter(), 1);
    for (int i = 0; i < 65535; ++i)
        fresh->processReplacing(io, io, 0);
    EXPECT_EQ(fresh->GetProcessCounter(), 0) << "wraps";

    float inL, inR, outL, outR;
    fresh->setParameter(kParamGainFirst, 1.0f);
    std::fill(l.begin(), l.end(), 0.9f);
    std::fill(r.begin(), r.end(), 0.9f);
    fresh->processReplacing(io, io, 256);
    fresh->GetVU(&inL, &inR, &outL, &outR);
    EXPECT_FLOAT_EQ(inL, 0.9f);
    EXPECT_FLOAT_EQ(inR, 0.9f);
    EXPECT_GT(outL, 1.0f) << "a 25 Hz boost lifts a DC step";
    EXPECT_EQ(fresh->GetClip(), 1);
    EXPECT_EQ(fresh->GetClip(), 0) << "read and reset";
}

TEST_F(EffectCore, ProgramOperations)
{
    const AGraEQProgram* cur = fx->GetBank(AGraEQ::kCurrentBank);
    const AGraEQProgram* init = fx->GetBank(AGraEQ::kInitialBank);
    EXPECT_FALSE(fx->IsProgramChanged());
    char name[] = "Renamed";
    fx->setProgramName(name);
    EXPECT_FALSE(fx->IsProgramChanged()) << "names do not count";
    fx->setParameter(10, 0.9f);
    EXPECT_TRUE(fx->IsProgramChanged());

    // Taking a bank chunk rewrites record 0's last field only.
    void* data = nullptr;
    fx->setProgram(0);
    fx->setParameter(10, 0.5f);
    fx->setProgram(3);
    EXPECT_EQ(fx->getChunk(&data, false), 5120);
    EXPECT_EQ(data, cur);
    EXPECT_EQ(cur[0].nCurrentProgram, 3);
    fx->setProgram(0);
    EXPECT_FALSE(fx->IsProgramChanged());

    fx->setParameter(10, 0.9f);
    g_sent.clear();
    fx->ProgramToInitial();
    EXPECT_FALSE(fx->IsProgramChanged());
    EXPECT_EQ(fx->getParameter(10), 0.5f);
    EXPECT_EQ(SentOf(audioMasterUpdateDisplay).size(), 1u);

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

    // Factory: flat in this build (no factory bank file yet); the whole-bank
    // variant does nothing by design.
    fx->setParameter(12, 0.1f);
    fx->ProgramToAllFactory();
    EXPECT_EQ(fx->getParameter(12), 0.1f);
    fx->ProgramToFactory();
    EXPECT_EQ(fx->getParameter(12), 0.5f);
    EXPECT_STREQ(cur[1].szName, "Empty");
}

TEST_F(EffectCore, SaveProgramMovesTheEditIntoTheChosenSlot)
{
    const AGraEQProgram* cur = fx->GetBank(AGraEQ::kCurrentBank);
    const AGraEQProgram* init = fx->GetBank(AGraEQ::kInitialBank);
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
    EXPECT_EQ(SentOf(audioMasterUpdateDisplay).size(), 1u);

    EXPECT_FALSE(fx->SaveProgram(32, "No"));
    EXPECT_FALSE(fx->SaveProgram(-1, "No"));
    EXPECT_EQ(fx->getProgram(), 5);
    fx->SaveProgram(5, "A very long name that does not fit");
    EXPECT_EQ(std::strlen(cur[5].szName), 23u);
}

}  // namespace
