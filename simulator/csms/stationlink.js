// One station as the central system sees it: its websocket (at most one at a time counts), the frames on it, the calls
// under way in both directions, and what the station said of itself. It outlives its connections.
import { EventEmitter } from 'node:events';
import { randomUUID } from 'node:crypto';
import * as frames from './frames.js';
import { malformedText, shapeAnswer } from './answers.js';
import { Sender } from '../lib/packages.js';
import { pause } from '../lib/waiting.js';

const { CALL, CALLRESULT, CALLERROR } = frames;

// A station's CALL that follows an unanswered one within this time overlaps it (OCPP-J 1.6, 4.1.1).
const ANSWER_PATIENCE_MS = 30000;

/** What a CALL to the station came to. `error` is set for a CALLERROR; neither for one that was never answered. */
export class CallError extends Error {
  constructor(code, description, details) {
    super(`${code}: ${description}`);
    this.code = code;
    this.description = description;
    this.details = details;
  }
}

/** Events: 'change' after every frame, connection or disconnection. */
export class StationLink extends EventEmitter {
  #system;
  #socket = null;
  #outgoing = new Map();
  #unanswered = null;

  /** @param {object} system owner: `log`, `scripts`, `handlers`, `violate(station, text)`, `isStrict` */
  constructor(id, system) {
    super();
    this.setMaxListeners(0);
    this.#system = system;
    this.id = id;
    /** Of the present connection: {subprotocol, tls, since}; null while there is none. */
    this.connection = null;
    /** Each connection so far, with `closed` {code, reason, time} once it has ended. */
    this.connections = [];
    /** 'Accepted', 'Pending', 'Rejected', or null before the first BootNotification. */
    this.registration = null;
    this.boot = null;
    /** Last StatusNotification of each connector. */
    this.statuses = new Map();
    /** CALLs that came while another was unanswered: {action, id, behind}. */
    this.overlaps = [];
  }

  get online() {
    return this.connection !== null;
  }

  /** Takes over a websocket that was just opened; an older one is closed. */
  attach(websocket, { subprotocol, tls }) {
    this.#socket?.terminate();
    this.#socket = websocket;
    this.#unanswered = null;
    const connection = { subprotocol, tls, since: Date.now(), closed: null };
    this.connection = connection;
    this.connections.push(connection);
    this.#system.log.note(this.id, `connected, subprotocol ${subprotocol || 'none'}, ${tls ? tls.version : 'no TLS'}`);
    websocket.on('message', (data, isBinary) =>
      this.#receive(isBinary ? `binary frame of ${data.length} bytes` : data.toString('utf8'), isBinary),
    );
    websocket.on('error', (error) => this.#system.log.note(this.id, `websocket error: ${error.message}`));
    websocket.on('ping', () => {
      connection.pings = (connection.pings ?? 0) + 1;
    });
    websocket.on('close', (code, reason) => this.#detach(websocket, connection, code, reason.toString()));
    this.emit('change');
  }

  #detach(websocket, connection, code, reason) {
    connection.closed = { code, reason, time: Date.now() };
    this.#system.log.note(this.id, `disconnected, ${code} "${reason}"`);
    if (websocket === this.#socket) {
      this.#socket = null;
      this.connection = null;
      for (const { reject } of this.#outgoing.values())
        reject(new Error(`connection ended (${code}) before the answer`));
      this.#outgoing.clear();
    }
    this.emit('change');
  }

  // ---- to the station

  /**
   * Sends a CALL and resolves with the payload of its CALLRESULT; a CALLERROR rejects with a CallError.
   * @param {object} [options] `id`; `timeoutMs` (default 30000); `unchecked`: send a payload that the schemas refuse
   */
  call(action, payload = {}, { id = randomUUID(), timeoutMs = 30000, unchecked = false } = {}) {
    if (!unchecked && frames.isKnownAction(action)) frames.checkRequest(action, payload);
    return this.#expect(id, action, timeoutMs, () => this.#transmit(frames.writeCall(id, action, payload)));
  }

  /** Sends any text as one frame. With `id` the answer to it is awaited as in `call`. */
  sendRaw(text, { id = null, action = null, timeoutMs = 30000 } = {}) {
    if (id === null) {
      this.#transmit(text);
      return Promise.resolve();
    }
    return this.#expect(id, action, timeoutMs, () => this.#transmit(text));
  }

  sendBinary(bytes) {
    this.#requireSocket().send(bytes, { binary: true });
  }

  /** Sends bytes as a text frame, also such as are no UTF-8. */
  sendBytesAsText(bytes) {
    this.#system.log.note(this.id, `sent ${bytes.length} bytes as a text frame`);
    this.#requireSocket().send(bytes, { binary: false });
  }

  /** Closes the websocket with a close frame. */
  close(code = 1000, reason = '') {
    this.#requireSocket().close(code, reason);
  }

  /** Breaks the TCP connection off. */
  terminate() {
    this.#requireSocket().terminate();
  }

  /** Stops reading: pings stay unanswered, as on a link that is dead in the middle. `thaw` ends it. */
  freeze() {
    this.#requireSocket()._socket.pause();
  }

  thaw() {
    this.#requireSocket()._socket.resume();
  }

  #requireSocket() {
    if (!this.#socket) throw new Error(`station ${this.id} is not connected`);
    return this.#socket;
  }

  #transmit(text) {
    const socket = this.#requireSocket();
    this.#system.log.record({ station: this.id, direction: 'out', text, parsed: frames.readFrame(text) });
    socket.send(text);
    this.emit('change');
  }

  #expect(id, action, timeoutMs, send) {
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => {
        this.#outgoing.delete(id);
        reject(new Error(`no answer to ${action ?? 'the frame'} [${id}] within ${timeoutMs} ms`));
      }, timeoutMs);
      const settle = (finish) => (value) => {
        clearTimeout(timer);
        finish(value);
      };
      this.#outgoing.set(id, { action, resolve: settle(resolve), reject: settle(reject) });
      try {
        send();
      } catch (error) {
        this.#outgoing.delete(id);
        settle(reject)(error);
      }
    });
  }

  // ---- from the station

  #receive(text, isBinary) {
    const parsed = isBinary ? { problem: text } : frames.readFrame(text);
    const frame = this.#system.log.record({ station: this.id, direction: 'in', text, parsed });
    this.#system.heard(this, frame);
    if (frame.problem) this.#violate(frame, frame.problem);
    if (frame.kind === CALL) this.#receiveCall(frame);
    else if (frame.kind === CALLRESULT || frame.kind === CALLERROR) this.#receiveAnswer(frame);
    this.emit('change');
  }

  #violate(frame, text) {
    frame.problem ??= text;
    this.#system.violate(this.id, frame, text);
  }

  #receiveAnswer(frame) {
    const waiting = this.#outgoing.get(frame.id);
    if (!waiting) {
      this.#violate(frame, `answer to message ${frame.id}, which is not outstanding`);
      return;
    }
    this.#outgoing.delete(frame.id);
    if (frame.kind === CALLERROR) {
      waiting.reject(new CallError(frame.code, frame.description, frame.details));
      return;
    }
    try {
      if (this.#system.isStrict && waiting.action && frames.isKnownAction(waiting.action))
        frames.checkConfirmation(waiting.action, frame.payload);
    } catch (error) {
      this.#violate(frame, error.message);
    }
    waiting.resolve(frame.payload);
  }

  #receiveCall(frame) {
    if (frame.problem) return this.#refuse(frame, 'FormationViolation', frame.problem);
    this.#noteOverlap(frame);
    if (this.#system.isStrict) {
      try {
        frames.checkRequest(frame.action, frame.payload);
      } catch (error) {
        this.#violate(frame, error.message);
        return this.#refuse(frame, error.code, error.message);
      }
    }
    if (
      this.registration !== null &&
      this.registration !== 'Accepted' &&
      frame.action !== 'BootNotification' &&
      !this.#system.isTriggered(this.id, frame.action)
    ) {
      this.#violate(frame, `${frame.action} while the registration is ${this.registration}`);
    }
    return this.#answer(frame).catch((error) =>
      this.#system.log.note(this.id, `no answer to ${frame.action} [${frame.id}]: ${error.message}`),
    );
  }

  #noteOverlap(frame) {
    const earlier = this.#unanswered;
    if (earlier && frame.time - earlier.time < ANSWER_PATIENCE_MS) {
      this.overlaps.push({
        action: frame.action,
        id: frame.id,
        behind: { action: earlier.action, id: earlier.id },
        afterMs: frame.time - earlier.time,
      });
    }
    this.#unanswered = frame;
  }

  #refuse(frame, code, description) {
    if (frame.id) this.#transmit(frames.writeError(frame.id, code, description.slice(0, 255), {}));
    this.#settled(frame);
  }

  #settled(frame) {
    if (this.#unanswered === frame) this.#unanswered = null;
  }

  /** Carries out one step of the script, or the own answer. */
  async #answer(frame) {
    const step = this.#system.scripts.take(frame.action);
    const socket = this.#socket;
    if (step.error) return this.#answerWithError(frame, step, socket);
    const handler = this.#system.handlers[frame.action];
    if (!handler) return this.#refuse(frame, 'NotImplemented', `${frame.action} is not served`);
    if (step.cut === 'before' || step.close?.when === 'before') return this.#breakOffUnheard(step, socket);
    const call = { action: frame.action, id: frame.id, payload: frame.payload, station: this };
    // An answer that is about to be lost was still decided upon: the books say what the central system did.
    const own = handler(frame.payload, call);
    const payload = shapeAnswer(own, step, call);
    this.#system.decided(this, frame, payload);
    if (step.delayMs) await pause(step.delayMs);
    if (this.#socket !== socket) return undefined;
    if (step.silence) return step.close || step.cut ? this.#breakOff(step) : undefined;
    return this.#sendAnswer(frame, step, payload);
  }

  async #answerWithError(frame, step, socket) {
    const error = typeof step.error === 'string' ? { code: step.error } : step.error;
    if (step.delayMs) await pause(step.delayMs);
    if (this.#socket !== socket) return;
    const text = frames.writeError(
      step.wrongId ? randomUUID() : frame.id,
      error.code,
      error.description ?? '',
      error.details ?? {},
    );
    this.#transmit(text);
    if (step.twice) this.#transmit(text);
    this.#settled(frame);
    if (step.close || step.cut) this.#breakOff(step);
  }

  #sendAnswer(frame, step, payload) {
    const id = step.wrongId ? randomUUID() : frame.id;
    const plain = !step.raw && !step.malformed && !step.wrongId;
    let text = frames.writeResult(id, payload);
    if (step.malformed) text = malformedText(step.malformed, id, payload);
    if (step.raw) text = step.raw.replaceAll('{id}', frame.id);
    if (plain && this.#system.isStrict && typeof step.payload !== 'function')
      frames.checkConfirmation(frame.action, payload);
    if (step.cut === 'during') return this.#cutDuring(text);
    this.#transmit(text);
    if (step.twice) this.#transmit(text);
    if (plain) {
      this.#settled(frame);
      this.#system.answered(this, frame);
    }
    if (step.close || step.cut) this.#breakOff(step);
    return undefined;
  }

  /** The call counts as never heard. */
  async #breakOffUnheard(step, socket) {
    if (step.delayMs) await pause(step.delayMs);
    if (this.#socket === socket) this.#breakOff(step);
  }

  #breakOff(step) {
    if (step.cut) this.terminate();
    else this.close(step.close.code ?? 1000, step.close.reason ?? '');
  }

  /** Sends the first half of a websocket frame and breaks the connection off. */
  #cutDuring(text) {
    const socket = this.#requireSocket();
    const frame = Buffer.concat(
      Sender.frame(Buffer.from(text), { fin: true, opcode: 1, mask: false, readOnly: false, rsv1: false }),
    );
    this.#system.log.note(this.id, 'answer cut off in the middle');
    socket._socket.write(frame.subarray(0, Math.ceil(frame.length / 2)), () => socket.terminate());
  }
}
