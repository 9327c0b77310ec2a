// What the pages of the records share: questions to the station, filters in the URL, tables.

export const query = new URLSearchParams(location.search);

/** The station's answer. Throws an Error with a sentence for people. */
export async function ask(path, parameters = new URLSearchParams()) {
  const response = await fetch(`api/${path}?${parameters}`).catch(() => {
    throw new Error("The station does not answer. Is it running? Reload this page when it is.");
  });
  const answer = await response.json();
  if (!response.ok) {
    throw new Error(answer.error);
  }
  return answer;
}

/** Does the work of a page; what goes wrong is told in its message. */
export async function work(does) {
  const message = document.getElementById("message");
  message.textContent = "Asking the records …";
  try {
    await does();
    message.textContent = "";
  } catch (error) {
    message.textContent = error.message;
  }
}

/** This page's query, or the given one, with other values; an empty one is taken out. */
export function withValues(values, base = query) {
  const changed = new URLSearchParams(base);
  for (const [name, value] of Object.entries(values)) {
    changed.set(name, value);
  }
  return new URLSearchParams([...changed].filter(([, value]) => value !== ""));
}

/** Those values of the query that have one of these names. */
export function only(...names) {
  return new URLSearchParams([...query].filter(([name]) => names.includes(name)));
}

/** Shows the filters of the URL in the form, offers what there is to choose, and goes where the form says. */
export async function bindForm(form) {
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    location.search = withValues(Object.fromEntries(new FormData(form)), new URLSearchParams());
  });
  const choices = await ask("choices");
  for (const [name, words] of Object.entries({verdict: choices.verdicts, plan: choices.plans, station: choices.stations})) {
    const chosen = query.get(name);
    const missing = chosen && !words.includes(chosen) ? [chosen] : [];
    form.elements.namedItem(name)?.append(...[...words, ...missing].map((word) => element("option", {value: word}, word)));
  }
  for (const field of form.elements) {
    field.value = query.get(field.name) ?? field.value;
  }
}

/** An element with what is in it: elements, and texts that are text whatever they hold. */
export function element(name, properties = {}, ...content) {
  const made = Object.assign(document.createElement(name), properties);
  made.append(...content);
  return made;
}

/** Fills a table. A column is its head and what it shows of a row; a number is aligned to the right. */
export function fillTable(table, columns, rows) {
  const heads = Object.keys(columns).map((head) => element("th", {scope: "col"}, head));
  const cells = (row) => Object.values(columns).map((show) => {
    const shown = show(row);
    return element("td", {className: typeof shown === "number" ? "number" : ""}, shown instanceof Node ? shown : `${shown}`);
  });
  table.tHead?.remove();
  table.createTHead().append(element("tr", {}, ...heads));
  const body = element("tbody", {}, ...rows.map((row) => element("tr", {}, ...cells(row))));
  table.tBodies[0] ? table.tBodies[0].replaceWith(body) : table.append(body);
}

/** "2026-11-23 14:05:09", by the clock of this browser. */
export function localTime(timestamp) {
  return new Date(timestamp).toLocaleString("sv-SE");
}

/** With the six digits that people compare. */
export function rounded(number) {
  return number === null ? "–" : Number(number.toPrecision(6));
}

/** "2450 to 2550 mV" */
export function limitsText(least, most, unit, expected = null) {
  const bounds = least !== null && most !== null ? [least, "to", most] : [least !== null ? "at least" : "at most", least ?? most];
  const words = expected !== null ? [expected] : bounds;
  return (words.at(-1) ?? null) === null ? "" : [...words, unit].join("\u00a0").trim();
}

const MARKS = {PASS: "PASS", FAIL: "FAIL", "PASSED, NOT COUNTED": "VOID", "NOT DONE": "VOID", "IN PROGRESS": "running"};

/** A verdict or result, in word, shape and colour. */
export function verdictMark(word) {
  const kind = MARKS[word] ?? "STOP";
  return element("span", {className: `verdict ${kind}`}, element("span", {className: `mark ${kind}`}), ` ${word}`);
}

export function planText(name, version) {
  return `${name} ${version}`.trim();
}
