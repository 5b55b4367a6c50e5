#pragma once
// The VST 2.x extension of the effect base: opcodes 25..79 (names and
// identity, canDo, parameter properties, categories, process start/stop,
// speaker arrangement) and the host queries an effect may send. Adds no
// fields.
#include "AudioEffect.h"

class AudioEffectX : public AudioEffect {
public:
    AudioEffectX(audioMasterCallback host, VstInt32 programCount, VstInt32 paramCount)
        : AudioEffect(host, programCount, paramCount)
    {
    }

    // Handles opcodes 25..79 and hands every other opcode to AudioEffect.
    VstIntPtr dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                         float opt) override;

    // Asks the host for MIDI events only when the effect wants them.
    void resume() override;

    virtual bool canParameterBeAutomated(VstInt32 /*index*/) { return true; }
    virtual bool getProgramNameIndexed(VstInt32 /*category*/, VstInt32 /*index*/, char* /*text*/)
    {
        return false;
    }
    virtual bool copyProgram(VstInt32 /*destination*/) { return false; }
    virtual bool string2parameter(VstInt32 /*index*/, char* /*text*/) { return false; }
    virtual bool connectInput(VstInt32 /*index*/, bool /*state*/) { return true; }
    virtual bool connectOutput(VstInt32 /*index*/, bool /*state*/) { return true; }
    virtual bool getInputProperties(VstInt32 /*index*/, void* /*properties*/) { return false; }
    virtual bool getOutputProperties(VstInt32 /*index*/, void* /*properties*/) { return false; }
    virtual VstInt32 getPlugCategory();
    // Stores both in the base fields directly, without the overrides of
    // setSampleRate and setBlockSize.
    virtual bool setBlockSizeAndSampleRate(VstInt32 size, float rate)
    {
        blockSize = size;
        sampleRate = rate;
        return true;
    }
    virtual bool setBypass(bool /*onOff*/) { return false; }
    virtual bool getEffectName(char* /*name*/) { return false; }
    virtual bool getVendorString(char* /*text*/) { return false; }
    virtual bool getProductString(char* /*text*/) { return false; }
    virtual VstInt32 getVendorVersion() { return 0; }
    virtual VstIntPtr vendorSpecific(VstInt32, VstIntPtr, void*, float) { return 0; }
    virtual VstInt32 canDo(char* /*text*/) { return 0; }
    virtual VstInt32 getGetTailSize() { return 0; }
    virtual bool getParameterProperties(VstInt32 /*index*/, VstParameterProperties* /*p*/)
    {
        return false;
    }
    virtual VstInt32 getVstVersion() { return 2300; }
    // No arrangement is offered: both answers are null.
    virtual bool getSpeakerArrangement(void** input, void** output)
    {
        if (input)
            *input = nullptr;
        if (output)
            *output = nullptr;
        return false;
    }
    virtual VstInt32 startProcess() { return 0; }
    virtual VstInt32 stopProcess() { return 0; }
    virtual bool setProcessPrecision(VstInt32 /*precision*/) { return false; }

    // Host queries and notifications.
    virtual bool beginEdit(VstInt32 index);
    virtual bool endEdit(VstInt32 index);
    virtual bool updateDisplay();
    virtual bool ioChanged();
    virtual bool sizeWindow(VstInt32 width, VstInt32 height);
    virtual void* getTimeInfo(VstInt32 filter);
    virtual bool wantEvents(VstInt32 filter = 1);
    virtual VstInt32 canHostDo(char* text);
    virtual bool getHostVendorString(char* text);
    virtual bool getHostProductString(char* text);
    virtual VstInt32 getHostVendorVersion();
};
