#include "AGraEQProgram.h"

#include <cstring>

AGraEQProgram::AGraEQProgram()
{
    fValue[kParamActive] = 1.0f;
    fValue[kParamOutput] = ValToNormalizeValue(kParamOutput, 1.0f);
    fValue[kParamInput] = ValToNormalizeValue(kParamInput, 1.0f);
    for (int i = 0; i < kNumBands; ++i) {
        fValue[kParamGainFirst + i] = ValToNormalizeValue(kParamGainFirst + i, 0.0f);
        fValue[kParamQFirst + i] = ValToNormalizeValue(kParamQFirst + i, 5.0f);
    }
    std::memset(szName, 0, sizeof szName);
    std::strcpy(szName, "Empty");
    nCurrentProgram = 0;
}
