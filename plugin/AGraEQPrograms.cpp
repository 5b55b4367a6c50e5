// Programs: the record, program switching and names, the revert and copy
// operations the editor offers, and the host chunk.
#include "AGraEQ.h"
#include "WinStr.h"

#include <cstring>

#include "AEffEditor.h"

namespace {
// Copies a name into a record's name field: at most 23 bytes without
// splitting a Shift-JIS character, terminated, the rest cleared so the
// record's bytes stay defined.
void SetRecordName(AGraEQProgram& p, const char* name)
{
    std::memset(p.szName, 0, sizeof(p.szName));
    if (!name)
        return;
    size_t n = 0;
    while (n < sizeof(p.szName) - 1 && name[n])
        ++n;
    std::memcpy(p.szName, name, n);
    TruncateSJIS(p.szName, sizeof(p.szName) - 1);
}

// Writes a record's name for the host, even when the record came from a
// chunk whose name field is not terminated.
void GetRecordName(const AGraEQProgram& p, char* text)
{
    if (!text)
        return;
    size_t n = 0;
    while (n < sizeof(p.szName) - 1 && p.szName[n])
        ++n;
    std::memcpy(text, p.szName, n);
    text[n] = 0;
}

inline bool IsValidProgram(VstInt32 n) { return n >= 0 && n < kNumPrograms; }
}  // namespace

const AGraEQProgram* AGraEQ::GetBank(Bank which) const
{
    switch (which) {
    case kInitialBank:
        return m_initialPrograms;
    case kFactoryBank:
        return m_factoryPrograms;
    default:
        return m_programs;
    }
}

void AGraEQ::UpdateDisplayValues()
{
    for (int i = 0; i < kNumParams; ++i)
        m_display[i] = NormalizeValToInternalVal(i, m_values[i]);
}

void AGraEQ::setProgram(VstInt32 program)
{
    // Negative indices reach here from the dispatcher; they and anything
    // past the bank are ignored.
    if (!IsValidProgram(program))
        return;
    curProgram = program;
    // setParameter writes each value back into this record; work from a copy
    // so the order of application cannot matter.
    float v[kNumParams];
    std::memcpy(v, m_programs[program].fValue, sizeof(v));
    // Switch and levels first, then each band's gain and Q together.
    setParameter(kParamActive, v[kParamActive]);
    setParameter(kParamOutput, v[kParamOutput]);
    setParameter(kParamInput, v[kParamInput]);
    for (int b = 0; b < kNumBands; ++b) {
        setParameter(kParamGainFirst + b, v[kParamGainFirst + b]);
        setParameter(kParamQFirst + b, v[kParamQFirst + b]);
    }
    UpdateDisplayValues();
    PanelUpdateModify();
}

void AGraEQ::setProgramName(char* name)
{
    if (!name)
        return;
    SetRecordName(CurrentRecord(), name);
}

void AGraEQ::getProgramName(char* name)
{
    GetRecordName(CurrentRecord(), name);
}

bool AGraEQ::getProgramNameIndexed(VstInt32 /*category*/, VstInt32 index, char* text)
{
    if (!IsValidProgram(index) || !text)
        return false;
    GetRecordName(m_programs[index], text);
    return true;
}

bool AGraEQ::IsProgramChanged()
{
    return std::memcmp(m_programs[curProgram].fValue, m_initialPrograms[curProgram].fValue,
                       kProgramValueBytes) != 0;
}

void AGraEQ::ProgramToInitial()
{
    m_programs[curProgram] = m_initialPrograms[curProgram];
    setProgram(curProgram);
    updateDisplay();
}

void AGraEQ::ProgramToAllInitial()
{
    std::memcpy(static_cast<void*>(m_programs), m_initialPrograms, kBankBytes);
    setProgram(curProgram);
    updateDisplay();
}

void AGraEQ::ProgramToFactory()
{
    m_programs[curProgram] = m_factoryPrograms[curProgram];
    setProgram(curProgram);
    updateDisplay();
    PanelUpdateModify();
}

void AGraEQ::ProgramToAllFactory()
{
    // Resetting the whole bank to the factory bank is offered by the editor
    // but deliberately does nothing.
}

void AGraEQ::CopyPgFrom(int source)
{
    if (!IsValidProgram(source))
        return;
    if (source != curProgram)
        m_programs[curProgram] = m_programs[source];
    setProgram(curProgram);
    updateDisplay();
}

bool AGraEQ::SaveProgram(int destination, const char* name)
{
    // The record steps (copy, name cut at a whole Shift-JIS character, the
    // saved slot becoming the initial one, the slot left behind reverting)
    // are shared with the bank-file layer.
    if (!StoreProgramForSave(m_programs, m_initialPrograms, curProgram, destination, name))
        return false;
    setProgram(destination);
    m_programs[0].nCurrentProgram = curProgram;
    const bool written = WriteDefaultBank();
    updateDisplay();
    return written;
}

VstInt32 AGraEQ::getChunk(void** data, bool isPreset)
{
    if (!data)
        return 0;
    if (isPreset) {
        *data = &m_programs[curProgram];
        return kProgramBytes;
    }
    m_programs[0].nCurrentProgram = curProgram;
    *data = m_programs;
    return kBankBytes;
}

VstInt32 AGraEQ::setChunk(void* data, VstInt32 byteSize, bool isPreset)
{
    // Only whole records are taken: at most one for a preset, at most the
    // bank for a bank; anything shorter than a record (or no data) leaves
    // every program as it was. Each record is made safe before it is
    // stored (SanitizeProgram): a chunk is outside data like any file.
    if (!data || byteSize < kProgramBytes)
        return 0;
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    if (isPreset) {
        AGraEQProgram record;
        std::memcpy(static_cast<void*>(&record), bytes, kProgramBytes);
        SanitizeProgram(record);
        m_programs[curProgram] = record;
    } else {
        const VstInt32 taken = byteSize < kBankBytes ? byteSize : kBankBytes;
        const VstInt32 records = taken / kProgramBytes;
        for (VstInt32 r = 0; r < records; ++r) {
            AGraEQProgram record;
            std::memcpy(static_cast<void*>(&record), bytes + r * kProgramBytes, kProgramBytes);
            SanitizeProgram(record);
            m_programs[r] = record;
        }
        // A current-program index the bank cannot hold is ignored.
        const int32_t current = m_programs[0].nCurrentProgram;
        if (IsValidProgram(current))
            curProgram = current;
    }
    setProgram(curProgram);
    return 0;
}
