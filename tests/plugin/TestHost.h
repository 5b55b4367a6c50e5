#pragma once
// A minimal VST 2.4 host for tests: loads GraphicEQ.so with dlopen, creates
// an instance through VSTPluginMain exactly as a DAW does, records every
// callback the plug-in sends and offers the dispatcher calls by name.
#include <dlfcn.h>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "VstDefs.h"

#ifndef GRAPHICEQ_SO_PATH
#error "GRAPHICEQ_SO_PATH must name the built plug-in"
#endif

struct HostCall {
    AEffect* effect;
    VstInt32 opcode;
    VstInt32 index;
    VstIntPtr value;
    float opt;
};

// What the host callback answers and remembers. Shared by all instances of
// one test (the callback has no user pointer before the effect exists).
struct HostLog {
    static HostLog& Get()
    {
        static HostLog log;
        return log;
    }
    void Clear()
    {
        std::lock_guard<std::mutex> hold(mutex);
        calls.clear();
    }
    std::vector<HostCall> Calls(VstInt32 opcode)
    {
        std::lock_guard<std::mutex> hold(mutex);
        std::vector<HostCall> out;
        for (const HostCall& c : calls)
            if (c.opcode == opcode)
                out.push_back(c);
        return out;
    }
    std::mutex mutex;
    std::vector<HostCall> calls;
    VstIntPtr versionAnswer = 2400;
};

inline VstIntPtr TestHostCallback(AEffect* effect, VstInt32 opcode, VstInt32 index,
                                  VstIntPtr value, void* /*ptr*/, float opt)
{
    HostLog& log = HostLog::Get();
    {
        std::lock_guard<std::mutex> hold(log.mutex);
        log.calls.push_back({effect, opcode, index, value, opt});
    }
    switch (opcode) {
    case audioMasterVersion:
        return log.versionAnswer;
    case audioMasterGetDirectory:
        return 0;  // hosts may answer null
    default:
        return 0;
    }
}

class PluginLibrary {
public:
    PluginLibrary() { handle = dlopen(GRAPHICEQ_SO_PATH, RTLD_NOW | RTLD_LOCAL); }
    ~PluginLibrary()
    {
        if (handle)
            dlclose(handle);
    }
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    VstPluginMainProc Entry(const char* name = "VSTPluginMain") const
    {
        return handle ? reinterpret_cast<VstPluginMainProc>(dlsym(handle, name)) : nullptr;
    }
    void* handle = nullptr;
};

// One effect instance, opened and set up the way hosts usually do it.
class TestEffect {
public:
    explicit TestEffect(const PluginLibrary& lib, float rate = 44100.0f, VstInt32 block = 512)
    {
        VstPluginMainProc entry = lib.Entry();
        fx = entry ? entry(TestHostCallback) : nullptr;
        if (!fx)
            return;
        Dispatch(effOpen);
        Dispatch(effSetSampleRate, 0, 0, nullptr, rate);
        Dispatch(effSetBlockSize, 0, block);
        Dispatch(effMainsChanged, 0, 1);
        Dispatch(effStartProcess);
    }
    ~TestEffect()
    {
        if (fx) {
            Dispatch(effStopProcess);
            Dispatch(effMainsChanged, 0, 0);
            Dispatch(effClose);
        }
    }
    TestEffect(const TestEffect&) = delete;
    TestEffect& operator=(const TestEffect&) = delete;

    VstIntPtr Dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0,
                       void* ptr = nullptr, float opt = 0.0f)
    {
        return fx->dispatcher(fx, opcode, index, value, ptr, opt);
    }
    // Host-side string query into a generous, pre-filled buffer.
    std::string String(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0)
    {
        char text[256];
        std::memset(text, 0, sizeof(text));
        Dispatch(opcode, index, value, text);
        return text;
    }
    void Set(VstInt32 index, float value) { fx->setParameter(fx, index, value); }
    float Get(VstInt32 index) { return fx->getParameter(fx, index); }
    std::string Display(VstInt32 index) { return String(effGetParamDisplay, index); }
    void Process(float* left, float* right, VstInt32 frames)
    {
        float* io[2] = {left, right};
        fx->processReplacing(fx, io, io, frames);
    }

    AEffect* fx = nullptr;
};
