// What the durability test is made of: a driver who charges, a central system with moods, someone who kills `secc`, and
// the comparison of what the station really did with what the operator was told. All of them draw their decisions from
// generators of their own, so that a seed brings the same decisions again.
import fs from 'node:fs';
import { waitOn, WaitTimeout } from '../../../simulator/lib/waiting.js';
import { State } from '../../../simulator/station/connector.js';
import { assert, pause } from './world.js';

const TRANSACTION_MESSAGES = ['StartTransaction', 'MeterValues', 'StopTransaction'];
const MWH_PER_WH = 1000;
// The names of EStopSessionReason on the wire.
const REASONS = [
  'DeAuthorized',
  'EmergencyStop',
  'EVDisconnected',
  'HardReset',
  'Local',
  'Other',
  'PowerLoss',
  'Reboot',
  'Remote',
  'SoftReset',
  'UnlockCommand',
];
// Ten times the voltage of the mains lets the register move also in the shortest session.
const VOLTAGE_MV = 2300000;
const STEP_MS = 10000;
// Long enough for a reading in Wh of its own: sessions are told apart by time and reading, and a second has several.
const SHORTEST_MS = 60;
const POLL_MS = 10;
// Longer than it takes to come back and send again.
const FORGOTTEN_MS = 40000;
const FORGOTTEN_POLL_MS = 200;
const ASKED_MS = 1500;
const BETWEEN_MS = 50;
const APPROVED_MS = 150;

export function transactionCalls(system) {
  return system.frames((frame) => frame.direction === 'in' && TRANSACTION_MESSAGES.includes(frame.action));
}

function transactionAnswers(system) {
  return system.frames((frame) => frame.direction === 'out' && TRANSACTION_MESSAGES.includes(frame.action));
}

/**
 * Charges again and again, for fractions of a second, and keeps a list of the sessions that really were. A session begins
 * only when the process that runs has approved of charging; it goes on and ends whether there is one or not.
 */
export class Driver {
  #world;
  #station;
  #random;
  #running = true;

  constructor(world, random) {
    const { station } = world;
    this.#world = world;
    this.#station = station;
    this.#random = random;
    /** {idTag, start: {energyWh, time}, stop: {energyWh, time, reason}}, in the order in which they ran. */
    this.sessions = [];
    station.meter.setVoltage(Array.from({ length: station.meter.phases }, () => VOLTAGE_MV));
    station.connector.on('started', ({ idTag }) => this.#started(idTag));
    station.connector.on('stopped', ({ reason }) => this.#stopped(reason));
  }

  // The reading is asked for after the station's own parts have taken note of the event.
  #started(idTag) {
    const reading = this.#station.meter.reading();
    const start = { energyWh: reading.session_start_energy, time: reading.session_start_time };
    this.sessions.push({ idTag, start: inWh(start), stop: null });
  }

  #stopped(reason) {
    const reading = this.#station.meter.reading();
    const stop = { energyWh: reading.session_end_energy, time: reading.session_end_time };
    this.sessions.at(-1).stop = { ...inWh(stop), reason: REASONS[reason] };
  }

  /** Charges until `finish`, and then brings the last session to its end. */
  async run() {
    for (let number = 1; this.#running; number += 1) {
      await pause(BETWEEN_MS + this.#random.between(0, 200));
      while (this.#running && !this.#isApproved()) await pause(POLL_MS);
      if (this.#running) await this.#charge(`TAG-${number}`);
    }
  }

  finish() {
    this.#running = false;
  }

  /** How many sessions have begun and ended so far. */
  get events() {
    return this.sessions.reduce((sum, { stop }) => sum + (stop ? 2 : 1), 0);
  }

  // What was kept back for the process that runs is told a moment after its approval, and taken before the next driver comes.
  #isApproved() {
    const { secc } = this.#world;
    const { connector, servers, sessionEvents } = this.#station;
    const isOldApproval = ({ method, time }) =>
      method === 'SetExternalChargeApproval' && time > secc.startedAt && Date.now() - time > APPROVED_MS;
    return (
      secc.running &&
      connector.approved &&
      sessionEvents.lateTag === null &&
      servers.SessionManager.calls.some(isOldApproval)
    );
  }

  /**
   * Waits until the process that runs has asked whose session it is, after it was told of its start or its end. Nobody is
   * so fast with the next step as a test, and the answer is that of the moment.
   */
  async #isAskedFor(since) {
    const isAsked = ({ method, time }) => method === 'GetConnectorInfo' && time >= since;
    const { servers, supervisor } = this.#station;
    const end = Date.now() + ASKED_MS;
    while (supervisor.isEnabled && Date.now() < end && !servers.SessionManager.calls.some(isAsked))
      await pause(POLL_MS);
  }

  async #charge(idTag) {
    const { connector } = this.#station;
    const isPluggedFirst = this.#random.chance(0.5);
    // Some go on over a kill and the start that follows it.
    const chargingMs = this.#random.chance(0.2)
      ? this.#random.between(1000, 4000)
      : this.#random.between(SHORTEST_MS, 500);
    const isStoppedByTag = this.#random.chance(0.5);
    const finishingMs = this.#random.between(0, 200);
    const started = Date.now();
    if (isPluggedFirst) this.#station.plug(63);
    assert.equal(this.#station.tag(idTag), 'authorized', `${idTag} in state ${connector.state}`);
    if (!isPluggedFirst) this.#station.plug(63);
    await this.#station.waitForState(State.Charging, { timeoutMs: STEP_MS });
    await this.#isAskedFor(started);
    await pause(chargingMs);
    const stopped = Date.now();
    if (isStoppedByTag) {
      this.#station.tag(idTag);
      await this.#station.waitForState(State.Finishing, { timeoutMs: STEP_MS });
      await pause(finishingMs);
    }
    this.#station.unplug();
    await this.#station.waitForState(State.Available, { timeoutMs: STEP_MS });
    await this.#isAskedFor(stopped);
  }
}

function inWh({ energyWh, time }) {
  return { energyWh: Math.floor(energyWh / MWH_PER_WH), time };
}

const MOODS = {
  fine: 50,
  error: 12,
  late: 10,
  silent: 6,
  cut: 9,
  twice: 5,
  foreign: 4,
  close: 4,
};
// What connections meet after a break, if anything.
const DOORS = [
  { mode: 'reset', times: 1 },
  { mode: 'http', status: 503, times: 1 },
  { mode: 'silent', times: 1 },
];

/** A central system that answers each transaction message as its mood is. */
export class MoodySystem {
  #system;
  #random;
  #listener;

  constructor(system, random) {
    this.#system = system;
    this.#random = random;
    this.#listener = (station, frame) => this.#called(frame);
    /** How often it was in which mood. */
    this.tally = {};
    system.on('call', this.#listener);
  }

  // A scripted answer is taken right after this event.
  #called({ action }) {
    if (!TRANSACTION_MESSAGES.includes(action)) return;
    const mood = this.#random.weighted(MOODS);
    const step = this.#stepOf(mood);
    this.tally[mood] = (this.tally[mood] ?? 0) + 1;
    this.#system.scripts.clear(action);
    if (step) this.#system.answer(action, step);
    if (mood === 'cut' && this.#random.chance(0.1)) this.#system.setDoor(this.#random.pick(DOORS));
  }

  #stepOf(mood) {
    const random = this.#random;
    switch (mood) {
      case 'error':
        return { error: random.pick(['InternalError', 'GenericError', 'NotSupported', 'FormationViolation']) };
      case 'late':
        return { delayMs: random.integer(20, 1500) };
      case 'silent':
        return { silence: true };
      case 'cut':
        return { cut: random.pick(['before', 'during', 'after']) };
      case 'twice':
        return { twice: true };
      case 'foreign':
        return { wrongId: true };
      case 'close':
        return { close: { code: random.pick([1000, 1001, 1011, 1012]), when: random.pick(['before', 'after']) } };
      default:
        return null;
    }
  }

  /** From now on it answers as it should. */
  calm() {
    this.#system.off('call', this.#listener);
    this.#system.scripts.clear();
    this.#system.setDoor({ mode: 'open' });
  }
}

/** Moments at which a process is killed, and how often each is chosen. */
const MOMENTS = {
  'while it comes up': 15,
  'before it connects': 15,
  'as it comes online': 20,
  'as a message goes out': 20,
  'as an answer comes in': 15,
  'as a session begins or ends': 15,
};
const MOMENT_MS = 6000;

/** Kills `secc` with signal 9 and starts it again. */
export class Killer {
  #world;
  #driver;
  #random;

  constructor(world, driver, random) {
    this.#world = world;
    this.#driver = driver;
    this.#random = random;
    /** How often it was killed at which moment; "late" when the chosen one did not come. */
    this.tally = {};
    /** What stood in the logs of those that were killed and must not. */
    this.alarms = [];
  }

  /** One life: from here to the kill, and the start of the next process. */
  async strike() {
    const random = this.#random;
    // All decisions are drawn before anything is waited for.
    const moment = random.weighted(MOMENTS);
    const plan = { count: random.integer(1, 5), fraction: random.next() };
    const isOffline = random.chance(0.15);
    const restartMs = random.between(0, 100);
    const { secc, csms } = this.#world;
    if (isOffline) csms.setDoor({ mode: 'reset' });
    const name = (await this.#await(moment, plan, secc)) ? moment : 'late';
    await secc.kill();
    this.tally[name] = (this.tally[name] ?? 0) + 1;
    this.alarms.push(...this.#world.alarmsOf(secc));
    if (isOffline) csms.setDoor({ mode: 'open' });
    await pause(restartMs);
    this.#world.startSecc();
  }

  /** Waits for the moment; false when it did not come in time. */
  #await(moment, { count, fraction }, secc) {
    const { csms, station, link } = this.#world;
    const after = (number) => {
      const aim = number() + count;
      return () => number() >= aim;
    };
    switch (moment) {
      case 'while it comes up':
        return this.#at(secc.startedAt + fraction * 500);
      case 'before it connects':
        return this.#at(secc.startedAt + 500 + fraction * 2200);
      case 'as it comes online':
        return this.#on(csms, () => link.connection?.since > secc.startedAt, fraction * 150);
      case 'as a message goes out':
        return this.#on(
          csms,
          after(() => transactionCalls(csms).length),
          fraction * 4,
        );
      case 'as an answer comes in':
        return this.#on(
          csms,
          after(() => transactionAnswers(csms).length),
          fraction * 6,
        );
      case 'as a session begins or ends':
        return this.#on(
          station,
          after(() => this.#driver.events),
          fraction * 15,
        );
      default:
        throw new Error(`no such moment: ${moment}`);
    }
  }

  async #at(time) {
    await pause(Math.max(time - Date.now(), 0));
    return true;
  }

  async #on(emitter, probe, furtherMs) {
    try {
      await waitOn(emitter, 'change', probe, { timeoutMs: MOMENT_MS });
    } catch (error) {
      if (error instanceof WaitTimeout) return false;
      throw error;
    }
    await pause(furtherMs);
    return true;
  }
}

/**
 * What the operator was told, against what the station really did.
 * @returns {string[]} every difference, as a text; empty when the books are right
 */
export function differences(driver, system) {
  const { problems } = system.book.check();
  const texts = problems.map(({ rule, text }) => `${rule}: ${text}`);
  const booked = [...system.book.sessions.values()];
  for (const session of driver.sessions) {
    const entries = booked.filter(({ idTag }) => idTag === session.idTag);
    if (entries.length === 0) texts.push(`lost: the session of ${session.idTag} was never told of`);
    else if (entries.length > 1)
      texts.push(`doubled: the session of ${session.idTag} was booked ${entries.length} times`);
    else texts.push(...contentDifferences(session, entries[0]));
  }
  const ran = driver.sessions.map(({ idTag }) => idTag);
  for (const { idTag } of booked) {
    if (!ran.includes(idTag)) texts.push(`invented: there was no session of ${idTag}`);
  }
  const order = booked.map(({ idTag }) => idTag).filter((idTag) => ran.includes(idTag));
  const sorted = [...order].sort((one, other) => ran.indexOf(one) - ran.indexOf(other));
  if (order.join() !== sorted.join()) texts.push(`order: the sessions were told of as ${order.join()}`);
  for (const frame of transactionCalls(system)) {
    if (frame.payload?.transactionId === -1) texts.push(`id: ${frame.action} ${frame.id} went out with -1`);
  }
  return texts;
}

function contentDifferences({ idTag, start, stop }, { start: bookedStart, stop: bookedStop }) {
  const pairs = [
    ['meterStart', start.energyWh, bookedStart.meterStart],
    ['start', start.time, bookedStart.timestamp],
    ...(stop && bookedStop
      ? [
          ['meterStop', stop.energyWh, bookedStop.meterStop],
          ['stop', stop.time, bookedStop.timestamp],
          ['reason', stop.reason, bookedStop.reason],
        ]
      : []),
  ];
  return pairs
    .filter(([, real, told]) => real !== told)
    .map(([what, real, told]) => `content: ${what} of ${idTag} was ${real}, ${told} was told`);
}

/** Resolves when every session that ran is booked and closed, or after the deadline. */
export async function settle(driver, system, { timeoutMs }) {
  const isClosed = ({ idTag }) =>
    [...system.book.sessions.values()].some((entry) => entry.idTag === idTag && entry.stop);
  try {
    await system.waitFor(() => driver.sessions.every(isClosed), { timeoutMs });
  } catch (error) {
    // What is missing is told by the comparison.
    if (!(error instanceof WaitTimeout)) throw error;
  }
}

/** Resolves when the last end of a session has left the store: the central system may have booked it and its answer be lost. */
export async function isForgotten(world, { timeoutMs = FORGOTTEN_MS } = {}) {
  const stop = world.csms.calls('StopTransaction').at(-1);
  if (!stop) return;
  const line = `Cleared StopTransaction(ID:${stop.id}) from storage.`;
  const end = Date.now() + timeoutMs;
  while (!fs.readFileSync(world.secc.logFile, 'utf8').includes(line)) {
    assert.ok(Date.now() < end, `waited in vain for: ${line}`);
    await pause(FORGOTTEN_POLL_MS);
  }
}
