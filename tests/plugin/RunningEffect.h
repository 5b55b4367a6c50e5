#pragma once
// An effect as a host holds it while audio runs: opened, 48 kHz, blocks of
// 256, resumed. call() goes through the dispatcher like a host's call;
// the destructor closes (and so deletes) the effect.
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

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

    // Automation as Ardour and Reaper play it: setParameter on the audio
    // thread between blocks, a few values each time (gains and Qs).
    void Automate(unsigned n)
    {
        for (unsigned k = 0; k < 3; ++k) {
            const unsigned m = n * 3 + k;
            fx->setParameter(fx, static_cast<VstInt32>(3 + m % 30), static_cast<float>(m % 100) / 100.0f);
        }
        (void)fx->getParameter(fx, static_cast<VstInt32>(n % kNumParams));
    }

    // A busy session: audio(n) runs on an audio thread, an interface thread
    // reads what a panel shows, and this (host) thread changes parameters,
    // programs, chunks, format and resume state, for at least minTime and
    // minBlocks audio calls. Returns the number of host edits.
    template <class Audio>
    long Storm(Audio audio, std::chrono::milliseconds minTime, long minBlocks)
    {
        std::atomic<bool> stop{false};
        std::atomic<long> blocks{0};
        std::thread audioThread([&] {
            for (unsigned n = 0; !stop.load(std::memory_order_relaxed); ++n) {
                audio(n);
                blocks.fetch_add(1, std::memory_order_relaxed);
            }
        });
        AGraEQ* effect = static_cast<AGraEQ*>(fx->object);
        std::thread meters([&] {
            char shown[64];
            for (unsigned n = 0; !stop.load(std::memory_order_relaxed); ++n) {
                float a, b, c, d;
                effect->GetVU(&a, &b, &c, &d);
                (void)effect->GetClip();
                (void)effect->GetProcessCounter();
                for (VstInt32 i = 0; i < kNumParams; ++i) {
                    call(effGetParamDisplay, 0, shown, 0.0f, i);
                    (void)effect->getParameterDisplayVal(i);
                }
                (void)effect->IsProgramChanged();
                call(effGetProgramNameIndexed, 0, shown, 0.0f, static_cast<VstInt32>(n % kNumPrograms));
                call(effGetProgramName, 0, shown);
                if (n % 16 == 0) {
                    void* data = nullptr;
                    const VstIntPtr size = call(effGetChunk, 0, &data, 0.0f, 0);
                    if (size > 0 && data)
                        (void)static_cast<volatile char*>(data)[size - 1];
                }
                std::this_thread::yield();
            }
        });
        std::vector<char> copy(kBankBytes);
        char text[64];
        const auto until = std::chrono::steady_clock::now() + minTime;
        long i = 0;
        for (; std::chrono::steady_clock::now() < until || blocks.load() < minBlocks; ++i) {
            const VstInt32 index = static_cast<VstInt32>(i % kNumParams);
            // The switch (parameter 0) mostly on, so most blocks are filtered.
            const float value = index == 0 ? (i % 512 ? 1.0f : 0.0f) : (i * 7919 % 1001) / 1000.0f;
            fx->setParameter(fx, index, value);
            call(effGetParamDisplay, 0, text, 0.0f, index);
            (void)fx->getParameter(fx, index);
            if (i % 5 == 0)
                call(effSetProgram, (i / 5) % kNumPrograms);
            for (VstInt32 preset = 0; preset < 2 && i % 97 == 0; ++preset) {  // bank, then preset
                void* data = nullptr;
                const VstIntPtr n = call(effGetChunk, 0, &data, 0.0f, preset);
                std::memcpy(copy.data(), data, static_cast<size_t>(n));
                call(effSetChunk, n, copy.data(), 0.0f, preset);
            }
            if (i % 401 == 0)
                call(effSetSampleRate, 0, nullptr, i % 2 ? 44100.0f : 48000.0f);
            if (i % 503 == 0)
                call(effSetBlockSize, 64 + i % 1000);
            if (i % 701 == 0) {
                call(effMainsChanged, 0);
                call(effMainsChanged, 1);
                call(effStartProcess);
            }
        }
        // Let the audio thread see the final state for a few calls.
        const long seen = blocks.load();
        while (blocks.load() < seen + 10)
            std::this_thread::yield();
        stop = true;
        audioThread.join();
        meters.join();
        return i;
    }

    AEffect* const fx;

private:
    static VstIntPtr Host(AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
    {
        return opcode == audioMasterVersion ? 2400 : 0;
    }
};
