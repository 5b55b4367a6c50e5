// The effect's side of the default bank file and of the old program files:
// where to look, what to load into which bank, and what to tell the user when
// a save fails. The file formats themselves live in BankFile and ProgramFile.
#include <cstdio>
#include <cstring>

#include "AEffEditor.h"
#include "AGraEQ.h"
#include "ProgramFile.h"

void AEffEditor::ShowMessage(const char* text)
{
    if (text)
        std::fprintf(stderr, "GraphicEQ: %s\n", text);
}

bool AGraEQ::LoadDefaultBank()
{
    // Hosts answer the directory question with a folder, a file path or
    // nothing at all; FindDefaultBankFile copes with each.
    const char* hostDirectory = static_cast<const char*>(getDirectory());
    CString file = FindDefaultBankFile(m_prefsFolder, hostDirectory, m_resourcePath,
                                       sizeof m_resourcePath);
    unsigned char chunk[kBankBytes];
    const int bytes = LoadBankFile(file, cEffect.uniqueID, chunk, static_cast<int>(sizeof chunk));
    if (bytes <= 0)
        return false;
    setChunk(chunk, bytes, false);
    return true;
}

bool AGraEQ::SetFactoryProgram()
{
    getDirectory();  // asked as the host expects; the folder was settled at open
    std::lock_guard<std::mutex> hold(m_bankLock);
    return ::SetFactoryProgram(m_resourcePath, cEffect.uniqueID, m_factoryPrograms);
}

bool AGraEQ::WriteDefaultBank(CString* failure)
{
    CString path;
    if (SaveDefaultBankFile(m_prefsFolder, m_programs, m_program.load(std::memory_order_relaxed),
                            cEffect.uniqueID, &path))
        return true;
    if (failure)
        *failure = DefaultBankSaveFailedMessage(path);
    return false;
}

void AGraEQ::ShowSaveFailure(const CString& message)
{
    if (m_editorObject)
        m_editorObject->ShowMessage(message);
    else
        AEffEditor().ShowMessage(message);
}

// A maintenance import into the current bank. Like the old tool it replaces,
// it touches neither the current program's parameters nor the saved bank.
bool AGraEQ::Convert()
{
    std::lock_guard<std::mutex> hold(m_bankLock);
    SaveLiveValues();
    const bool imported = ::Convert(m_programs, kNumPrograms) > 0;
    for (AGraEQProgram& record : m_programs)
        SanitizeProgram(record);
    return imported;
}
