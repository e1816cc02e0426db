// The energy meter of the connector: integrates what flows, keeps its register over restarts, remembers sessions.
//
// The register is kept in mWh. Between two changes of the load the power is constant, so the energy is exact whatever
// the pace at which the meter is asked.
import { EventEmitter } from 'node:events';
import { timestampOf, timeText } from '../lib/clock.js';

const MS_PER_HOUR = 3600 * 1000;
const SESSION_HISTORY = 1000;

/** A checksum over a stored session, as the session record carries it. */
function checksum(text) {
  let sum = 0;
  for (const byte of Buffer.from(text)) sum = (sum * 31 + byte) >>> 0;
  return sum;
}

/** Events: 'changed' when what must survive a restart has changed. */
export class Meter extends EventEmitter {
  #clock;
  #phases;
  #voltage;
  #register;
  #rest = 0;
  #since;
  #load;
  #session;
  #sessions;

  /**
   * @param {object} options
   *   phases     1 or 3
   *   voltage    mV of each phase (default 230000)
   *   frequency  Hz (default 50)
   *   powerFactor  of the vehicle (default 1)
   *   signed     true: gives a signed record at the end of a session
   *   saved      what `save` gave before the restart
   */
  constructor({
    clock,
    phases = 3,
    voltage = 230000,
    frequency = 50,
    powerFactor = 1,
    signed = false,
    version = '1.0',
    saved = {},
  }) {
    super();
    this.#clock = clock;
    this.#phases = phases;
    this.#voltage = Array.from({ length: phases }, () => voltage);
    this.frequency = frequency;
    this.powerFactor = powerFactor;
    this.signed = signed;
    this.version = version;
    this.#register = saved.register ?? 0;
    this.#session = saved.session ?? null;
    this.#sessions = saved.sessions ?? [];
    this.#load = Array.from({ length: phases }, () => 0);
    this.#since = clock.now();
  }

  /** What must survive a restart. */
  save() {
    this.#integrate();
    return { register: this.#register, session: this.#session, sessions: this.#sessions };
  }

  /** Total imported energy in mWh. */
  get register() {
    this.#integrate();
    return this.#register;
  }

  get phases() {
    return this.#phases;
  }

  /** @param {number[]} milliampere current that flows from now on, of each phase */
  setLoad(milliampere) {
    this.#integrate();
    this.#load = Array.from({ length: this.#phases }, (_, index) => milliampere[index] ?? 0);
  }

  /** @param {number[]} millivolt of each phase */
  setVoltage(millivolt) {
    this.#integrate();
    this.#voltage = Array.from({ length: this.#phases }, (_, index) => millivolt[index] ?? 0);
  }

  setRegister(milliwatthours) {
    this.#integrate();
    this.#register = milliwatthours;
    this.emit('changed');
  }

  /** Power of each phase in mW. */
  #power() {
    return this.#load.map((current, index) => (current * this.#voltage[index] * this.powerFactor) / 1000);
  }

  #integrate() {
    const now = this.#clock.now();
    const elapsed = Math.max(now - this.#since, 0);
    this.#since = now;
    const total = this.#power().reduce((sum, power) => sum + power, 0);
    const energy = (total * elapsed) / MS_PER_HOUR + this.#rest;
    const whole = Math.floor(energy);
    this.#rest = energy - whole;
    this.#register += whole;
  }

  /** Notes the start of a session and gives the reading at that moment. */
  startSession(idTag) {
    const register = this.register;
    this.#session = {
      number: (this.#sessions.at(-1)?.number ?? 0) + 1,
      start: register,
      startTime: this.#clock.now(),
      end: null,
      endTime: null,
      idTag,
    };
    this.emit('changed');
    return this.reading();
  }

  /** Notes the end of the session and gives the reading at that moment. */
  endSession() {
    if (this.#session && this.#session.end === null) {
      this.#session = { ...this.#session, end: this.register, endTime: this.#clock.now() };
      this.#sessions.push(this.#session);
      if (this.#sessions.length > SESSION_HISTORY) this.#sessions.shift();
      this.emit('changed');
    }
    return this.reading();
  }

  /** An MMeterData of the contract. */
  reading() {
    this.#integrate();
    const session = this.#session;
    const ended = session !== null && session.end !== null;
    return {
      energy_register: this.#register,
      current: [...this.#load],
      voltage: [...this.#voltage],
      power: this.#power().map((milliwatt) => Math.round(milliwatt / 1000)),
      power_factor: this.#load.map(() => this.powerFactor),
      frequency: this.frequency,
      ...(session && { session_start_energy: session.start, session_start_time: timeText(session.startTime) }),
      ...(ended && { session_end_energy: session.end, session_end_time: timeText(session.endTime) }),
      ...(ended && this.signed && { signed_data: this.#signedRecord(session) }),
    };
  }

  #signedRecord(session) {
    const record = {
      session: session.number,
      start: session.start,
      end: session.end,
      from: timeText(session.startTime),
      to: timeText(session.endTime),
      tag: session.idTag,
    };
    return `SIM|${JSON.stringify(record)}|${checksum(JSON.stringify(record)).toString(16)}`;
  }

  /** An MMeterSessions of the contract. */
  storedSessions() {
    const sessions = this.#sessions.map((session) => ({
      checksum: checksum(JSON.stringify(session)),
      session_number: session.number,
      session_start_energy: session.start,
      session_start_time: timestampOf(session.startTime),
      ...(session.end !== null && { session_end_energy: session.end, session_end_time: timestampOf(session.endTime) }),
      ...(session.idTag && { auth_token: session.idTag }),
    }));
    return { sessions, corrupted: sessions.map(() => false), meter_version: this.version };
  }
}
