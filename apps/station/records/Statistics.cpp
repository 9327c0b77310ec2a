// How close the measured values are to their limits.
#include "apps/station/records/Statistics.h"

#include <algorithm>
#include <cmath>
#include <iterator>

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
std::string Counting(const Selection& selection)
{
    return " from measured where quantity = :quantity and number between -1e150 and 1e150 and run >= " +
           std::to_string(selection.first) + " and run <= " + std::to_string(selection.last) +
           " and run not in (select number from run where verdict is null or verdict not in ('PASS', 'FAIL'))"
           " and (" +
           (selection.isWhole ? "1 = 1 or " : "") + "run not in (select r.number from run r where not (" +
           selection.Condition() + ")))";
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

std::vector<ValueStatistics> ReadQuantities(soci::session& sql, const std::string& plan)
{
    std::vector<ValueStatistics> quantities;
    ValueStatistics value;
    soci::statement rows = (sql.prepare << "select number, plan, check_name, name, unit, least, most from quantity "
                                           "where :plan = '' or plan = :plan order by plan, check_name, name, number",
                            into(value.number), into(value.plan), into(value.check), into(value.name), into(value.unit),
                            into(value.limits.least), into(value.limits.most), use(plan, "plan"));
    rows.execute();
    while (rows.fetch()) {
        quantities.push_back(value);
    }
    return quantities;
}

/// 1, 2 or 5 times a power of ten, and not less than the number.
double RoundUp(double number)
{
    const double power = std::pow(10, std::floor(std::log10(number)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= number) {
            return factor * power;
        }
    }
    return 10 * power;
}

std::vector<Bin> EmptyBins(const ValueStatistics& value)
{
    constexpr double MOST = 38;
    const double wanted = std::min(std::ceil(std::sqrt(static_cast<double>(value.count))), MOST);
    const double width = RoundUp((value.most - value.least) / wanted);
    const double start = std::floor(value.least / width) * width;
    if (!(width > 0 && value.least + width > value.least && value.most + width > value.most)) {
        return {{value.least, value.most, 0}};  // closer to one another than such numbers can tell
    }
    const auto edge = [&](std::size_t place) { return start + static_cast<double>(place) * width; };
    std::vector<Bin> bins;
    while (bins.empty() || bins.back().to <= value.most) {
        bins.push_back({edge(bins.size()), edge(bins.size() + 1), 0});
    }
    return bins;
}

}  // namespace

std::vector<ValueStatistics> ReadStatistics(soci::session& sql, const Selection& selection, std::optional<Integer> only)
{
    const std::string condition = Counting(selection);
    std::vector<ValueStatistics> statistics;
    for (ValueStatistics& value : ReadQuantities(sql, selection.plan)) {
        if (value.number != only.value_or(value.number)) {
            continue;
        }
        // The pivot is one of the values: however far they are from zero, the sums of squares do not cancel out.
        double pivot = 0;
        sql << "select number" + condition + " limit 1", into(pivot), use(value.number, "quantity"),
            use(selection.station, "station");
        if (!sql.got_data()) {
            continue;
        }
        Sums sums;
        sql << "select count(*), min(number), max(number), sum(number - :pivot), "
               "sum((number - :pivot) * (number - :pivot))" +
                   condition,
            into(sums.count), into(sums.least), into(sums.most), into(sums.deviations), into(sums.squares),
            use(pivot, "pivot"), use(value.number, "quantity"), use(selection.station, "station");
        Fill(value, sums, pivot);
        statistics.push_back(value);
    }
    return statistics;
}

std::vector<Bin> ReadBins(soci::session& sql, const Selection& selection, const ValueStatistics& value)
{
    constexpr std::size_t BATCH = 5000;
    std::vector<Bin> bins = EmptyBins(value);
    std::vector<double> numbers(BATCH);
    soci::statement rows = (sql.prepare << "select number" + Counting(selection), into(numbers),
                            use(value.number, "quantity"), use(selection.station, "station"));
    rows.execute();
    while (rows.fetch()) {
        for (const double number : numbers) {
            const auto next = std::upper_bound(bins.begin(), bins.end(), number,
                                               [](double sought, const Bin& bin) { return sought < bin.from; });
            ++(next == bins.begin() ? next : std::prev(next))->count;
        }
        numbers.resize(BATCH);
    }
    return bins;
}

}  // namespace Station
