// What the product's tests do not notice of the framework stand-in's threads and exceptions.
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
