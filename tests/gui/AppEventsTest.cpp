// What crosses from worker threads to the user-interface thread: the wait
// event, and command events posted to a frame that may already be gone.
#include "GuiTest.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfEvents.h"

#include <chrono>
#include <thread>

namespace {
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
}  // namespace

TEST(WaitEvent, ASetFromAnotherThreadEndsTheWaitPromptly)
{
    VelkonfApp& app = wxGetApp();
    app.ResetEventWaitWho();
    const auto start = Clock::now();
    std::thread setter([&] {
        std::this_thread::sleep_for(milliseconds(100));
        app.SetEventWaitWho();
    });
    EXPECT_TRUE(app.WaitEventWaitWho(10));
    setter.join();
    EXPECT_LT(Clock::now() - start, milliseconds(2000));
}

TEST(WaitEvent, AWaitThatNobodySetsEndsFalseAfterItsTime)
{
    VelkonfApp& app = wxGetApp();
    app.ResetEventWaitWho();
    const auto start = Clock::now();
    EXPECT_FALSE(app.WaitEventWaitWho(1));
    const auto spent = Clock::now() - start;
    EXPECT_GE(spent, milliseconds(1000)) << "a whole second, wherever in its second the wall clock stood";
    EXPECT_LT(spent, milliseconds(2500));
}

TEST(PostToFrame, AnEventPostedAfterTheFrameIsGoneIsDropped)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    VelkonfApp& app = wxGetApp();
    ASSERT_TRUE(gui::RunLoopUntilExit([&] { app.CloseByRequest(); }));
    ASSERT_EQ(app.m_Frame.load(), nullptr);

    int delivered = 0;
    app.Bind(MNG_PACK, [&](wxCommandEvent& e) {
        ++delivered;
        e.Skip();   // on to the application's own handler, which finds no frame
    });
    std::thread worker([&] {
        app.PostToFrame(MNG_PACK);
        app.PostToFrame(NO_LINK);
    });
    worker.join();
    app.ProcessPendingEvents();
    EXPECT_EQ(delivered, 1);
    EXPECT_EQ(app.OnExit(), 0);
}
