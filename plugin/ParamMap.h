#pragma once
// The 33 host-visible parameters and the conversions between their three
// forms: normalised (0..1; host, programs, controls), display (dB, Q, 0/1)
// and internal (display value in 16.16 fixed point, handed to the engine).
#include <cstdint>

enum {
    kParamActive = 0,
    kParamOutput = 1,
    kParamInput = 2,
    kParamGainFirst = 3,   // band gains 3..17
    kParamQFirst = 18,     // band Q 18..32
    kNumParams = 33,
    kNumBands = 15,
};

struct AutomateParamMinMax {
    double min;
    double max;
    double def;       // documentation only: code that needs a default uses the literal
    int32_t integer;  // non-zero: a stepped parameter
};

extern const AutomateParamMinMax AutomateParamMinMax_Tbl[kNumParams];

// Band names as shown in parameter names ("Gain 1.0KHz", "Q 25Hz").
extern const char* const szCenterFreq[kNumBands];

inline bool IsValidParamIndex(int index) { return index >= 0 && index < kNumParams; }

// Display-unit value (for the two levels: the linear amplitude factor) to
// normalised. 0 for an index outside the table.
float ValToNormalizeValue(int index, float value);
// Normalised to the engine's internal value. 0 for an index outside the table.
int32_t NormalizeValToDWValue(int index, float normalised);
// Normalised to display value. 0 for an index outside the table.
float NormalizeValToInternalVal(int index, float normalised);
// Display-unit range of a parameter (levels in dB). 0..0 outside the table.
void GetParamMinMax(int index, float* min, float* max);

// Level amplitude factor to its dB figure: 6 dB per doubling.
double LevelToDB(double amplitude);
