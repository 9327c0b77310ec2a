// The framework stand-in's thread.
#include "ostrel/Thread.h"

#include <atomic>
#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "ostrel/Exception.h"
#include "tests/support/Wait.h"

namespace {

using Support::WaitFor;

class Worker : public Ostrel::Service::Thread {
public:
    ~Worker() override { Stop(true); }
    int Run() override
    {
        ++runs;
        work();
        return 0;
    }

    std::function<void()> work = [] {};
    std::atomic<int> runs = 0;
};

TEST(Thread, RunsUntilItIsToldToStop)
{
    Worker worker;
    worker.work = [&worker] { WaitFor([&worker] { return worker.IsStop(); }); };
    EXPECT_FALSE(worker.IsStop());
    ASSERT_NE(worker.Start(), 0);
    EXPECT_FALSE(worker.IsStop());
    EXPECT_EQ(worker.Start(), 0) << "it is still at work";
    worker.Stop(false);
    EXPECT_TRUE(worker.IsStop());
    ASSERT_NE(worker.Start(), 0) << "a stopped thread is waited for";
    EXPECT_FALSE(worker.IsStop());
    worker.Stop(true);
    EXPECT_EQ(worker.runs, 2);
}

TEST(Thread, IsStoppedWhenRunIsOver)
{
    Worker worker;
    for (int round = 1; round <= 3; ++round) {
        ASSERT_NE(worker.Start(), 0);
        ASSERT_TRUE(WaitFor([&worker] { return worker.IsStop(); }));
        EXPECT_EQ(worker.runs, round);
    }
}

TEST(Thread, MayStopItselfAndStartAgain)
{
    Worker worker;
    worker.work = [&worker] { worker.Stop(false); };
    for (int round = 1; round <= 3; ++round) {
        ASSERT_NE(worker.Start(), 0);
        ASSERT_TRUE(WaitFor([&worker] { return worker.IsStop(); }));
    }
    worker.Stop(true);
    EXPECT_EQ(worker.runs, 3);
}

TEST(Thread, ReportsExceptionsAndGoesOn)
{
    Worker worker;
    const auto reportOf = [&worker](std::function<void()> work) {
        worker.work = std::move(work);
        testing::internal::CaptureStderr();
        EXPECT_NE(worker.Start(), 0);
        worker.Stop(true);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(reportOf([] { throw std::runtime_error("standard"); }),
              "[Ostrel::Thread] ended by an exception: standard\n");
    EXPECT_EQ(reportOf([] { Ostrel::Common::Exception::Throw("pointer"); }),
              "[Ostrel::Thread] ended by an exception: pointer\n");
    EXPECT_EQ(reportOf([] { throw 1; }), "[Ostrel::Thread] ended by an exception: of unknown type\n");
}

TEST(Exception, StaysValidForItsCatcher)
{
    const Ostrel::Common::Exception* first = nullptr;
    for (int i = 0; i < Ostrel::Common::Exception::KEPT; ++i) {
        try {
            Ostrel::Common::Exception::Throw(i == 0 ? "first" : "later");
        } catch (const Ostrel::Common::Exception* exception) {
            first = first == nullptr ? exception : first;
        }
    }
    EXPECT_STREQ(first->GetMessage(), "first");
}

}  // namespace
