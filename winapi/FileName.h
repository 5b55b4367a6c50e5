#pragma once
// File names reach the file layer either as plain POSIX paths or as
// "file://" URL strings (percent-encoded). Both become a POSIX path here.
#include <cstddef>

#include "CString.h"

// The longest path the layer handles, terminator included.
constexpr size_t kMaxFilePath = 2048;

// Writes the POSIX path for name into out (outSize bytes). "file://" URL
// strings (host empty or "localhost") are percent-decoded; anything else is
// a plain path and is used unchanged. False, with out empty, when there is
// no usable path: null or empty name, another host, a bad or NUL escape, or
// a result that does not fit.
bool FileNameToPosixPath(const char* name, char* out, size_t outSize);

// The "file://" URL string for a POSIX path, percent-encoding every byte
// outside the unreserved set and "/".
CString PosixPathToFileURL(const char* path);
