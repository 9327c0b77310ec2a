// The check of the real-time clock, in several time zones.
#include "ioctl/CSysTime.h"

#include <climits>
#include <cstdlib>

#include <fcntl.h>

#include "tests/ioctl/Board.h"

namespace {

using Support::TakeTexts;
using Support::Texts;

constexpr auto BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr auto NEW_YORK = "EST5EDT,M3.2.0,M11.1.0";

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
        SetZone(BERLIN);
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

    IOCTL::CSysTime m_check;
};

template <class Time>
std::vector<int> Fields(const Time& time)
{
    return {time.tm_sec, time.tm_min, time.tm_hour, time.tm_mday, time.tm_mon, time.tm_year};
}

struct Date {
    const char* zone;
    int year, month, day, hour, minute;
    time_t epoch;
    int weekday;
};

TEST_F(SysTime, BothClocksAreSetToLocalTimeAndReadBack)
{
    constexpr Date DATES[] = {
        {"UTC0", 0, 1, 1, 0, 0, 946684800, 6},          {"UTC0", 38, 1, 19, 3, 15, 2147483700, 2},
        {BERLIN, 26, 11, 16, 16, 21, 1794842460, 1},    {BERLIN, 40, 7, 1, 12, 0, 2224749600, 0},
        {NEW_YORK, 26, 7, 4, 9, 30, 1783171800, 6},     {NEW_YORK, 26, 12, 31, 23, 59, 1798779540, 4},
        {"NPT-5:45", 26, 11, 16, 16, 21, 1794825360, 1}};
    for (const Date& date : DATES) {
        SCOPED_TRACE(date.epoch);
        SetZone(date.zone);
        const Support::Steps steps;
        EXPECT_EQ(Set(date.year, date.month, date.day, date.hour, date.minute, 35), 0);
        EXPECT_EQ(Sim::SystemClock(), std::chrono::seconds(date.epoch + 35));
        EXPECT_EQ(Fields(Sim::RtcRecords().back()),
                  (std::vector{35, date.minute, date.hour, date.day, date.month - 1, date.year + 100}));
        tm time = {};
        time.tm_yday = 777;
        time.tm_isdst = 77;
        EXPECT_EQ(m_check.GetSysTime(&time), 0);
        EXPECT_EQ(Fields(time), (std::vector{35, date.minute, date.hour, date.day, date.month - 1, date.year}));
        EXPECT_EQ(time.tm_wday, date.weekday);
        EXPECT_EQ(std::pair(time.tm_yday, time.tm_isdst), std::pair(777, 77)) << "left alone";
        const std::string device = "open /dev/rtc0 ";
        EXPECT_EQ(
            steps.Taken(),
            (Texts{"settimeofday 0", device + std::to_string(O_WRONLY), "ioctl " + std::to_string(0x4024700a),
                   "close 0", device + std::to_string(O_RDONLY), "ioctl " + std::to_string(0x80247009), "close 0"}));
    }
    EXPECT_EQ(TakeTexts("CSysTime").back(), "[D] [GetSysTime]  26/10/16 - 16:21:35\n\n");
}

TEST_F(SysTime, ADateThatIsNoneIsNormalisedForTheSystemClockAlone)
{
    EXPECT_EQ(Set(26, 13, 1), -1) << "the real-time clock refuses it";
    EXPECT_EQ(Sim::SystemClock(), std::chrono::seconds(1798758000)) << "1 January 2027, 00:00 local time";
    EXPECT_EQ(Fields(Sim::RtcRecords().at(0)), (std::vector{0, 0, 0, 1, 12, 126})) << "as given";
    Sim::Break("rtc-garbled");  // it holds day 0 of May 2000
    tm time = {};
    EXPECT_EQ(m_check.GetSysTime(&time), 0);
    EXPECT_EQ(Fields(time), (std::vector{time.tm_sec, 0, 0, 30, 3, 0}));
}

TEST_F(SysTime, ADateThatCannotBeConvertedIsRefused)
{
    SetZone("UTC0");
    {
        const Sim::Recording recording;
        EXPECT_EQ(Set(-31, 12, 31, 23, 59, 59), -1) << "converts to -1";
        EXPECT_EQ(Set(INT_MAX, 1, 1), -1);
        EXPECT_EQ(Set(INT_MAX - 100, 13, 1), -1);
        EXPECT_EQ(Set(0, INT_MIN, 1), -1);
        EXPECT_TRUE(recording.Calls().empty()) << "nothing is changed";
    }
    EXPECT_EQ(Set(-30, 1, 1, 0, 59, 59), 0);
    SetZone("CET-1");  // where this is the last second before the epoch, which converts to -1
    EXPECT_EQ(TakeTexts("CSysTime"), Texts()) << "setting logs nothing";
    tm time = {};
    time.tm_year = 77;
    EXPECT_EQ(m_check.GetSysTime(&time), -1);
    EXPECT_EQ(time.tm_year, 77) << "unchanged";
    EXPECT_EQ(TakeTexts("CSysTime"), Texts{"[E] [RTC] Date Convert Error!\n"});
}

}  // namespace
