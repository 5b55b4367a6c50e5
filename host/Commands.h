#pragma once
// The sub-commands of graphiceq-host. Each returns the process exit status
// and throws HostError for failures the user should read.
#include <cstdio>
#include <string>
#include <vector>

#include "VstHost.h"

namespace ghost {

// A malformed command line (exit status 2).
class UsageError : public HostError {
public:
    using HostError::HostError;
};

struct Options {
    std::string command;
    std::string plugin;                 // --plugin, or the first positional for info/bench
    std::vector<std::string> positional;
    std::vector<std::string> sets;      // --set, in order
    int program = -1;                   // --program
    double rate = 0;                    // --rate (0: the command's default)
    int block = 512;                    // --block
    double seconds = 10;                // --seconds (bench)
    std::string png;                    // --png (response)
    bool json = false;                  // --json (info)
    std::string bank;                   // --bank FILE.fxb (info, render, response, bank)
    std::string exportPath;             // --export (bank)
    bool programList = false;           // --program-list (bank)
    bool peak = false;                  // --peak (response)
    bool loudness = false;              // --loudness (response)
    std::vector<double> rates;          // --rates (null), e.g. 44100,48000
    double freq = 997.0;                // --freq (null), Hz
    double level = -6.0;                // --level (null), dBFS
};

// Plug-ins may print to standard output (trace lines, debugging). The host
// keeps its own results apart: after this call they go to the original
// standard output through Results(), and everything written to stdout by
// anyone else lands on standard error.
void SeparatePluginOutput();
// Option values, or a UsageError naming the option: a finite number, a
// whole number, a sample rate (1000..768000 Hz), a block size (1..kMaxBlock).
double ParseDouble(const std::string& opt, const std::string& v);
int ParseInt(const std::string& opt, const std::string& v);
double ParseRate(const std::string& opt, const std::string& v);
int ParseBlock(const std::string& opt, const std::string& v);
FILE* Results();

// Parses argv; throws HostError on a malformed command line. `help` is set
// when the user asked for the usage text.
Options ParseCommandLine(int argc, char** argv, bool* help);
std::string UsageText();

// The plug-in to use when no --plugin is given: the GraphicEQ.so of the same
// build tree when there is one, else the one installed in ~/.vst/GraphicEQ/.
std::string DefaultPluginPath();

int RunInfo(const Options& o);
int RunRender(const Options& o);
int RunResponse(const Options& o);
int RunBench(const Options& o);
int RunBank(const Options& o);
int RunNull(const Options& o);

// Every program of the plug-in as text: its number and name, then each
// parameter's index, name, display value, label and normalised value, one
// block per program, and the current program. Leaves the plug-in on the
// program it was on. The text depends only on the plug-in's state, so the
// same bank always lists the same way.
std::string ProgramListing(VstPlugin& p);

// JSON string literal for arbitrary plug-in bytes (invalid UTF-8 becomes
// U+FFFD, control characters are escaped).
std::string JsonString(const std::string& s);

}  // namespace ghost
