// Values and their limits, and texts as they are shown.
#include "apps/station/Types.h"

#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include "apps/station/report/JUnit.h"

using namespace Station;
using testing::HasSubstr;

TEST(Types, ValuesAreHeldAgainstEachOfTheirLimits)
{
    struct Held {
        std::variant<double, std::string> value;
        Limits limits;
        bool isWithin;
        const char* limitsText;
    };
    const Held held[] = {
        {2.0, {}, true, ""},
        {2.0, {2.0, {}, {}}, true, "at least 2 V"},
        {2.0, {2.5, {}, {}}, false, "at least 2.5 V"},
        {2.0, {{}, 2.0, {}}, true, "at most 2 V"},
        {2.0, {{}, 1.5, {}}, false, "at most 1.5 V"},
        {2.0, {1.0, 1.5, {}}, false, "1 to 1.5 V"},
        {2.0, {{}, {}, "2"}, true, "2 V"},
        {2.0, {{}, {}, "2.0"}, false, "2.0 V"},
        {std::numeric_limits<double>::infinity(), {1.0, {}, {}}, false, "at least 1 V"},
        {"on", {{}, {}, "on"}, true, "on V"},
        {"on", {{}, {}, "off"}, false, "off V"},
        {"2", {1.0, {}, {}}, false, "at least 1 V"},
        {"2", {{}, 3.0, {}}, false, "at most 3 V"},
    };
    for (const Held& one : held) {
        const Value value = {"v", one.value, "V", one.limits};
        EXPECT_EQ(value.IsWithin(), one.isWithin) << value.Text() << ", " << value.LimitsText();
        EXPECT_EQ(value.LimitsText(), one.limitsText);
        EXPECT_EQ(one.limits.IsAny(), *one.limitsText != '\0');
    }
    EXPECT_EQ(NumberText(0.1 + 0.2), "0.3");
    EXPECT_EQ(NumberText(1e9 + 0.003), "1000000000.003");
    EXPECT_EQ(NumberText(-0.0), "0");
    const Value above = {"v", std::nextafter(0.3, 1), "V", {{}, 0.3, {}}};
    EXPECT_NE(above.Text(), "0.3 V") << "it looks like its limit";
    EXPECT_NE("at most " + above.Text(), above.LimitsText());
}

TEST(Types, TextsOfOthersDoNoHarm)
{
    const std::string text = "\x1B[2J\r\n\t\x7F\xC2\x9B\xC2\xA0\xC3\x9F\xFF<\xEF\xBF\xBF\xEF\xBF\xBE";
    EXPECT_EQ(Shown(text), "\\x1B[2J\\x0D\\x0A\\x09\\x7F\\x9B\xC2\xA0\xC3\x9F\xEF\xBF\xBD<\xEF\xBF\xBF\xEF\xBF\xBE");
    RunRecord run;
    run.unit = text;
    EXPECT_THAT(ToJUnit(run), HasSubstr("\xEF\xBF\xBD[2J\xEF\xBF\xBD&#10;\xEF\xBF\xBD\x7F\xC2\x9B\xC2\xA0\xC3\x9F"
                                        "\xEF\xBF\xBD&lt;\xEF\xBF\xBD\xEF\xBF\xBD\""));
}
