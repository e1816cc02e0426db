// Current control: the limits of all sources, and the one that follows from them.
import { EventEmitter } from 'node:events';

// A source within the station: what its installation allows.
export const SOURCE_INSTALLATION = 1;
// A source within the station: what the cable may carry.
export const SOURCE_CABLE = 2;
export const SOURCE_OCPP = 10;

/** Below this no charging is possible (IEC 61851-1). */
export const MINIMUM_CURRENT_MA = 6000;

/** Events: 'limit' ({source, current, phases}) when the limit in force has changed. */
export class CurrentControl extends EventEmitter {
  #limits = new Map();

  /** @param {object} options `maxCurrent` mA and `phases` that the installation allows */
  constructor({ maxCurrent = 16000, phases = 3 } = {}) {
    super();
    this.#limits.set(SOURCE_INSTALLATION, { source: SOURCE_INSTALLATION, current: maxCurrent, phases });
  }

  /** Sets or replaces the limit of a source; false when it holds no current. */
  set({ source, current, phases }) {
    if (current === undefined || current === null || current < 0) return false;
    this.#change(() => this.#limits.set(source, { source, current, ...(phases ? { phases } : {}) }));
    return true;
  }

  /** Removes the limit of a source; true also when there was none. */
  clear(source) {
    if (source === SOURCE_INSTALLATION) return false;
    this.#change(() => this.#limits.delete(source));
    return true;
  }

  /** The limit in force: the lowest current, and the fewest phases of all sources. */
  get limit() {
    const limits = [...this.#limits.values()];
    const lowest = limits.reduce((one, other) => (other.current < one.current ? other : one));
    return {
      source: lowest.source,
      current: lowest.current,
      phases: Math.min(...limits.map(({ phases }) => phases ?? 3)),
    };
  }

  get limits() {
    return [...this.#limits.values()];
  }

  #change(act) {
    const before = JSON.stringify(this.limit);
    act();
    if (JSON.stringify(this.limit) !== before) this.emit('limit', this.limit);
  }
}
