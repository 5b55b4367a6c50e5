// Feeds arbitrary bytes to the old program-file import: as a program file
// (LoadPGMFileBody and the field parser), as a program list (Convert), and
// to the field splitter and word stream directly.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "FuzzCommon.h"
#include "ProgramFile.h"

namespace {

// A folder holding one real program file, "\A.PGM", that lists may name.
const std::string& ProgramFolder()
{
    static const std::string folder = [] {
        char tmpl[] = "/tmp/graphiceq-fuzz-XXXXXX";
        std::string dir = mkdtemp(tmpl) ? tmpl : "/tmp";
        FILE* f = std::fopen((dir + "/\\A.PGM").c_str(), "wb");
        if (f) {
            std::fputs("ZNT5.0 EFFECT PRG FILE\r\n0\t65536\t-65536\t131072\t0\r\n", f);
            std::fclose(f);
        }
        return dir + "/";
    }();
    static const bool cleanup = [] {
        std::atexit([] {
            unlink((ProgramFolder() + "\\A.PGM").c_str());
            rmdir(ProgramFolder().c_str());
        });
        return true;
    }();
    (void)cleanup;
    return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static FuzzFile file;
    file.Set(data, size);

    // As a program file.
    char body[kPGMBodySize + 16];
    std::memset(body, 0x5A, sizeof body);
    std::strcpy(body, "before");
    if (LoadPGMFileBody(file.path(), body)) {
        if (std::memchr(body, 0, kPGMBodySize) == nullptr)
            std::abort();
        for (size_t i = kPGMBodySize; i < sizeof body; ++i)
            if (body[i] != 0x5A)
                std::abort();
    }
    AGraEQProgram rec;
    ParsePGMBody(body, rec);
    CheckedRecord(&rec);

    // As a program list.
    AGraEQProgram bank[kNumPrograms + 1];
    std::strcpy(bank[kNumPrograms].szName, "guard");
    const int filled = Convert(bank, kNumPrograms, file.path(), ProgramFolder().c_str());
    if (filled < 0 || filled > kNumPrograms || std::strcmp(bank[kNumPrograms].szName, "guard") != 0)
        std::abort();
    for (int i = 0; i < kNumPrograms; ++i)
        CheckedRecord(&bank[i]);

    // The splitter and the word stream on the raw text.
    std::string text(reinterpret_cast<const char*>(data), size);
    char field[kFieldBufferSize];
    int offset = 0, fields = 0;
    while (offset >= 0 && fields++ < 10000) {
        const int next = StrTerminateTab(text.c_str(), offset, field, sizeof field);
        if (next != -1 && next <= offset)
            std::abort();  // always moves on
        offset = next;
    }
    Myistrstream words(text.data(), static_cast<int>(size));
    char word[32];
    for (int i = 0; i < 10000 && !words.eof(); ++i)
        words >> word;
    return 0;
}
