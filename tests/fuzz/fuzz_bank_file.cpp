// Feeds arbitrary bytes to the bank-file reader, the way the plug-in's open
// and SetFactoryProgram read GraEQDef.fxb, and checks what comes back.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "BankFile.h"
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static FuzzFile file;
    file.Set(data, size);

    // Poisoned beyond what the reader may deliver, so a write past the
    // bound shows up as a changed guard.
    unsigned char chunk[kBankBytes + 64];
    std::memset(chunk, 0xA5, sizeof chunk);
    const int n = LoadBankFile(file.path(), kGraEQUniqueID, chunk, kBankBytes);
    if (n < 0 || n > kBankBytes || n % kProgramBytes != 0)
        std::abort();
    for (size_t i = kBankBytes; i < sizeof chunk; ++i)
        if (chunk[i] != 0xA5)
            std::abort();
    for (int r = 0; r < n / kProgramBytes; ++r) {
        const AGraEQProgram rec = CheckedRecord(chunk + r * kProgramBytes);
        if (r == 0 && (rec.nCurrentProgram < 0 || rec.nCurrentProgram >= kNumPrograms))
            std::abort();
    }

    // The factory path: loads by the chunk's own size into a whole bank.
    static AGraEQProgram factory[kNumPrograms];
    const int m = LoadBankFile(file.path(), kGraEQUniqueID, reinterpret_cast<unsigned char*>(factory), kBankBytes);
    if (m != n)
        std::abort();  // the reader is deterministic
    return 0;
}
