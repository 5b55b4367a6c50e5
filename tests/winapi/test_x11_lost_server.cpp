// The X server dies under an open editor: Xlib would end the process, and
// the host with it. A private Xvfb is killed under a window tree; the pump
// reports the windows gone, the process carries on, the host's handlers stay.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "CDC.h"
#include "CWnd.h"
#include "test_support.h"
#include "x11/X11Bridge.h"

extern char** environ;

namespace {

// An Xvfb of our own. It picks a free display number itself (-displayfd
// writes the number it took), so it never collides with another server.
struct PrivateServer {
    bool Start()
    {
        int fds[2];
        if (pipe(fds) != 0) return false;
        std::string fdArg = std::to_string(fds[1]);
        const char* argv[] = {"Xvfb", "-displayfd", fdArg.c_str(), "-screen", "0", "320x240x24",
                              "-nolisten", "tcp", nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        int rc = posix_spawnp(&m_pid, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        if (rc != 0) m_pid = -1;
        // The number, one character at a time, until its newline or EOF.
        std::string number;
        char c;
        pollfd p{fds[0], POLLIN, 0};
        while (rc == 0 && number.find('\n') == std::string::npos && poll(&p, 1, 10000) > 0 && read(fds[0], &c, 1) == 1)
            number += c;
        close(fds[0]);
        if (number.find('\n') == std::string::npos) return false;
        m_display = ":" + number.substr(0, number.size() - 1);
        return true;
    }
    void Kill()
    {
        if (m_pid > 0) kill(m_pid, SIGKILL), waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
    ~PrivateServer() { Kill(); }
    pid_t m_pid = -1;
    std::string m_display;
};

// Paints text, so fonts and surfaces are in use when the server dies.
class CTickingWnd : public CRecorder {
public:
    afx_msg void OnPaint()
    {
        CPaintDC dc(this);
        dc.FillSolidRect(0, 0, 20, 20, RGB(0, 128, 0));
        dc.TextOut(2, 2, CString("GraphicEQ"));
    }
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(CTickingWnd, CRecorder)
    ON_WM_PAINT()
END_MESSAGE_MAP()

int g_hostIOErrors = 0;
int HostIOHandler(Display*) { return ++g_hostIOErrors, 0; }
// A host that survives its own connection dying, so the test can go on.
void HostExitHandler(Display*, void*) {}

// A private server, DISPLAY pointing at it (the layer opens its own
// connection from DISPLAY), and a host with its own connection, its own
// I/O error handlers and a parent window for the editor.
class LostServer : public ::testing::Test {
protected:
    PrivateServer server;
    std::string savedDisplay = getenv("DISPLAY") ? getenv("DISPLAY") : "";
    Display* host = nullptr;
    XIOErrorHandler previous = nullptr;
    Window parent = 0;

    void SetUp() override
    {
        if (!server.Start()) GTEST_SKIP() << "Xvfb is not installed or did not start";
        setenv("DISPLAY", server.m_display.c_str(), 1);
        host = XOpenDisplay(server.m_display.c_str());
        ASSERT_NE(host, nullptr);
        previous = XSetIOErrorHandler(HostIOHandler);
        XSetIOErrorExitHandler(host, HostExitHandler, nullptr);
        g_hostIOErrors = 0;
        parent = XCreateSimpleWindow(host, DefaultRootWindow(host), 0, 0, 200, 150, 0, 0, 0x404040);
        XMapWindow(host, parent);
        XSync(host, False);
    }

    // The layer never handed its own failure to the host's handler, and the
    // host's handler is back in charge of the host's connection.
    void ExpectHostHandlersUntouched()
    {
        EXPECT_EQ(g_hostIOErrors, 0);
        XSync(host, False);
        EXPECT_EQ(g_hostIOErrors, 1) << "the host hears of its own connection";
        EXPECT_EQ(XSetIOErrorHandler(previous), &HostIOHandler);
        previous = nullptr;
    }

    void TearDown() override
    {
        if (previous) XSetIOErrorHandler(previous);
        if (host) XCloseDisplay(host);
        savedDisplay.empty() ? unsetenv("DISPLAY") : setenv("DISPLAY", savedDisplay.c_str(), 1);
    }
};

}  // namespace

TEST_F(LostServer, WindowsAreReportedGoneAndTheProcessSurvives)
{
    int lostBefore = x11::LostConnectionCount();
    int threads = CountEntries("/proc/self/task");
    {
        CWnd anchor;
        ASSERT_TRUE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent)));
        CTickingWnd panel, entry;
        ASSERT_TRUE(panel.Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, 160, 100), &anchor, 1));
        ASSERT_TRUE(entry.Create(nullptr, "", WS_CHILD | WS_VISIBLE, CRect(10, 10, 60, 30), &panel, 2));
        panel.SetTimer(1024, 10);
        entry.SetFocus();
        ASSERT_TRUE(PumpUntil([&] { return panel.Count(WM_PAINT) > 0 && panel.Count(WM_TIMER) > 0; }));

        server.Kill();
        panel.PostMessage(WM_USER, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return !panel.m_bCreated; })) << "the pump notices the dead server";

        // The windows are reported gone as if destroyed, children included.
        EXPECT_EQ(panel.Count(WM_DESTROY), 1);
        EXPECT_EQ(entry.Count(WM_DESTROY), 1);
        EXPECT_FALSE(entry.m_bCreated);
        EXPECT_EQ(panel.GetSafeHwnd(), nullptr);
        EXPECT_EQ(anchor.GetSafeHwnd(), nullptr) << "the host's window is let go";
        EXPECT_EQ(x11::OpenConnectionCount(), 0) << "the broken display is closed";
        EXPECT_EQ(x11::LostConnectionCount(), lostBefore + 1);
        EXPECT_EQ(CWnd::GetFocus(), nullptr);

        // Nothing more arrives, and using the objects is harmless.
        int timers = panel.Count(WM_TIMER);
        PumpFor(60);
        EXPECT_EQ(panel.Count(WM_TIMER), timers);
        panel.Invalidate();
        panel.MoveWindow(0, 0, 10, 10);
        CClientDC(&panel).FillSolidRect(0, 0, 5, 5, RGB(1, 2, 3));
        EXPECT_FALSE(panel.DestroyWindow());
        EXPECT_FALSE(anchor.AdoptHostWindow(reinterpret_cast<void*>(parent))) << "no server to connect to";
        EXPECT_FALSE(panel.Create(nullptr, "again", WS_CHILD | WS_VISIBLE, CRect(0, 0, 10, 10), &anchor, 1));
    }
    EXPECT_EQ(CountEntries("/proc/self/task"), threads) << "threads left";
    ExpectHostHandlersUntouched();
}

// The host closes the editor straight away, before any pump noticed the
// dead server: the close itself runs into the failure and must finish.
TEST_F(LostServer, ClosingRightAfterTheServerDiedFinishes)
{
    int lostBefore = x11::LostConnectionCount();
    auto anchor = std::make_unique<CWnd>();
    ASSERT_TRUE(anchor->AdoptHostWindow(reinterpret_cast<void*>(parent)));
    auto panel = std::make_unique<CTickingWnd>();
    ASSERT_TRUE(panel->Create(nullptr, "UIWindow", WS_CHILD | WS_VISIBLE, CRect(0, 0, 160, 100), anchor.get(), 1));
    panel->SetTimer(1024, 10);
    ASSERT_TRUE(PumpUntil([&] { return panel->Count(WM_PAINT) > 0; }));

    server.Kill();
    // The editor's close: destroy the panel, delete it and the anchor.
    EXPECT_TRUE(panel->DestroyWindow());
    EXPECT_EQ(panel->Count(WM_DESTROY), 1);
    panel.reset();
    anchor.reset();
    AfxPumpMessages(0);
    EXPECT_EQ(x11::OpenConnectionCount(), 0);
    EXPECT_EQ(x11::LostConnectionCount(), lostBefore + 1) << "the close ran into the dead connection";
    ExpectHostHandlersUntouched();
}
