// A simulated station around `secc`: all sibling processes, and the supervisor that drives it.
import { EventEmitter } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import { ServiceServer, SERVICES, readDirectory } from '../lib/iipc.js';
import { realClock } from '../lib/clock.js';
import { waitOn } from '../lib/waiting.js';
import { Board, SafetyController } from './board.js';
import { Connector, State } from './connector.js';
import { CurrentControl, MINIMUM_CURRENT_MA, SOURCE_CABLE } from './currentcontrol.js';
import { Diagnostics } from './diagnostics.js';
import { Meter } from './meter.js';
import { connectNotifications, makeMethods } from './services.js';
import { SessionEvents } from './sessionevents.js';
import { Supervisor } from './supervisor.js';

const PROCESS_CONTROL = 'SeccGenCtrl';
const SIBLINGS = Object.keys(SERVICES).filter((name) => !name.startsWith('Secc'));
/** How often the safety controller reports its temperatures. */
const TEMPERATURES_MS = 10000;
/** How long after its approval secc has surely started its backoffices. */
const APPROVAL_MS = 100;
const CP_STATE = { A: 0, B: 1, C: 2 };
const PP_STATE = { none: 0, 13: 1, 20: 2, 32: 3, 63: 4 };
const STATE_NAMES = Object.fromEntries(Object.entries(State).map(([name, number]) => [number, name]));

export { State, STATE_NAMES };

/**
 * Events: 'change' after everything that happens; 'log' (text); 'reset' (hard) when a reset was accepted;
 * 'enabled' and 'restarted' of the process under control; 'shown' ({type, instance}).
 */
export class Station extends EventEmitter {
  #saving = false;
  #restarted = false;
  #reports = null;
  #isApprovalTold;
  #cancelApproval = () => {};

  /**
   * @param {object} options
   *   root          folder with etc/iipc.json; the state of the siblings is kept in `<root>/simulator.json`
   *   logFolder     where freeze frames go (default `<root>/data/log`)
   *   phases        1 or 3
   *   maxCurrent    mA that the installation allows
   *   vehicle       {current: mA, phases} that the vehicle takes
   *   times         of the connector and of the session events, see connector.js and sessionevents.js; `approvalMs`: see
   *                 APPROVAL_MS
   *   drive         false: the supervisor only watches
   *   needsApproval false: a station without an operator's backoffice, where nobody approves of charging
   *   fixedCable, autoAuthorize, signed, powerFactor
   */
  constructor(options) {
    super();
    this.setMaxListeners(0);
    const { root, clock = realClock, needsApproval = true } = options;
    this.options = options;
    this.root = root;
    this.clock = clock;
    this.stateFile = options.stateFile ?? path.join(root, 'simulator.json');
    const saved = this.#load();
    this.#isApprovalTold = saved.isApprovalTold ?? false;
    this.needsApproval = needsApproval;
    this.vehicle = { current: 16000, phases: 3, ...options.vehicle };
    this.cable = null;
    /** Connector that requests for authorization name: 1, or 0 for a reader of the whole station. */
    this.tagConnector = options.tagConnector ?? 1;
    this.tokenType = options.tokenType ?? 1;
    /** What was shown to people: {type, instance, time}. */
    this.feedback = [];
    this.#makeParts(saved);
    const addresses = readDirectory(root);
    this.#makeServers(addresses);
    this.supervisor = new Supervisor({
      name: PROCESS_CONTROL,
      address: addresses[PROCESS_CONTROL],
      drive: options.drive ?? true,
    });
    this.#connect();
  }

  #makeParts(saved) {
    const { clock, needsApproval, options } = this;
    const { phases = 3, maxCurrent = 16000 } = options;
    this.meter = new Meter({
      clock,
      phases,
      signed: options.signed,
      powerFactor: options.powerFactor,
      saved: saved.meter,
    });
    this.currentControl = new CurrentControl({ maxCurrent, phases });
    this.connector = new Connector({
      clock,
      times: options.times,
      saved: { approved: !needsApproval, ...saved.connector },
      fixedCable: options.fixedCable,
      autoAuthorize: options.autoAuthorize,
    });
    this.sessionEvents = new SessionEvents({
      clock,
      times: options.times,
      saved: saved.sessionEvents,
      send: (notification) => this.servers.SessionManager.notify(notification),
      isAttended: () => this.#isListening && (this.#isApprovalTold || !needsApproval),
      presentTag: () => this.connector.idTag,
      changed: () => this.#save(),
    });
    this.diagnostics = new Diagnostics({ clock, logFolder: options.logFolder ?? path.join(this.root, 'data/log') });
    this.board = new Board({ clock });
    this.safety = new SafetyController();
  }

  #makeServers(addresses) {
    const methods = makeMethods(this);
    /** @type {Record<string, ServiceServer>} */
    this.servers = Object.fromEntries(
      SIBLINGS.map((name) => [
        name,
        new ServiceServer(name, addresses[name], methods[name], {
          greet: name === 'SessionManager' ? () => [{ state_changed: { state: this.connector.state } }] : () => [],
        }),
      ]),
    );
  }

  // ---- life

  async start() {
    await Promise.all(Object.values(this.servers).map((server) => server.start()));
    this.supervisor.start();
    this.connector.resume();
    this.#reports = setInterval(() => this.safety.report(), TEMPERATURES_MS);
    this.#reports.unref();
    return this;
  }

  async stop() {
    clearInterval(this.#reports);
    this.supervisor.close();
    this.connector.close();
    this.#cancelApproval();
    this.sessionEvents.close();
    this.#save();
    this.#saving = true;
    await Promise.all(Object.values(this.servers).map((server) => server.kill()));
  }

  #load() {
    return fs.existsSync(this.stateFile) ? JSON.parse(fs.readFileSync(this.stateFile, 'utf8')) : {};
  }

  /** Keeps what must survive a restart of the siblings; written whole, so that a kill leaves the old or the new state. */
  #save() {
    if (this.#saving) return;
    const state = {
      connector: this.connector.save(),
      meter: this.meter.save(),
      sessionEvents: this.sessionEvents.save(),
      isApprovalTold: this.#isApprovalTold,
    };
    const temporary = `${this.stateFile}.new`;
    fs.writeFileSync(temporary, JSON.stringify(state));
    fs.renameSync(temporary, this.stateFile);
  }

  /** Gives `reading` once everything that it says is kept. */
  kept(reading) {
    this.#save();
    return reading;
  }

  // ---- how the parts move one another

  #connect() {
    const { connector, currentControl, diagnostics, supervisor } = this;
    connectNotifications(this);
    connector.on('started', ({ idTag }) => this.#sessionStarted(idTag));
    connector.on('stopped', ({ reason, idTag }) => this.#sessionStopped(reason, idTag));
    connector.on('flow', () => this.#applyLoad());
    connector.on('feedback', (text) => this.show(text === 'AuthSuccess' ? 0 : 1, 1));
    connector.on('changed', () => this.#save());
    connector.on('state', (state) => this.#note(`connector is ${STATE_NAMES[state]}`));
    currentControl.on('limit', (limit) => {
      connector.setEvseReady(limit.current >= MINIMUM_CURRENT_MA);
      this.#applyLoad();
      this.#note(`limit is ${limit.current} mA on ${limit.phases} phases (source ${limit.source})`);
    });
    diagnostics.on('signal', () => this.emit('change'));
    this.board.on('reset', (hard) => {
      this.#note(`${hard ? 'hard' : 'soft'} reset accepted`);
      this.emit('reset', hard);
    });
    this.meter.on('changed', () => this.#save());
    supervisor.on('restarted', () => {
      this.#restarted = true;
      this.emit('restarted');
    });
    supervisor.on('state', () => {
      if (!supervisor.isEnabled) this.sessionEvents.lost();
      // As long as nothing is known of the process, its approval may still hold.
      if (supervisor.isKnown && !supervisor.isEnabled) this.#forgetApproval();
      this.#note(`secc is ${supervisor.stateText}`);
    });
    supervisor.on('enabled', () => {
      this.emit('enabled');
      this.#attend();
      this.safety.report();
    });
    supervisor.on('alive', () => this.emit('change'));
    supervisor.on('silent', () => this.#note('secc gives no sign of life'));
    supervisor.on('trouble', (text) => this.#note(text));
    const { SessionManager } = this.servers;
    SessionManager.on('subscribed', () => this.#attend());
    SessionManager.on('unsubscribed', () => {
      if (SessionManager.subscribers.length === 0) this.sessionEvents.lost();
    });
    for (const server of Object.values(this.servers)) {
      server.on('call', () => this.emit('change'));
      server.on('subscribed', () => this.emit('change'));
      server.on('unsubscribed', () => this.emit('change'));
    }
  }

  #note(text) {
    this.emit('log', text);
    this.emit('change');
  }

  /** The current that the vehicle draws now, of each phase. */
  #applyLoad() {
    const { current, phases } = this.currentControl.limit;
    const drawn = this.connector.charging ? Math.min(current, this.vehicle.current) : 0;
    const count = Math.min(phases, this.vehicle.phases, this.meter.phases);
    this.meter.setLoad(Array.from({ length: this.meter.phases }, (_, index) => (index < count ? drawn : 0)));
  }

  // ---- sessions towards secc

  #sessionStarted(idTag) {
    const reading = this.meter.startSession(idTag);
    this.sessionEvents.started(idTag, reading);
    this.#note(`session of ${idTag} started at ${reading.energy_register} mWh`);
  }

  #sessionStopped(reason, idTag) {
    this.meter.setLoad([]);
    const reading = this.meter.endSession();
    this.sessionEvents.stopped(idTag, reading, reason);
    this.#note(`session stopped at ${reading.energy_register} mWh, reason ${reason}`);
  }

  get #isListening() {
    return this.supervisor.isEnabled && this.servers.SessionManager.subscribers.length > 0;
  }

  /**
   * secc has told whether charging is approved: it is about to start its backoffices, and before that it has nobody to
   * tell of a session.
   */
  approve(approved) {
    this.connector.setApproved(approved);
    this.#cancelApproval();
    const tell = () => {
      this.#isApprovalTold = true;
      this.#attend();
    };
    const { approvalMs = APPROVAL_MS } = this.options.times ?? {};
    if (approvalMs > 0) this.#cancelApproval = this.clock.after(approvalMs, tell);
    else tell();
  }

  #forgetApproval() {
    this.#cancelApproval();
    this.#isApprovalTold = false;
  }

  /** secc is enabled, listens and has told its approval, or one of these has become true. */
  #attend() {
    const { SessionManager } = this.servers;
    if (!this.#isListening) return;
    if (this.#restarted) {
      this.#restarted = false;
      SessionManager.notify({ state_changed: { state: this.connector.state } });
      if (this.sessionEvents.restarted()) this.#note('the session is told again');
    }
    this.sessionEvents.attend();
    this.#save();
  }

  /** The identification that secc is given: of the session that an event is told of, or of that at the connector. */
  get idTag() {
    return this.sessionEvents.lateTag ?? this.connector.idTag;
  }

  // ---- what people and scripts do to it

  /** Plugs the cable in. @param {13|20|32|63} rating ampere that the cable may carry */
  plug(rating = 32) {
    this.cable = rating;
    this.currentControl.set({ source: SOURCE_CABLE, current: rating * 1000 });
    return this.connector.plug();
  }

  unplug() {
    this.cable = null;
    const unplugged = this.connector.unplug();
    this.currentControl.clear(SOURCE_CABLE);
    return unplugged;
  }

  tag(token) {
    return this.connector.tag(token);
  }

  /** What the vehicle takes at most. */
  setVehicle(vehicle) {
    this.vehicle = { ...this.vehicle, ...vehicle };
    this.#applyLoad();
  }

  /** Raises a fault of the connector: the diagnostics process hears of it, and the connector is Faulted. */
  raiseFault(identifier) {
    this.diagnostics.raise(identifier, { connector: 1 });
    this.connector.raiseFault(identifier);
  }

  clearFault(identifier) {
    this.diagnostics.clear(identifier, { connector: 1 });
    this.connector.clearFault(identifier);
  }

  show(type, instance) {
    this.feedback.push({ type, instance, time: this.clock.now() });
    this.emit('shown', { type, instance });
    this.emit('change');
  }

  /** An MPilotStates of the contract. */
  pilotStates() {
    const { plugged, evReady } = this.connector;
    const cpState = plugged ? CP_STATE[evReady ? 'C' : 'B'] : CP_STATE.A;
    return {
      cp_state: cpState,
      pp_state: plugged && !this.options.fixedCable ? PP_STATE[this.cable ?? 32] : PP_STATE.none,
    };
  }

  describe() {
    const { connector, meter, currentControl, supervisor } = this;
    return {
      secc: { state: supervisor.stateText, alive: supervisor.alive, reports: supervisor.reports },
      connector: {
        state: connector.state,
        name: STATE_NAMES[connector.state],
        plugged: connector.plugged,
        idTag: connector.idTag,
        approved: connector.approved,
        operative: connector.operative,
        storageAvailable: connector.storageAvailable,
        faults: [...connector.faults],
        reservation: connector.reservation,
        waiting: connector.waiting.length,
      },
      meter: meter.reading(),
      limit: currentControl.limit,
      untoldEvents: this.sessionEvents.pending,
      services: Object.fromEntries(
        Object.entries(this.servers).map(([name, server]) => [
          name,
          { running: server.running, subscribers: server.subscribers },
        ]),
      ),
      resets: this.board.resets,
    };
  }

  /** Resolves with what `probe` gives, once that is truthy. */
  waitFor(probe, { timeoutMs, what } = {}) {
    return waitOn(this, 'change', () => probe(this), { timeoutMs, what });
  }

  waitForState(state, { timeoutMs } = {}) {
    return this.waitFor(() => this.connector.state === state, {
      timeoutMs,
      what: `connector state ${STATE_NAMES[state]}`,
    });
  }

  waitForEnabled({ timeoutMs } = {}) {
    return this.waitFor(() => this.supervisor.isEnabled && this.servers.SessionManager.subscribers.length > 0, {
      timeoutMs,
      what: 'secc to be Enabled',
    });
  }
}
