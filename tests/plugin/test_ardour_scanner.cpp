// Ardour's VST 2 scanner loads GraphicEQ.so in its own process, as Ardour
// does before offering a plug-in, and must list it with its name, vendor,
// 2 in / 2 out and unique ID. Skipped where Ardour is not installed.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <iterator>
#include <string>

#ifndef GRAPHICEQ_SO_PATH
#error "GRAPHICEQ_SO_PATH must name the built plug-in"
#endif

namespace {
namespace fs = std::filesystem;

const char kScanner[] = "/usr/lib/ardour7/ardour-vst-scanner";

std::string Attribute(const std::string& xml, const std::string& name)
{
    std::smatch m;
    if (std::regex_search(xml, m, std::regex("<VST2Info[^>]*\\s" + name + "=\"([^\"]*)\"")))
        return m[1];
    return "<missing " + name + ">";
}

TEST(ArdourScanner, ListsGraphicEQ)
{
    if (access(kScanner, X_OK) != 0)
        GTEST_SKIP() << kScanner << " is not installed (Debian package ardour)";

    // A private home and cache, so the scanner's cache file is ours to read
    // and the user's is left alone; the plug-in is scanned from a copy.
    char dirTemplate[] = "/tmp/graphiceq-scan-XXXXXX";
    ASSERT_NE(mkdtemp(dirTemplate), nullptr);
    const fs::path dir = dirTemplate;
    const fs::path so = dir / "GraphicEQ.so";
    fs::copy_file(GRAPHICEQ_SO_PATH, so);

    const std::string cmd = "cd '" + dir.string() + "' && HOME='" + dir.string() +
                            "' XDG_CACHE_HOME='" + (dir / "cache").string() +
                            "' LD_LIBRARY_PATH=/usr/lib/ardour7 " + kScanner + " -f -v '" +
                            so.string() + "' 2>&1";
    FILE* p = popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::string out, cache;
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof(buf), p)) > 0;)
        out.append(buf, n);
    EXPECT_EQ(pclose(p), 0) << out;

    // The cache file the scanner writes is what Ardour reads back.
    for (const auto& entry : fs::recursive_directory_iterator(dir))
        if (entry.path().extension() == ".v2i")
            cache.assign(std::istreambuf_iterator<char>(std::ifstream(entry.path()).rdbuf()), {});
    ASSERT_FALSE(cache.empty()) << "no .v2i cache file written\n" << out;

    for (const std::string& xml : {out, cache}) {
        EXPECT_EQ(Attribute(xml, "name"), "GraphicEQ") << xml;
        EXPECT_EQ(Attribute(xml, "creator"), "HALDRIKS Co.,Ltd.");
        EXPECT_EQ(Attribute(xml, "n_inputs"), "2");
        EXPECT_EQ(Attribute(xml, "n_outputs"), "2");
        EXPECT_EQ(Attribute(xml, "category"), "Effect");
        EXPECT_EQ(Attribute(xml, "is_instrument"), "0");
        // 'Tvlq' packed big-endian: 0x54766C71.
        EXPECT_EQ(Attribute(xml, "id"), std::to_string(0x54766C71));
    }
    std::error_code ignore;
    fs::remove_all(dir, ignore);
}

}  // namespace
