// A central system that does next to nothing, so that what it measures is the other side: TLS, websocket, an answer to
// every CALL, and round trips of frames of its own.
import { EventEmitter } from 'node:events';
import fs from 'node:fs';
import https from 'node:https';
import path from 'node:path';
import { ensureCertificates } from '../../simulator/csms/certificates.js';
import { WebSocketServer } from '../../simulator/lib/packages.js';
import { waitOn } from '../../simulator/lib/waiting.js';

const ACCEPTED = { idTagInfo: { status: 'Accepted' } };
// The longest that OCPP allows.
const ID_LENGTH = 36;
const TRIP_MS = 10000;

/** Events: 'change' when something connected or called. */
export class Peer extends EventEmitter {
  #pending = null;
  #trips = 0;
  #transactions = 0;

  /**
   * @param {string} folder where authority and certificate are kept
   * @param {number} latencyMs how long each frame to the other side is under way
   */
  constructor(folder, latencyMs = 0) {
    super();
    this.setMaxListeners(0);
    this.folder = folder;
    this.latencyMs = latencyMs;
    this.socket = null;
    /** When the other side connected, in ms of `performance.now()`. */
    this.connectedAt = null;
    /** action -> times of its CALLs, in ms of `performance.now()` */
    this.calls = new Map();
    /** Ids of all CALLs, in order. */
    this.ids = [];
  }

  async start() {
    const { server } = ensureCertificates(this.folder, ['localhost', '127.0.0.1']);
    this.server = https.createServer({
      cert: fs.readFileSync(server.certificateFile),
      key: fs.readFileSync(server.keyFile),
    });
    this.websockets = new WebSocketServer({ server: this.server, perMessageDeflate: false });
    this.websockets.on('connection', (socket) => this.#connected(socket));
    await new Promise((resolve) => {
      this.server.listen(0, '127.0.0.1', resolve);
    });
    return this;
  }

  /** Host, port and path, without scheme. */
  get uri() {
    return `localhost:${this.server.address().port}/bench`;
  }

  get caFile() {
    return path.join(this.folder, 'ca.pem');
  }

  #connected(socket) {
    this.socket = socket;
    this.connectedAt = performance.now();
    socket.on('message', (data) => this.#received(data.toString()));
    socket.on('error', (error) => this.#end(error));
    socket.on('close', () => this.#end(new Error('the other side has gone')));
    this.emit('change');
  }

  #end(error) {
    this.#pending?.reject(error);
    this.#pending = null;
  }

  #received(text) {
    if (this.#pending && text.includes(this.#pending.id)) {
      const { resolve } = this.#pending;
      this.#pending = null;
      resolve(text);
      return;
    }
    const frame = JSON.parse(text);
    if (frame[0] !== 2) return;
    this.#send(this.#answerTo(frame));
    if (!this.calls.has(frame[2])) this.calls.set(frame[2], []);
    this.calls.get(frame[2]).push(performance.now());
    this.ids.push(frame[1]);
    this.emit('change');
  }

  #answerTo([, id, action]) {
    return JSON.stringify([3, id, this.#payloadOf(action)]);
  }

  #payloadOf(action) {
    switch (action) {
      case 'BootNotification':
        return { status: 'Accepted', interval: 3600, currentTime: new Date().toISOString() };
      case 'Heartbeat':
        return { currentTime: new Date().toISOString() };
      case 'StartTransaction':
        this.#transactions += 1;
        return { transactionId: this.#transactions, ...ACCEPTED };
      case 'Authorize':
        return ACCEPTED;
      default:
        return {};
    }
  }

  /** Resolves with what `probe` gives, once that is truthy. */
  waitFor(probe, { timeoutMs = 30000, what } = {}) {
    return waitOn(this, 'change', () => probe(this), { timeoutMs, what });
  }

  /** Sends `[2, id, action, payload]` `count` times, one after the other; returns the round trips in µs. */
  async roundTrips(action, payload, count) {
    const times = [];
    for (let number = 0; number < count; number += 1) {
      this.#trips += 1;
      const id = `round-${this.#trips}-`.padEnd(ID_LENGTH, 'x');
      const frame = JSON.stringify([2, id, action, payload]);
      const begin = performance.now();
      this.lastAnswer = await this.#exchange(id, frame);
      times.push((performance.now() - begin) * 1000);
    }
    return times;
  }

  #exchange(id, frame) {
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => this.#end(new Error(`no answer to ${frame}`)), TRIP_MS);
      const finish = (action) => (value) => {
        clearTimeout(timer);
        action(value);
      };
      this.#pending = { id, resolve: finish(resolve), reject: finish(reject) };
      this.#send(frame);
    });
  }

  #send(frame) {
    const { socket } = this;
    if (this.latencyMs === 0) socket.send(frame);
    else setTimeout(() => socket.send(frame), this.latencyMs);
  }

  async stop() {
    this.socket?.terminate();
    this.server.closeAllConnections();
    await new Promise((resolve) => {
      this.server.close(resolve);
    });
  }
}
