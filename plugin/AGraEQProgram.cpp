#include "AGraEQProgram.h"

#include <cstring>

#include "WinStr.h"

AGraEQProgram::AGraEQProgram()
{
    for (int i = 0; i < kNumParams; ++i)
        fValue[i] = DefaultNormalized(i);
    std::memset(szName, 0, sizeof szName);
    std::strcpy(szName, "Empty");
    nCurrentProgram = 0;
}

void SanitizeProgram(AGraEQProgram& record)
{
    for (int i = 0; i < kNumParams; ++i) {
        const float safe = SanitizeStoredValue(i, record.fValue[i]);
        // Compared as bytes, so a sane value (a negative zero included)
        // keeps its exact bits.
        if (std::memcmp(&safe, &record.fValue[i], sizeof safe) != 0)
            record.fValue[i] = safe;
    }
    record.szName[kProgramNameSize - 1] = '\0';
    TruncateSJIS(record.szName, kProgramNameSize - 1);
}
