// The connector's state machine, as a session manager runs it: what the cable, the vehicle, the tags, the central system
// and faults do to a connector, and which session follows from it.
//
// It knows no IPC. What it wants to tell goes out as events; what it needs to know of the world comes in as operations.
//   'state' (state)                     the state was entered
//   'authorize' ({requestId, token})    somebody wants to charge (or to stop another's session) and waits for an answer
//   'authorized' ({token})              somebody was let through without an answer (free charging); for a later check
//   'started' ({idTag})                 a session begins; the state is Starting
//   'stopped' ({reason, idTag})         a session has ended; the state is Stopping
//   'flow' (boolean)                    energy may flow, or may not any more
//   'unlocked'                          the plug was unlocked
//   'feedback' (text)                   'AuthSuccess' or 'AuthFailure'
//   'changed'                           what must survive a restart has changed
import { EventEmitter } from 'node:events';
import { randomUUID } from 'node:crypto';

export const State = Object.freeze({
  Unknown: 0,
  Available: 1,
  Unavailable: 2,
  Reserved: 3,
  PreparingPluggedIn: 4,
  PreparingAuthorized: 5,
  Charging: 6,
  SuspendedByEv: 7,
  SuspendedByEvse: 8,
  Finishing: 9,
  Faulted: 10,
  Starting: 11,
  Stopping: 12,
});

/** EStopSessionReason of the contract. */
export const StopReason = Object.freeze({
  DeAuthorized: 0,
  EmergencyStop: 1,
  EvDisconnected: 2,
  HardReset: 3,
  Local: 4,
  Other: 5,
  PowerLoss: 6,
  Reboot: 7,
  Remote: 8,
  SoftReset: 9,
  UnlockCommand: 10,
});

const DEAUTHORIZE_STOP_ENERGY = 2;
const DEAUTHORIZE_UNLOCK = 4;
// EDeauthorizeReason of the contract: with which reason the session ends.
const REASON_OF_DEAUTHORIZE = {
  1: StopReason.DeAuthorized,
  3: StopReason.Remote,
  4: StopReason.UnlockCommand,
  5: StopReason.HardReset,
  6: StopReason.SoftReset,
  9: StopReason.DeAuthorized,
};

const IN_SESSION = new Set([State.Charging, State.SuspendedByEv, State.SuspendedByEvse]);
// States in which an approved token leads to a session.
const OPEN_FOR_SESSION = new Set([State.Available, State.Reserved, State.PreparingPluggedIn, State.Finishing]);

export const DEFAULT_TIMES = Object.freeze({
  /** How long a connector stays in Starting before energy may flow. */
  startingMs: 300,
  /** How long a connector stays in Stopping after its session has ended. */
  stoppingMs: 300,
  /** How long an approved token waits for a plug. */
  connectionMs: 60000,
  /** How long an answer to a request for authorization is waited for. */
  authorizeMs: 60000,
});

export class Connector extends EventEmitter {
  #clock;
  #times;
  #cancelTimer = () => {};
  #requests = new Map();
  #reservationTimer = () => {};

  constructor({ clock, times = {}, saved = {}, fixedCable = false, autoAuthorize = false }) {
    super();
    this.#clock = clock;
    this.#times = { ...DEFAULT_TIMES, ...times };
    this.fixedCable = fixedCable;
    /** Free charging: everybody is let through at once, and checked afterwards. */
    this.autoAuthorize = autoAuthorize;
    this.plugged = saved.plugged ?? false;
    /** The vehicle wants energy (control pilot C rather than B). */
    this.evReady = true;
    /** The station is able to give energy (limits, approval of the grid). */
    this.evseReady = true;
    /** A session's energy was stopped for good by the central system. */
    this.energyStopped = saved.energyStopped ?? false;
    this.operative = saved.operative ?? true;
    this.approved = saved.approved ?? false;
    this.storageAvailable = true;
    this.faults = new Set();
    /** {idTag, parentId, source} of whom was let through; null when nobody was. */
    this.user = saved.user ?? null;
    /** {idTag, reason} of the last session that ended, until the next user. */
    this.last = null;
    this.reservation = null;
    this.state = State.Available;
    this.state = saved.inSession && this.user ? State.Starting : this.#idleState();
  }

  // ---- what others ask

  /** What must survive a restart. */
  save() {
    const inSession = this.#hasSession;
    return {
      plugged: this.plugged,
      operative: this.operative,
      approved: this.approved,
      energyStopped: this.energyStopped,
      inSession,
      user: inSession ? this.user : null,
    };
  }

  /** A session that a restart interrupted goes on: through Starting, without a new one being told of. */
  resume() {
    if (this.state !== State.Starting || this.user === null) return false;
    this.emit('state', this.state);
    this.#after(this.#times.startingMs, () => this.#enterSessionState());
    return true;
  }

  /** The identification of the session: also while it stops and until its user has gone. */
  get idTag() {
    if (this.user && (this.#hasSession || this.state === State.PreparingAuthorized)) return this.user.idTag;
    return [State.Stopping, State.Finishing].includes(this.state) ? (this.last?.idTag ?? '') : '';
  }

  get inSession() {
    return IN_SESSION.has(this.state);
  }

  /** A session that can be ended: also one that is about to give energy. */
  get #hasSession() {
    return this.inSession || this.state === State.Starting;
  }

  /** Energy flows now. */
  get charging() {
    return this.state === State.Charging;
  }

  // ---- the cable and the vehicle

  plug() {
    if (this.plugged) return false;
    this.plugged = true;
    this.emit('changed');
    if (this.state === State.PreparingAuthorized) this.#start();
    else if (this.state === State.Available) this.#enter(State.PreparingPluggedIn);
    return true;
  }

  unplug() {
    if (!this.plugged) return false;
    this.plugged = false;
    this.emit('changed');
    if (this.#hasSession) this.#stop(StopReason.EvDisconnected);
    else if (this.state === State.PreparingPluggedIn || this.state === State.Finishing) this.#enterIdle();
    return true;
  }

  /** The vehicle takes energy, or does not. */
  setEvReady(ready) {
    this.evReady = ready;
    if (this.inSession) this.#enterSessionState();
  }

  /** The station gives energy, or does not (as for a limit below the minimum). */
  setEvseReady(ready) {
    this.evseReady = ready;
    if (this.inSession) this.#enterSessionState();
  }

  // ---- tags and authorization

  /**
   * A tag was presented.
   * @returns {string} what came of it: 'stopped', 'waiting', 'authorized', 'cancelled', or why nothing did
   */
  tag(token) {
    const stops = this.#tagOfPresentUser(token);
    if (stops) return stops;
    const refusal = this.#refusal(token);
    if (refusal) {
      this.emit('feedback', 'AuthFailure');
      return refusal;
    }
    if (this.autoAuthorize && !this.#hasSession) {
      this.emit('authorized', { token });
      this.#admit({ idTag: token, parentId: '', source: 7 });
      return 'authorized';
    }
    this.#ask(token);
    return 'waiting';
  }

  #tagOfPresentUser(token) {
    if (!this.user || this.user.idTag.toLowerCase() !== token.toLowerCase()) return null;
    if (this.#hasSession) {
      this.#stop(StopReason.Local);
      return 'stopped';
    }
    if (this.state === State.PreparingAuthorized) {
      this.#withdraw();
      return 'cancelled';
    }
    return null;
  }

  /** Why a token is not even asked about; null when it is. */
  #refusal(token) {
    if (this.#hasSession) return null;
    if (!this.storageAvailable) return 'no storage for transactions';
    if (this.state === State.Reserved) {
      return this.reservation.idTag.toLowerCase() === token.toLowerCase() ? null : 'reserved for another';
    }
    if (this.autoAuthorize && !this.approved) return 'charging is not approved';
    return OPEN_FOR_SESSION.has(this.state) ? null : 'not possible in this state';
  }

  #ask(token) {
    const requestId = randomUUID();
    const cancel = this.#clock.after(this.#times.authorizeMs, () => {
      this.#requests.delete(requestId);
      this.emit('feedback', 'AuthFailure');
    });
    this.#requests.set(requestId, { token, cancel, remote: false, isFromStarting: this.state === State.Starting });
    this.emit('authorize', { requestId, token });
  }

  /** Requests for authorization that wait for an answer. */
  get waiting() {
    return [...this.#requests.keys()];
  }

  /** A handle for a session that begins without a tag; empty when none can begin. */
  authorizeHandle() {
    if (!OPEN_FOR_SESSION.has(this.state) || !this.storageAvailable || this.user) return '';
    const requestId = randomUUID();
    this.#requests.set(requestId, { token: null, cancel: () => {}, remote: true });
    return requestId;
  }

  /**
   * The answer to a request, or the beginning of a session by a handle.
   * @returns {boolean} false when nobody waits for it, or no session can begin now
   */
  answer({ requestId, approved, token, parentId = '', source = 0 }) {
    const request = this.#requests.get(requestId);
    if (!request) return false;
    this.#requests.delete(requestId);
    request.cancel();
    const idTag = token || request.token;
    if (!approved || !idTag) {
      this.emit('feedback', 'AuthFailure');
      return true;
    }
    // Who asked before the session began wanted one of his own, and does not end this one before it gives energy.
    const mayEnd = this.inSession || (this.state === State.Starting && request.isFromStarting);
    if (mayEnd) return this.#answerInSession(request, parentId);
    // The reservation's group may use it as well; others may not, also by a remote start.
    if (!OPEN_FOR_SESSION.has(this.state) || !this.storageAvailable || !this.approved || this.user) return false;
    if (this.reservation && this.reservation.idTag.toLowerCase() !== idTag.toLowerCase()) return false;
    this.emit('feedback', 'AuthSuccess');
    this.#admit({ idTag, parentId, source });
    return true;
  }

  /** Another tag during a session: a member of the same group may end it. */
  #answerInSession(request, parentId) {
    if (request.remote) return false;
    const sameGroup = parentId !== '' && parentId === this.user.parentId;
    this.emit('feedback', sameGroup ? 'AuthSuccess' : 'AuthFailure');
    if (sameGroup) this.#stop(StopReason.Local);
    return true;
  }

  #admit(user) {
    this.user = user;
    this.energyStopped = false;
    this.#endReservation();
    if (this.plugged) {
      this.#start();
      return;
    }
    this.#enter(State.PreparingAuthorized);
    this.#after(this.#times.connectionMs, () => this.#withdraw());
  }

  #withdraw() {
    this.user = null;
    this.#enterIdle();
  }

  /**
   * The central system withdraws the authorization.
   * @param {number} reason EDeauthorizeReason of the contract
   */
  deauthorize(reason) {
    if (this.state === State.PreparingAuthorized) {
      this.#withdraw();
      return;
    }
    if (!this.#hasSession) return;
    if (reason === DEAUTHORIZE_STOP_ENERGY) {
      this.energyStopped = true;
      this.emit('changed');
      if (this.inSession) this.#enterSessionState();
      return;
    }
    this.#stop(REASON_OF_DEAUTHORIZE[reason] ?? StopReason.DeAuthorized, { unlock: reason === DEAUTHORIZE_UNLOCK });
  }

  /** The group of the session's token. */
  setParentId(parentId) {
    if (this.user) this.user.parentId = parentId;
  }

  /** The central system lets the station charge, or does not. A session that runs is not touched. */
  setApproved(approved) {
    this.approved = approved;
    this.emit('changed');
  }

  setStorageAvailable(available) {
    this.storageAvailable = available;
  }

  // ---- the session

  #start() {
    this.last = null;
    this.#enter(State.Starting);
    this.emit('started', { idTag: this.user.idTag });
    this.#after(this.#times.startingMs, () => this.#enterSessionState());
  }

  #enterSessionState() {
    let next = State.Charging;
    if (this.energyStopped || !this.evseReady) next = State.SuspendedByEvse;
    else if (!this.evReady) next = State.SuspendedByEv;
    if (next === this.state) return;
    this.#enter(next);
    this.emit('flow', next === State.Charging);
  }

  /** Ends the session from the inside (a reset, a power loss). */
  stop(reason) {
    if (this.#hasSession) this.#stop(reason);
  }

  #stop(reason, { unlock = false } = {}) {
    this.emit('flow', false);
    this.last = { idTag: this.user.idTag, reason };
    this.user = null;
    this.#enter(State.Stopping);
    this.emit('stopped', { reason, idTag: this.last.idTag });
    if (unlock) this.emit('unlocked');
    this.#after(this.#times.stoppingMs, () => (this.plugged ? this.#enterFinishing() : this.#enterIdle()));
  }

  #enterFinishing() {
    this.#enter(this.faults.size > 0 ? State.Faulted : State.Finishing);
  }

  // ---- faults, availability, reservation, unlock

  raiseFault(identifier) {
    this.faults.add(identifier);
    if (this.#hasSession) this.#stop(StopReason.Other);
    else if (this.state !== State.Stopping) {
      this.user = null;
      this.#enter(State.Faulted);
    }
  }

  clearFault(identifier) {
    if (!this.faults.delete(identifier) || this.faults.size > 0) return;
    if (this.state === State.Faulted) this.#enterIdle();
  }

  /** Takes the connector into or out of service; with a cable plugged in or a user let through when they have gone. */
  setOperative(operative) {
    this.operative = operative;
    this.emit('changed');
    if ([State.Available, State.Unavailable, State.Reserved].includes(this.state)) this.#enterIdle();
  }

  /** @returns {boolean} false when it is not possible in the present state */
  reserve({ idTag, id, until }) {
    const replaces = this.state === State.Reserved && this.reservation.id === id;
    if (this.state !== State.Available && !replaces) return false;
    this.#endReservation();
    this.reservation = { idTag, id, until };
    this.#reservationTimer = this.#clock.after(Math.max(until - this.#clock.now(), 0), () => {
      this.reservation = null;
      if (this.state === State.Reserved) this.#enterIdle();
    });
    if (this.state !== State.Reserved) this.#enter(State.Reserved);
    return true;
  }

  #endReservation() {
    this.#reservationTimer();
    this.reservation = null;
  }

  /** Asks to unlock the plug; not while energy may flow. */
  unlock() {
    if (this.fixedCable || this.#hasSession) return false;
    this.emit('unlocked');
    return true;
  }

  // ---- states

  #idleState() {
    if (this.faults.size > 0) return State.Faulted;
    if (!this.operative) return State.Unavailable;
    if (this.plugged) return State.PreparingPluggedIn;
    return this.reservation ? State.Reserved : State.Available;
  }

  #enterIdle() {
    this.#cancelTimer();
    const next = this.#idleState();
    if (next !== this.state) this.#enter(next);
  }

  #enter(state) {
    this.#cancelTimer();
    this.state = state;
    this.emit('state', state);
    this.emit('changed');
  }

  #after(milliseconds, run) {
    this.#cancelTimer();
    this.#cancelTimer = this.#clock.after(milliseconds, run);
  }

  close() {
    this.#cancelTimer();
    this.#reservationTimer();
    for (const { cancel } of this.#requests.values()) cancel();
  }
}
