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

const AGraEQProgram* AGraEQ::GetBank(Bank which)
{
    std::lock_guard<std::mutex> hold(m_bankLock);
    SaveLiveValues();
    switch (which) {
    case kInitialBank:
        return m_initialPrograms;
    case kFactoryBank:
        return m_factoryPrograms;
    default:
        return m_programs;
    }
}

void AGraEQ::SaveLiveValues()
{
    uint64_t unsaved = m_unsaved.exchange(0, std::memory_order_acquire);
    AGraEQProgram& record = m_programs[m_program.load(std::memory_order_relaxed)];
    for (int i = 0; unsaved; ++i, unsaved >>= 1) {
        if (unsaved & 1u)
            record.fValue[i] = m_values[i].load(std::memory_order_relaxed);
    }
}

void AGraEQ::BeginValues()
{
    // Odd from here on; no store below can move above it.
    m_changing.fetch_add(1, std::memory_order_acq_rel);
    if (m_engine)
        m_engine->BeginChange();
}

void AGraEQ::EndValues()
{
    if (m_engine)
        m_engine->EndChange();
    m_changing.fetch_add(1, std::memory_order_release);
    m_changes.fetch_add(1, std::memory_order_release);
}

void AGraEQ::LoadProgram(VstInt32 program)
{
    m_program.store(program, std::memory_order_release);
    curProgram = program;
    const AGraEQProgram& record = m_programs[program];
    BeginValues();
    // Switch and levels first, then each band's gain and Q together.
    auto apply = [&](int i) {
        m_values[i].store(record.fValue[i], std::memory_order_release);
        m_entry[i].store(kNoEntry, std::memory_order_relaxed);
        ApplyToEngine(i, record.fValue[i]);
    };
    apply(kParamActive);
    m_switchOverride.store(-1, std::memory_order_release);
    apply(kParamOutput);
    apply(kParamInput);
    for (int b = 0; b < kNumBands; ++b) {
        apply(kParamGainFirst + b);
        apply(kParamQFirst + b);
    }
    EndValues();
}

// With no lock held: the panel follows every value and the modified state.
void AGraEQ::PanelShowValues()
{
    for (int i = 0; i < kNumParams; ++i)
        PanelUpdateControl(i, getParameter(i));
    PanelUpdateModify();
}

void AGraEQ::setProgram(VstInt32 program)
{
    // Negative indices reach here from the dispatcher; they and anything
    // past the bank are ignored.
    if (!IsValidProgram(program))
        return;
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        LoadProgram(program);
    }
    PanelShowValues();
}

void AGraEQ::setProgramName(char* name)
{
    if (!name)
        return;
    std::lock_guard<std::mutex> hold(m_bankLock);
    SetRecordName(m_programs[m_program.load(std::memory_order_relaxed)], name);
}

void AGraEQ::getProgramName(char* name)
{
    std::lock_guard<std::mutex> hold(m_bankLock);
    GetRecordName(m_programs[m_program.load(std::memory_order_relaxed)], name);
}

bool AGraEQ::getProgramNameIndexed(VstInt32 /*category*/, VstInt32 index, char* text)
{
    if (!IsValidProgram(index) || !text)
        return false;
    std::lock_guard<std::mutex> hold(m_bankLock);
    GetRecordName(m_programs[index], text);
    return true;
}

bool AGraEQ::IsProgramChanged()
{
    std::lock_guard<std::mutex> hold(m_bankLock);
    SaveLiveValues();
    const VstInt32 current = m_program.load(std::memory_order_relaxed);
    return std::memcmp(m_programs[current].fValue, m_initialPrograms[current].fValue, kProgramValueBytes) != 0;
}

void AGraEQ::ProgramToInitial()
{
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        const VstInt32 current = m_program.load(std::memory_order_relaxed);
        m_programs[current] = m_initialPrograms[current];
        LoadProgram(current);
    }
    PanelShowValues();
    updateDisplay();
}

void AGraEQ::ProgramToAllInitial()
{
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        std::memcpy(static_cast<void*>(m_programs), m_initialPrograms, kBankBytes);
        LoadProgram(m_program.load(std::memory_order_relaxed));
    }
    PanelShowValues();
    updateDisplay();
}

void AGraEQ::ProgramToFactory()
{
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        const VstInt32 current = m_program.load(std::memory_order_relaxed);
        m_programs[current] = m_factoryPrograms[current];
        LoadProgram(current);
    }
    PanelShowValues();
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
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        const VstInt32 current = m_program.load(std::memory_order_relaxed);
        if (source != current)
            m_programs[current] = m_programs[source];
        LoadProgram(current);
    }
    PanelShowValues();
    updateDisplay();
}

bool AGraEQ::SaveProgram(int destination, const char* name)
{
    // The record steps (copy, name cut at a whole Shift-JIS character, the
    // saved slot becoming the initial one, the slot left behind reverting)
    // are shared with the bank-file layer.
    CString failure;
    bool written;
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        if (!StoreProgramForSave(m_programs, m_initialPrograms, m_program.load(std::memory_order_relaxed),
                                 destination, name))
            return false;
        LoadProgram(destination);
        m_programs[0].nCurrentProgram = destination;
        written = WriteDefaultBank(&failure);
    }
    PanelShowValues();
    if (!written)
        ShowSaveFailure(failure);
    updateDisplay();
    return written;
}

AGraEQProgram* AGraEQ::ChunkCopyForThisThread()
{
    const std::thread::id self = std::this_thread::get_id();
    for (const std::unique_ptr<ChunkCopy>& c : m_chunks)
        if (c->thread == self)
            return c->records;
    if (m_chunks.size() < kChunkCopies) {
        m_chunks.push_back(std::make_unique<ChunkCopy>());
        m_chunks.back()->thread = self;
        return m_chunks.back()->records;
    }
    ChunkCopy& reused = *m_chunks[m_nextChunk];
    m_nextChunk = (m_nextChunk + 1) % kChunkCopies;
    reused.thread = self;
    return reused.records;
}

VstInt32 AGraEQ::getChunk(void** data, bool isPreset)
{
    if (!data)
        return 0;
    std::lock_guard<std::mutex> hold(m_bankLock);
    SaveLiveValues();
    const VstInt32 current = m_program.load(std::memory_order_relaxed);
    AGraEQProgram* copy = ChunkCopyForThisThread();
    *data = copy;
    if (isPreset) {
        copy[0] = m_programs[current];
        return kProgramBytes;
    }
    m_programs[0].nCurrentProgram = current;
    std::memcpy(static_cast<void*>(copy), m_programs, kBankBytes);
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
    const VstInt32 records = isPreset ? 1 : (byteSize < kBankBytes ? byteSize : kBankBytes) / kProgramBytes;
    AGraEQProgram incoming[kNumPrograms];
    for (VstInt32 r = 0; r < records; ++r) {
        std::memcpy(static_cast<void*>(&incoming[r]), bytes + r * kProgramBytes, kProgramBytes);
        SanitizeProgram(incoming[r]);
    }
    {
        std::lock_guard<std::mutex> hold(m_bankLock);
        SaveLiveValues();
        VstInt32 current = m_program.load(std::memory_order_relaxed);
        if (isPreset) {
            m_programs[current] = incoming[0];
        } else {
            for (VstInt32 r = 0; r < records; ++r)
                m_programs[r] = incoming[r];
            // A current-program index the bank cannot hold is ignored.
            if (IsValidProgram(m_programs[0].nCurrentProgram))
                current = m_programs[0].nCurrentProgram;
        }
        LoadProgram(current);
    }
    PanelShowValues();
    return 0;
}
