// graphiceq-host edit: the editor of the test plug-in (HT_MODE=editor)
// inside the host's window, with audio running on its own thread. Needs an
// X server (skipped without DISPLAY).
#include <cairo.h>
#include <sndfile.h>

#include <cstdlib>
#include <memory>

#include "Edit.h"  // BurstSignal
#include "HostTestUtil.h"

using namespace hosttest;

namespace {

bool HaveDisplay()
{
    const char* d = std::getenv("DISPLAY");
    return d && *d;
}

// A PNG's pixels as 0xRRGGBB; -1 outside or when it cannot be read.
struct Png {
    explicit Png(const std::string& path)
        : s(cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy)
    {
        if (cairo_surface_status(s.get()) == CAIRO_STATUS_SUCCESS)
            width = cairo_image_surface_get_width(s.get()), height = cairo_image_surface_get_height(s.get());
    }
    long At(int x, int y) const
    {
        if (x < 0 || y < 0 || x >= width || y >= height)
            return -1;
        const unsigned char* row = cairo_image_surface_get_data(s.get()) + y * cairo_image_surface_get_stride(s.get());
        return reinterpret_cast<const uint32_t*>(row)[x] & 0xFFFFFF;
    }
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> s;
    int width = 0, height = 0;
};

}  // namespace

TEST(HostEdit, EditorInTheHostsWindowWithAudioRunning)
{
    if (!HaveDisplay())
        GTEST_SKIP() << "no X display";
    TempDir dir;
    Mode mode("editor");
    setenv("HT_LOG", (dir / "log").c_str(), 1);
    const Result r = RunOk({"edit", TEST_PLUGIN, "--screenshot", dir / "shot.png", "--after", "1500", "--out",
                            dir / "out.wav", "--idle-ms", "20"});
    unsetenv("HT_LOG");

    // The window has the editor's size and shows what the editor drew: its
    // face, its corner mark, and a level bar raised by the audio.
    const Png png(dir / "shot.png");
    EXPECT_EQ(png.At(5, 5), 0x203040);
    EXPECT_EQ(png.width, 200);
    EXPECT_EQ(png.height, 120);
    EXPECT_EQ(png.At(170, 20), 0xC03020);
    EXPECT_EQ(png.At(40, 108), 0x30C060) << "no level bar: did audio reach the plug-in?";
    EXPECT_TRUE(Has(r.out, "screenshot"));

    // The host opened the editor into a window of the editor's size, idled
    // it often, processed on another thread and closed the editor before the
    // plug-in.
    const std::string log = ReadText(dir / "log");
    for (const char* want : {"editopen,editclose,", "parent=200x120", "process-on-ui-thread=0", "open-at-close=0",
                             "idles="})
        ASSERT_TRUE(Has(log, want));
    EXPECT_LT(log.find("editclose"), log.find("suspend"));
    const int idles = std::atoi(log.c_str() + log.find("idles=") + 6);
    EXPECT_GE(idles, 15) << "1500 ms at 20 ms per idle, with room for a loaded machine";
    EXPECT_LE(idles, 90) << "no faster than one idle per 20 ms";

    // The recording: stereo at the default rate, about as long as the run
    // and not silent.
    const ghost::Audio out = ghost::ReadAudioFile(dir / "out.wav");
    ASSERT_EQ(out.channels.size(), 2u);
    EXPECT_EQ(out.rate, 48000.0);
    EXPECT_GT(out.Frames(), 0.5 * 48000);
    EXPECT_LT(out.Frames(), 2.0 * 48000);
    EXPECT_GT(*std::max_element(out.channels[1].begin(), out.channels[1].end()), 0.01f);
}

TEST(HostEdit, LoopsTheGivenFileAtItsRate)
{
    if (!HaveDisplay())
        GTEST_SKIP() << "no X display";
    TempDir dir;
    Mode mode("editor");
    // A 0.1 s tone at 44.1 kHz, looped for half a second.
    ghost::Audio in = Sine(1, 44100, 0.5, 1000);
    for (auto& c : in.channels)
        c.resize(4410);
    ghost::WriteAudioFile(dir / "in.wav", in, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    RunOk({"edit", TEST_PLUGIN, dir / "in.wav", "--after", "500", "--out", dir / "out.wav"});
    const ghost::Audio out = ghost::ReadAudioFile(dir / "out.wav");
    EXPECT_EQ(out.rate, 44100.0);
    ASSERT_GT(out.Frames(), 3 * 4410u);
    // Flat test plug-in: the loop comes out as it went in, both channels fed.
    for (size_t i = 0; i < 3 * 4410; i += 97) {
        ASSERT_NEAR(out.channels[0][i], in.channels[0][i % 4410], 1e-3) << i;
        ASSERT_NEAR(out.channels[1][i], in.channels[0][i % 4410], 1e-3) << i;
    }
}

TEST(HostEdit, RefusalsAndUsageErrors)
{
    // Checked before any window opens, so no display is needed.
    ExpectRefusals({
        {{"edit", TEST_PLUGIN, "--after", "10"}, 1, "has no editor"},
        {{"edit", TEST_PLUGIN, "--screenshot", "x.png"}, 2, "--screenshot needs --after"},
        {{"edit", TEST_PLUGIN, "--idle-ms", "0"}, 2, "--idle-ms"},
        {{"edit", TEST_PLUGIN, "a.wav", "b.wav"}, 2, "edit expects [PLUGIN] [IN.wav]"},
        {{"edit", TEST_PLUGIN, "--frobnicate"}, 2, "unknown option --frobnicate"},
        {{"edit", NOT_A_PLUGIN, "--after", "10"}, 1, "NotAPlugin"},
    });
    // An editor but no X server to show it on.
    const char* display = std::getenv("DISPLAY");
    const std::string saved = display ? display : "";
    setenv("DISPLAY", ":9999", 1);
    ExpectRefusals({{{"edit", TEST_PLUGIN, "--after", "10"}, 1, "cannot open the X display :9999", "editor"}});
    setenv("DISPLAY", saved.c_str(), 1);
}

TEST(HostEdit, BurstSignalRisesAndFalls)
{
    // Four bursts at their own levels, each decaying: block peaks early in a
    // burst are well above those at its end, and never clip.
    const ghost::Audio a = ghost::BurstSignal(48000, 2, 4.8);
    ASSERT_EQ(a.channels.size(), 2u);
    const size_t burst = a.Frames() / 4;
    auto peakOf = [&](size_t from, size_t n) {
        float p = 0;
        for (size_t i = from; i < from + n; ++i)
            p = std::max(p, std::fabs(a.channels[0][i]));
        return 20 * std::log10(p);
    };
    const double levels[] = {-6, -18, -3, -12};
    for (int k = 0; k < 4; ++k) {
        const double start = peakOf(k * burst, 4800), end = peakOf((k + 1) * burst - 4800, 4800);
        EXPECT_GT(start, end + 20) << "burst " << k;
        EXPECT_GT(start, levels[k] - 10) << "burst " << k;
        EXPECT_LT(start, levels[k] + 0.5) << "burst " << k;
    }
    EXPECT_NE(a.channels[0][1000], a.channels[1][1000]) << "the channels are independent";
}
