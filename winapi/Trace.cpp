#include "Trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

bool AfxTraceEnabled()
{
    static const bool on = std::getenv("GRAPHICEQ_TRACE") != nullptr;
    return on;
}

void AfxTrace(const char* format, ...)
{
    if (!AfxTraceEnabled()) return;
    va_list args;
    va_start(args, format);
    std::vfprintf(stdout, format, args);
    va_end(args);
    std::fflush(stdout);
}
