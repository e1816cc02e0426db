// The diagnostics process: last value of each signal, what errors and warnings are raised, freeze frames.
import { EventEmitter } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import { enumText } from '../lib/iipc.js';
import { timestampOf } from '../lib/clock.js';

export const Kind = Object.freeze({ Error: 0, Warning: 1, Event: 2 });

/** What a signal is, by its number; null for a measurement. */
export function kindOf(identifier) {
  if (identifier >= 20000) return Kind.Event;
  if (identifier >= 10000) return Kind.Warning;
  return identifier >= 1000 ? Kind.Error : null;
}

/**
 * Events: 'report' ({signal, type}) for each error or warning that changed and each event; 'freeze-frame' (file name);
 * 'signal' (signal) for every value.
 */
export class Diagnostics extends EventEmitter {
  #clock;
  #last = new Map();
  #active = { [Kind.Error]: [], [Kind.Warning]: [] };
  #logFolder;
  #logPath;
  #frames = 0;

  /**
   * @param {object} options
   *   logFolder   where freeze frames are written
   *   logPath     the same folder as the clients name it (default '/data/log')
   *   freezeMs    how long a freeze frame takes
   */
  constructor({ clock, logFolder, logPath = '/data/log', freezeMs = 200 }) {
    super();
    this.#clock = clock;
    this.#logFolder = logFolder;
    this.#logPath = logPath;
    this.freezeMs = freezeMs;
    this.failFreezeFrames = false;
  }

  /** Takes a signal (an MDiagnosticsSignal), from a process or from the inside. */
  take(signal) {
    const stamped = { connector: 0, ...signal, timestamp: signal.timestamp ?? timestampOf(this.#clock.now()) };
    this.#last.set(`${stamped.identifier} ${stamped.connector}`, stamped);
    this.emit('signal', stamped);
    const kind = kindOf(stamped.identifier);
    if (kind === Kind.Event) this.emit('report', { signal: stamped, type: { type: kind } });
    else if (kind !== null && this.#setActive(kind, stamped))
      this.emit('report', { signal: stamped, type: { type: kind } });
  }

  /** Raises an error or warning, or reports an event with its technical information. */
  raise(identifier, { connector = 0, text } = {}) {
    this.take({ identifier, connector, ...(text !== undefined ? { string_values: [text] } : { bool_values: [true] }) });
  }

  clear(identifier, { connector = 0 } = {}) {
    this.take({ identifier, connector, bool_values: [false] });
  }

  #setActive(kind, signal) {
    const list = this.#active[kind];
    const index = list.findIndex(
      ({ identifier, connector }) => identifier === signal.identifier && connector === signal.connector,
    );
    const raised = signal.bool_values?.[0] === true;
    if (raised === index >= 0) return false;
    if (raised) list.push(signal);
    else list.splice(index, 1);
    return true;
  }

  /** Last value of a signal, or null. */
  last(identifier, connector = 0) {
    return this.#last.get(`${identifier} ${connector}`) ?? null;
  }

  /** What is raised, oldest first. */
  active(kind) {
    return [...this.#active[kind]];
  }

  /** All last values with the names of their signals. */
  all() {
    return [...this.#last.values()].map((signal) => ({
      name: enumText('ESignalIdentifier', signal.identifier),
      ...signal,
    }));
  }

  createFreezeFrame(tag) {
    this.#clock.after(this.freezeMs, () => this.#finishFreezeFrame(tag));
  }

  #finishFreezeFrame(tag) {
    if (this.failFreezeFrames) {
      this.emit('freeze-frame', '');
      return;
    }
    this.#frames += 1;
    const name = `freezeframe-${this.#clock.now()}-${this.#frames}.json`;
    fs.mkdirSync(this.#logFolder, { recursive: true });
    fs.writeFileSync(path.join(this.#logFolder, name), `${JSON.stringify({ tag, signals: this.all() }, null, 2)}\n`);
    this.emit('freeze-frame', path.posix.join(this.#logPath, name));
  }
}
