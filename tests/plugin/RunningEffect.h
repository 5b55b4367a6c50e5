#pragma once
// An effect as a host holds it while audio runs: opened, 48 kHz, blocks of
// 256, resumed. call() goes through the dispatcher like a host's call;
// the destructor closes (and so deletes) the effect.
#include "AGraEQ.h"

class RunningEffect {
public:
    RunningEffect() : fx((new AGraEQ(&Host))->getAeffect())
    {
        call(effOpen);
        call(effSetSampleRate, 0, nullptr, 48000.0f);
        call(effSetBlockSize, 256);
        call(effMainsChanged, 1);
        call(effStartProcess);
    }
    ~RunningEffect() { call(effClose); }
    RunningEffect(const RunningEffect&) = delete;
    RunningEffect& operator=(const RunningEffect&) = delete;

    VstIntPtr call(VstInt32 op, VstIntPtr value = 0, void* ptr = nullptr, float opt = 0.0f, VstInt32 index = 0)
    {
        return fx->dispatcher(fx, op, index, value, ptr, opt);
    }

    AEffect* const fx;

private:
    static VstIntPtr Host(AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
    {
        return opcode == audioMasterVersion ? 2400 : 0;
    }
};
