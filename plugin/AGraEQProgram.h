#pragma once
// One program (preset) of the equalizer: 160 bytes, copied and stored as raw
// bytes. Host chunks and the default bank file carry it unchanged, in the
// machine's little-endian byte order.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "ParamMap.h"

enum {
    kNumPrograms = 32,
    kProgramNameSize = 24,
};

struct AGraEQProgram {
    // Flat: switched on, levels at amplitude 1.0, all gains 0 dB, all Q 5,
    // named "Empty".
    AGraEQProgram();

    float values[kNumParams];    // normalised, by parameter index
    char name[kProgramNameSize];  // NUL-terminated when written by this plug-in
    // In record 0 of a bank: the program that was current when the bank was
    // taken. Not meaningful elsewhere.
    int32_t currentProgram;
};

static_assert(sizeof(AGraEQProgram) == 160, "AGraEQProgram is a 160-byte record");
static_assert(offsetof(AGraEQProgram, name) == 132, "AGraEQProgram layout");
static_assert(offsetof(AGraEQProgram, currentProgram) == 156, "AGraEQProgram layout");
static_assert(std::is_trivially_copyable<AGraEQProgram>::value, "records are copied as bytes");

constexpr int kProgramBytes = static_cast<int>(sizeof(AGraEQProgram));
constexpr int kBankBytes = kProgramBytes * kNumPrograms;
// The part of a record that IsProgramChanged compares: the values only.
constexpr size_t kProgramValueBytes = sizeof(float) * kNumParams;
