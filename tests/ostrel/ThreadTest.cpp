// Faults of the stand-in's threads and exceptions that the product's own tests do not notice.
#include "ostrel/Thread.h"

#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "ostrel/Exception.h"

TEST(Thread, ReportsTheExceptionThatEndsItAndStartsAgain)
{
    struct Worker : Ostrel::Service::Thread {
        int Run() override { return work(), 0; }
        std::function<void()> work;
    } worker;
    const auto reportOf = [&worker](std::function<void()> work) {
        worker.work = std::move(work);
        testing::internal::CaptureStderr();
        EXPECT_NE(worker.Start(), 0);
        worker.Stop(true);
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_NE(reportOf([] { throw std::runtime_error("standard"); }).find("exception: standard"), std::string::npos);
    EXPECT_NE(reportOf([] { Ostrel::Common::Exception::Throw("framework"); }).find("framework"), std::string::npos);
    EXPECT_NE(reportOf([] { throw 1; }).find("unknown"), std::string::npos);
}
