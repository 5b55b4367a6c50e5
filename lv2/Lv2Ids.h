#pragma once
// The LV2 plug-in's names: its URI (stable: hosts store it in sessions), its
// UI's, the key of its state and the binaries in the bundle.
#define GRAPHICEQ_LV2_URI "urn:graphiceq:lv2:GraphicEQ"
#define GRAPHICEQ_LV2_UI_URI GRAPHICEQ_LV2_URI "#ui"
// The bank of 32 programs (raw 160-byte records, record 0 carrying the
// current program), an atom:Chunk.
#define GRAPHICEQ_LV2_BANK_KEY GRAPHICEQ_LV2_URI "#bank"
// Factory preset n (1..32) is GRAPHICEQ_LV2_PRESET_PREFIX followed by n in
// two digits.
#define GRAPHICEQ_LV2_PRESET_PREFIX GRAPHICEQ_LV2_URI "#preset-"
#define GRAPHICEQ_LV2_DSP_BINARY "GraphicEQ_dsp.so"
#define GRAPHICEQ_LV2_UI_BINARY "GraphicEQ_ui.so"
