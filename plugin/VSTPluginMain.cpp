// The plug-in's entry point. The shared library exports exactly two
// symbols: VSTPluginMain and its historical alias main, which older Linux
// hosts look up. A C++ function cannot be called main, so the alias gets its
// symbol name through an assembler label.
#include <new>

#include "AGraEQ.h"
#include "VstDefs.h"

#define VST_EXPORT extern "C" __attribute__((visibility("default")))

static AudioEffect* createEffectInstance(audioMasterCallback audioMaster)
{
    return new (std::nothrow) AGraEQ(audioMaster);
}

VST_EXPORT AEffect* VSTPluginMain(audioMasterCallback audioMaster)
{
    // A host too old (or unable) to report its interface version gets no
    // effect.
    if (!audioMaster || audioMaster(nullptr, audioMasterVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    AudioEffect* effect = createEffectInstance(audioMaster);
    return effect ? effect->getAeffect() : nullptr;
}

VST_EXPORT AEffect* VSTPluginMainAlias(audioMasterCallback audioMaster) __asm__("main");
AEffect* VSTPluginMainAlias(audioMasterCallback audioMaster)
{
    return VSTPluginMain(audioMaster);
}
