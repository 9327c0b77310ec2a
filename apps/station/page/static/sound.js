// A sound for each verdict, and for what is refused.

const NOTES = {  // hertz, one after the other
  PASS: [660, 880, 1320],
  FAIL: [220, 165, 220, 165],
  STOP: [330, 330],
  VOID: [440, 330],
  REFUSED: [200],
  QUESTION: [880],
};
const LENGTH = 0.16;  // seconds of a note
const KEY = "sound";

let context = null;

export const isOn = () => localStorage.getItem(KEY) !== "off";
export const turn = (on) => localStorage.setItem(KEY, on ? "on" : "off");

export function play(word) {
  if (!isOn() || !navigator.userActivation.hasBeenActive) {  // before that a browser keeps them, and plays all at once
    return;
  }
  context ??= new AudioContext();
  context.resume();
  NOTES[word].forEach((hertz, index) => {
    const start = context.currentTime + index * LENGTH;
    const note = context.createOscillator();
    const loudness = context.createGain();
    note.frequency.value = hertz;
    loudness.gain.setValueAtTime(0.2, start);
    loudness.gain.exponentialRampToValueAtTime(0.001, start + LENGTH);
    note.connect(loudness).connect(context.destination);
    note.start(start);
    note.stop(start + LENGTH);
  });
}
