// Scripted answers: what the central system does with a CALL of a given action, instead of or on top of its own answer.
//
// A script is a list of steps. Each CALL of the action takes the first step that is not used up; without one the
// central system's own answer goes out. The members of a step:
//
//   status        replaces the status of the own answer (of `idTagInfo`, where the action has one)
//   payload       replaces members of the own answer; a function gets (own answer, call) and returns the answer
//   delayMs       waits before answering, or before breaking off
//   silence       true: no answer; with close or cut the call is booked and its answer lost
//   error         {code, description, details}: a CALLERROR; a text stands for its code
//   malformed     'json' (cut-off text), 'payload' (not an object), 'schema' (an unknown member), 'arity' (payload missing)
//   raw           this text goes out as it stands; "{id}" in it becomes the message id
//   wrongId       true: the answer carries another message id
//   twice         true: the answer goes out twice
//   close         {code, reason, when}: closes the websocket 'before' (instead of), 'after' (default) the answer
//   cut           'before', 'during' or 'after': the TCP connection breaks off, 'during' in the middle of the answer's frame
//   times         how many CALLs the step serves (default 1; 0 stands for all)

const MEMBERS = new Set([
  'status',
  'payload',
  'delayMs',
  'silence',
  'error',
  'malformed',
  'raw',
  'wrongId',
  'twice',
  'close',
  'cut',
  'times',
]);
const MALFORMED = new Set(['json', 'payload', 'schema', 'arity']);
const CUTS = new Set(['before', 'during', 'after']);

function checkStep(step) {
  for (const member of Object.keys(step)) {
    if (!MEMBERS.has(member))
      throw new TypeError(`unknown member "${member}" of a scripted answer; known: ${[...MEMBERS].join(', ')}`);
  }
  if (step.malformed !== undefined && !MALFORMED.has(step.malformed))
    throw new TypeError(`malformed is one of ${[...MALFORMED].join(', ')}`);
  if (step.cut !== undefined && !CUTS.has(step.cut)) throw new TypeError(`cut is one of ${[...CUTS].join(', ')}`);
  return step;
}

export class Scripts {
  #steps = new Map();

  /** Appends steps (one or a list) to the script of `action`. */
  add(action, steps) {
    const list = this.#steps.get(action) ?? [];
    for (const step of [steps].flat()) list.push({ step: checkStep(step), left: step.times ?? 1 });
    this.#steps.set(action, list);
  }

  /** Forgets what is left of the script of `action`, or of all. */
  clear(action) {
    if (action === undefined) this.#steps.clear();
    else this.#steps.delete(action);
  }

  /** The step for the next CALL of `action`; an empty step when nothing is scripted. */
  take(action) {
    const list = this.#steps.get(action) ?? [];
    if (list.length === 0) return {};
    const entry = list[0];
    if (entry.left === 1) list.shift();
    else if (entry.left > 1) entry.left -= 1;
    return entry.step;
  }

  describe() {
    return Object.fromEntries(
      [...this.#steps].map(([action, list]) => [action, list.map(({ step, left }) => ({ ...step, left }))]),
    );
  }
}

/** The own answer with `status` and `payload` of a step laid over it. */
export function shapeAnswer(own, step, call) {
  if (typeof step.payload === 'function') return step.payload(own, call);
  const shaped = { ...own, ...step.payload };
  if (step.status === undefined) return shaped;
  if (shaped.idTagInfo || ['Authorize', 'StartTransaction', 'StopTransaction'].includes(call.action)) {
    shaped.idTagInfo = { ...shaped.idTagInfo, status: step.status };
  } else {
    shaped.status = step.status;
  }
  return shaped;
}

/** The text of a malformed answer. */
export function malformedText(kind, id, payload) {
  const well = JSON.stringify([3, id, payload]);
  if (kind === 'json') return `${well.slice(0, Math.max(well.length - 3, 1))}]`;
  if (kind === 'payload') return JSON.stringify([3, id, 'text']);
  if (kind === 'arity') return JSON.stringify([3, id]);
  return JSON.stringify([3, id, { unexpectedMember: true }]);
}
