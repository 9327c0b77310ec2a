// How close the measured values are to their limits.
#include "apps/station/records/Statistics.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <sstream>

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

    /// Of the squares of the deviations from the mean.
    [[nodiscard]] double Spread() const { return squares - deviations * deviations / static_cast<double>(count); }
    /// A pivot far from all values: what is left of their squares is mostly rounding.
    [[nodiscard]] bool AreRough() const
    {
        constexpr double SURE = 1e-6;
        return Spread() < SURE * squares;
    }
    [[nodiscard]] double Mean(double pivot) const
    {
        return std::clamp(pivot + deviations / static_cast<double>(count), least, most);
    }
};

using Pivots = std::map<Integer, double>;  // of the numbers of values

/// Nearly all runs are judged: it is faster to leave out the others than to look each up. The plus sign keeps SQLite
/// from seeking each run by itself.
std::string Counting(const Selection& selection)
{
    return " m.number between -1e150 and 1e150 and m.run >= " + std::to_string(selection.first) +
           " and m.run <= " + std::to_string(selection.last) +
           " and m.run not in (select number from run where verdict is null or verdict not in ('PASS', 'FAIL'))"
           " and (" +
           (selection.isWhole ? "1 = 1 or " : "") + "+m.run in (select r.number from run r where " +
           selection.Condition() + "))";
}

void Fill(ValueStatistics& value, const Sums& sums, double pivot)
{
    value.count = sums.count;
    value.least = sums.least;
    value.most = sums.most;
    value.mean = sums.Mean(pivot);
    if (sums.count < 2) {
        return;
    }
    value.deviation = std::sqrt(std::max(0.0, sums.Spread()) / static_cast<double>(sums.count - 1));
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

/// One of each value's numbers, whether its run counts or not.
Pivots FirstPivots(soci::session& sql, const Selection& selection)
{
    Pivots pivots;
    Integer number = 0;
    std::optional<double> pivot;
    soci::statement rows =
        (sql.prepare << "select q.number, (select m.number from measured m where m.quantity = q.number and "
                        "m.number between -1e150 and 1e150 and m.run >= " +
                            std::to_string(selection.first) + " and m.run <= " + std::to_string(selection.last) +
                            " order by m.run limit 1) from quantity q where :plan = '' or q.plan = :plan",
         into(number), into(pivot), use(selection.plan, "plan"));
    rows.execute();
    while (rows.fetch()) {
        if (pivot) {
            pivots[number] = *pivot;
        }
    }
    return pivots;
}

/// "(1, cast(3.3 as double precision)), (2, ...": a table of SQL.
std::string Rows(const Pivots& pivots)
{
    std::ostringstream rows;
    rows.precision(std::numeric_limits<double>::max_digits10);
    for (const auto& [number, pivot] : pivots) {
        rows << (rows.tellp() > 0 ? ", (" : "(") << number << ", cast(" << pivot << " as double precision))";
    }
    return rows.str();
}

/// Of all values at once. The cross joins let SQLite go from value to value, each in the order of its runs.
std::map<Integer, Sums> ReadSums(soci::session& sql, const Selection& selection, const Pivots& pivots)
{
    std::map<Integer, Sums> sums;
    if (pivots.empty()) {
        return sums;
    }
    Integer number = 0;
    Sums read;
    soci::statement rows =
        (sql.prepare << "with pivot (number, place) as (values " + Rows(pivots) +
                            ") select q.number, count(*), min(m.number), max(m.number), sum(m.number - p.place), "
                            "sum((m.number - p.place) * (m.number - p.place)) from quantity q cross join pivot p "
                            "cross join measured m where p.number = q.number and m.quantity = q.number and" +
                            Counting(selection) + " group by q.number",
         into(number), into(read.count), into(read.least), into(read.most), into(read.deviations), into(read.squares),
         use(selection.station, "station"));
    rows.execute();
    while (rows.fetch()) {
        sums[number] = read;
    }
    return sums;
}

/// However far the values are from zero, the sums of squares do not cancel out: should the first pivots turn out to be
/// far from them, the means are the next ones.
void Measure(soci::session& sql, const Selection& selection, Pivots& pivots, std::map<Integer, Sums>& sums)
{
    sums = ReadSums(sql, selection, pivots);
    Pivots better;
    for (const auto& [number, read] : sums) {
        if (read.AreRough()) {
            better[number] = pivots[number] = read.Mean(pivots[number]);
        }
    }
    for (const auto& [number, read] : ReadSums(sql, selection, better)) {
        sums[number] = read;
    }
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
    Pivots pivots = FirstPivots(sql, selection);
    if (only) {
        pivots = pivots.count(*only) > 0 ? Pivots{{*only, pivots[*only]}} : Pivots();
    }
    std::map<Integer, Sums> sums;
    Measure(sql, selection, pivots, sums);
    std::vector<ValueStatistics> statistics;
    for (ValueStatistics& value : ReadQuantities(sql, selection.plan)) {
        if (const auto found = sums.find(value.number); found != sums.end()) {
            Fill(value, found->second, pivots[value.number]);
            statistics.push_back(value);
        }
    }
    return statistics;
}

std::vector<Bin> ReadBins(soci::session& sql, const Selection& selection, const ValueStatistics& value)
{
    constexpr std::size_t BATCH = 5000;
    std::vector<Bin> bins = EmptyBins(value);
    std::vector<double> numbers(BATCH);
    soci::statement rows =
        (sql.prepare << "select m.number from measured m where m.quantity = :quantity and" + Counting(selection),
         into(numbers), use(value.number, "quantity"), use(selection.station, "station"));
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
