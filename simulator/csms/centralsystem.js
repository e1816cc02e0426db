// The simulated central system as a library: a listener, the stations that came, scripted answers, the account book and
// the wire log. `main.js` makes a program of it.
import { EventEmitter } from 'node:events';
import path from 'node:path';
import { AccountBook } from './accountbook.js';
import { Scripts } from './answers.js';
import { ensureCertificates } from './certificates.js';
import { Listener, SUBPROTOCOL } from './listener.js';
import { StationLink } from './stationlink.js';
import { WireLog } from './wirelog.js';
import { waitOn } from '../lib/waiting.js';

const DEFAULT_BOOT = { status: 'Accepted', interval: 300 };
// A TriggerMessage excuses one message of its kind within this time while the registration is not accepted.
const TRIGGER_EXCUSE_MS = 60000;

function now() {
  return new Date().toISOString().replace(/\.\d+Z$/, 'Z');
}

/**
 * Events: 'change' after everything that happens (see `waitFor`); 'violation' ({station, frame, text});
 * 'connect' and 'disconnect' (StationLink); 'call' (StationLink, frame).
 */
export class CentralSystem extends EventEmitter {
  #triggers = new Map();
  #boots = [];

  /**
   * @param {object} [options]
   *   state       folder of the authority, the certificates and the wire log (default 'build/csms')
   *   host, port  where to listen (default 127.0.0.1, any port)
   *   names       host names and addresses in the certificate (default localhost, 127.0.0.1)
   *   path        in front of the station id (default '/ocpp')
   *   stations    {id: password in hex}; `anyStation: true` lets everyone in
   *   tls         false for plain websockets; or {cert, key} files, minVersion, maxVersion over the own ones
   *   strict      validate against the schemas (default true)
   *   log         {file, print} of the wire log; default file is `<state>/wire.log`
   */
  constructor(options = {}) {
    super();
    this.setMaxListeners(0);
    this.options = {
      state: 'build/csms',
      names: ['localhost', '127.0.0.1'],
      stations: {},
      tls: {},
      strict: true,
      ...options,
    };
    this.isStrict = this.options.strict;
    this.log = new WireLog({ file: path.join(this.options.state, 'wire.log'), ...options.log });
    this.book = new AccountBook();
    this.scripts = new Scripts();
    /** @type {Map<string, StationLink>} */
    this.stations = new Map();
    this.passwords = new Map(Object.entries(this.options.stations));
    /** Frames against the standard: {station, frame, text}. */
    this.violations = [];
    /** Upgrades that were refused: {station, status, reason, time}. */
    this.refusals = [];
    /** TLS handshakes that failed, as texts. */
    this.tlsErrors = [];
    /** Number of TCP connections accepted so far. */
    this.tcpConnections = 0;
    /** Answers to Authorize, StartTransaction and StopTransaction by tag; a tag that is not here is Accepted. */
    this.tags = new Map();
    this.handlers = this.#makeHandlers();
    this.listener = null;
  }

  // ---- life

  async start() {
    if (!this.listener) this.listener = this.#makeListener();
    await this.listener.start();
    return this;
  }

  /** Stops; `start` again takes the same port, and stations, books and scripts are kept. */
  async stop() {
    await this.listener?.stop();
  }

  get port() {
    return this.listener.port;
  }

  /** The certificate that a station must trust. */
  get caFile() {
    return path.join(this.options.state, 'ca.pem');
  }

  /** What a station is configured with: host, port and path, without scheme and station id. */
  get uri() {
    return `${this.options.names[0]}:${this.port}${this.listener ? this.#path : ''}`;
  }

  get url() {
    return `${this.options.tls === false ? 'ws' : 'wss'}://${this.uri}`;
  }

  get #path() {
    return this.options.path ?? '/ocpp';
  }

  #makeListener() {
    const { host, port, tls, state, names } = this.options;
    let files = false;
    if (tls !== false) {
      const { server } = ensureCertificates(state, names);
      files = { cert: server.certificateFile, key: server.keyFile, ...tls };
    }
    const listener = new Listener({
      ...(host && { host }),
      ...(port && { port }),
      path: this.#path,
      tls: files,
      passwords: this.passwords,
      anyStation: this.options.anyStation,
    });
    listener.on('open', (websocket, details) => this.#opened(websocket, details));
    listener.on('refused', (refusal) => {
      this.refusals.push({ ...refusal, time: Date.now() });
      this.log.note(refusal.station ?? '?', `refused with ${refusal.status}: ${refusal.reason}`);
      this.emit('change');
    });
    listener.on('tls-error', (error) => {
      this.tlsErrors.push(error.message);
      this.log.note('?', `TLS handshake failed: ${error.code ?? error.message}`);
      this.emit('change');
    });
    listener.on('tcp', () => {
      this.tcpConnections += 1;
      this.emit('change');
    });
    return listener;
  }

  #opened(websocket, details) {
    const station = this.station(details.station);
    if (details.subprotocol !== SUBPROTOCOL)
      this.log.note(details.station, `subprotocols offered: ${details.offered || 'none'}`);
    station.attach(websocket, details);
    this.emit('connect', station);
    this.emit('change');
  }

  // ---- stations

  /** The station of that id; made when it is named first. */
  station(id) {
    let station = this.stations.get(id);
    if (!station) {
      station = new StationLink(id, this);
      station.on('change', () => this.emit('change'));
      this.stations.set(id, station);
    }
    return station;
  }

  /** Sends a CALL; see StationLink.call. A TriggerMessage excuses the message that it asks for. */
  call(id, action, payload = {}, options = {}) {
    if (action === 'TriggerMessage' || action === 'ExtendedTriggerMessage') {
      this.#triggers.set(`${id} ${payload.requestedMessage}`, Date.now());
    }
    return this.station(id).call(action, payload, options);
  }

  // ---- what it answers

  /** Appends scripted answers to the CALLs of `action`; see answers.js. */
  answer(action, steps) {
    this.scripts.add(action, steps);
  }

  /** Answers to the next BootNotifications, one each; the last one stays. */
  setBoot(...answers) {
    this.#boots = answers.map((entry) => ({ ...DEFAULT_BOOT, ...entry }));
  }

  /** How connections are met from now on; see listener.js. */
  setDoor(door) {
    this.listener.setDoor(door);
  }

  #nextBoot() {
    if (this.#boots.length > 1) return this.#boots.shift();
    return this.#boots[0] ?? DEFAULT_BOOT;
  }

  #idTagInfo(idTag) {
    return { status: 'Accepted', ...this.tags.get(idTag) };
  }

  #makeHandlers() {
    const nothing = () => ({});
    return {
      Authorize: ({ idTag }) => ({ idTagInfo: this.#idTagInfo(idTag) }),
      BootNotification: () => ({ currentTime: now(), ...this.#nextBoot() }),
      DataTransfer: () => ({ status: 'UnknownVendorId' }),
      DiagnosticsStatusNotification: nothing,
      FirmwareStatusNotification: nothing,
      Heartbeat: () => ({ currentTime: now() }),
      LogStatusNotification: nothing,
      MeterValues: (payload, call) => {
        this.book.meterValues(call.station.id, call.id, payload);
        return {};
      },
      SecurityEventNotification: nothing,
      StartTransaction: (payload, call) => ({
        transactionId: this.book.start(call.station.id, call.id, payload),
        idTagInfo: this.#idTagInfo(payload.idTag),
      }),
      StatusNotification: nothing,
      StopTransaction: (payload, call) => {
        this.book.stop(call.station.id, call.id, payload);
        return payload.idTag === undefined ? {} : { idTagInfo: this.#idTagInfo(payload.idTag) };
      },
    };
  }

  // ---- told by the links

  heard(station, frame) {
    if (frame.kind === 2) this.emit('call', station, frame);
  }

  /** The answer of `frame` has been decided upon: what a central system remembers of it. */
  decided(station, frame, payload) {
    if (frame.action === 'BootNotification') {
      station.boot = frame.payload;
      station.registration = payload.status;
    }
    if (frame.action === 'StatusNotification') station.statuses.set(frame.payload.connectorId, frame.payload);
  }

  answered(station, frame) {
    this.book.answered(station.id, frame.id);
  }

  violate(station, frame, text) {
    this.violations.push({ station, frame, text });
    this.log.note(station, `VIOLATION: ${text}`);
    this.emit('violation', { station, frame, text });
  }

  isTriggered(id, action) {
    return Date.now() - (this.#triggers.get(`${id} ${action}`) ?? -Infinity) < TRIGGER_EXCUSE_MS;
  }

  // ---- asked by tests and people

  /** The frames that match: {station, direction, action, kind, after (index)} or a function. */
  frames(match = {}) {
    const test =
      typeof match === 'function'
        ? match
        : (frame) =>
            (match.station === undefined || frame.station === match.station) &&
            (match.direction === undefined || frame.direction === match.direction) &&
            (match.action === undefined || frame.action === match.action) &&
            (match.kind === undefined || frame.kind === match.kind) &&
            (match.after === undefined || frame.index > match.after);
    return this.log.frames.filter(test);
  }

  /** CALLs of `action` from the stations (or from one), in order of arrival. */
  calls(action, match = {}) {
    return this.frames({ ...match, action, direction: 'in', kind: 2 });
  }

  /** Index of the last frame so far, to wait for what comes after it. */
  get mark() {
    return this.log.frames.at(-1)?.index ?? -1;
  }

  /** Resolves with what `probe` gives, once that is truthy. */
  waitFor(probe, { timeoutMs, what } = {}) {
    return waitOn(this, 'change', () => probe(this), { timeoutMs, what });
  }

  /** Resolves with the first CALL of `action` after `after` (an index, default: from the beginning). */
  waitForCall(action, { after = -1, station, timeoutMs, where = () => true } = {}) {
    return this.waitFor(() => this.calls(action, { after, station }).find(where), {
      timeoutMs,
      what: `a ${action} of the station`,
    });
  }
}
