// One port's panel. Whatever comes from the station is shown as text.

/** An element with a class and children: elements, or texts. */
function make(tag, className, ...children) {
  const element = document.createElement(tag);
  element.className = className;
  element.append(...children);
  return element;
}

function button(className, text, act, keys) {
  const element = make("button", className, text);
  element.type = "button";
  element.addEventListener("click", act);
  if (keys) {
    element.setAttribute("aria-keyshortcuts", keys);
  }
  return element;
}

const LONG = 16;  // characters of port and serial number that do not share a line where a panel is narrow

const clock = (seconds) => `${Math.floor(seconds / 60)}:${String(Math.floor(seconds % 60)).padStart(2, "0")}`;
/** Changes only what differs, so that nothing flickers. */
const write = (element, text) => element.textContent === text || (element.textContent = text);

/** What ought to be on the board's display. */
function drawScreen(screen) {
  const picture = make("div", screen.picture);
  picture.style.opacity = screen.light;
  const frame = make("div", "screen", picture);
  frame.setAttribute("role", "img");
  const light = screen.light < 1 ? `, at ${Math.round(100 * screen.light)} %` : "";
  frame.setAttribute("aria-label", `The display shows: ${screen.picture}${light}`);
  return frame;
}

function describe(result) {
  const said = make("span", "said");
  for (const [index, value] of result.values.entries()) {
    said.append(index > 0 ? ", " : "", make("span", value.within ? "" : "outside", `${value.name} ${value.value}`),
      make("span", "limits", value.limits ? ` (${value.limits})` : ""));
  }
  if (result.values.length === 0 || result.result !== "PASS") {
    said.append(result.values.length > 0 ? "; " : "", result.message);
  }
  said.title = result.message;
  return said;
}

export class Panel {
  /** `actions` has choose, start, stop and answer, each called with the panel. */
  constructor(shown, plan, actions) {
    this.actions = actions;
    this.plan = plan;
    this.port = make("span", "port");
    this.unit = make("span", "unit");
    this.now = make("span", "now");
    this.time = make("span", "time");
    this.done = document.createElement("progress");
    this.done.setAttribute("aria-label", "Checks done");
    this.remark = make("div", "remark");
    this.word = make("div", "");
    this.checks = make("ol", "checks");
    this.checks.setAttribute("aria-label", "Checks");
    this.wish = make("span", "");
    this.key = button("choose", `F${shown.number}`, () => actions.choose(this), `F${shown.number}`);
    this.stopKey = button("stop", "Stop", () => actions.stop(this), "Alt+X");
    const idle = make("div", "idle", this.wish, button("start", "Start", () => actions.start(this), "Alt+S"));
    this.top = make("div", "top", this.key, this.port, this.unit, this.stopKey);
    this.inside = make("div", "inside", this.top, this.remark,
      make("div", "told", this.now, this.time), this.done, make("div", "verdict", this.word), this.checks, idle);
    this.element = make("section", "panel", this.inside);
    this.element.setAttribute("aria-label", `Port ${shown.number}, ${shown.port}`);
    this.key.setAttribute("aria-label", `Choose port ${shown.number}`);
    this.replace(shown);
  }

  get isTesting() { return this.shown.status === "testing"; }
  get question() { return this.shown.question; }

  /** All of it is new. */
  replace(shown) {
    this.shown = shown;
    this.isStopAsked = false;
    this.sheetKey = "";
    this.rows = this.plan.checks.map(({name}) =>
      make("li", "waiting", make("i", "mark waits"), make("span", "name", name)));
    this.checks.replaceChildren(...this.rows);
    (shown.results ?? []).forEach((result, index) => this.showResult(result, index));
    this.show();
  }

  apply({set, result}) {
    if (set) {
      const shown = {...this.shown, ...set};
      if (set.results) {
        this.replace(shown);
        return;
      }
      this.shown = shown;
    }
    if (result) {
      this.shown.results.push(result);
      this.showResult(result, this.shown.results.length - 1);
    }
    this.show();
  }

  showResult(result, index) {
    const row = this.rows[index];
    const check = this.plan.checks[index];
    const word = result.result.split(" ")[0];
    row.className = word;
    const spoken = make("span", "unseen", `${result.result}: `);
    const name = make("span", "name", spoken, check.name, check.optional ? " (optional)" : "");
    row.replaceChildren(make("i", `mark ${word}`), name, describe(result));
    if (result.hint) {
      row.append(make("span", "hint", result.hint));
    }
  }

  show() {
    const {status, word, reason, results = []} = this.shown;
    this.isStopAsked &&= this.isTesting;
    this.element.className = `panel ${status} ${word ?? ""}`;
    write(this.port, this.shown.port);
    write(this.unit, status === "free" ? "" : this.shown.unit || "(no number)");
    this.top.classList.toggle("long", this.unit.textContent.length + this.shown.port.length > LONG);
    write(this.remark, this.shown.remark ?? "");
    this.stopKey.hidden = !this.isTesting;
    this.done.max = this.plan.checks.length;
    this.done.value = results.length;
    if (status === "ended") {
      this.word.replaceChildren(make("i", `mark ${word}`), word);
    }
    const failed = results.filter((result) => result.result === "FAIL").length;
    const told = reason || (failed ? `${failed} failed` : "");
    write(this.now, status === "ended" ? told : this.current());
    this.showSheet();
    this.markCurrent();
  }

  current() {
    const {check, waiting, stopping} = this.shown;
    if (stopping) {
      return "stopping ...";
    }
    const name = check === "link" || !check ? "looking for the board" : check;
    return waiting ? `${name}: ${waiting.seconds} of ${waiting.limit} s` : name;
  }

  markCurrent() {
    const index = this.isTesting ? this.plan.checks.findIndex((check) => check.name === this.shown.check) : -1;
    this.rows.forEach((row, at) => {
      const isCurrent = at === index && at >= (this.shown.results?.length ?? 0);
      if (isCurrent !== row.classList.contains("current")) {
        row.className = isCurrent ? "current" : row.className.replace("current", "waiting");
        row.firstChild.className = isCurrent ? "mark running" : row.firstChild.className;
      }
    });
    const isTrouble = this.checks.querySelector(".FAIL, .NOT, .ABORTED");
    const row = this.rows[index];
    if (isTrouble || !row) {
      this.checks.scrollTop = 0;
    } else {
      this.checks.scrollTop = row.offsetTop - 0.7 * this.checks.clientHeight;
    }
  }

  /** The clock runs between the station's words. `now` is the station's time. */
  showTime(now, typical) {
    const {results = [], started, seconds} = this.shown;
    const taken = seconds ?? Math.max(0, (now - started) / 1000);
    const usual = typical ? `, typically ${clock(typical)}` : "";
    const told = `${results.length} of ${this.plan.checks.length} · ${clock(taken)}${usual}`;
    write(this.time, this.shown.status === "free" ? "" : told);
  }

  /** `isNext`: the next unit comes here; `isChosen`: by a person; `isAnswering`: Alt+Y and Alt+N are its keys. */
  mark({isNext, isChosen, isAnswering}) {
    this.element.classList.toggle("next", isNext);
    this.element.classList.toggle("chosen", isChosen);
    this.key.setAttribute("aria-pressed", isChosen);
    write(this.wish, isNext ? "Connect the next unit here and scan its number" : "Free");
    this.isAnswering = isAnswering;
    this.showSheet();
  }

  askToStop(isAsked) {
    this.isStopAsked = isAsked;
    this.showSheet();
  }

  /** A question, a task, or whether to stop. It is made anew only when it is another one. */
  showSheet() {
    const {question, task, check, run} = this.shown;
    const key = JSON.stringify([this.isStopAsked, question, task, this.isAnswering, run]);
    if (key === this.sheetKey) {
      return;
    }
    this.sheetKey = key;
    this.element.querySelector(".sheet")?.remove();
    const screen = this.plan.checks.find((each) => each.name === check)?.screen;
    if (this.isStopAsked) {
      this.inside.append(this.sheet(null, "Stop this test?",
        ["no", "Stop", "Alt+X", () => this.actions.stop(this)], ["yes", "Go on", "Escape", () => this.askToStop(false)]));
    } else if (question) {
      const first = this.isAnswering ? "" : `F${this.shown.number}, `;
      this.inside.append(this.sheet(screen, question.text,
        ["yes", "Yes", `${first}Alt+Y`, () => this.actions.answer(this, true)],
        ["no", "No", `${first}Alt+N`, () => this.actions.answer(this, false)]));
    } else if (task) {
      this.inside.append(this.sheet(screen, task));
    }
  }

  sheet(screen, text, ...answers) {
    const words = make("div", "words", ...(screen ? [drawScreen(screen)] : []), make("p", "", text));
    const sheet = make("div", "sheet", words);
    if (answers.length > 0) {
      sheet.append(make("div", "answers", ...answers.map(([className, word, keys, act]) => {
        const element = button(className, word, act);
        element.append(" ", make("small", "", keys));
        return element;
      })));
    }
    return sheet;
  }
}
