#pragma once
// The factory presets' readable source: one block per preset, in display
// units, turned into program records with the plug-in's own conversions.
//
//   [Name]
//   output = -3.5          ; dB (6 dB per doubling of amplitude)
//   input  = 0             ; dB, 0 at most
//   active = 1             ; optional, default 1
//   gain   = 15 values     ; dB, bands 25Hz .. 16.0KHz
//   q      = 1 or 15 values
//
// Lines starting with "#" or ";" are comments.
#include <string>
#include <vector>

#include "AGraEQProgram.h"

struct PresetText {
    std::string name;
    int line = 0;  // where the block starts, for messages
    bool active = true;
    double outputDB = 0.0;
    double inputDB = 0.0;
    double gainDB[kNumBands] = {};
    double q[kNumBands] = {5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5};
};

// Parses the text; false with a message naming the line on any error.
bool ParsePresetText(const std::string& text, std::vector<PresetText>& presets, std::string& error);

// The record the plug-in stores for a preset. False with a message when a
// value lies outside its parameter's range or the name does not fit.
bool PresetToRecord(const PresetText& preset, AGraEQProgram& record, std::string& error);

// The magnitude, in dB, of the whole chain a record sets up (input level,
// the fifteen sections, output level) at frequency hz, computed from the
// engine's own section coefficients at the given sample rate.
double RecordResponseDB(const AGraEQProgram& record, double hz, double sampleRate);

// The largest magnitude over 20 Hz .. min(20 kHz, 0.45 fs), densely sampled.
double RecordPeakDB(const AGraEQProgram& record, double sampleRate, double* atHz = nullptr);
