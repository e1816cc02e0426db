// The wire log: every frame in both directions, one line each, an answer paired with its call by message id.
import fs from 'node:fs';
import path from 'node:path';
import { KIND_NAMES, CALL, CALLERROR } from './frames.js';
import { redact, redactText } from './redact.js';

const HISTORY = 100000;
// Longer frames are cut off in the log.
const MAX_LINE = 4000;
// Calls that a late or doubled answer can still be paired with.
const CALL_HISTORY = 10000;

/**
 * One frame as it went over the wire.
 * @typedef {object} Frame
 * @property {number} index running number over all frames of the log
 * @property {number} time milliseconds since the epoch
 * @property {string} station id of the station
 * @property {'in'|'out'} direction 'in' is from the station to the central system
 * @property {number} [kind] 2, 3 or 4
 * @property {string} [id] message id
 * @property {string} [action] of a CALL; of an answer the action of the call it answers, if that is known
 * @property {object} [payload] of a CALL or CALLRESULT
 * @property {string} [code] of a CALLERROR
 * @property {number} [elapsedMs] of an answer: since its call
 * @property {string|null} problem what is wrong with the frame
 * @property {string} text the frame itself
 */

function shorten(text) {
  return text.length <= MAX_LINE ? text : `${text.slice(0, MAX_LINE)}... (${text.length} characters)`;
}

function bodyOf(frame) {
  if (frame.text.length > MAX_LINE) return redactText(shorten(frame.text));
  if (frame.kind !== CALLERROR) return JSON.stringify(redact(frame.payload));
  return `${frame.code} ${JSON.stringify(frame.description)} ${JSON.stringify(redact(frame.details))}`;
}

export class WireLog {
  #file = null;
  #calls = new Map();
  #next = 0;

  /**
   * @param {object} [options] `file`: appended to, one line a frame; `print`: called with each line.
   */
  constructor({ file = null, print = null } = {}) {
    /** @type {Frame[]} */
    this.frames = [];
    this.print = print;
    if (file) {
      fs.mkdirSync(path.dirname(file), { recursive: true });
      this.#file = fs.openSync(file, 'a');
    }
  }

  /** Records a frame and gives it back with `action` and `elapsedMs` filled in for an answer. */
  record({ station, direction, text, parsed }) {
    const frame = { index: this.#next++, time: Date.now(), station, direction, ...parsed, text };
    this.#pair(frame);
    this.frames.push(frame);
    if (this.frames.length > HISTORY) this.frames.shift();
    this.#write(this.format(frame));
    return frame;
  }

  /** Writes a remark (a connection that came or went) between the frames. */
  note(station, text) {
    this.#write(`${new Date().toISOString()} ${station} -- ${redactText(text)}`);
  }

  format(frame) {
    const arrow = frame.direction === 'in' ? '->' : '<-';
    const head = `${new Date(frame.time).toISOString()} ${frame.station} ${arrow}`;
    if (frame.problem || !(frame.kind in KIND_NAMES))
      return `${head} INVALID (${frame.problem}) ${redactText(shorten(frame.text)).replace(/[\r\n]/g, ' ')}`;
    const elapsed = frame.elapsedMs === undefined ? '' : ` +${frame.elapsedMs}ms`;
    return `${head} ${KIND_NAMES[frame.kind]} ${frame.action ?? '?'} [${frame.id}]${elapsed} ${bodyOf(frame)}`;
  }

  close() {
    if (this.#file !== null) fs.closeSync(this.#file);
    this.#file = null;
  }

  #pair(frame) {
    if (frame.kind === CALL) {
      this.#calls.set(`${frame.station} ${frame.direction} ${frame.id}`, frame);
      if (this.#calls.size > CALL_HISTORY) this.#calls.delete(this.#calls.keys().next().value);
      return;
    }
    const opposite = frame.direction === 'in' ? 'out' : 'in';
    const call = this.#calls.get(`${frame.station} ${opposite} ${frame.id}`);
    if (!call) return;
    frame.action = call.action;
    frame.elapsedMs = frame.time - call.time;
  }

  #write(line) {
    if (this.#file !== null) fs.writeSync(this.#file, `${line}\n`);
    this.print?.(line);
  }
}
