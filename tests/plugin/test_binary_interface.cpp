// GraphicEQ.so driven through its binary interface only, as a host does:
// entry points, identity, dispatcher answers, parameter strings, programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include <unistd.h>

#include "TestHost.h"

namespace {

TEST_F(Binary, EntryPointsAndIdentity)
{
    VstPluginMainProc entry = lib.Entry("VSTPluginMain"), alias = lib.Entry("main");
    ASSERT_TRUE(entry && alias);
    // A host that reports no interface version, or no callback, gets nothing.
    g_hostVersion = 0;
    EXPECT_EQ(entry(TestHostCallback), nullptr);
    EXPECT_EQ(alias(TestHostCallback), nullptr);
    g_hostVersion = 2400;
    EXPECT_EQ(entry(nullptr), nullptr);

    // The version question comes first and carries no effect record.
    g_hostCalls.clear();
    AEffect* fx = alias(TestHostCallback);
    ASSERT_NE(fx, nullptr);
    ASSERT_FALSE(g_hostCalls.empty());
    EXPECT_TRUE(g_hostCalls[0].opcode == audioMasterVersion && g_hostCalls[0].effect == nullptr);
    // Magic, programs, parameters, inputs, outputs, ID, version; flags:
    // replacing, mono-capable, chunks; no editor and no double precision
    // announced (it is implemented all the same).
    EXPECT_EQ((std::vector<VstInt32>{fx->magic, fx->numPrograms, fx->numParams, fx->numInputs, fx->numOutputs,
                                     fx->uniqueID, fx->version, fx->flags}),
              (std::vector<VstInt32>{kEffectMagic, 32, 33, 2, 2, VstFourCC('T', 'v', 'l', 'q'), 1,
                                     effFlagsHasEditor | effFlagsCanReplacing | effFlagsCanMono | effFlagsProgramChunks}));
    EXPECT_TRUE(fx->processReplacing && fx->processDoubleReplacing && fx->process);
    fx->dispatcher(fx, effClose, 0, 0, nullptr, 0.0f);
}

TEST_F(Binary, DispatcherAnswers)
{
    EXPECT_EQ(e->String(effGetEffectName), "GraphicEQ");
    EXPECT_EQ(e->String(effGetProductString), "GraphicEQ");
    EXPECT_EQ(e->String(effGetVendorString), "HALDRIKS Co.,Ltd.");
    const struct {
        VstInt32 opcode, index;
        VstIntPtr value, answer;
    } answers[] = {
        {effGetVendorVersion, 0, 0, 1000},    {effGetPlugCategory, 0, 0, kPlugCategEffect},
        {effGetVstVersion, 0, 0, 2300},       {effIdentify, 0, 0, VstFourCC('N', 'v', 'E', 'f')},
        {effGetTailSize, 0, 0, 0},            {effGetVu, 0, 0, 0},
        {effConnectInput, 0, 1, 1},           {effConnectOutput, 1, 1, 1},
        {effSetBypass, 0, 1, 0},              {effCanBeAutomated, 0, 0, 1},
        {effCanBeAutomated, 1000, 0, 1},      {effCanBeAutomated, -5, 0, 1},
    };
    for (const auto& a : answers)
        EXPECT_EQ(e->Dispatch(a.opcode, a.index, a.value), a.answer) << a.opcode;

    const std::pair<const char*, VstIntPtr> canDo[] = {
        {"sendVstEvents", -1},      {"sendVstMidiEvent", -1},   {"receiveVstEvents", -1}, {"receiveVstMidiEvent", -1},
        {"receiveVstTimeInfo", -1}, {"offline", -1},            {"midiProgramNames", -1}, {"bypass", 1},
        {"Bypass", 0},              {"plugAsChannelInsert", 0}, {"", 0},
    };
    for (const auto& [text, answer] : canDo)
        EXPECT_EQ(e->Dispatch(effCanDo, 0, 0, const_cast<char*>(text)), answer) << text;

    // The editor: announced, sized by its background, and refusing a
    // window that does not exist; the other editor opcodes answer 0.
    EXPECT_NE(e->fx->flags & effFlagsHasEditor, 0);
    ERect* rect = nullptr;
    EXPECT_EQ(e->Dispatch(effEditGetRect, 0, 0, &rect), 1);
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->top, 0);
    EXPECT_EQ(rect->left, 0);
    EXPECT_GT(rect->right, 685);   // the right-most read-out ends at x 685
    EXPECT_GT(rect->bottom, 303);  // the Q read-outs end at y 303
    EXPECT_EQ(e->Dispatch(effEditOpen, 0, 0, nullptr), 0);
    for (VstInt32 op = effEditClose; op <= effEditSleep; ++op)
        EXPECT_EQ(e->Dispatch(op), 0) << op;
    void *in = &rect, *out = &rect;
    EXPECT_EQ(e->Dispatch(effGetSpeakerArrangement, 0, reinterpret_cast<VstIntPtr>(&in), &out), 0);
    EXPECT_TRUE(in == nullptr && out == nullptr);

    // Opcodes the effect has nothing to say to, ones outside the table, and
    // null pointers where the host should have given a buffer.
    for (VstInt32 op : std::initializer_list<VstInt32>{
             effProcessEvents, effString2Parameter, effGetNumProgramCategories, effCopyProgram, effOfflineNotify,
             effProcessVarIo, effSetSpeakerArrangement, effGetMidiKeyName, effShellGetNextPlugin, effSetPanLaw,
             effSetProcessPrecision, effBeginLoadBank, effStopProcess, 80, 1000, -1, effGetProgramName,
             effSetProgramName, effGetParamLabel, effGetParamDisplay, effGetParamName, effGetEffectName,
             effGetVendorString, effGetProductString, effCanDo, effGetProgramNameIndexed, effGetParameterProperties,
             effGetChunk, effSetChunk, effEditGetRect, effGetSpeakerArrangement})
        EXPECT_EQ(e->Dispatch(op, 0, 0, nullptr), 0) << op;
}

TEST_F(Binary, ParameterStringsDefaultsAndProperties)
{
    const char* const bands[15] = {"25Hz",   "39Hz",   "63Hz",   "99Hz",   "158Hz",  "250Hz",   "397Hz",  "630Hz",
                                   "1.0KHz", "1.6KHz", "2.5KHz", "4.0KHz", "6.3KHz", "10.0KHz", "16.0KHz"};
    for (VstInt32 i = 0; i < 33; ++i) {
        // Names longer than the interface's 8 characters are delivered whole.
        const std::string band = i < 3 ? "" : bands[(i - 3) % 15];
        const bool isQ = i >= 18;
        const std::string name = (isQ ? "Q " : "Gain ") + band;
        EXPECT_EQ(e->String(effGetParamName, i), i == 0 ? "ON/OFF" : i == 1 ? "Output" : i == 2 ? "Input" : name);
        EXPECT_EQ(e->String(effGetParamLabel, i), i == 0 || isQ ? "" : "dB") << i;
        EXPECT_EQ(e->Display(i), i == 0 ? "ON" : isQ ? "5.0" : "0.0") << i;
        EXPECT_NEAR(e->Get(i), i == 1 ? 0.49974990f : isQ ? 0.21052632f : i < 3 ? 1.0f : 0.5f, 1e-7f) << i;
    }

    // Properties as Linux hosts read them: the label is the parameter's own
    // name, no integer bounds (the host's range stays the normalised 0..1),
    // the switch flagged as one, float steps that suit a fader.
    for (VstInt32 i = 0; i < 33; ++i) {
        VstParameterProperties p;
        std::memset(&p, 0x5a, sizeof(p));
        EXPECT_EQ(e->Dispatch(effGetParameterProperties, i, 0, &p), 1);
        EXPECT_EQ(p.label, e->String(effGetParamName, i)) << i;
        EXPECT_EQ(p.shortLabel, e->String(effGetParamLabel, i)) << i;
        EXPECT_EQ(p.flags, i == 0 ? kVstParameterIsSwitch | kVstParameterUsesFloatStep : kVstParameterUsesFloatStep) << i;
        EXPECT_EQ(p.minInteger | p.maxInteger | p.stepInteger | p.largeStepInteger, 0) << i;
        EXPECT_EQ(p.displayIndex, i);
        EXPECT_EQ(p.category, 0);
        EXPECT_TRUE(p.smallStepFloat > 0.0f && p.smallStepFloat <= p.stepFloat && p.stepFloat <= p.largeStepFloat &&
                    p.largeStepFloat <= 1.0f) << i;
        if (i >= 3) {
            // A fine step is one digit of the read-out, a step one dB or one Q.
            const float range = i < 18 ? 24.0f : 19.0f;
            EXPECT_FLOAT_EQ(p.smallStepFloat * range, 0.1f) << i;
            EXPECT_FLOAT_EQ(p.stepFloat * range, 1.0f) << i;
        }
    }

    // Indices outside the map write nothing, read 0 and are ignored.
    for (VstInt32 index : {-1, 33, 1000}) {
        char text[32];
        std::memset(text, 'x', sizeof(text));
        for (VstInt32 op : {effGetParamName, effGetParamLabel, effGetParamDisplay})
            e->Dispatch(op, index, 0, text);
        EXPECT_EQ(text[0], 'x') << index;
        VstParameterProperties p;
        EXPECT_EQ(e->Dispatch(effGetParameterProperties, index, 0, &p), 0);
        e->Set(index, 0.3f);
        EXPECT_EQ(e->Get(index), 0.0f);
    }
}

TEST_F(Binary, DisplayReferencePoints)
{
    const struct {
        VstInt32 index;
        float value;
        const char* display;
    } points[] = {
        {3, 1.0f, "12.0"},  {3, 0.0f, "-12.0"},  {3, 0.5f, "0.0"},  {3, 0.75f, "6.0"},
        {17, 2.0f, "12.0"}, {17, -1.0f, "-12.0"},  // stored at the nearest bound
        {18, 0.0f, "1.0"},  {18, 1.0f, "20.0"},  {32, 0.5f, "10.5"},
        {1, 1.0f, "6.0"},   {1, 0.0f, "-59.8"},  {2, 1.0f, "0.0"},  {2, 0.5f, "-6.0"},
        {0, 1.0f, "ON"},    {0, 0.5f, "OFF"},    {0, 0.0f, "OFF"},
        // A gain a hair below 0 dB shows its sign; a level never shows "-0.0".
        {3, 0.5f - 0.04f / 24.0f, "-0.0"}, {2, 0.9999f, "0.0"},
    };
    for (const auto& p : points) {
        e->Set(p.index, p.value);
        EXPECT_EQ(e->Display(p.index), p.display) << p.index << " = " << p.value;
        EXPECT_EQ(e->Get(p.index), std::min(std::max(p.value, 0.0f), 1.0f));
    }
}

TEST_F(Binary, ProgramsAndNames)
{
    EXPECT_EQ(e->Dispatch(effGetProgram), 0);
    // The factory bank beside the plug-in fills a first run's bank.
    EXPECT_EQ(e->String(effGetProgramName), "Flat");
    const std::string slot31 = e->String(effGetProgramNameIndexed, 31);
    e->Dispatch(effSetProgram, 0, 5);
    const float program5 = e->Get(5);
    e->Dispatch(effSetProgram, 0, 0);

    e->Set(5, 1.0f);  // program 0, gain band 2 +12 dB
    e->Dispatch(effSetProgram, 0, 5);
    EXPECT_EQ(e->Dispatch(effGetProgram), 5);
    EXPECT_FLOAT_EQ(e->Get(5), program5) << "program 5 is untouched";
    e->Dispatch(effSetProgram, 0, 0);
    EXPECT_FLOAT_EQ(e->Get(5), 1.0f) << "program 0 kept its edit";
    EXPECT_EQ(e->Display(5), "12.0");
    // Past the bank, negative, or beyond 32 bits: ignored.
    for (VstIntPtr bad : {VstIntPtr(32), VstIntPtr(-1), VstIntPtr(-100000), VstIntPtr(1) << 40,
                          -(VstIntPtr(1) << 40) + 3}) {
        e->Dispatch(effSetProgram, 0, bad);
        EXPECT_EQ(e->Dispatch(effGetProgram), 0) << bad;
    }

    // Names keep at most 23 characters and a terminator; a short buffer from
    // the host is never read past its end.
    for (const char* name : {"Vocal presence", "A name much longer than twenty-four bytes", "x"}) {
        e->Name(name);
        EXPECT_EQ(e->String(effGetProgramName), std::string(name).substr(0, 23));
    }
    // Names are Shift-JIS: a two-byte character that would be split by the
    // 23-byte cut is dropped whole.
    std::string kanji;
    for (int i = 0; i < 12; ++i)
        kanji += "\x89\xB9";
    e->Name(kanji.c_str());
    EXPECT_EQ(e->String(effGetProgramName), kanji.substr(0, 22));
    e->Name("x");
    char text[64];
    EXPECT_EQ(e->Dispatch(effGetProgramNameIndexed, 31, 0, text), 1);
    EXPECT_EQ(text, slot31);
    EXPECT_EQ(e->Dispatch(effGetProgramNameIndexed, 0, 7, text), 1) << "category ignored";
    EXPECT_STREQ(text, "x");
    EXPECT_EQ(e->Dispatch(effGetProgramNameIndexed, 32, 0, text), 0);
    EXPECT_EQ(e->Dispatch(effGetProgramNameIndexed, -1, 0, text), 0);
}

// A first run reads the factory bank from the folder the host reports, and
// from the plug-in's own folder when the host's lacks it (or the host
// reports none).
TEST_F(Binary, FirstRunFindsTheFactoryBankBesideThePlugin)
{
    const std::string so = GRAPHICEQ_SO_PATH, folder = so.substr(0, so.rfind('/') + 1);
    std::vector<char> file(5280 + 1);
    FILE* f = std::fopen((folder + "GraEQDef.fxb").c_str(), "rb");
    ASSERT_NE(f, nullptr) << "the build puts the factory bank beside the plug-in";
    file.resize(std::fread(file.data(), 1, file.size(), f));
    std::fclose(f);
    ASSERT_EQ(file.size(), 5280u);
    const std::vector<char> factory(file.begin() + 160, file.end());  // the chunk after the header

    char empty[] = "/tmp/graphiceq-nobank-XXXXXX";
    ASSERT_NE(mkdtemp(empty), nullptr);
    for (const std::string& host : {std::string(), folder, std::string(empty) + "/", so}) {
        g_hostDirectory = host;
        TestEffect fresh(lib);
        ASSERT_NE(fresh.fx, nullptr);
        EXPECT_EQ(fresh.Chunk(false), factory) << "host folder \"" << host << "\"";
    }
    rmdir(empty);
}

}  // namespace
