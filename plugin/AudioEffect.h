#pragma once
// The VST 2.4 effect base class: owns the AEffect record handed to the host,
// forwards the record's C callbacks to virtual operations and handles the
// dispatcher opcodes 0..24 (open, programs, parameter strings, sample rate,
// block size, suspend/resume, editor, chunks).
#include "VstDefs.h"

class AEffEditor;

class AudioEffect {
public:
    AudioEffect(audioMasterCallback audioMaster, VstInt32 numPrograms, VstInt32 numParams);
    virtual ~AudioEffect();  // the registered editor is the derived effect's to delete
    AudioEffect(const AudioEffect&) = delete;
    AudioEffect& operator=(const AudioEffect&) = delete;

    // Handles opcodes 0..24; every other opcode answers 0.
    virtual VstIntPtr dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                 float opt);

    virtual void open() {}
    virtual void close() {}
    virtual void suspend() {}
    virtual void resume() {}
    virtual float getVu() { return 0.0f; }
    virtual void setSampleRate(float rate) { sampleRate = rate; }
    virtual void setBlockSize(VstInt32 size) { blockSize = size; }

    virtual void processReplacing(float** inputs, float** outputs, VstInt32 sampleFrames) = 0;
    virtual void processDoubleReplacing(double** /*inputs*/, double** /*outputs*/,
                                        VstInt32 /*sampleFrames*/) {}

    virtual void setParameter(VstInt32 /*index*/, float /*value*/) {}
    virtual float getParameter(VstInt32 /*index*/) { return 0.0f; }
    // Sets the parameter and tells the host, as if the user had moved it.
    virtual void setParameterAutomated(VstInt32 index, float value);

    virtual VstInt32 getProgram() { return curProgram; }
    virtual void setProgram(VstInt32 program) { curProgram = program; }
    virtual void setProgramName(char* /*name*/) {}
    virtual void getProgramName(char* name);
    virtual void getParameterLabel(VstInt32 index, char* label);
    virtual void getParameterDisplay(VstInt32 index, char* text);
    virtual void getParameterName(VstInt32 index, char* text);

    virtual VstInt32 getChunk(void** /*data*/, bool /*isPreset*/ = false) { return 0; }
    virtual VstInt32 setChunk(void* /*data*/, VstInt32 /*byteSize*/, bool /*isPreset*/ = false)
    {
        return 0;
    }

    // The AEffect record's fields.
    virtual void setUniqueID(VstInt32 id) { cEffect.uniqueID = id; }
    virtual void setNumInputs(VstInt32 n) { cEffect.numInputs = n; }
    virtual void setNumOutputs(VstInt32 n) { cEffect.numOutputs = n; }
    virtual void setInitialDelay(VstInt32 delay) { cEffect.initialDelay = delay; }
    virtual void programsAreChunks(bool state = true) { setFlag(effFlagsProgramChunks, state); }
    virtual void canMono(bool state = true) { setFlag(effFlagsCanMono, state); }
    virtual void canProcessReplacing(bool state = true) { setFlag(effFlagsCanReplacing, state); }
    virtual void canDoubleReplacing(bool state = true)
    {
        setFlag(effFlagsCanDoubleReplacing, state);
    }
    virtual void hasVu(bool state = true) { setFlag(effFlagsHasVu, state); }
    virtual void hasClip(bool state = true) { setFlag(effFlagsHasClip, state); }
    void setNumPrograms(VstInt32 n)
    {
        numPrograms = n;
        cEffect.numPrograms = n;
    }

    // Registers the editor (the caller keeps ownership) and announces it to the host;
    // null withdraws the announcement.
    virtual void setEditor(AEffEditor* editor);
    virtual AEffEditor* getEditor() { return editor; }

    AEffect* getAeffect() { return &cEffect; }
    float getSampleRate() const { return sampleRate; }
    VstInt32 getBlockSize() const { return blockSize; }
    VstInt32 getNumPrograms() const { return numPrograms; }
    VstInt32 getNumParams() const { return numParams; }

    // Host queries.
    virtual VstInt32 getMasterVersion();
    virtual VstInt32 getCurrentUniqueId();
    virtual void masterIdle();
    // The folder the host reports for the plug-in; may be null.
    virtual void* getDirectory();

    // The record's C callbacks.
    static VstIntPtr dispatchEffectClass(AEffect* e, VstInt32 opcode, VstInt32 index,
                                         VstIntPtr value, void* ptr, float opt);
    static void processClass(AEffect* e, float** inputs, float** outputs, VstInt32 frames);
    static void processClassReplacing(AEffect* e, float** inputs, float** outputs,
                                      VstInt32 frames);
    static void processClassDoubleReplacing(AEffect* e, double** inputs, double** outputs,
                                            VstInt32 frames);
    static void setParameterClass(AEffect* e, VstInt32 index, float value);
    static float getParameterClass(AEffect* e, VstInt32 index);

protected:
    void setFlag(VstInt32 flag, bool state)
    {
        if (state)
            cEffect.flags |= flag;
        else
            cEffect.flags &= ~flag;
    }
    VstIntPtr callHost(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0,
                       void* ptr = nullptr, float opt = 0.0f);

    audioMasterCallback audioMaster;
    AEffEditor* editor;
    float sampleRate;
    VstInt32 blockSize;
    VstInt32 numPrograms;
    VstInt32 numParams;
    VstInt32 curProgram;
    AEffect cEffect;
};
