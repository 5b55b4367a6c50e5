#include "AudioEffectX.h"

VstInt32 AudioEffectX::getPlugCategory()
{
    return (cEffect.flags & effFlagsIsSynth) ? kPlugCategSynth : kPlugCategUnknown;
}

void AudioEffectX::resume()
{
    char what[] = "receiveVstMidiEvent";
    if (canDo(what) == 1)
        wantEvents();
}

bool AudioEffectX::beginEdit(VstInt32 index)
{
    return callHost(audioMasterBeginEdit, index) != 0;
}

bool AudioEffectX::endEdit(VstInt32 index)
{
    return callHost(audioMasterEndEdit, index) != 0;
}

bool AudioEffectX::updateDisplay()
{
    return callHost(audioMasterUpdateDisplay) != 0;
}

bool AudioEffectX::ioChanged()
{
    return callHost(audioMasterIOChanged) != 0;
}

bool AudioEffectX::sizeWindow(VstInt32 width, VstInt32 height)
{
    return callHost(audioMasterSizeWindow, width, height) != 0;
}

void* AudioEffectX::getTimeInfo(VstInt32 filter)
{
    return reinterpret_cast<void*>(callHost(audioMasterGetTime, 0, filter));
}

bool AudioEffectX::wantEvents(VstInt32 filter)
{
    return callHost(audioMasterWantMidi, 0, filter) != 0;
}

VstInt32 AudioEffectX::canHostDo(char* text)
{
    // The host answers 1 for yes, -1 for no, 0 for don't know.
    return static_cast<VstInt32>(callHost(audioMasterCanDo, 0, 0, text));
}

bool AudioEffectX::getHostVendorString(char* text)
{
    if (text)
        *text = 0;
    return callHost(audioMasterGetVendorString, 0, 0, text) != 0;
}

bool AudioEffectX::getHostProductString(char* text)
{
    if (text)
        *text = 0;
    return callHost(audioMasterGetProductString, 0, 0, text) != 0;
}

VstInt32 AudioEffectX::getHostVendorVersion()
{
    return static_cast<VstInt32>(callHost(audioMasterGetVendorVersion));
}

VstIntPtr AudioEffectX::dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                   float opt)
{
    VstIntPtr v = 0;
    switch (opcode) {
    case effCanBeAutomated:
        v = canParameterBeAutomated(index) ? 1 : 0;
        break;
    case effString2Parameter:
        v = string2parameter(index, static_cast<char*>(ptr)) ? 1 : 0;
        break;
    case effGetProgramNameIndexed:
        v = getProgramNameIndexed(static_cast<VstInt32>(value), index, static_cast<char*>(ptr)) ? 1
                                                                                                : 0;
        break;
    case effCopyProgram:
        v = copyProgram(index) ? 1 : 0;
        break;
    case effConnectInput:
        v = connectInput(index, value != 0) ? 1 : 0;
        break;
    case effConnectOutput:
        v = connectOutput(index, value != 0) ? 1 : 0;
        break;
    case effGetInputProperties:
        v = getInputProperties(index, ptr) ? 1 : 0;
        break;
    case effGetOutputProperties:
        v = getOutputProperties(index, ptr) ? 1 : 0;
        break;
    case effGetPlugCategory:
        v = getPlugCategory();
        break;
    case effSetBlockSizeAndSampleRate:
        v = setBlockSizeAndSampleRate(static_cast<VstInt32>(value), opt) ? 1 : 0;
        break;
    case effSetBypass:
        v = setBypass(value != 0) ? 1 : 0;
        break;
    case effGetEffectName:
        v = getEffectName(static_cast<char*>(ptr)) ? 1 : 0;
        break;
    case effGetVendorString:
        v = getVendorString(static_cast<char*>(ptr)) ? 1 : 0;
        break;
    case effGetProductString:
        v = getProductString(static_cast<char*>(ptr)) ? 1 : 0;
        break;
    case effGetVendorVersion:
        v = getVendorVersion();
        break;
    case effVendorSpecific:
        v = vendorSpecific(index, value, ptr, opt);
        break;
    case effCanDo:
        v = canDo(static_cast<char*>(ptr));
        break;
    case effGetTailSize:
        v = getGetTailSize();
        break;
    case effGetParameterProperties:
        v = getParameterProperties(index, static_cast<VstParameterProperties*>(ptr)) ? 1 : 0;
        break;
    case effGetVstVersion:
        v = getVstVersion();
        break;
    case effGetSpeakerArrangement:
        v = getSpeakerArrangement(reinterpret_cast<void**>(value), static_cast<void**>(ptr)) ? 1
                                                                                           : 0;
        break;
    case effStartProcess:
        v = startProcess();
        break;
    case effStopProcess:
        v = stopProcess();
        break;
    case effSetProcessPrecision:
        v = setProcessPrecision(static_cast<VstInt32>(value)) ? 1 : 0;
        break;
    default:
        // Events, offline, variable I/O, MIDI programs and keys, shell, pan
        // law, load notifications, key down/up, knob mode: nothing to do.
        if (opcode < effProcessEvents || opcode > effGetNumMidiOutputChannels)
            v = AudioEffect::dispatcher(opcode, index, value, ptr, opt);
        break;
    }
    return v;
}
