// Earlier runs, page by page.
import {ask, bindForm, element, fillTable, localTime, only, planText, query, verdictMark, withValues, work} from "./records.js";

const MOST = 100000;  // runs of one download
const filters = only("search", "unit", "verdict", "plan", "from", "to");

const columns = {
  Start: (run) => element("a", {href: `run.html?id=${run.id}`}, localTime(run.start)),
  Unit: (run) => element("a", {href: `history.html?${new URLSearchParams({unit: run.unit})}`}, run.unit),
  Verdict: (run) => verdictMark(run.verdict),
  Plan: (run) => planText(run.plan, run.plan_version),
  "Checks passed": (run) => `${run.passed} of ${run.planned}`,
  Station: (run) => run.host,
  Operator: (run) => run.operator,
  "Why it is no PASS": (run) => run.reason,
};

function link(id, values, isShown) {
  const anchor = document.getElementById(id);
  anchor.href = `?${withValues(values, filters)}`;
  anchor.hidden = !isShown;
}

function show({runs, others: [{newer, older}]}) {
  fillTable(document.getElementById("runs"), columns, runs);
  const unit = query.has("unit") ? ` of unit ${query.get("unit")}` : "";
  const total = newer + runs.length + older;
  const format = (number) => number.toLocaleString("en");
  document.getElementById("place").textContent = runs.length === 0
    ? `There is no such run${unit}.`
    : `Runs ${format(newer + 1)} to ${format(newer + runs.length)} of ${format(total)}${unit}, the newest first`;
  link("newest", {}, newer > 0 || runs.length === 0);
  link("newer", {after: runs[0]?.id ?? ""}, newer > 0);
  link("older", {before: runs.at(-1)?.id ?? ""}, older > 0);
  const csv = document.getElementById("csv");
  csv.href = `api/history?${withValues({format: "csv", limit: MOST}, filters)}`;
  csv.hidden = runs.length === 0;
  csv.textContent = total > MOST ? `Download the newest ${format(MOST)} as CSV` : "Download all of them as CSV";
}

work(async () => {
  await bindForm(document.getElementById("filter"));
  show(await ask("history", query));
});
