#pragma once
// The fuzz input as a file the readers can open by name: an in-memory file
// reached through /proc/self/fd, so no disk is touched per run.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

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
