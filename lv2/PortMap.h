#pragma once
// The LV2 plug-in's ports and the translation between a control port's value
// (the parameter's display unit: the switch 0/1, levels and gains in dB, Q as
// a number) and the effect's normalised parameter value.
//
// Control inputs 0..32 carry the parameters under their own index, so a
// port index below kNumParams is a parameter index.
#include "ParamMap.h"

namespace lv2port {

enum : unsigned {
    kInL = kNumParams,  // 33
    kInR,
    kOutL,
    kOutR,
    kMeterInL,          // block peaks, dB (6 dB per doubling, like the panel)
    kMeterInR,
    kMeterOutL,
    kMeterOutR,
    kOver,              // 1 when the output went over full scale
    kNumPorts,
};

// Range the meter outputs are clamped to, in dB.
constexpr float kMeterFloorDB = -60.0f;
constexpr float kMeterTopDB = 6.0f;

// The port symbol of a parameter: its name in lower case, every run of other
// characters a single '_' ("Gain 1.0KHz" -> "gain_1_0khz", "ON/OFF" ->
// "on_off"). Empty for an index outside the table.
void ParamSymbol(int index, char* text, unsigned size);

// A control port's value for a normalised parameter value: the display
// value; the switch is 1 only where the effect switches on (at 1.0).
float PortFromNormalized(int index, float normalised);
// The normalised value for a control port's value: the switch is on from
// 0.5; a level in dB becomes its amplitude (6 dB per doubling) clamped to
// the table's range. NaN stays NaN (the effect ignores it); 0 for an index
// outside the table.
float NormalizedFromPort(int index, float value);
// A control port's default and range, in its unit.
float PortDefault(int index);
void PortRange(int index, float* min, float* max);

// A meter output for a linear peak.
float MeterDB(float peak);

}  // namespace lv2port
