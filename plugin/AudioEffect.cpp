#include "AudioEffect.h"

#include <cstring>

#include "AEffEditor.h"

namespace {
inline AudioEffect* Instance(AEffect* e)
{
    return e ? static_cast<AudioEffect*>(e->object) : nullptr;
}
}  // namespace

AudioEffect::AudioEffect(audioMasterCallback host, VstInt32 programCount, VstInt32 paramCount)
    : audioMaster(host), editor(nullptr), sampleRate(44100.0f), blockSize(1024),
      numPrograms(programCount), numParams(paramCount), curProgram(0)
{
    std::memset(&cEffect, 0, sizeof(cEffect));
    cEffect.magic = kEffectMagic;
    cEffect.dispatcher = dispatchEffectClass;
    // The deprecated accumulating slot forwards to processReplacing.
    cEffect.process = processClass;
    cEffect.setParameter = setParameterClass;
    cEffect.getParameter = getParameterClass;
    cEffect.numPrograms = numPrograms;
    cEffect.numParams = numParams;
    cEffect.numInputs = 1;
    cEffect.numOutputs = 2;
    cEffect.flags = effFlagsCanReplacing;
    cEffect.ioRatio = 1.0f;
    cEffect.object = this;
    cEffect.uniqueID = VstFourCC('N', 'o', 'E', 'f');
    cEffect.version = 1;
    cEffect.processReplacing = processClassReplacing;
    cEffect.processDoubleReplacing = processClassDoubleReplacing;
}

// The editor registered with setEditor belongs to the derived effect, which
// deletes it; the base only points at it for the dispatcher.
AudioEffect::~AudioEffect() { editor = nullptr; }

void AudioEffect::setEditor(AEffEditor* e)
{
    editor = e;
    setFlag(effFlagsHasEditor, e != nullptr);
}

VstIntPtr AudioEffect::callHost(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                float opt)
{
    if (!audioMaster)
        return 0;
    return audioMaster(&cEffect, opcode, index, value, ptr, opt);
}

void AudioEffect::setParameterAutomated(VstInt32 index, float value)
{
    setParameter(index, value);
    callHost(audioMasterAutomate, index, 0, nullptr, value);
}

void AudioEffect::getProgramName(char* name)
{
    if (name)
        *name = 0;
}

void AudioEffect::getParameterLabel(VstInt32, char* label)
{
    if (label)
        *label = 0;
}

void AudioEffect::getParameterDisplay(VstInt32, char* text)
{
    if (text)
        *text = 0;
}

void AudioEffect::getParameterName(VstInt32, char* text)
{
    if (text)
        *text = 0;
}

VstInt32 AudioEffect::getMasterVersion()
{
    const VstIntPtr v = callHost(audioMasterVersion);
    return v ? static_cast<VstInt32>(v) : 1;
}

VstInt32 AudioEffect::getCurrentUniqueId()
{
    return static_cast<VstInt32>(callHost(audioMasterCurrentId));
}

void AudioEffect::masterIdle()
{
    callHost(audioMasterIdle);
}

void* AudioEffect::getDirectory()
{
    return reinterpret_cast<void*>(callHost(audioMasterGetDirectory));
}

VstIntPtr AudioEffect::dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                  float opt)
{
    VstIntPtr v = 0;
    switch (opcode) {
    case effOpen:
        open();
        break;
    case effClose:
        close();
        break;
    case effSetProgram:
        // Signed comparison: a negative value passes and reaches setProgram,
        // which must reject it. Values below the 32-bit range stay negative.
        if (value < getNumPrograms())
            setProgram(value < -1 ? -1 : static_cast<VstInt32>(value));
        break;
    case effGetProgram:
        v = getProgram();
        break;
    case effSetProgramName:
        setProgramName(static_cast<char*>(ptr));
        break;
    case effGetProgramName:
        getProgramName(static_cast<char*>(ptr));
        break;
    case effGetParamLabel:
        getParameterLabel(index, static_cast<char*>(ptr));
        break;
    case effGetParamDisplay:
        getParameterDisplay(index, static_cast<char*>(ptr));
        break;
    case effGetParamName:
        getParameterName(index, static_cast<char*>(ptr));
        break;
    case effGetVu:
        v = static_cast<VstIntPtr>(getVu() * 32767.0);
        break;
    case effSetSampleRate:
        setSampleRate(opt);
        break;
    case effSetBlockSize:
        setBlockSize(static_cast<VstInt32>(value));
        break;
    case effMainsChanged:
        if (value)
            resume();
        else
            suspend();
        break;
    case effEditGetRect:
        if (editor && ptr)
            v = editor->getRect(static_cast<ERect**>(ptr)) ? 1 : 0;
        break;
    case effEditOpen:
        if (editor)
            v = editor->open(ptr) ? 1 : 0;
        break;
    case effEditClose:
        if (editor)
            editor->close();
        break;
    case effEditDraw:
        if (editor)
            editor->draw(static_cast<ERect*>(ptr));
        break;
    case effEditMouse:
        if (editor)
            v = editor->mouse(index, static_cast<VstInt32>(value));
        break;
    case effEditKey:
        if (editor)
            v = editor->key(static_cast<VstInt32>(value));
        break;
    case effEditIdle:
        if (editor)
            editor->idle();
        break;
    case effEditTop:
        if (editor)
            editor->top();
        break;
    case effEditSleep:
        if (editor)
            editor->sleep();
        break;
    case effIdentify:
        v = VstFourCC('N', 'v', 'E', 'f');
        break;
    case effGetChunk:
        v = getChunk(static_cast<void**>(ptr), index != 0);
        break;
    case effSetChunk:
        // A size outside the 32-bit range is no size at all.
        v = setChunk(ptr,
                     value < 0 || value > 0x7fffffff ? -1 : static_cast<VstInt32>(value),
                     index != 0);
        break;
    default:
        break;
    }
    return v;
}

VstIntPtr AudioEffect::dispatchEffectClass(AEffect* e, VstInt32 opcode, VstInt32 index,
                                           VstIntPtr value, void* ptr, float opt)
{
    AudioEffect* ae = Instance(e);
    if (!ae)
        return 0;
    const VstIntPtr v = ae->dispatcher(opcode, index, value, ptr, opt);
    if (opcode == effClose) {
        // The host gives the instance up with effClose. The AEffect record
        // lives inside the instance, so it goes with it.
        delete ae;
    }
    return v;
}

void AudioEffect::processClass(AEffect* e, float** inputs, float** outputs, VstInt32 frames)
{
    if (AudioEffect* ae = Instance(e))
        ae->processReplacing(inputs, outputs, frames);
}

void AudioEffect::processClassReplacing(AEffect* e, float** inputs, float** outputs,
                                        VstInt32 frames)
{
    if (AudioEffect* ae = Instance(e))
        ae->processReplacing(inputs, outputs, frames);
}

void AudioEffect::processClassDoubleReplacing(AEffect* e, double** inputs, double** outputs,
                                              VstInt32 frames)
{
    if (AudioEffect* ae = Instance(e))
        ae->processDoubleReplacing(inputs, outputs, frames);
}

void AudioEffect::setParameterClass(AEffect* e, VstInt32 index, float value)
{
    if (AudioEffect* ae = Instance(e))
        ae->setParameter(index, value);
}

float AudioEffect::getParameterClass(AEffect* e, VstInt32 index)
{
    AudioEffect* ae = Instance(e);
    return ae ? ae->getParameter(index) : 0.0f;
}
