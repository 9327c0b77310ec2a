// The charts of the yield page. What they tell apart by colour, they tell apart by shape as well.
/* global Chart */

const drawn = new Map();  // charts by the id of their canvas
const MOST_POINTS = 60;  // in a line that shows each
const dark = matchMedia("(prefers-color-scheme: dark)");

const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

/** Draws a chart in the colours of the style sheet, and again when these change. `text` tells what it shows. */
function draw(id, text, configure) {
  const canvas = document.getElementById(id);
  canvas.setAttribute("aria-label", `${text}. The figures are in the table.`);
  drawn.get(id)?.chart.destroy();
  Chart.defaults.color = colour("ink");
  Chart.defaults.borderColor = colour("line");
  Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
  Chart.defaults.font.size = 13;
  Chart.defaults.plugins.legend.labels.usePointStyle = true;
  const options = {animation: false, maintainAspectRatio: false};
  const {data, ...own} = configure();
  drawn.set(id, {chart: new Chart(canvas, {type: "bar", data, options: {...options, ...own}}), text, configure});
}

dark.addEventListener("change", () => [...drawn].forEach(([id, {text, configure}]) => draw(id, text, configure)));

const axis = (text, more = {}) => ({title: {display: text !== "", text}, ...more});
const line = (name, shape, dash) => ({type: "line", borderColor: colour(name), backgroundColor: colour(name), borderDash: dash,
  pointStyle: shape, pointRadius: 4, borderWidth: 2, clip: false});
const filled = (name) => ({backgroundColor: colour(name), borderColor: colour(name), borderWidth: 2, pointStyle: "rect"});
const hollow = (name) => ({...filled(name), backgroundColor: "transparent"});
const percent = (ratio) => (ratio === null ? null : 100 * ratio);

/** First-pass and final yield of groups with a `label`: lines along time, or else bars. */
export function drawYield(id, groups, isTime) {
  const looks = () => (isTime ? [line("accent", "circle", []), line("stop-ink", "rect", [6, 4])]
    : [filled("accent"), hollow("stop-ink")]);
  draw(id, "First-pass and final yield", () => ({
    data: {
      labels: groups.map((group) => group.label),
      datasets: ["first", "final"].map((word, place) => ({
        label: word === "first" ? "First-pass yield" : "Final yield",
        data: groups.map((group) => percent(group[`${word}_yield`])),
        spanGaps: true,
        ...looks()[place],
        pointRadius: groups.length > MOST_POINTS ? 0 : 4,
      })),
    },
    scales: {y: axis("% of the units", {max: 100, beginAtZero: !isTime})},
  }));
}

/** The first of the failed checks with a `label` and the share `cumulated` with those before. */
export function drawPareto(id, failures) {
  const first = failures.slice(0, 12);
  draw(id, "Runs in which each check failed, the one that failed most first, with their cumulated share", () => ({
    data: {
      labels: first.map((failure) => failure.label),
      datasets: [
        {label: "Cumulated share", data: first.map((failure) => percent(failure.cumulated)), yAxisID: "share",
          ...line("stop-ink", "triangle", [6, 4])},
        {label: "Runs", data: first.map((failure) => failure.runs), ...filled("accent")},
      ],
    },
    scales: {
      y: axis("Runs", {beginAtZero: true, grace: "5%", ticks: {precision: 0}}),
      share: axis("% of the failures", {position: "right", min: 0, max: 100, grid: {drawOnChartArea: false}}),
    },
  }));
}

/** How often values occurred, and their limits, where these are not far off. Returns whether all limits are drawn. */
export function drawHistogram(id, bins, value) {
  const least = bins[0].from;
  const most = bins.at(-1).to;
  const width = most - least || Math.abs(most) || 1;
  const limits = [["Lower limit", value.lower_limit, [6, 4]], ["Upper limit", value.upper_limit, [2, 3]]]
    .filter(([, limit]) => limit !== null);
  const near = limits.filter(([, limit]) => limit >= least - 3 * width && limit <= most + 3 * width);
  const places = [least, most, ...near.map(([, limit]) => limit)];
  const margin = (Math.max(...places) - Math.min(...places) || width) / 20;
  const highest = Math.max(...bins.map((bin) => bin.count));
  const unit = value.unit === "" ? "" : ` ${value.unit}`;
  const middle = (bin) => (bin.from + bin.to) / 2;
  draw(id, `How often each value of ${value.value} occurred`, () => ({
    data: {
      datasets: [
        ...near.map(([label, limit, dash]) => ({...line("fail-ink", "line", dash), label: `${label} ${limit}${unit}`,
          pointRadius: 0, data: [{x: limit, y: 0}, {x: limit, y: highest}]})),
        {label: "Measured", data: bins.map((bin) => ({x: middle(bin), y: bin.count})), ...filled("accent"), borderWidth: 0,
          barPercentage: 0.95, categoryPercentage: 1, grouped: false},
      ],
    },
    scales: {
      x: axis(`${value.value}${unit && ` in${unit}`}`, {type: "linear", offset: false, grid: {offset: false}, ticks: {includeBounds: false},
        min: Math.min(...places) - margin, max: Math.max(...places) + margin}),
      y: axis("Values", {beginAtZero: true, ticks: {precision: 0}}),
    },
  }));
  return near.length === limits.length;
}
