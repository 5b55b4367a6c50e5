#pragma once
// One program (preset): 160 bytes, stored and copied as raw bytes. Host
// chunks and the default bank file carry it unchanged in the machine's
// (little-endian) byte order.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "ParamMap.h"

constexpr int kNumPrograms = 32;
constexpr int kProgramNameSize = 24;  // terminator included

class AGraEQProgram {
public:
    // Flat: switched on, both levels at amplitude 1.0, every gain 0 dB, every
    // Q 5, named "Empty"; the trailing integer is 0.
    AGraEQProgram();

    float fValue[kNumParams];      // normalised 0..1, by parameter index
    char szName[kProgramNameSize]; // NUL-terminated, Shift-JIS
    int32_t nCurrentProgram;       // record 0 of a bank: the current program
};

static_assert(sizeof(float) == 4, "IEEE single precision");
static_assert(sizeof(AGraEQProgram) == 160, "program record is 160 bytes");
static_assert(offsetof(AGraEQProgram, fValue) == 0, "values at 0");
static_assert(offsetof(AGraEQProgram, szName) == 132, "name at 132");
static_assert(offsetof(AGraEQProgram, nCurrentProgram) == 156, "trailing integer at 156");
static_assert(std::is_trivially_copyable<AGraEQProgram>::value, "records are copied as bytes");

// Makes a record safe to use, whatever bytes it came from: every value
// through SanitizeStoredValue (a NaN or infinity becomes the parameter's
// default, a finite value outside 0..1 the nearest bound), the name
// terminated within its field and cut before a half Shift-JIS character.
// The trailing integer is left alone. A sane record keeps every byte.
void SanitizeProgram(AGraEQProgram& record);

constexpr int kProgramBytes = static_cast<int>(sizeof(AGraEQProgram));  // 160
constexpr int kBankBytes = kProgramBytes * kNumPrograms;                // 5120

// The part of a record that IsProgramChanged compares: the values only.
constexpr size_t kProgramValueBytes = sizeof(float) * kNumParams;
