// Time of the simulated siblings: the real one, and one that only moves when it is told to.

/** {now: () => milliseconds, after: (milliseconds, run) => cancel} */
export const realClock = {
  now: () => Date.now(),
  after: (milliseconds, run) => {
    const timer = setTimeout(run, milliseconds);
    return () => clearTimeout(timer);
  },
};

export class ManualClock {
  #now;
  #calls = [];

  constructor(now = Date.UTC(2030, 0, 1)) {
    this.#now = now;
    this.now = () => this.#now;
    this.after = (milliseconds, run) => {
      const call = { due: this.#now + milliseconds, run };
      this.#calls.push(call);
      return () => {
        this.#calls = this.#calls.filter((entry) => entry !== call);
      };
    };
  }

  /** Moves on, running what falls due on the way, in order of time. */
  advance(milliseconds) {
    const end = this.#now + milliseconds;
    for (;;) {
      const next = this.#calls.filter(({ due }) => due <= end).sort((one, other) => one.due - other.due)[0];
      if (!next) break;
      this.#calls = this.#calls.filter((entry) => entry !== next);
      this.#now = Math.max(this.#now, next.due);
      next.run();
    }
    this.#now = end;
  }
}

/** "YYYY-MM-DDThh:mm:ssZ", UTC. */
export function timeText(milliseconds) {
  return new Date(milliseconds).toISOString().replace(/\.\d+Z$/, 'Z');
}

/** An MTimestamp of the contract. */
export function timestampOf(milliseconds) {
  const seconds = Math.floor(milliseconds / 1000);
  return { seconds, nanoseconds: Math.round((milliseconds - seconds * 1000) * 1e6) };
}
