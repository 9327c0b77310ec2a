// The bench: what is scanned and pressed, and which panel it is for.
import {ask, watch} from "./live.js";
import {Panel} from "./panel.js";
import * as sound from "./sound.js";

const byId = (id) => document.getElementById(id);
const field = byId("number");

let panels = [];
let state = null;
let ahead = 0;      // milliseconds that the station's clock is ahead
let chosen = null;  // the panel that a person chose

function notice(text) {
  byId("notice").textContent = text;
  byId("notice").hidden = text === "";
}

function refuse(error) {
  notice(error.message);
  sound.play("REFUSED");
}

/** The one that a key is for: chosen, or the only one of its kind. */
function only(isOne) {
  const found = chosen && isOne(chosen) ? [chosen] : panels.filter(isOne);
  return found.length === 1 ? found[0] : null;
}

const isAsking = (panel) => Boolean(panel.question);
const target = () => chosen ?? panels.find((panel) => panel.shown.number === state.next);

function mark() {
  const answering = only(isAsking);
  for (const panel of panels) {
    const isNext = !chosen && panel.shown.number === state.next;
    panel.mark({isNext, isChosen: panel === chosen, isAnswering: panel === answering});
  }
  const panel = target();
  const wish = panel ? `Serial number for port ${panel.shown.number}, ${panel.shown.port}` : "All ports are taken";
  byId("target").textContent = wish;
}

function choose(panel) {
  chosen = panel === chosen ? null : panel;
  mark();
}

async function scan(panel = target()) {
  const text = field.value;
  const {next} = state;
  field.value = "";
  chosen = null;
  notice("");
  mark();
  if (panel?.shown.number === next) {
    state.next = null;  // of a second scan the station decides, until it has told what is next
  }
  try {
    await ask("/api/scan", panel ? {text, panel: panel.shown.number} : {text});
  } catch (error) {
    state.next ??= next;
    refuse(error);
  }
}

/** Without a number only where the plan does not ask for one. */
function start(panel) {
  if (field.value.trim() === "" && state.plan.needsNumber) {
    refuse(new Error("scan or type the unit's serial number first"));
  } else {
    scan(panel);
  }
}

async function answer(panel, yes) {
  chosen = null;  // nobody answers the next question by pressing a key twice
  try {
    await ask("/api/answer", {panel: panel.shown.number, question: panel.question.id, yes});
  } catch (error) {
    refuse(error);
  }
}

async function stop(panel) {
  const isSure = panel.isStopAsked;
  panel.askToStop(!isSure);
  if (isSure) {
    try {
      await ask("/api/stop", {panel: panel.shown.number, run: panel.shown.run});
    } catch (error) {
      refuse(error);
    }
  }
}

function withOne(isOne, act, none) {
  const panel = only(isOne);
  const several = panels.some(isOne) ? "choose a port first, with F1 to F8" : none;
  panel ? act(panel) : refuse(new Error(several));
}

function turnSound() {
  sound.turn(!sound.isOn());
  showSound();
}

function showSound() {
  byId("sound").textContent = sound.isOn() ? "Sound is on" : "Sound is off";
  byId("sound").setAttribute("aria-pressed", sound.isOn());
}

/** What a scanner cannot type: keys with Alt. */
const ALT_KEYS = {
  y: () => withOne(isAsking, (panel) => answer(panel, true), "no question is open"),
  n: () => withOne(isAsking, (panel) => answer(panel, false), "no question is open"),
  x: () => withOne((panel) => panel.isTesting, stop, "no unit is under test"),
  s: () => start(target()),
  m: turnSound,
  enter: () => document.activeElement.matches("button, a") && document.activeElement.click(),
};

function letGo() {
  chosen = null;
  panels.forEach((panel) => panel.askToStop(false));
  notice("");
  mark();
}

/** What a scanner types goes to the field, wherever the focus is, and presses no button. */
function onKey(event) {
  if (event.ctrlKey || event.metaKey || !state) {
    return;
  }
  const act = event.altKey ? ALT_KEYS[event.key.toLowerCase()] : keyAction(event);
  if (act) {
    event.preventDefault();
    if (!event.repeat) {
      notice("");
      act();
    }
  }
}

function keyAction(event) {
  const number = /^F(\d+)$/.exec(event.key)?.[1];
  const isLink = document.activeElement.matches("a");
  if (number && panels[number - 1]) {
    return () => choose(panels[number - 1]);
  }
  if (event.key === "Escape") {
    return letGo;
  }
  if ((event.key === "Enter" && !isLink) || (event.key === "Tab" && !event.shiftKey && field.value !== "")) {
    return () => field.value.trim() !== "" && scan();
  }
  if (event.key.length === 1) {
    field.focus();  // the key's character follows
  }
  return null;
}

function onState(all) {
  state = all;
  ahead = all.now - Date.now();
  const isSame = panels.length === all.panels.length && JSON.stringify(panels[0]?.plan) === JSON.stringify(all.plan);
  if (isSame) {
    panels.forEach((panel, index) => panel.replace(all.panels[index]));
  } else {
    build();
  }
  byId("plan").textContent = `${all.plan.name} ${all.plan.version}`;
  mark();
  tick();
}

function build() {
  chosen = null;
  panels = state.panels.map((shown) => new Panel(shown, state.plan, {choose, start, stop, answer}));
  const main = byId("panels");
  main.replaceChildren(...panels.map((panel) => panel.element));
  main.dataset.columns = Math.min(4, Math.ceil(panels.length / (panels.length > 2 ? 2 : 1)));
  main.toggleAttribute("data-many", panels.length > 8);
}

function onChange(change) {
  if (!change.panel) {
    Object.assign(state, change);
  } else {
    const panel = panels[change.panel - 1];
    panel.apply(change);
    tell(panel, change.set ?? {});
  }
  mark();
  tick();
}

/** For the ear, and for a screen reader. */
function tell(panel, {status, question}) {
  const {number, unit, word} = panel.shown;
  if (status === "ended") {
    sound.play(word);
    byId("spoken").textContent = `Port ${number}, ${unit}: ${word}`;
  } else if (question) {
    sound.play("QUESTION");
    byId("spoken").textContent = `Port ${number} asks: ${question.text}`;
  }
}

function tick() {
  panels.forEach((panel) => panel.showTime(Date.now() + ahead, state.typical));
}

function onGone(isGone) {
  byId("gone").hidden = !isGone;
  document.body.classList.toggle("gone", isGone);
}

document.addEventListener("keydown", onKey);
document.addEventListener("click", () => notice(""), {capture: true});
document.addEventListener("click", (event) => {
  if (event.pointerType !== "touch" && getSelection().isCollapsed) {  // a touch would raise the keyboard on the screen
    field.focus();
  }
});
window.addEventListener("focus", () => field.focus());
byId("scan").addEventListener("submit", (event) => event.preventDefault());
byId("sound").addEventListener("click", turnSound);
setInterval(tick, 250);
showSound();
watch({onState, onChange, onGone});
