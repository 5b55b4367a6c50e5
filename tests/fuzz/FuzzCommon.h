#pragma once
// What the fuzz targets share: the input as a file the readers can open by
// name (an in-memory file reached through /proc/self/fd, so no disk is
// touched per run), and the check of every program record they hand back.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "AGraEQProgram.h"

class FuzzFile {
public:
    FuzzFile()
    {
        fd_ = memfd_create("graphiceq-fuzz", 0);
        if (fd_ < 0)
            std::abort();
        path_ = "/proc/self/fd/" + std::to_string(fd_);
    }
    void Set(const uint8_t* data, size_t size)
    {
        if (ftruncate(fd_, 0) != 0 || (size > 0 && pwrite(fd_, data, size, 0) != static_cast<ssize_t>(size)))
            std::abort();
    }
    const char* path() const { return path_.c_str(); }

private:
    int fd_;
    std::string path_;
};

// The record at `bytes`, after aborting unless its name is terminated and
// every value lies in 0..1.
inline AGraEQProgram CheckedRecord(const void* bytes)
{
    AGraEQProgram rec;
    std::memcpy(static_cast<void*>(&rec), bytes, sizeof rec);
    if (std::memchr(rec.szName, 0, sizeof rec.szName) == nullptr)
        std::abort();
    for (float v : rec.fValue)
        if (!(v >= 0.0f && v <= 1.0f))
            std::abort();
    return rec;
}
