// One run, and the other runs of its unit.
import {ask, element, limitsText, localTime, planText, query, rounded, verdictMark, work} from "./records.js";

const HEADS = ["Check", "Result", "Time", "What came back", "Value", "Measured", "Limits"];
const id = query.get("id") ?? "";

function facts(run) {
  const seconds = (new Date(run.end) - new Date(run.start)) / 1000;
  const entries = {
    Verdict: verdictMark(run.verdict),
    "Why it is no PASS": run.reason,
    Plan: `${planText(run.plan.name, run.plan.version)} (SHA-256 ${run.plan.sha256.slice(0, 12)}…)`,
    Start: localTime(run.start),
    Time: seconds > 0 ? `${seconds.toFixed(1)} s` : "",
    Checks: `${run.passed} passed, ${run.failed} failed, ${run.not_carried_out} not carried out, of ${run.planned}`,
    "Left out": run.left_out.join(", "),
    "Only after a repetition": run.passed_after_repetition || "",
    Port: `${run.port} of ${run.station.host}, ${run.line.speed} bit/s`,
    Operator: run.station.operator,
    Frames: run.frames_pruned ? `removed from the records on ${localTime(run.frames_pruned)}` : "",
    Run: run.id,
  };
  return Object.entries(entries).filter(([, shown]) => shown !== "")
    .flatMap(([name, shown]) => [element("dt", {}, name), element("dd", {}, shown)]);
}

function whatCameBack(check) {
  const hint = check.result === "PASS" || check.hint === "" ? [] : [element("p", {className: "hint"}, check.hint)];
  const repeated = check.repetitions > 0 ? [element("p", {}, `after ${check.repetitions} repetitions`)] : [];
  return element("td", {}, check.message, ...repeated, ...hint);
}

function valueCells(value) {
  const limits = limitsText(value.least, value.most, value.unit, value.expected);
  const measured = typeof value.value === "number" ? rounded(value.value) : value.value ?? "not a number";
  const outside = value.within_limits ? [] : [element("strong", {className: "verdict FAIL"}, " outside")];
  return [element("td", {}, value.name), element("td", {}, `${measured}\u00a0${value.unit}`, ...outside), element("td", {}, limits)];
}

/** A row for the check, and one for each further value. */
function checkRows(check) {
  const first = [
    element("th", {scope: "row"}, check.name, check.optional ? " (optional)" : ""),
    element("td", {}, verdictMark(check.result)),
    element("td", {className: "number"}, `${check.duration_s.toFixed(2)} s`),
    whatCameBack(check),
  ];
  const values = check.values.length > 0 ? check.values.map(valueCells) : [[element("td", {colSpan: 3})]];
  first.forEach((cell) => (cell.rowSpan = values.length));
  return values.map((cells, place) => element("tr", {}, ...(place === 0 ? first : []), ...cells));
}

function frameRow(check) {
  const line = (frame) => {
    const more = frame.dropped_bytes ? ` and ${frame.dropped_bytes} more bytes` : "";
    const noise = frame.kind === "noise" ? " (noise)" : "";
    return `${frame.time_s.toFixed(6)} s ${frame.direction === "sent" ? ">" : "<"} ${frame.hex}${more}${noise}\n`;
  };
  const frames = check.frames.length > 0 ? check.frames.map(line).join("") : "no frames";
  return element("tr", {className: "frames"}, element("td", {colSpan: HEADS.length}, element("pre", {}, frames)));
}

function showChecks(run, showsFrames) {
  const table = document.getElementById("checks");
  const checks = run.link.name !== "" && (showsFrames || run.link.result !== "PASS") ? [run.link, ...run.checks] : run.checks;
  const rows = checks.flatMap((check) => [...checkRows(check), ...(showsFrames ? [frameRow(check)] : [])]);
  const heads = HEADS.map((head) => element("th", {scope: "col"}, head));
  table.replaceChildren(element("thead", {}, element("tr", {}, ...heads)), element("tbody", {}, ...rows));
}

function bindButtons(run) {
  for (const [format, link] of ["json", "csv"].map((word) => [word, document.getElementById(word)])) {
    link.href = `api/run/${run.id}?format=${format}`;
    link.download = `${run.unit.replace(/[^\w-]+/g, "_") || "run"}-${run.id.slice(0, 8)}.${format}`;
    link.hidden = false;
  }
  const button = document.getElementById("frames");
  button.hidden = false;
  button.addEventListener("click", () => {
    const isPressed = button.getAttribute("aria-pressed") !== "true";
    button.setAttribute("aria-pressed", isPressed);
    button.textContent = isPressed ? "Hide frames" : "Show frames";
    showChecks(run, isPressed);
  });
}

async function showOthers(run) {
  const more = document.getElementById("more");
  if (run.unit === "") {
    more.textContent = "It has no serial number.";
    return;
  }
  const ofUnit = new URLSearchParams({unit: run.unit});
  const {runs, others} = await ask("history", ofUnit);
  const entry = (other) => element("li", {}, element("a", {href: `run.html?id=${other.id}`,
    ariaCurrent: other.id === run.id ? "page" : null}, localTime(other.start)), " ", verdictMark(other.verdict), " ", other.plan);
  document.getElementById("runs").append(...runs.map(entry));
  more.append(element("a", {href: `history.html?${ofUnit}`}, `Show all ${runs.length + others[0].older} in the history`));
}

work(async () => {
  const run = await ask(`run/${encodeURIComponent(id)}`);
  const title = run.unit === "" ? "Unit without a serial number" : `Unit ${run.unit}`;
  document.title = `${title}, ${run.verdict} - test station`;
  document.getElementById("title").textContent = title;
  document.getElementById("facts").append(...facts(run));
  showChecks(run, false);
  bindButtons(run);
  await showOthers(run);
});
