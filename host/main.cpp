// graphiceq-host: a command-line VST 2.4 host for Linux. See UsageText().
#include <cstdio>
#include <exception>
#include <string>

#include "Commands.h"
#include "Validate.h"
#ifdef GHOST_HAVE_EDIT
#include "Edit.h"
#endif
#include "VstHost.h"

int main(int argc, char** argv)
{
    ghost::SeparatePluginOutput();
    try {
        if (argc >= 2 && std::string(argv[1]) == "validate")
            return ghost::RunValidate(argc - 2, argv + 2);
#ifdef GHOST_HAVE_EDIT
        if (argc > 1 && std::string(argv[1]) == "edit")
            return ghost::RunEdit(argc, argv);
#endif
        bool help = false;
        const ghost::Options o = ghost::ParseCommandLine(argc, argv, &help);
        if (help) {
            std::fputs(ghost::UsageText().c_str(), ghost::Results());
            return 0;
        }
        if (o.command == "info")
            return ghost::RunInfo(o);
        if (o.command == "render")
            return ghost::RunRender(o);
        if (o.command == "response")
            return ghost::RunResponse(o);
        if (o.command == "bench")
            return ghost::RunBench(o);
        if (o.command == "bank")
            return ghost::RunBank(o);
        if (o.command == "null")
            return ghost::RunNull(o);
        std::fprintf(stderr, "graphiceq-host: unknown command \"%s\"\n\n%s", o.command.c_str(),
                     ghost::UsageText().c_str());
        return 2;
    } catch (const ghost::UsageError& e) {
        std::fprintf(stderr, "graphiceq-host: %s (see graphiceq-host --help)\n", e.what());
        return 2;
    } catch (const ghost::HostError& e) {
        std::fprintf(stderr, "graphiceq-host: %s\n", e.what());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "graphiceq-host: internal error: %s\n", e.what());
        return 3;
    }
}
