// The effect object: construction, life cycle, audio processing, identity
// and the parameter map's setters and host strings.
#include "AGraEQ.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <strings.h>

#include "AEffEditor.h"
#include "EditorFactory.h"

namespace {
const char kEffectName[] = "GraphicEQ";
const char kVendor[] = "HALDRIKS Co.,Ltd.";

// Host buffers: names may use the program-name size on purpose (they are
// longer than the interface's 8 characters); labels and display strings
// keep to the interface's limit.
constexpr size_t kNameBuffer = kVstMaxProgNameLen;
constexpr size_t kParamStrBuffer = kVstMaxParamStrLen;

// ON/OFF is on only at 1.0: stored values never exceed 1, and a value below
// it (0.7 included) truncates to off.
inline int32_t SwitchStep(float normalised)
{
    return normalised >= 1.0f ? 1 : 0;
}

inline void CopyString(char* dst, size_t size, const char* src)
{
    if (dst && size)
        std::snprintf(dst, size, "%s", src);
}

void CopyBank(AGraEQProgram* dst, const AGraEQProgram* src)
{
    std::memcpy(static_cast<void*>(dst), src, kBankBytes);
}
}  // namespace

AGraEQ::AGraEQ(audioMasterCallback host)
    : AudioEffectX(host, kNumPrograms, kNumParams),
      m_processCounter(0xFFFF),
      m_engine(nullptr),
      m_resourcePath{},
      m_prefsFolder{},
      m_program(0),
      m_switchOverride(-1),
      m_unsaved(0),
      m_changing(0),
      m_changes(0),
      m_engineChanges(~uint32_t{0}),
      m_format{},
      m_editorObject(nullptr),
      m_slice{}
{
    // The banks are already flat and "Empty" (AGraEQProgram's constructor).
    // Each instance keeps its own copy of the preferences folder: hosts may
    // construct instances on several threads at once, and a shared global
    // written by every constructor would race.
    GetMy_SHFOLDER_PathName(m_prefsFolder, sizeof m_prefsFolder);
    setNumPrograms(kNumPrograms);
    m_engine = new (std::nothrow) CGraphicEQ;

    for (int i = 0; i < kNumParams; ++i) {
        m_values[i].store(DefaultNormalized(i), std::memory_order_relaxed);
        m_entry[i].store(kNoEntry, std::memory_order_relaxed);
    }

    m_format.wFormatTag = 3;  // IEEE float
    m_format.nChannels = 2;
    m_format.nSamplesPerSec = 44100;
    m_format.nAvgBytesPerSec = 44100 * 8;
    m_format.nBlockAlign = 8;
    m_format.wBitsPerSample = 32;
    m_format.cbSize = 0;

    setBlockSize(256);
    setNumInputs(2);
    setNumOutputs(2);
    setUniqueID(kUniqueID);
    programsAreChunks(true);
    canMono(true);

    // An editor with a panel registers itself through setEditor (and so
    // announces itself to the host); a panel-less one stays unannounced but
    // is owned all the same.
    m_editorObject = CreateGraphicEQEditor(this);

    m_processCounter.store(0xFFFF, std::memory_order_relaxed);
    resume();
}

AGraEQ::~AGraEQ()
{
    // The effect is the editor object's one owner (registered with the base
    // or not). It goes first: a panel still open closes while the engine and
    // the banks it shows are there.
    setEditor(nullptr);
    delete m_editorObject;
    m_editorObject = nullptr;
    delete m_engine;
    m_engine = nullptr;
}

// ---------------------------------------------------------------------------
// Life cycle

void AGraEQ::ApplyMediaType(VstInt32 maxBlock)
{
    if (!m_engine)
        return;
    std::lock_guard<std::recursive_mutex> hold(m_formatLock);
    if (maxBlock > kMaxEngineBlock)
        maxBlock = kMaxEngineBlock;
    m_engine->SetMediaType(&m_format, maxBlock);
    m_engine->BeginChange();
    for (VstInt32 i = 0; i < kNumParams; ++i)
        ApplyToEngine(i, i == kParamActive ? SwitchValue() : m_values[i].load(std::memory_order_relaxed));
    m_engine->EndChange();
    m_changes.fetch_add(1, std::memory_order_release);
}

void AGraEQ::setSampleRate(float rate)
{
    // Only rates the format record can carry: a NaN, zero, negative or
    // absurd rate leaves the format as it was.
    if (!(rate >= 1.0f && rate <= 10000000.0f))
        return;
    std::lock_guard<std::recursive_mutex> hold(m_formatLock);
    const uint32_t sps = static_cast<uint32_t>(rate);
    m_format.wFormatTag = 3;
    m_format.nChannels = 2;
    m_format.nSamplesPerSec = sps;
    m_format.nAvgBytesPerSec = sps * 8;
    m_format.nBlockAlign = 8;
    m_format.wBitsPerSample = 32;
    m_format.cbSize = 0;
    // The base class's block size, not the host's: see setBlockSize.
    ApplyMediaType(blockSize);
}

void AGraEQ::setBlockSize(VstInt32 size)
{
    // Only this call hands the host's block size to the engine; the others
    // pass the base class's field (1024 unless the host used
    // effSetBlockSizeAndSampleRate). The engine slices whatever arrives.
    ApplyMediaType(size);
}

void AGraEQ::resume()
{
    m_switchOverride.store(1, std::memory_order_release);
    if (m_engine)
        m_engine->set_Activate(true);
    m_changes.fetch_add(1, std::memory_order_release);
    PanelUpdateControl(kParamActive, 1.0f);
    AudioEffectX::resume();
}

void AGraEQ::suspend()
{
    m_switchOverride.store(0, std::memory_order_release);
    if (m_engine)
        m_engine->set_Activate(false);
    m_changes.fetch_add(1, std::memory_order_release);
    ApplyMediaType(blockSize);
    PanelUpdateControl(kParamActive, 0.0f);
}

VstInt32 AGraEQ::startProcess()
{
    ApplyMediaType(blockSize);
    return 0;
}

void AGraEQ::open()
{
    setProgram(0);
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        CopyBank(m_initialPrograms, m_programs);
    }
    LoadDefaultBank();
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        CopyBank(m_initialPrograms, m_programs);
    }
    SetFactoryProgram();
}

// ---------------------------------------------------------------------------
// Audio

void AGraEQ::processReplacing(float** inputs, float** outputs, VstInt32 sampleFrames)
{
    m_processCounter.fetch_add(1, std::memory_order_relaxed);
    if (!m_engine)
        return;
    SyncEngine();
    int frames = sampleFrames;
    m_engine->Transform(inputs, sampleFrames, outputs, &frames);
}

void AGraEQ::processDoubleReplacing(double** inputs, double** outputs, VstInt32 sampleFrames)
{
    m_processCounter.fetch_add(1, std::memory_order_relaxed);
    if (!m_engine)
        return;
    SyncEngine();
    if (!inputs || !outputs || !inputs[0] || !inputs[1] || !outputs[0] || !outputs[1] ||
        sampleFrames <= 0) {
        // Nothing to convert; the engine still sees the (empty) block.
        int frames = 0;
        m_engine->Transform(nullptr, 0, nullptr, &frames);
        return;
    }
    // Converted through fixed single-precision slices rather than buffers
    // allocated per call, so the audio thread never allocates. For blocks
    // up to kDoubleSlice frames this is one engine call, as before; longer
    // blocks run as consecutive slices that continue one block: the filters
    // carry on exactly and the meters show the whole block's peak.
    float* in[2] = {m_slice[0], m_slice[1]};
    float* out[2] = {m_slice[2], m_slice[3]};
    for (VstInt32 done = 0; done < sampleFrames;) {
        const int n = sampleFrames - done < kDoubleSlice ? sampleFrames - done : kDoubleSlice;
        for (int i = 0; i < n; ++i) {
            in[0][i] = static_cast<float>(inputs[0][done + i]);
            in[1][i] = static_cast<float>(inputs[1][done + i]);
        }
        int produced = n;
        m_engine->Transform(in, n, out, &produced, done > 0);
        if (produced > n)
            produced = n;
        for (int i = 0; i < produced; ++i) {
            outputs[0][done + i] = out[0][i];
            outputs[1][done + i] = out[1][i];
        }
        done += n;
    }
}

void AGraEQ::GetVU(float* inL, float* inR, float* outL, float* outR)
{
    if (m_engine)
        m_engine->GetVU(inL, inR, outL, outR);
}

unsigned char AGraEQ::GetClip()
{
    bool over = false;
    if (m_engine)
        m_engine->get_OverLevel(&over);
    return over ? 1 : 0;
}

// ---------------------------------------------------------------------------
// Identity

// The identity strings, cut to the buffer sizes hosts give for them.
static bool CopyIdentity(char* text, size_t size, const char* value)
{
    if (!text)
        return false;
    CopyString(text, size, value);
    return true;
}

bool AGraEQ::getEffectName(char* name)
{
    return CopyIdentity(name, kVstMaxEffectNameLen, kEffectName);
}

bool AGraEQ::getProductString(char* text)
{
    return CopyIdentity(text, kVstMaxProductStrLen, kEffectName);
}

bool AGraEQ::getVendorString(char* text)
{
    return CopyIdentity(text, kVstMaxVendorStrLen, kVendor);
}

VstInt32 AGraEQ::canDo(char* text)
{
    if (!text)
        return 0;
    static const char* const kCannot[] = {
        "sendVstEvents", "sendVstMidiEvent",   "receiveVstEvents", "receiveVstMidiEvent",
        "receiveVstTimeInfo", "offline",       "midiProgramNames",
    };
    for (const char* what : kCannot) {
        if (std::strcmp(text, what) == 0)
            return -1;
    }
    // Answered yes while setBypass keeps ignoring the request: the equalizer
    // is bypassed only through its ON/OFF parameter.
    if (std::strcmp(text, "bypass") == 0)
        return 1;
    return 0;
}

// ---------------------------------------------------------------------------
// Parameters

void AGraEQ::PanelUpdateControl(VstInt32 index, float value)
{
    if (m_editorObject && m_editorObject->HasPanel())
        m_editorObject->UpdateControl(index, value);
}

void AGraEQ::PanelUpdateModify()
{
    if (m_editorObject && m_editorObject->HasPanel())
        m_editorObject->UpdateModify();
}

void AGraEQ::Automate(VstInt32 index, float value)
{
    callHost(audioMasterAutomate, index, 0, nullptr, value);
}

void AGraEQ::ApplyToEngine(VstInt32 index, float normalised)
{
    if (!m_engine || !IsValidParamIndex(index))
        return;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    row.setter(*m_engine, row.band,
               row.integer ? SwitchStep(normalised) : NormalizeValToDWValue(index, normalised));
}

float AGraEQ::SwitchValue() const
{
    const int held = m_switchOverride.load(std::memory_order_acquire);
    return held >= 0 ? static_cast<float>(held) : m_values[kParamActive].load(std::memory_order_acquire);
}

// Every writer stores its values and then counts m_changes up; the engine
// stores of two writers may interleave, so the audio thread hands the
// engine the whole set again whenever the count moved. The engine keeps a
// band's coefficients when its values did not change.
void AGraEQ::SyncEngine()
{
    const uint32_t changes = m_changes.load(std::memory_order_acquire);
    if (changes == m_engineChanges)
        return;
    const uint32_t before = m_changing.load(std::memory_order_acquire);
    if (before & 1u)
        return;  // a program is being applied: this block keeps the set it has
    // Values are stored with release and read with acquire: a value stored
    // inside a change is never read without the change's count after it.
    float v[kNumParams];
    for (int i = 0; i < kNumParams; ++i)
        v[i] = m_values[i].load(std::memory_order_acquire);
    v[kParamActive] = SwitchValue();
    if (m_changing.load(std::memory_order_relaxed) != before)
        return;
    m_engineChanges = changes;
    for (int i = 0; i < kNumParams; ++i)
        ApplyToEngine(i, v[i]);
}

void AGraEQ::StoreParameter(VstInt32 index, float value)
{
    m_values[index].store(value, std::memory_order_release);
    m_entry[index].store(kNoEntry, std::memory_order_relaxed);
    if (index == kParamActive)
        m_switchOverride.store(-1, std::memory_order_release);
    m_unsaved.fetch_or(uint64_t{1} << index, std::memory_order_release);
    ApplyToEngine(index, value);
    m_changes.fetch_add(1, std::memory_order_release);
}

// The host and the panel's controls: a NaN leaves the parameter as it was,
// anything else outside 0..1 (infinities too) is taken at the nearest bound.
// The panel is shown the value that was stored.
void AGraEQ::setParameter(VstInt32 index, float value)
{
    if (!IsValidParamIndex(index))
        return;
    value = SanitizeNormalized(value, getParameter(index));
    PanelUpdateControl(index, value);
    StoreParameter(index, value);
}

void AGraEQ::setParameterFormUI(VstInt32 index, float value)
{
    // An index outside the map is not reported either: no host should be
    // handed a parameter the effect does not have.
    if (!IsValidParamIndex(index))
        return;
    value = SanitizeNormalized(value, getParameter(index));
    StoreParameter(index, value);
    Automate(index, value);
}

void AGraEQ::setParameterFromDiaplay(VstInt32 index, float value)
{
    // A typed NaN is no entry at all; an out-of-range entry is clamped by
    // the conversion below.
    if (!IsValidParamIndex(index) || std::isnan(value))
        return;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    float normalised;
    if (row.format == ParamFormat::kSwitch) {
        // The switch is passed on as a normalised value, nothing stored.
        normalised = SanitizeNormalized(value, getParameter(index));
    } else {
        float unit = value;
        if (row.format == ParamFormat::kLevel) {
            // Typed in dB; the table's range is the linear amplitude.
            unit = static_cast<float>(std::pow(2.0, static_cast<double>(value) / 6.0));
            const float top = static_cast<float>(row.max);
            if (unit > top)
                unit = top;
            if (!(unit >= static_cast<float>(row.min)))
                unit = static_cast<float>(row.min);
        }
        normalised = SanitizeNormalized(ValToNormalizeValue(index, unit),
                                        m_values[index].load(std::memory_order_relaxed));
        StoreParameter(index, normalised);
        // The display keeps what was typed (finite), unclamped, for as long
        // as the parameter keeps this value.
        if (std::isfinite(value)) {
            uint32_t n, d;
            std::memcpy(&n, &normalised, sizeof n);
            std::memcpy(&d, &value, sizeof d);
            m_entry[index].store(uint64_t{n} << 32 | d, std::memory_order_relaxed);
        }
    }
    PanelUpdateControl(index, normalised);
    Automate(index, normalised);
    endEdit(index);
}

float AGraEQ::getParameter(VstInt32 index)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    return index == kParamActive ? SwitchValue() : m_values[index].load(std::memory_order_relaxed);
}

float AGraEQ::DisplayValue(VstInt32 index) const
{
    const float v = m_values[index].load(std::memory_order_relaxed);
    const uint64_t entry = m_entry[index].load(std::memory_order_relaxed);
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    if (entry != kNoEntry && static_cast<uint32_t>(entry >> 32) == bits) {
        const uint32_t d = static_cast<uint32_t>(entry);
        float typed;
        std::memcpy(&typed, &d, sizeof typed);
        return typed;
    }
    return NormalizeValToInternalVal(index, v);
}

float AGraEQ::getParameterDisplayVal(VstInt32 index)
{
    if (!IsValidParamIndex(index))
        return 0.0f;
    if (AutomateParamMinMax_Tbl[index].format == ParamFormat::kSwitch)
        return SwitchValue();
    const float v = DisplayValue(index);
    // Biased half a step away from zero, so the panel's truncation to one
    // decimal rounds.
    return v >= 0.0f ? v + 0.05f : v - 0.05f;
}

void AGraEQ::getParameterName(VstInt32 index, char* text)
{
    if (text && IsValidParamIndex(index))
        GetParamName(index, text, kNameBuffer);
}

void AGraEQ::getParameterLabel(VstInt32 index, char* label)
{
    if (label && IsValidParamIndex(index))
        CopyString(label, kParamStrBuffer, AutomateParamMinMax_Tbl[index].label);
}

void AGraEQ::getParameterDisplay(VstInt32 index, char* text)
{
    if (!text || !IsValidParamIndex(index))
        return;
    const ParamFormat format = AutomateParamMinMax_Tbl[index].format;
    if (format == ParamFormat::kSwitch) {
        CopyString(text, kParamStrBuffer, SwitchValue() == 1.0f ? "ON" : "OFF");
        return;
    }
    std::snprintf(text, kParamStrBuffer, "%.1f", static_cast<double>(DisplayValue(index)));
    // Only the levels lose the sign of a negative zero; a band gain just
    // below 0 dB keeps showing "-0.0".
    if (format == ParamFormat::kLevel && strcasecmp(text, "-0.0") == 0)
        CopyString(text, kParamStrBuffer, "0.0");
}

// Linux hosts (Ardour among them) take the record's label as the
// parameter's name and, when integer bounds are announced, take them as the
// range of the values they pass to setParameter. So the label carries the
// name, no integer bounds are announced (every value stays normalised
// 0..1), the switch says it is one, and the steps suit a fader: the fine
// step is one digit of the read-out, the normal one a whole unit.
bool AGraEQ::getParameterProperties(VstInt32 index, VstParameterProperties* p)
{
    if (!p)
        return false;
    std::memset(p, 0, sizeof(*p));
    if (!IsValidParamIndex(index))
        return false;
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[index];
    GetParamName(index, p->label, sizeof p->label);
    CopyString(p->shortLabel, sizeof p->shortLabel, row.label);
    p->flags = kVstParameterUsesFloatStep;
    if (row.integer) {
        p->flags |= kVstParameterIsSwitch;
        p->stepFloat = p->smallStepFloat = p->largeStepFloat = 1.0f;
    } else if (row.format == ParamFormat::kLevel) {
        // The levels' travel is linear in amplitude.
        p->smallStepFloat = 0.001f;
        p->stepFloat = 0.01f;
        p->largeStepFloat = 0.1f;
    } else {
        const float range = static_cast<float>(row.max - row.min);
        p->smallStepFloat = 0.1f / range;
        p->stepFloat = 1.0f / range;
        p->largeStepFloat = 0.25f;
    }
    p->displayIndex = static_cast<VstInt16>(index);
    return true;
}
