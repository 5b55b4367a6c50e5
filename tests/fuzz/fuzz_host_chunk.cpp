// Hands arbitrary bytes to the effect as a host chunk (effSetChunk, through
// the dispatcher as a host calls it), then processes audio. The first byte
// chooses a program or a bank chunk and the program the host switches to
// first; the rest is the chunk. Nothing may crash, the output must stay
// finite, every parameter must read back inside 0..1 and every chunk the
// effect hands out afterwards must hold only sane values and terminated
// names.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "AGraEQ.h"
#include "FuzzCommon.h"

namespace {
VstIntPtr Host(AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
{
    return opcode == audioMasterVersion ? 2400 : 0;
}

void CheckRecords(const void* data, VstIntPtr size)
{
    if (!data || size <= 0 || size % kProgramBytes != 0)
        std::abort();
    for (VstIntPtr r = 0; r < size / kProgramBytes; ++r)
        CheckedRecord(static_cast<const unsigned char*>(data) + r * kProgramBytes);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    static AGraEQ* fx = [] {
        auto* effect = new AGraEQ(Host);
        effect->setSampleRate(48000.0f);
        effect->setBlockSize(256);
        effect->resume();
        return effect;
    }();
    AEffect* e = fx->getAeffect();
    const bool preset = (data[0] & 1) != 0;
    e->dispatcher(e, effSetProgram, 0, (data[0] >> 1) % kNumPrograms, nullptr, 0.0f);
    // A copy of exactly the given size, so reading past it is caught.
    std::vector<unsigned char> chunk(data + 1, data + size);
    e->dispatcher(e, effSetChunk, preset ? 1 : 0, static_cast<VstIntPtr>(chunk.size()),
                  chunk.empty() ? nullptr : chunk.data(), 0.0f);

    for (VstInt32 i = 0; i < kNumParams; ++i) {
        const float v = e->getParameter(e, i);
        if (!(v >= 0.0f && v <= 1.0f))
            std::abort();
        char text[64] = {};
        e->dispatcher(e, effGetParamDisplay, i, 0, text, 0.0f);
        if (std::memchr(text, 0, kVstMaxParamStrLen) == nullptr)
            std::abort();
    }
    static float in[2][256], out[2][256];
    for (int i = 0; i < 256; ++i)
        in[0][i] = in[1][i] = 0.5f * std::sin(0.05f * static_cast<float>(i));
    float* ins[2] = {in[0], in[1]};
    float* outs[2] = {out[0], out[1]};
    e->processReplacing(e, ins, outs, 256);
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < 256; ++i)
            if (!std::isfinite(out[c][i]))
                std::abort();

    for (int program = 0; program < 2; ++program) {
        void* saved = nullptr;
        const VstIntPtr n = e->dispatcher(e, effGetChunk, program, 0, &saved, 0.0f);
        CheckRecords(saved, n);
    }
    return 0;
}
