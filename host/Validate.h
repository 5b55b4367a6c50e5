#pragma once
// graphiceq-host validate: a stress test for any VST 2.4 plug-in, in the
// manner of a hostile host. Every check runs in a child process of its own
// (the same program, re-executed), so a crash or a hang is a finding about
// the plug-in rather than the end of the run.
namespace ghost {

// argv after "validate": [--rt] [--verbose] [--timeout S] [--only CHECK,...]
// PLUGIN.so... Prints one row per
// plug-in; returns 0 when every plug-in passed, 1 when one failed, 2 on a
// malformed command line.
int RunValidate(int argc, char** argv);

}  // namespace ghost
