#pragma once
// graphiceq-host edit: opens a plug-in's editor in a window of its own, as a
// Linux host does, with audio running through the plug-in meanwhile.
#include <string>
#include <vector>

#include "Audio.h"

namespace ghost {

struct EditOptions {
    std::string plugin;                 // [PLUGIN] or --plugin
    std::string input;                  // [IN.wav]: looped; empty = the burst signal
    std::string out;                    // --out OUT.wav
    std::string screenshot;             // --screenshot FILE.png
    int afterMs = -1;                   // --after MS: when to take the screenshot (or quit)
    int idleMs = 33;                    // --idle-ms N: editor idle period
    double rate = 0;                    // --rate HZ (without IN.wav; default 48000)
    int block = 512;                    // --block N
    std::vector<std::string> sets;      // --set NAME=VALUE
};

std::string EditUsageText();

// Parses argv (argv[1] is "edit"); throws UsageError.
EditOptions ParseEditCommandLine(int argc, char** argv);

// Runs the command; the exit status. Throws HostError.
int RunEdit(int argc, char** argv);

// The signal played when no file is given: pink noise in bursts whose level
// steps through about -6, -18, -3 and -12 dBFS peak, decaying between bursts, so
// meters rise and fall. Loops seamlessly after `seconds`. Deterministic.
Audio BurstSignal(double rate, int channels, double seconds = 4.8);

}  // namespace ghost
