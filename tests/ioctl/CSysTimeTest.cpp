// The check of the real-time clock, in several time zones.
#include "ioctl/CSysTime.h"

#include <climits>
#include <cstdlib>

#include <fcntl.h>

#include "tests/ioctl/Board.h"

namespace {

using IOCTL::CSysTime;
using Support::TakeTexts;
using Support::Texts;

void SetZone(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

class SysTime : public Support::Board {
protected:
    void SetUp() override
    {
        Board::SetUp();
        SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
        TakeTexts("CSysTime");
    }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
        Board::TearDown();
    }

    int Set(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
    {
        return m_check.SetSysTime(year, month, day, hour, minute, second);
    }

    CSysTime m_check;
};

/// Seconds, minutes, hours, day, month, year and weekday.
std::vector<int> Fields(const tm& time)
{
    return {time.tm_sec, time.tm_min, time.tm_hour, time.tm_mday, time.tm_mon, time.tm_year, time.tm_wday};
}

std::vector<int> Fields(const rtc_time& time)
{
    return {time.tm_sec, time.tm_min, time.tm_hour, time.tm_mday, time.tm_mon, time.tm_year};
}

struct Date {
    const char* zone;
    int year, month, day, hour, minute;
    time_t epoch;
    int weekday;
};

class SysTimeZone : public SysTime, public testing::WithParamInterface<Date> {};

TEST_P(SysTimeZone, SetsBothClocksToLocalTimeAndReadsItBack)
{
    const Date& date = GetParam();
    SetZone(date.zone);
    const Sim::Recording recording;
    EXPECT_EQ(Set(date.year, date.month, date.day, date.hour, date.minute, 35), 0);
    EXPECT_EQ(Sim::SystemClock(), std::chrono::seconds(date.epoch + 35));
    ASSERT_EQ(Sim::RtcRecords().size(), 1U);
    EXPECT_EQ(Fields(Sim::RtcRecords()[0]),
              (std::vector{35, date.minute, date.hour, date.day, date.month - 1, date.year + 100}));
    EXPECT_EQ(TakeTexts("CSysTime"), Texts());

    tm time = {};
    time.tm_yday = 777;
    time.tm_isdst = 77;
    EXPECT_EQ(m_check.GetSysTime(&time), 0);
    EXPECT_EQ(Fields(time),
              (std::vector{35, date.minute, date.hour, date.day, date.month - 1, date.year, date.weekday}));
    EXPECT_EQ(time.tm_yday, 777);
    EXPECT_EQ(time.tm_isdst, 77);

    const std::string device = "open /dev/rtc0 ";
    EXPECT_EQ(Support::Calls(recording),
              (Texts{"settimeofday 0", device + std::to_string(O_WRONLY), "ioctl " + std::to_string(0x4024700a),
                     "close 0", device + std::to_string(O_RDONLY), "ioctl " + std::to_string(0x80247009), "close 0"}));
}

INSTANTIATE_TEST_SUITE_P(Dates, SysTimeZone,
                         testing::Values(Date{"UTC0", 0, 1, 1, 0, 0, 946684800, 6},
                                         Date{"UTC0", 38, 1, 19, 3, 15, 2147483700, 2},
                                         Date{"UTC0", 100, 3, 1, 0, 0, 4107542400, 1},
                                         Date{"CET-1CEST,M3.5.0,M10.5.0/3", 26, 11, 16, 16, 21, 1794842460, 1},
                                         Date{"CET-1CEST,M3.5.0,M10.5.0/3", 26, 7, 1, 12, 0, 1782900000, 3},
                                         Date{"CET-1CEST,M3.5.0,M10.5.0/3", 40, 7, 1, 12, 0, 2224749600, 0},
                                         Date{"EST5EDT,M3.2.0,M11.1.0", 26, 7, 4, 9, 30, 1783171800, 6},
                                         Date{"EST5EDT,M3.2.0,M11.1.0", 26, 12, 31, 23, 59, 1798779540, 4},
                                         Date{"NPT-5:45", 26, 11, 16, 16, 21, 1794825360, 1}));

TEST_F(SysTime, ADateThatIsNoneIsNormalisedForTheSystemClockAlone)
{
    EXPECT_EQ(Set(26, 13, 1), -1) << "the real-time clock refuses it";
    EXPECT_EQ(Sim::SystemClock(), std::chrono::seconds(1798758000)) << "1 January 2027, 00:00 local time";
    ASSERT_EQ(Sim::RtcRecords().size(), 1U);
    EXPECT_EQ(Fields(Sim::RtcRecords()[0]), (std::vector{0, 0, 0, 1, 12, 126})) << "as given";
    EXPECT_EQ(TakeTexts("CSysTime"), Texts());
}

TEST_F(SysTime, ADateThatCannotBeConvertedChangesNothing)
{
    SetZone("UTC0");
    const Sim::Recording recording;
    EXPECT_EQ(Set(-31, 12, 31, 23, 59, 59), -1) << "converts to -1";
    EXPECT_EQ(Set(INT_MAX, 1, 1), -1);
    EXPECT_EQ(Set(INT_MAX - 100, 13, 1), -1);
    EXPECT_EQ(Set(0, INT_MIN, 1), -1);
    EXPECT_TRUE(recording.Calls().empty());
    EXPECT_EQ(TakeTexts("CSysTime"), Texts());
}

TEST_F(SysTime, WithoutTheDeviceOnlyTheSystemClockIsSet)
{
    Sim::Break("rtc-missing");
    EXPECT_EQ(Set(26, 11, 16), -1);
    EXPECT_EQ(Sim::SystemClock(), std::chrono::seconds(1794783600));
    EXPECT_EQ(TakeTexts("CSysTime"), Texts());
    tm time = {};
    time.tm_year = 77;
    EXPECT_EQ(m_check.GetSysTime(&time), -1);
    EXPECT_EQ(time.tm_year, 77) << "unchanged";
    EXPECT_EQ(TakeTexts("CSysTime"), Texts{"[E] [RTC] RTC_DEV Open Error!\n"});
}

TEST_F(SysTime, WhatTheDeviceHoldsIsNormalised)
{
    Sim::Break("rtc-garbled");  // day 0 of May 2000
    tm time = {};
    EXPECT_EQ(m_check.GetSysTime(&time), 0);
    EXPECT_EQ(Fields(time), (std::vector{time.tm_sec, 0, 0, 30, 3, 0, 0}));
}

TEST_F(SysTime, ADateOfTheDeviceThatCannotBeConvertedIsReported)
{
    SetZone("UTC0");
    ASSERT_EQ(Set(-30, 1, 1, 0, 59, 59), 0);
    SetZone("CET-1");  // where this is the last second before the epoch, which converts to -1
    tm time = {};
    time.tm_year = 77;
    EXPECT_EQ(m_check.GetSysTime(&time), -1);
    EXPECT_EQ(time.tm_year, 77) << "unchanged";
    EXPECT_EQ(TakeTexts("CSysTime"), Texts{"[E] [RTC] Date Convert Error!\n"});
}

}  // namespace
