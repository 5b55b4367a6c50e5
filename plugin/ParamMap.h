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

class CGraphicEQ;

// How a parameter's display string is made: "ON"/"OFF" from the normalised
// value; the display value with one decimal, a level never showing "-0.0"; or
// the same for a band, where "-0.0" stays.
enum class ParamFormat { kSwitch, kLevel, kBand };

// Hands a parameter's internal value to the engine. band is the row's band
// (-1 for the switch and the levels); the switch receives 0 or 1.
using EngineSetter = void (*)(CGraphicEQ& engine, int band, int32_t internal);

// The one description of every parameter: range and default in display
// units (levels: linear amplitude), the stepped flag, the host-visible
// name (prefix, then the band name for a band row), label, display format
// and the engine setter. Everything else about a parameter -- conversions,
// host strings, the defaults of a fresh program, the bounds bad values are
// brought back into -- is read from here.
struct AutomateParamMinMax {
    double min;
    double max;
    double def;
    int32_t integer;      // non-zero: a stepped parameter
    const char* prefix;   // "ON/OFF", "Output", "Gain ", "Q "
    int band;             // -1, or the band whose name follows the prefix
    const char* label;
    ParamFormat format;
    EngineSetter setter;
};

extern const AutomateParamMinMax AutomateParamMinMax_Tbl[kNumParams];

// Band names as shown in parameter names ("Gain 1.0KHz", "Q 25Hz").
extern const char* const szCenterFreq[kNumBands];

// The host-visible name of a parameter ("Gain 1.0KHz") into text (size
// bytes, terminated). Empty for an index outside the table.
void GetParamName(int index, char* text, unsigned size);

// The normalised default of a parameter (the table's default converted);
// 0 for an index outside the table.
float DefaultNormalized(int index);

// State hygiene: what a stored normalised value may be. A NaN becomes
// fallback (which must itself be sane); anything else outside 0..1, the
// infinities included, goes to the nearest bound. Values inside 0..1 pass
// bit for bit.
float SanitizeNormalized(float value, float fallback);
// The rule for values read from stored state (chunks, bank and program
// files): a NaN or an infinity there means the bytes are not a value, so it
// becomes the parameter's default; a finite value goes to the nearest bound.
float SanitizeStoredValue(int index, float value);
inline bool IsSaneNormalized(float value) { return value >= 0.0f && value <= 1.0f; }

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
