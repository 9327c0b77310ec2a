// How many units pass, what they fail for, and how close the measured values are to their limits.
import {drawHistogram, drawPareto, drawYield} from "./charts.js";
import {ask, bindForm, element, fillTable, limitsText, only, planText, query, rounded, withValues, work} from "./records.js";

const filters = only("from", "to", "plan", "station");
const by = query.get("by") || "day";
const at = (id) => document.getElementById(id);

/** Never 100 % when one failed. */
function percent(ratio) {
  return ratio === null ? "–" : `${(Math.floor(ratio * 10000) / 100).toFixed(2)} %`;
}

function shareText(ratio, passed, units) {
  return ratio === null ? "–" : `${percent(ratio)} (${passed} of ${units})`;
}

const yieldColumns = {
  Runs: (group) => group.runs,
  "First-pass yield": (group) => shareText(group.first_yield, group.first_passed, group.first_units),
  "Final yield": (group) => shareText(group.final_yield, group.final_passed, group.final_units),
};

function showTotal({total: [total], not_judged: notJudged}) {
  const others = notJudged.map(({verdict, runs}) => `${runs} ${verdict}`).join(", ");
  const entries = [...Object.entries(yieldColumns).map(([name, show]) => [name, show(total)]), ["Not counted", others || "none"]];
  at("total").append(...entries.map(([name, text]) => element("div", {}, element("dt", {}, name), element("dd", {}, `${text}`))));
}

function showGroups(groups) {
  const isWithPlan = by === "plan" || by === "check";
  const label = (group) => (isWithPlan && !(by === "check" && query.get("plan")) ? planText(group.plan, group.name) : group.name);
  at("groups-title").textContent = `First-pass and final yield by ${by}`;
  drawYield("groups-chart", groups.map((group) => ({...group, label: label(group)})), by === "day");
  const names = isWithPlan ? {Plan: (group) => group.plan} : {};
  const second = {plan: "Version", check: "Check", day: "Day", station: "Station"}[by];
  fillTable(at("groups"), {...names, [second]: (group) => group.name, ...yieldColumns}, groups);
}

function showFailures(failures) {
  const total = failures.reduce((sum, failure) => sum + failure.runs, 0);
  const isOnePlan = failures.every((failure) => failure.plan === failures[0].plan);
  let sum = 0;
  const shown = failures.map((failure) => ({
    ...failure,
    label: isOnePlan ? failure.check : `${failure.check} (${failure.plan})`,
    cumulated: (sum += failure.runs) / total,
  }));
  drawPareto("failures-chart", shown);
  fillTable(at("failures"), {Check: (row) => row.check, Plan: (row) => row.plan, Runs: (row) => row.runs,
    Units: (row) => row.units, "Cumulated share": (row) => percent(row.cumulated)}, shown);
}

const limitsOf = (value) => limitsText(value.lower_limit, value.upper_limit, value.unit);
const cpkText = (value) => (value.cpk === null ? "–" : value.cpk.toFixed(2));

function showHistogram({values: [value], bins}) {
  const areDrawn = drawHistogram("bins-chart", bins, value);
  at("value-title").textContent = `${value.value} of ${value.check}, ${value.plan}`;
  at("value-text").textContent = `Cpk ${cpkText(value)}, limits: ${limitsOf(value) || "none"}` +
    `${areDrawn ? "" : " (too far off to be drawn)"}; ${value.count} values, mean ${rounded(value.mean)} ${value.unit}, ` +
    `standard deviation ${rounded(value.standard_deviation)} ${value.unit}, least ${rounded(value.least)}, most ${rounded(value.most)}`;
  fillTable(at("bins"), {"From": (bin) => rounded(bin.from), "To below": (bin) => rounded(bin.to),
    Values: (bin) => bin.count}, bins);
}

function showValues(values, chosen) {
  const link = (value) => element("a", {href: `?${withValues({value: value.number})}#values-section`,
    ariaCurrent: value.number === chosen ? "true" : null}, value.value);
  fillTable(at("values"), {Value: link, Check: (row) => row.check, Plan: (row) => row.plan, Count: (row) => row.count,
    Mean: (row) => rounded(row.mean), Deviation: (row) => rounded(row.standard_deviation), Cpk: cpkText,
    Limits: limitsOf}, values);
}

/** The one that the URL names, or the one that is closest to its limits. */
function choose(values) {
  const worst = [...values].sort((one, other) => (one.cpk ?? Infinity) - (other.cpk ?? Infinity))[0];
  return (values.find((value) => `${value.number}` === query.get("value")) ?? worst).number;
}

work(async () => {
  await bindForm(at("filter"));
  const answer = await ask("yield", withValues({by}, filters));
  const values = answer.values.map((value, place) => ({...value, ...answer.value_numbers[place]}));
  at("csv").href = `api/yield?${withValues({by, format: "csv"}, filters)}`;
  at("csv").hidden = false;
  showTotal(answer);
  at("charts").hidden = answer.groups.length === 0;
  if (answer.groups.length > 0) {
    showGroups(answer.groups);
    showFailures(answer.failures);
  }
  at("values-section").hidden = values.length === 0;
  if (values.length > 0) {
    const value = choose(values);
    showValues(values, value);
    showHistogram(await ask("values", withValues({value}, filters)));
  }
});
