// How close the measured values are to their limits.
#include "apps/station/records/Statistics.h"

#include <algorithm>
#include <cmath>

namespace Station {

using soci::into;
using soci::use;

namespace {

/// Sums of so many deviations from a pivot.
struct Sums {
    Integer count = 0;
    double least = 0;
    double most = 0;
    double deviations = 0;
    double squares = 0;
};

/// Nearly all runs count: it is several times faster to leave out the others than to look each up.
std::string Counting(const Period& period)
{
    std::string condition =
        " from measured where quantity = :quantity and number between -1e150 and 1e150 and run >= " +
        std::to_string(period.first) +
        " and run not in (select number from run where verdict is null "
        "or verdict not in ('PASS', 'FAIL'))";
    if (period.lastBefore > period.first) {
        condition += " and run not in (select number from run where started < " + std::to_string(period.since) + ")";
    }
    return condition;
}

void Fill(ValueStatistics& value, const Sums& sums, double pivot)
{
    const auto count = static_cast<double>(sums.count);
    value.count = sums.count;
    value.least = sums.least;
    value.most = sums.most;
    value.mean = std::clamp(pivot + sums.deviations / count, sums.least, sums.most);
    if (sums.count < 2) {
        return;
    }
    const double variance = (sums.squares - sums.deviations * sums.deviations / count) / (count - 1);
    value.deviation = std::sqrt(std::max(0.0, variance));
    if (!(*value.deviation > 0)) {
        return;
    }
    if (value.limits.least) {
        value.cpk = (value.mean - *value.limits.least) / (3 * *value.deviation);
    }
    if (value.limits.most) {
        const double above = (*value.limits.most - value.mean) / (3 * *value.deviation);
        value.cpk = std::min(value.cpk.value_or(above), above);
    }
}

std::vector<std::pair<Integer, ValueStatistics>> ReadQuantities(soci::session& sql)
{
    std::vector<std::pair<Integer, ValueStatistics>> quantities;
    Integer number = 0;
    ValueStatistics value;
    soci::statement rows = (sql.prepare << "select number, plan, check_name, name, unit, least, most from quantity "
                                           "order by plan, check_name, name, number",
                            into(number), into(value.plan), into(value.check), into(value.name), into(value.unit),
                            into(value.limits.least), into(value.limits.most));
    rows.execute();
    while (rows.fetch()) {
        quantities.emplace_back(number, value);
    }
    return quantities;
}

}  // namespace

std::vector<ValueStatistics> ReadStatistics(soci::session& sql, const Period& period)
{
    const std::string condition = Counting(period);
    std::vector<ValueStatistics> statistics;
    for (auto& [quantity, value] : ReadQuantities(sql)) {
        // The pivot is one of the values: however far they are from zero, the sums of squares do not cancel out.
        double pivot = 0;
        sql << "select number" + condition + " limit 1", into(pivot), use(quantity, "quantity");
        if (!sql.got_data()) {
            continue;
        }
        Sums sums;
        sql << "select count(*), min(number), max(number), sum(number - :pivot), "
               "sum((number - :pivot) * (number - :pivot))" +
                   condition,
            into(sums.count), into(sums.least), into(sums.most), into(sums.deviations), into(sums.squares),
            use(pivot, "pivot"), use(quantity, "quantity");
        Fill(value, sums, pivot);
        statistics.push_back(value);
    }
    return statistics;
}

}  // namespace Station
