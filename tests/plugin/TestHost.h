#pragma once
// A minimal VST 2.4 host for tests: loads GraphicEQ.so with dlopen, creates
// an instance through VSTPluginMain exactly as a DAW does, records every
// callback the plug-in sends and offers the dispatcher calls by name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "VstDefs.h"

#ifndef GRAPHICEQ_SO_PATH
#error "GRAPHICEQ_SO_PATH must name the built plug-in"
#endif

// What the host callback answers and remembers (it has no user pointer
// before the effect exists, so one log serves every instance).
struct HostCall {
    AEffect* effect;
    VstInt32 opcode;
};
inline std::vector<HostCall> g_hostCalls;
inline VstIntPtr g_hostVersion = 2400;
inline std::string g_hostDirectory;  // empty: no directory, as hosts may answer

inline VstIntPtr TestHostCallback(AEffect* effect, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
{
    g_hostCalls.push_back({effect, opcode});
    if (opcode == audioMasterGetDirectory && !g_hostDirectory.empty())
        return reinterpret_cast<VstIntPtr>(g_hostDirectory.c_str());
    return opcode == audioMasterVersion ? g_hostVersion : 0;
}

struct PluginLibrary {
    void* handle = dlopen(GRAPHICEQ_SO_PATH, RTLD_NOW | RTLD_LOCAL);
    ~PluginLibrary()
    {
        if (handle)
            dlclose(handle);
    }
    VstPluginMainProc Entry(const char* name = "VSTPluginMain") const
    {
        return handle ? reinterpret_cast<VstPluginMainProc>(dlsym(handle, name)) : nullptr;
    }
};

// One effect instance, opened and set up the way hosts usually do it.
struct TestEffect {
    AEffect* fx = nullptr;

    explicit TestEffect(const PluginLibrary& lib, float rate = 44100.0f, VstInt32 block = 512)
    {
        if (VstPluginMainProc entry = lib.Entry())
            fx = entry(TestHostCallback);
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

    VstIntPtr Dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr, float opt = 0)
    {
        return fx->dispatcher(fx, opcode, index, value, ptr, opt);
    }
    // Host-side string query into a generous, zeroed buffer.
    std::string String(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0)
    {
        char text[256] = {};
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
    void Name(const char* name)
    {
        char text[64];
        std::snprintf(text, sizeof text, "%s", name);
        Dispatch(effSetProgramName, 0, 0, text);
    }
    std::vector<char> Chunk(bool preset)
    {
        void* data = nullptr;
        const VstIntPtr n = Dispatch(effGetChunk, preset, 0, &data);
        return n > 0 && data ? std::vector<char>(static_cast<char*>(data), static_cast<char*>(data) + n)
                             : std::vector<char>();
    }
};

// Tests of the loaded library, each with one instance set up at 44.1 kHz.
class Binary : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_hostVersion = 2400;
        g_hostDirectory.clear();
        g_hostCalls.clear();
        ASSERT_NE(lib.handle, nullptr) << dlerror();
        e.emplace(lib);
        ASSERT_NE(e->fx, nullptr);
    }
    PluginLibrary lib;
    std::optional<TestEffect> e;
};
