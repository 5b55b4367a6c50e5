#pragma once
// Where the plug-in's files lie on disk: the folder holding the loaded
// library (found through dladdr), with a trailing "/".
#include <cstddef>

// Writes the folder into path (at most size bytes, terminated). False, with
// an empty path, when it cannot be found or does not fit.
bool GetPluginFolder(char* path, size_t size);

// The file of numbered bitmap resource number in the plug-in's folder:
// "<folder>bmp%05d.png". False when the name cannot be made.
bool getResourcePath(int number, char* path, size_t size);
