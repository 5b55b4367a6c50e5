// The LV2 plug-in: drives the VST effect object (AGraEQ) through its public
// interface. Control ports are translated into setParameter calls, audio
// into processReplacing, LV2 state into the effect's bank chunk, and the
// effect's calls to its host into the callback below.
#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>

#include "AEffEditor.h"
#include "AGraEQ.h"
#include "GraphicEQLink.h"
#include "Lv2Ids.h"
#include "PortMap.h"

namespace {

using namespace lv2port;

// The block size announced to the effect when the host tells none.
constexpr VstInt32 kDefaultMaxBlock = 4096;
// run() hands the effect a block in one call; only a block longer than the
// interface's frame count (a signed 32-bit integer) goes in slices this long.
constexpr uint32_t kRunSlice = 1u << 30;
// A control value this close (normalised: a hundred-thousandth of the
// range) to what the effect holds is what it holds: hosts store control
// values as text, often with six significant digits, and what comes back
// from a saved session differs from the effect's value in the last ones.
constexpr float kHeldTolerance = 1e-5f;

class Instance final : public GraphicEQLink {
public:
    Instance(double rate, const char* bundlePath, LV2_URID_Map* map, VstInt32 maxBlock)
        : m_bundle(bundlePath ? bundlePath : ""), m_rate(static_cast<float>(rate))
    {
        if (!m_bundle.empty() && m_bundle.back() != '/')
            m_bundle += '/';
        // Without the host's URID map there is no state to save or restore;
        // the plug-in plays all the same (simple hosts like lv2apply).
        if (map) {
            m_bankKey = map->map(map->handle, GRAPHICEQ_LV2_BANK_KEY);
            m_chunkType = map->map(map->handle, LV2_ATOM__Chunk);
        }
        for (unsigned i = 0; i < kNumPorts; ++i)
            m_ports[i] = nullptr;
        ForgetPortValues();

        m_effect = new (std::nothrow) AGraEQ(&HostCallback);
        if (!m_effect)
            return;
        // The callback finds this instance through the record's host field.
        m_effect->getAeffect()->user = this;
        m_effect->open();
        m_effect->setSampleRate(m_rate);
        m_effect->setBlockSize(maxBlock);
    }

    ~Instance()
    {
        m_listener.store(nullptr);
        delete m_effect;
    }

    bool Valid() const { return m_effect != nullptr; }

    void Connect(uint32_t port, void* data)
    {
        if (port < kNumPorts)
            m_ports[port] = static_cast<float*>(data);
    }

    void Activate()
    {
        m_effect->resume();
        // Resuming switches the effect on; every control is checked again.
        ForgetPortValues();
    }

    void Deactivate() { m_effect->suspend(); }

    void Run(uint32_t frames)
    {
        ApplyControls();
        float* in[2] = {m_ports[kInL], m_ports[kInR]};
        float* out[2] = {m_ports[kOutL], m_ports[kOutR]};
        if (in[0] && in[1] && out[0] && out[1]) {
            // One call per block, as a VST host would make it (the engine
            // slices long blocks itself); only a count beyond the interface's
            // integer is cut.
            uint32_t done = 0;
            while (done < frames) {
                const uint32_t n = frames - done < kRunSlice ? frames - done : kRunSlice;
                float* i2[2] = {in[0] + done, in[1] + done};
                float* o2[2] = {out[0] + done, out[1] + done};
                m_effect->processReplacing(i2, o2, static_cast<VstInt32>(n));
                done += n;
            }
        }
        float peak[4] = {0, 0, 0, 0};
        m_effect->GetVU(&peak[0], &peak[1], &peak[2], &peak[3]);
        for (unsigned k = 0; k < 4; ++k) {
            // A meter whose peak did not change keeps its figure.
            if (peak[k] != m_lastPeak[k]) {
                m_lastPeak[k] = peak[k];
                m_meterDB[k] = MeterDB(peak[k]);
            }
            if (float* p = m_ports[kMeterInL + k])
                *p = m_meterDB[k];
        }
        const unsigned char over = m_effect->GetClip();
        if (float* p = m_ports[kOver])
            *p = over ? 1.0f : 0.0f;
    }

    LV2_State_Status Save(LV2_State_Store_Function store, LV2_State_Handle handle)
    {
        if (!m_bankKey)
            return LV2_STATE_ERR_NO_FEATURE;
        void* data = nullptr;
        const VstInt32 bytes = m_effect->getChunk(&data, false);
        if (!data || bytes <= 0)
            return LV2_STATE_ERR_UNKNOWN;
        return store(handle, m_bankKey, data, static_cast<size_t>(bytes), m_chunkType,
                     LV2_STATE_IS_POD);
    }

    LV2_State_Status Restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle)
    {
        if (!m_bankKey)
            return LV2_STATE_ERR_NO_FEATURE;
        size_t size = 0;
        uint32_t type = 0, flags = 0;
        const void* data = retrieve(handle, m_bankKey, &size, &type, &flags);
        if (!data)
            return LV2_STATE_ERR_NO_PROPERTY;
        if (type != m_chunkType || size != static_cast<size_t>(kBankBytes))
            return LV2_STATE_ERR_BAD_TYPE;
        // A copy: the host's bytes need not be aligned, and setChunk may
        // bring bad values back into range in place.
        alignas(AGraEQProgram) unsigned char bank[kBankBytes];
        std::memcpy(bank, data, sizeof bank);
        m_effect->setChunk(bank, kBankBytes, false);
        // The host restores its control values with the state; the next
        // block compares every one with what the effect now holds.
        ForgetPortValues();
        return LV2_STATE_SUCCESS;
    }

    // GraphicEQLink
    AEffEditor* Editor() override { return m_effect->GetEditorObject(); }
    float PortValue(int index) override
    {
        return PortFromNormalized(index, m_effect->getParameter(index));
    }
    void SetListener(GraphicEQLinkListener* listener) override { m_listener.store(listener); }

private:
    // A control whose value changed since the last block reaches the effect,
    // unless the effect already holds it (the UI writes back what the panel
    // set; that must not be applied a second time in another rounding).
    void ApplyControls()
    {
        // Usually nothing changed: one comparison of all values says so.
        float now[kNumParams];
        uint32_t differ = 0;
        for (int i = 0; i < kNumParams; ++i) {
            now[i] = m_ports[i] ? *m_ports[i] : m_lastPort[i];
            differ |= Bits(now[i]) ^ Bits(m_lastPort[i]);
        }
        if (!differ)
            return;
        for (int i = 0; i < kNumParams; ++i) {
            const float value = now[i];
            if (SameBits(value, m_lastPort[i]))
                continue;
            m_lastPort[i] = value;
            const float normalised = NormalizedFromPort(i, value);
            if (std::isnan(normalised))
                continue;
            const float held = m_effect->getParameter(i);
            if (std::fabs(normalised - held) <= kHeldTolerance || PortFromNormalized(i, held) == value)
                continue;
            m_effect->setParameter(i, normalised);
        }
    }

    void ForgetPortValues()
    {
        for (int i = 0; i < kNumParams; ++i)
            m_lastPort[i] = std::numeric_limits<float>::quiet_NaN();
    }

    static uint32_t Bits(float v)
    {
        uint32_t b;
        std::memcpy(&b, &v, sizeof b);
        return b;
    }
    static bool SameBits(float a, float b) { return Bits(a) == Bits(b); }

    static VstIntPtr HostCallback(AEffect* fx, VstInt32 opcode, VstInt32 index, VstIntPtr /*value*/,
                                  void* /*ptr*/, float opt)
    {
        if (opcode == audioMasterVersion)
            return 2400;
        Instance* self = fx ? static_cast<Instance*>(fx->user) : nullptr;
        if (!self)
            return 0;
        switch (opcode) {
        case audioMasterGetDirectory:
            // The factory bank lies in the bundle.
            return reinterpret_cast<VstIntPtr>(self->m_bundle.c_str());
        case audioMasterGetSampleRate:
            return static_cast<VstIntPtr>(self->m_rate);
        case audioMasterAutomate:
            if (GraphicEQLinkListener* l = self->m_listener.load())
                l->ParameterAutomated(index, opt);
            return 1;
        case audioMasterUpdateDisplay:
            if (GraphicEQLinkListener* l = self->m_listener.load())
                l->ProgramChanged();
            return 1;
        default:
            return 0;
        }
    }

    std::string m_bundle;
    float m_rate;
    LV2_URID m_bankKey = 0;
    LV2_URID m_chunkType = 0;
    AGraEQ* m_effect = nullptr;
    float* m_ports[kNumPorts];
    float m_lastPort[kNumParams];
    float m_lastPeak[4] = {0, 0, 0, 0};
    float m_meterDB[4] = {kMeterFloorDB, kMeterFloorDB, kMeterFloorDB, kMeterFloorDB};
    std::atomic<GraphicEQLinkListener*> m_listener{nullptr};
};

Instance* Self(LV2_Handle h)
{
    return static_cast<Instance*>(static_cast<GraphicEQLink*>(h));
}

VstInt32 MaxBlockFrom(const LV2_Options_Option* options, LV2_URID_Map* map)
{
    VstInt32 block = kDefaultMaxBlock;
    if (!options || !map)
        return block;
    const LV2_URID maxKey = map->map(map->handle, LV2_BUF_SIZE__maxBlockLength);
    const LV2_URID intType = map->map(map->handle, LV2_ATOM__Int);
    for (const LV2_Options_Option* o = options; o->key; ++o)
        if (o->key == maxKey && o->type == intType && o->size == sizeof(int32_t) && o->value) {
            const int32_t n = *static_cast<const int32_t*>(o->value);
            if (n > 0)
                block = n < AGraEQ::kMaxEngineBlock ? n : AGraEQ::kMaxEngineBlock;
        }
    return block;
}

LV2_Handle Instantiate(const LV2_Descriptor*, double rate, const char* bundlePath,
                       const LV2_Feature* const* features)
{
    LV2_URID_Map* map = nullptr;
    const LV2_Options_Option* options = nullptr;
    for (int i = 0; features && features[i]; ++i) {
        if (!std::strcmp(features[i]->URI, LV2_URID__map))
            map = static_cast<LV2_URID_Map*>(features[i]->data);
        else if (!std::strcmp(features[i]->URI, LV2_OPTIONS__options))
            options = static_cast<const LV2_Options_Option*>(features[i]->data);
    }
    if (!(rate >= 1.0 && rate <= 10000000.0))
        return nullptr;
    Instance* inst = new (std::nothrow) Instance(rate, bundlePath, map, MaxBlockFrom(options, map));
    if (inst && !inst->Valid()) {
        delete inst;
        inst = nullptr;
    }
    return inst ? static_cast<GraphicEQLink*>(inst) : nullptr;
}

void ConnectPort(LV2_Handle h, uint32_t port, void* data) { Self(h)->Connect(port, data); }
void Activate(LV2_Handle h) { Self(h)->Activate(); }
void Run(LV2_Handle h, uint32_t frames) { Self(h)->Run(frames); }
void Deactivate(LV2_Handle h) { Self(h)->Deactivate(); }
void Cleanup(LV2_Handle h) { delete Self(h); }

LV2_State_Status SaveState(LV2_Handle h, LV2_State_Store_Function store, LV2_State_Handle handle,
                           uint32_t, const LV2_Feature* const*)
{
    return Self(h)->Save(store, handle);
}

LV2_State_Status RestoreState(LV2_Handle h, LV2_State_Retrieve_Function retrieve,
                              LV2_State_Handle handle, uint32_t, const LV2_Feature* const*)
{
    return Self(h)->Restore(retrieve, handle);
}

const void* ExtensionData(const char* uri)
{
    static const LV2_State_Interface state = {SaveState, RestoreState};
    if (!std::strcmp(uri, LV2_STATE__interface))
        return &state;
    return nullptr;
}

const LV2_Descriptor kDescriptor = {
    GRAPHICEQ_LV2_URI, Instantiate, ConnectPort, Activate, Run, Deactivate, Cleanup, ExtensionData,
};

}  // namespace

extern "C" LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index)
{
    return index == 0 ? &kDescriptor : nullptr;
}
