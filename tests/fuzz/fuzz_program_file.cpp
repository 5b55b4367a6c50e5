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

// A folder holding one real program file, "\A.PGM", that lists may name;
// made before the first input and removed at exit.
char g_folder[] = "/tmp/graphiceq-fuzz-XXXXXX";
std::string g_folderSlash, g_program;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (!mkdtemp(g_folder))
        std::abort();
    g_folderSlash = std::string(g_folder) + "/";
    g_program = g_folderSlash + "\\A.PGM";
    if (FILE* f = std::fopen(g_program.c_str(), "wb")) {
        std::fputs("ZNT5.0 EFFECT PRG FILE\r\n0\t65536\t-65536\t131072\t0\r\n", f);
        std::fclose(f);
    }
    std::atexit([] {
        unlink(g_program.c_str());
        rmdir(g_folder);
    });
    return 0;
}

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
    const int filled = Convert(bank, kNumPrograms, file.path(), g_folderSlash.c_str());
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
