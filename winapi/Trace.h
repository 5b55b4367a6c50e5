#pragma once
// Diagnostic lines on standard output, written only when the environment
// variable GRAPHICEQ_TRACE is set (read once).
bool AfxTraceEnabled();
void AfxTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
