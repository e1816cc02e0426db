// The session events on their way to secc: starts and ends, in order, none lost.
//
// A notification stream knows no receipt: what was written to a process that was killed a moment later may or may not
// have been taken. An event is therefore kept until the stream that took it has lasted for a while, with secc enabled all
// the time. When the stream or the process goes before that, it is told again. secc knows by time and register of the
// session's start what it was told before.
//
// While events are told late, the identification of the connector is that of the session which the event belongs to: secc
// asks for it while it handles the event, unless it knows the event.

export const DEFAULT_EVENT_TIMES = Object.freeze({
  /** How long the stream must last until an event on it counts as taken. */
  sureMs: 5000,
  /** How long an event that is told late has the identification for itself. */
  lateMs: 400,
  /** True: only until secc asks for it. For a secc that asks for nothing else; then no machine is too slow for the time. */
  lateUntilAsked: false,
});

/**
 * @typedef {object} SessionEvent
 * @property {object} notification an MSessionManagerNotification
 * @property {string} idTag of its session
 */

export class SessionEvents {
  #clock;
  #times;
  #send;
  #isAttended;
  #presentTag;
  #session;
  /** @type {(SessionEvent & {cancel: (() => void)|null})[]} not surely taken, in order; `cancel` once it was sent */
  #events;
  #late = null;
  #cancelLate = () => {};

  /**
   * @param {object} options
   *   send        (notification) puts it on the stream
   *   isAttended  () whether secc is enabled and listens
   *   presentTag  () identification of the session at the connector
   *   changed     () what must survive a restart has changed
   *   saved       what `save` gave before the restart
   */
  constructor({ clock, times = {}, send, isAttended, presentTag, changed = () => {}, saved = {} }) {
    this.#clock = clock;
    this.#times = { ...DEFAULT_EVENT_TIMES, ...times };
    this.#send = send;
    this.#isAttended = isAttended;
    this.#presentTag = presentTag;
    this.changed = changed;
    this.#session = saved.session ?? null;
    this.#events = (saved.events ?? []).map((event) => ({ ...event, cancel: null }));
  }

  /** What must survive a restart. */
  save() {
    return { session: this.#session, events: this.#events.map(({ notification, idTag }) => ({ notification, idTag })) };
  }

  /** Events that are not surely taken. */
  get pending() {
    return this.#events.length;
  }

  /** The identification while an event is told late; null when that of the connector counts. */
  get lateTag() {
    return this.#late;
  }

  /** secc has asked for the identification. */
  asked() {
    if (this.#late === null || !this.#times.lateUntilAsked) return;
    this.#cancelLate();
    this.#late = null;
    this.attend();
  }

  /** A session has started. @param {object} reading of the meter at its start */
  started(idTag, reading) {
    this.#session = { idTag, reading };
    this.#add({ session_started: reading }, idTag);
  }

  /** The session has ended. */
  stopped(idTag, reading, reason) {
    this.#session = null;
    this.#add({ session_stopped: { meter_data: reading, reason } }, idTag);
  }

  #add(notification, idTag) {
    this.#events.push({ notification, idTag, cancel: null });
    this.attend();
    this.changed();
  }

  /** The stream or the process has gone, or works no more: what is not surely taken will be told again. */
  lost() {
    this.#cancelLate();
    this.#late = null;
    for (const event of this.#events) {
      event.cancel?.();
      event.cancel = null;
    }
  }

  /**
   * The process was started anew: it must hear of a session that runs.
   * @returns {boolean} true when there is one
   */
  restarted() {
    this.lost();
    if (this.#session === null) return false;
    // The start of a running session has nothing but earlier events in front of it, and nothing behind it.
    const isWaiting = this.#events.at(-1)?.notification.session_started !== undefined;
    const { idTag, reading } = this.#session;
    if (!isWaiting) this.#events.push({ notification: { session_started: reading }, idTag, cancel: null });
    return true;
  }

  /** Tells what is to be told, as far as somebody takes it. */
  attend() {
    while (this.#late === null && this.#isAttended()) {
      const event = this.#events.find(({ cancel }) => cancel === null);
      if (!event) return;
      event.cancel = this.#clock.after(this.#times.sureMs, () => this.#taken(event));
      this.#send(event.notification);
      const more = this.#events.some(({ cancel }) => cancel === null);
      if (more || event.idTag !== this.#presentTag()) this.#keepTag(event.idTag);
    }
  }

  #taken(event) {
    this.#events = this.#events.filter((entry) => entry !== event);
    this.changed();
  }

  #keepTag(idTag) {
    this.#late = idTag;
    this.#cancelLate = this.#clock.after(this.#times.lateMs, () => {
      this.#late = null;
      this.attend();
    });
  }

  close() {
    this.lost();
  }
}
