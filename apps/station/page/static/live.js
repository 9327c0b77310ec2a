// The station's state, as it changes.

const SILENCE = 3000;  // milliseconds without a sign of the station until it counts as gone
const RETRY = 1000;

/** Calls onState(state) with all of it, first and after each gap, onChange(change) with each change, onGone(isGone). */
export function watch({onState, onChange, onGone}) {
  let source = null;
  let heard = Date.now();
  let isGone = false;

  const hear = () => {
    heard = Date.now();
    if (isGone) {
      onGone(isGone = false);
    }
  };
  const on = (name, act) => source.addEventListener(name, (event) => {
    hear();
    act(JSON.parse(event.data));
  });
  const retry = async () => {
    source.close();
    setTimeout(connect, RETRY);
    try {  // the streams may all be taken: then the state is asked for, each time
      const response = await fetch("/api/state");
      if (response.ok) {
        onState(await response.json());
        hear();
      }
    } catch {
      // gone: the next attempt is on its way
    }
  };
  function connect() {
    source?.close();
    source = new EventSource("/api/events");
    on("state", onState);
    on("change", onChange);
    on("beat", () => {});
    source.onerror = retry;
  }

  setInterval(() => {
    if (Date.now() - heard > SILENCE && !isGone) {
      onGone(isGone = true);
    }
    if (Date.now() - heard > 2 * SILENCE) {  // a connection that died without a word
      heard = Date.now() - SILENCE;
      connect();
    }
  }, 250);
  connect();
}

/** Asks the station to do something. Returns its answer; throws an Error with a sentence. */
export async function ask(path, body) {
  let response;
  try {
    response = await fetch(path, {method: "POST", headers: {"Content-Type": "application/json"}, body: JSON.stringify(body)});
  } catch {
    throw new Error("the station did not answer");
  }
  const answer = await response.json();
  if (!response.ok) {
    throw new Error(answer.error);
  }
  return answer;
}
